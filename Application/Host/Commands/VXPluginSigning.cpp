#include "VXPluginSigning.h"

#include "VXAtomicFile.h"
#include "VXErrorText.h"
#include "VXHostCommand.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPackFolder.h"
#include "VXPluginCheck.h"
#include "VXPluginFeed.h"
#include "VXPluginScanner.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>
#include <QtCore/QUrl>

using namespace Qt::StringLiterals;

namespace {

struct AuthorKey
{
    QByteArray text; // PEM
    QByteArray publicKey;
};

std::optional<AuthorKey> readKey(const QString &path, QString *problem)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = u"%1: %2"_s.arg(path, file.errorString());
        return std::nullopt;
    }
    const QByteArray text = file.readAll();
    VXError error;
    const std::optional<QByteArray> publicKey = VXPluginFeed::publicKeyOf(text, &error);
    if (!publicKey) {
        *problem = VXErrorText(error, path);
        return std::nullopt;
    }
    return AuthorKey{text, *publicKey};
}

// Why nobody could update to the bundle or from it; null if that is possible.
QString problemOfBundle(const QString &path, const QVariantMap &info, const AuthorKey &key)
{
    for (const auto &[isError, what] : VXCheckPlugin(path)) {
        if (isError)
            return what;
    }
    if (info.value(u"VXPluginUpdateURL"_s).toString().isEmpty())
        return u"its Info.plist has no VXPluginUpdateURL, where its updates come from"_s;
    if (info.value(u"VXPluginUpdateKey"_s).toString().isEmpty())
        return u"its Info.plist has no VXPluginUpdateKey, which for this key is %1"_s.arg(
            QString::fromLatin1(key.publicKey.toBase64()));
    return {};
}

// Null on success; the reason, if the feed could not be written.
QString writeFeed(const QVariantMap &info, const QString &url, const QString &archive, const AuthorKey &key,
                  const QString &feedPath)
{
    VXError error;
    const std::optional<QByteArray> hash = VXHashOfFile(archive, &error);
    if (!hash)
        return VXErrorText(error);
    VXPluginFeed feed{.identifier = info.value(u"CFBundleIdentifier"_s).toString(),
                      .version = VXPluginScanner::versionOf(info),
                      .url = url,
                      .size = QFileInfo(archive).size(),
                      .sha256 = *hash};
    if (!feed.sign(key.text, &error))
        return VXErrorText(error);
    QString reason;
    return VXAtomicFile::replace(feedPath, feed.data(), &reason, VXFileAccess::Shared) ? QString() : reason;
}

// What is wrong with the options; null if nothing is.
QString mistake(const VXHostOptions &options)
{
    for (const QString &needed : {u"key"_s, u"url"_s, u"to"_s}) {
        if (!options.isSet(needed))
            return u"sign needs --%1"_s.arg(needed);
    }
    const QUrl url(options.value(u"url"_s), QUrl::StrictMode);
    return url.scheme() == "https"_L1 && url.fileName().endsWith(".zip"_L1)
               ? QString()
               : u"--url needs the https URL of a .zip file"_s;
}

} // namespace

int VXSignPlugin(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    if (const QString wrong = mistake(options); !wrong.isNull())
        return context.output.failUsage(wrong, VXHostUsage(options));
    QString problem;
    const std::optional<AuthorKey> key = readKey(options.value(u"key"_s), &problem);
    if (!key)
        return context.output.fail(problem);
    const QString bundle = QDir::cleanPath(QFileInfo(options.operand(1)).absoluteFilePath());
    const QVariantMap info = VXPluginScanner::peekAtBundleInfo(bundle);
    if (problem = problemOfBundle(bundle, info, *key); !problem.isNull())
        return context.output.fail(u"%1 was not signed: %2"_s.arg(options.operand(1), problem));
    if (QByteArray::fromBase64(info.value(u"VXPluginUpdateKey"_s).toString().toLatin1()) != key->publicKey)
        context.output.note(u"the bundle carries another key: what follows it must be signed with that one"_s);

    const QDir folder(options.value(u"to"_s));
    const QString url = options.value(u"url"_s);
    const QString feedName = QUrl(info.value(u"VXPluginUpdateURL"_s).toString()).fileName();
    const QString feedPath = folder.absoluteFilePath(feedName.isEmpty() ? u"update.plist"_s : feedName);
    const QString archive = folder.absoluteFilePath(QUrl(url).fileName());
    if (!folder.mkpath(u"."_s))
        return context.output.fail(u"cannot make the folder %1"_s.arg(folder.path()));
    if (const VXError error = VXPackFolder(bundle, archive))
        return context.output.fail(VXErrorText(error, archive));
    if (problem = writeFeed(info, url, archive, *key, feedPath); !problem.isNull())
        return context.output.fail(u"%1: %2"_s.arg(feedPath, problem));
    context.output.answer(u"%1\n%2\n"_s.arg(feedPath, archive),
                          QJsonObject{{u"feed"_s, feedPath}, {u"archive"_s, archive}});
    return VXHostOutput::Done;
}
