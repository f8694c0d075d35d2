#pragma once

#include "VXFrameworkExport.h"
#include "VXPluginFeed.h"
#include "VXWebDownload.h"

#include <QtCore/QObject>

#include <functional>
#include <memory>

class VXPluginProxy;
class VXUpdateFolders;
class VXZipFile;

/**
 * The update of a plugin: downloads the feed that its bundle names ("VXPluginUpdateURL", over HTTPS), checks it with
 * the key in the bundle ("VXPluginUpdateKey", Base64 of an Ed25519 key), and, if it offers a newer version, downloads
 * that, checks its size, SHA-256, identifier and version, and passes the bundle to the plugin manager for installation.
 * Anything that does not match is refused with a reason, and nothing is changed. What an update that was killed left in
 * the temporary folder is removed by the next one. Owned by a shared pointer. Main thread only.
 */
class VX_EXPORT VXPluginUpdate : public QObject, public std::enable_shared_from_this<VXPluginUpdate>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXPluginUpdate>;
    enum class State {
        Running,
        NotOffered, // the bundle names no feed
        UpToDate,
        Available,             // a newer version, which was not to be installed
        Installed,             // in place of a copy that is not running
        InstalledForNextStart, // it is in the staging folder
        Refused,               // see `reason`
        Failed,                // it could not be looked up or downloaded (see `reason`), and may succeed later
        Cancelled,
    };
    enum class Mode { Check, Install };
    /** Returns why a bundle must not be installed; null when it may be. */
    using Inspection = std::function<QString(const QString &bundlePath)>;

    static Ptr updateOfPlugin(const VXPluginProxy &plugin, Mode mode)
    {
        return std::make_shared<VXPluginUpdate>(plugin, mode);
    }
    VXPluginUpdate(const VXPluginProxy &plugin, Mode mode);
    ~VXPluginUpdate() override;

    /** Sets a final check of the unpacked bundle, made when everything else matches. */
    void setInspection(Inspection inspection) { _inspection = std::move(inspection); }

    /** To be called once. The completion is called once, in the event loop; until then it keeps the update alive. */
    void start(std::function<void()> completion);
    void cancel();

    State state() const { return _state; }
    QString identifier() const { return _identifier; }
    QString installedVersion() const { return _installedVersion; }
    /** The version in the feed, once that was checked; null before. */
    QString newVersion() const { return _newVersion; }
    /** Why the update was refused or failed, in the user's language; null if it was not. */
    QString reason() const { return _reason; }

    Q_INVOKABLE void requestDidComplete(VXWebRequest *request);
    Q_INVOKABLE void unzipDidComplete(VXZipFile *file);

private:
    void begin();
    void download(const QString &address, qint64 maximumLength);
    void checkFeed();
    void checkArchive();
    void install(const QString &bundlePath);
    void refuse(const QString &reason, State state = State::Refused);
    void end(State state);

    const QString _identifier;
    const QString _installedVersion;
    const QString _feedURL;
    const QByteArray _key;
    const Mode _mode;
    Inspection _inspection;
    State _state = State::Running;
    bool _isCancelled = false;
    QString _newVersion;
    QString _reason;
    VXPluginFeed _feed; // once it was checked
    VXWebDownload::Ptr _download;
    std::shared_ptr<VXZipFile> _zipFile;
    const std::unique_ptr<VXUpdateFolders> _folders; // made during the update
    std::function<void()> _completion;
};
