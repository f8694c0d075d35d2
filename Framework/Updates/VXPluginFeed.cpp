#include "VXPluginFeed.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXOpenSSL.h"
#include "VXPropertyList.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QUrl>

#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct Free
{
    void operator()(EVP_PKEY *key) const { VXOpenSSL::shared().freeKey(key); }
    void operator()(EVP_MD_CTX *context) const { VXOpenSSL::shared().freeContext(context); }
    void operator()(BIO *source) const { VXOpenSSL::shared().freeSource(source); }
};

using Key = std::unique_ptr<EVP_PKEY, Free>;
using Context = std::unique_ptr<EVP_MD_CTX, Free>;
using Source = std::unique_ptr<BIO, Free>;

constexpr qsizetype hashSize = 32;
constexpr size_t keySize = 32;
constexpr size_t signatureSize = 64;

const unsigned char *bytesOf(const QByteArray &data)
{
    return reinterpret_cast<const unsigned char *>(data.constData());
}

// Values in the signed text must be a single line.
bool isOneLine(const QString &text)
{
    return !text.isEmpty() && !text.contains(u'\n');
}

// Never asks for a passphrase, as signing may be done by a script.
int noPassphrase(char *, int, int, void *)
{
    return -1;
}

Key readPrivateKey(const QByteArray &pem, VXError *error)
{
    const VXOpenSSL &ssl = VXOpenSSL::shared();
    if (ssl.isLoaded()) {
        const Source source(ssl.makeSource(pem.constData(), static_cast<int>(pem.size())));
        Key key(ssl.readPrivateKey(source.get(), nullptr, noPassphrase, nullptr));
        ssl.clearErrors();
        if (key && ssl.typeOfKey(key.get()) == EVP_PKEY_ED25519)
            return key;
    }
    VXSetError(error, VXMakeError(VXLocalizedString(u"That is no private Ed25519 key in PEM without a passphrase."_s)));
    return nullptr;
}

} // namespace

std::optional<VXPluginFeed> VXPluginFeed::fromData(const QByteArray &data, VXError *error)
{
    VXError problem;
    const QVariantMap map = VXPropertyList::fromData(data, &problem).toMap();
    VXPluginFeed feed{.identifier = map.value(u"identifier"_s).toString(),
                      .version = map.value(u"version"_s).toString(),
                      .url = map.value(u"url"_s).toString(),
                      .size = map.value(u"size"_s).toLongLong(),
                      .sha256 = QByteArray::fromHex(map.value(u"sha256"_s).toString().toLatin1()),
                      .signature = map.value(u"signature"_s).toByteArray()};
    if (isOneLine(feed.identifier) && isOneLine(feed.version) && isOneLine(feed.url) &&
        QUrl(feed.url, QUrl::StrictMode).isValid() && feed.size > 0 && feed.sha256.size() == hashSize)
        return feed;
    const QByteArray reason = problem.localizedDescription().toUtf8();
    VXSetError(error, VXMakeError(VXLocalizedString(u"The update feed cannot be read."_s), problem ? "%s" : nullptr,
                                  reason.constData()));
    return std::nullopt;
}

QByteArray VXPluginFeed::data() const
{
    QVariantMap map{{u"identifier"_s, identifier},
                    {u"version"_s, version},
                    {u"url"_s, url},
                    {u"size"_s, size},
                    {u"sha256"_s, QString::fromLatin1(sha256.toHex())}};
    if (!signature.isEmpty())
        map.insert(u"signature"_s, signature);
    return VXPropertyList::toData(map, VXPropertyList::Format::XML);
}

QByteArray VXPluginFeed::signedText() const
{
    return "VornixPluginUpdate 1\n" + identifier.toUtf8() + '\n' + version.toUtf8() + '\n' + url.toUtf8() + '\n' +
           QByteArray::number(size) + '\n' + sha256.toHex() + '\n';
}

bool VXPluginFeed::isSignedBy(const QByteArray &publicKey) const
{
    const VXOpenSSL &ssl = VXOpenSSL::shared();
    if (!ssl.isLoaded())
        return false;
    const Key key(ssl.makePublicKey(EVP_PKEY_ED25519, nullptr, bytesOf(publicKey), size_t(publicKey.size())));
    const Context context(ssl.makeContext());
    const QByteArray text = signedText();
    const bool isSigned = key && context &&
                          ssl.beginVerifying(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
                          ssl.verify(context.get(), bytesOf(signature), static_cast<size_t>(signature.size()),
                                     bytesOf(text), static_cast<size_t>(text.size())) == 1;
    ssl.clearErrors(); // libcurl would take errors left on this thread for its own
    return isSigned;
}

bool VXPluginFeed::sign(const QByteArray &privateKey, VXError *error)
{
    const Key key = readPrivateKey(privateKey, error);
    if (!key)
        return false;
    const VXOpenSSL &ssl = VXOpenSSL::shared();
    const Context context(ssl.makeContext());
    const QByteArray text = signedText();
    std::array<unsigned char, signatureSize> bytes{};
    size_t count = bytes.size();
    if (!context || ssl.beginSigning(context.get(), nullptr, nullptr, nullptr, key.get()) != 1 ||
        ssl.sign(context.get(), bytes.data(), &count, bytesOf(text), static_cast<size_t>(text.size())) != 1) {
        ssl.clearErrors();
        VXSetError(error, VXMakeError(VXLocalizedString(u"The update feed could not be signed."_s)));
        return false;
    }
    signature = QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(count));
    return true;
}

std::optional<QByteArray> VXPluginFeed::publicKeyOf(const QByteArray &privateKey, VXError *error)
{
    const Key key = readPrivateKey(privateKey, error);
    if (!key)
        return std::nullopt;
    std::array<unsigned char, keySize> bytes{};
    size_t count = bytes.size();
    VXOpenSSL::shared().publicKey(key.get(), bytes.data(), &count);
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(count));
}

std::optional<QByteArray> VXHashOfFile(const QString &path, VXError *error)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (file.open(QIODevice::ReadOnly) && hash.addData(&file))
        return hash.result();
    VXSetError(error, VXMakeFileError(u"%1: %2"_s.arg(path, file.errorString()), {}, path));
    return std::nullopt;
}
