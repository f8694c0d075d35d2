#pragma once

#include "VXError.h"
#include "VXPlatformExport.h"
#include "VXUserInterface.h"
#include "VXWorkspace.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <atomic>
#include <functional>
#include <memory>

/** Answers to "may the application terminate?", as numbers that plugins give too. */
enum class VXTerminateReply { Cancel = 0, Now = 1, Later = 2 };

/**
 * The running application as the floors above see it: its life from launch to termination, its user interface
 * and its desktop. The host owns Qt's application object; this one stands beside it. Main thread only, except
 * for `isTerminating`, `didFinishLaunching` and `presentError`.
 */
class VX_PLATFORM_EXPORT VXApplication : public QObject
{
    Q_OBJECT

public:
    /** Asked once by `terminate`. After Later, `replyToApplicationShouldTerminate` brings the answer. */
    using ShouldTerminateHandler = std::function<VXTerminateReply()>;
    /** Opens what the URL names; answers what stands for it, invalid when nobody knows the URL. */
    using OpenURLHandler = std::function<QVariant(const QString &url)>;

    /** Made on first use and never freed. */
    static VXApplication &sharedApplication();

    /** True from the moment it is certain, or being asked, that the application ends. */
    bool isTerminating() const { return _isTerminating; }
    void setAsTerminating(bool flag) { _isTerminating = flag; }

    bool didFinishLaunching() const { return _didFinishLaunching; }
    /** Once set, a relaunch that became needed during launch takes place. */
    void setDidFinishLaunching(bool flag);

    /** Marks that the application must start again when launching ends. */
    void setNeedsRelaunch(bool flag) { _needsRelaunch = flag; }
    bool needsRelaunch() const { return _needsRelaunch; }
    /** Quits the event loop once the current event has been handled; the host then calls `relaunchIfDue`. */
    void relaunchInNextRunLoop();
    /**
     * For the host, after its event loop ended: starts the program again with the same arguments, when
     * `relaunchInNextRunLoop` was called. But not with those in `done`: what was to be opened was opened.
     * @return false when it was due and could not be started.
     */
    bool relaunchIfDue(VXError *error = nullptr, const QStringList &done = {});

    /** Asks whether the application may end, and ends its event loop if so; a host not yet in it quits at
     * once on entering. Does nothing while an earlier request waits for its answer. */
    void terminate();
    /** The answer promised with Later: ends the application, or clears the terminating mark. Does nothing
     * when none is awaited. */
    void replyToApplicationShouldTerminate(bool shouldTerminate);
    void setShouldTerminateHandler(ShouldTerminateHandler handler);

    /** Shows the error to the user; from another thread it is handed over, and the caller waits. */
    void presentError(const VXError &error);

    /** The user interface in use: a terminal that asks, unless the host sets another. Never null. */
    VXUserInterface &userInterface();
    void setUserInterface(std::unique_ptr<VXUserInterface> userInterface);

    /** The desktop: the freedesktop one unless set. Never null. */
    VXWorkspace &workspace();
    void setWorkspace(std::unique_ptr<VXWorkspace> workspace);

    /** Brings the application to the front and offers the URL to the handler. @return invalid: nobody knew it. */
    QVariant openURLString(const QString &url);
    void setOpenURLHandler(OpenURLHandler handler);

    /** Brings the application to the front, where it has windows. */
    void activate();

Q_SIGNALS:
    /** It is certain now: last chance to put things away. */
    void willTerminate();

private:
    VXApplication();

    void finishTerminating();

    std::atomic<bool> _isTerminating = false;
    std::atomic<bool> _didFinishLaunching = false;
    bool _needsRelaunch = false;
    bool _relaunchIsDue = false;
    bool _awaitsReply = false;
    ShouldTerminateHandler _shouldTerminate;
    OpenURLHandler _openURL;
    std::unique_ptr<VXUserInterface> _userInterface;
    std::unique_ptr<VXWorkspace> _workspace;
};
