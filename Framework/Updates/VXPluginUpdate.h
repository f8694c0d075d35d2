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
 * The update of one plugin: downloads the feed that its bundle names ("VXPluginUpdateURL", over HTTPS), checks it with the
 * key that the bundle carries ("VXPluginUpdateKey", Base64 of an Ed25519 key), and, if it offers a newer version, downloads
 * that, checks its size, SHA-256, identifier and version, and hands the bundle to the plugin manager to be installed. Whatever
 * does not agree is refused with a reason, and nothing is changed. What one that was killed left in the temporary folder goes
 * with the next. Held by a shared pointer. Main thread only.
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
        Installed,             // in place of one that does not run
        InstalledForNextStart, // waits in the staging folder
        Refused,               // see `reason`
        Failed,                // it could not be looked up or fetched: see `reason`; it may go better later
        Cancelled,
    };
    enum class Mode { Check, Install };
    /** Why a bundle must not be installed; null when it may be. */
    using Inspection = std::function<QString(const QString &bundlePath)>;

    static Ptr updateOfPlugin(const VXPluginProxy &plugin, Mode mode)
    {
        return std::make_shared<VXPluginUpdate>(plugin, mode);
    }
    VXPluginUpdate(const VXPluginProxy &plugin, Mode mode);
    ~VXPluginUpdate() override;

    /** Asked about the unpacked bundle, once all else agrees. */
    void setInspection(Inspection inspection) { _inspection = std::move(inspection); }

    /** Once. The completion is called once, in the event loop; it holds the update till then. */
    void start(std::function<void()> completion);
    void cancel();

    State state() const { return _state; }
    QString identifier() const { return _identifier; }
    QString installedVersion() const { return _installedVersion; }
    /** Of the feed, once it has been checked; null before. */
    QString newVersion() const { return _newVersion; }
    /** Why it was refused or failed, for people; null when it was not. */
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
    VXPluginFeed _feed; // once it has been checked
    VXWebDownload::Ptr _download;
    std::shared_ptr<VXZipFile> _zipFile;
    const std::unique_ptr<VXUpdateFolders> _folders; // made on the way
    std::function<void()> _completion;
};
