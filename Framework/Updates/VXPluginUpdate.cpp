#include "VXPluginUpdate.h"

#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXPluginManager.h"
#include "VXPluginScanner.h"
#include "VXTextWithoutPasswords.h"
#include "VXUpdateFolders.h"
#include "VXURLError.h"
#include "VXVersion.h"
#include "VXZipFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTimer>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 longestFeed = 1 << 20;

// Whether what the server offers is refused; otherwise it was not available, or could not be saved.
bool isOfTheServer(const VXError &error)
{
    return error.domain() == VXURLErrorDomain &&
           (error.code() == VXURLErrorInsecureRedirect || error.code() == VXURLErrorTooManyRedirects ||
            error.code() == VXURLErrorCertificateUntrusted || error.code() == VXURLErrorDataTooLong);
}

QString folderToUnpackInto(const VXWebDownload &download)
{
    return download.folderPath() + "/Unpacked"_L1;
}

} // namespace

VXPluginUpdate::VXPluginUpdate(const VXPluginProxy &plugin, Mode mode)
    : _identifier(plugin.identifier()), _installedVersion(plugin.infoText(u"CFBundleVersion"_s)),
      _feedURL(plugin.infoText(u"VXPluginUpdateURL"_s)),
      _key(QByteArray::fromBase64(plugin.infoText(u"VXPluginUpdateKey"_s).toLatin1())), _mode(mode),
      _folders(std::make_unique<VXUpdateFolders>())
{
}

VXPluginUpdate::~VXPluginUpdate() = default;

void VXPluginUpdate::start(std::function<void()> completion)
{
    // The update keeps itself alive until then.
    _completion = [self = shared_from_this(), completion = std::move(completion)] { completion(); };
    QTimer::singleShot(0, this, &VXPluginUpdate::begin);
}

void VXPluginUpdate::begin()
{
    if (_isCancelled)
        return end(State::Cancelled);
    if (_feedURL.isEmpty())
        return end(State::NotOffered);
    if (_key.isEmpty())
        return refuse(VXLocalizedString(u"The plugin carries no key to check its updates with."_s));
    download(_feedURL, longestFeed);
}

void VXPluginUpdate::cancel()
{
    _isCancelled = true;
    if (_download)
        _download->cancel();
    if (_zipFile)
        _zipFile->cancel();
}

void VXPluginUpdate::download(const QString &address, qint64 maximumLength)
{
    const QUrl url(address, QUrl::StrictMode);
    if (url.scheme() != "https"_L1)
        return refuse(VXLocalizedString(u"%1 is not secure: updates come over HTTPS only."_s)
                          .arg(VXTextWithoutPasswords(address)));
    _download = VXWebDownload::create();
    _download->setMaximumLength(maximumLength);
    _download->setFormFields({{.name = u"identifier"_s, .text = _identifier, .filePath = {}},
                              {.name = u"version"_s, .text = _installedVersion, .filePath = {}}});
    _download->setDelegate(shared_from_this());
    _folders->add(_download->folderPath());
    _download->requestURL(url);
}

void VXPluginUpdate::requestDidComplete(VXWebRequest *)
{
    const VXError error = _download->error();
    const VXWebResponse response = _download->downloadResponse();
    if (_isCancelled)
        end(State::Cancelled);
    else if (error)
        refuse(error.localizedText(), isOfTheServer(error) ? State::Refused : State::Failed);
    else if (response.statusCode != 200)
        refuse(u"%1: %2 %3"_s.arg(response.url.toDisplayString()).arg(response.statusCode).arg(response.statusText()),
               State::Failed);
    else if (_newVersion.isNull())
        checkFeed();
    else
        checkArchive();
}

// Nothing in an unsigned feed is trusted.
void VXPluginUpdate::checkFeed()
{
    QFile file(_download->filePath());
    VXError error;
    const auto feed = VXPluginFeed::fromData(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray(), &error);
    if (!feed)
        return refuse(error.localizedText());
    if (feed->signature.isEmpty())
        return refuse(VXLocalizedString(u"The update feed is not signed."_s));
    if (!feed->isSignedBy(_key))
        return refuse(VXLocalizedString(u"The update feed was not signed with the plugin's key."_s));
    if (feed->identifier != _identifier)
        return refuse(VXLocalizedString(u"The update feed is that of %1."_s).arg(feed->identifier));
    _feed = *feed;
    _newVersion = feed->version;
    const int order = vx_compareVersion(_newVersion, _installedVersion);
    if (order < 0)
        return refuse(
            VXLocalizedString(u"The update feed is older than the plugin: it offers version %1, and %2 is installed."_s)
                .arg(_newVersion, _installedVersion));
    if (order == 0)
        return end(State::UpToDate);
    if (_mode == Mode::Check)
        return end(State::Available);
    download(_feed.url, _feed.size);
}

void VXPluginUpdate::checkArchive()
{
    const QString path = _download->filePath();
    if (_download->bytesReceived() != _feed.size)
        return refuse(VXLocalizedString(u"The download has %1 bytes, not %2 as the update feed says."_s)
                          .arg(_download->bytesReceived())
                          .arg(_feed.size));
    VXError error;
    const std::optional<QByteArray> hash = VXHashOfFile(path, &error);
    if (!hash)
        return refuse(error.localizedText());
    if (*hash != _feed.sha256)
        return refuse(VXLocalizedString(u"The download is not what the update feed describes: its SHA-256 differs."_s));
    const QString folder = folderToUnpackInto(*_download);
    QDir().mkpath(folder);
    _zipFile = VXZipFile::create();
    _zipFile->setDelegate(this);
    _zipFile->setDestinationPath(folder);
    _zipFile->unzip(path);
}

void VXPluginUpdate::unzipDidComplete(VXZipFile *file)
{
    if (_isCancelled)
        return end(State::Cancelled);
    if (const VXError error = file->error())
        return refuse(error.localizedText());
    const QStringList bundles = VXPluginScanner::pluginPathsInFolder(folderToUnpackInto(*_download));
    if (bundles.size() != 1)
        return refuse(VXLocalizedString(u"The download holds %1 plugins, not one."_s).arg(bundles.size()));
    const QVariantMap info = VXPluginScanner::peekAtBundleInfo(bundles.first());
    const QString identifier = info.value(u"CFBundleIdentifier"_s).toString();
    const QString version = info.value(u"CFBundleVersion"_s).toString();
    if (identifier != _identifier || version != _newVersion)
        return refuse(VXLocalizedString(u"The download holds version %2 of %1."_s).arg(identifier, version));
    if (const QString problem = _inspection ? _inspection(bundles.first()) : QString(); !problem.isNull())
        return refuse(problem);
    install(bundles.first());
}

void VXPluginUpdate::install(const QString &bundlePath)
{
    VXError error;
    switch (VXPluginManager::sharedPluginManager().installBundleAtPath(bundlePath, &error)) {
    case VXPluginInstallResult::Failed:
        return refuse(error.localizedText());
    case VXPluginInstallResult::Installed:
        return end(State::Installed);
    case VXPluginInstallResult::InstalledForNextStart:
        return end(State::InstalledForNextStart);
    }
}

void VXPluginUpdate::refuse(const QString &reason, State state)
{
    _reason = reason;
    end(state);
}

void VXPluginUpdate::end(State state)
{
    _state = state;
    _folders->remove();
    if (const auto completion = std::exchange(_completion, {}))
        completion();
}
