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

/** Answers to "may the application terminate?"; plugins use the same numbers. */
enum class VXTerminateReply { Cancel = 0, Now = 1, Later = 2 };

/**
 * The running application for the layers above: its life from launch to termination, its user interface and its
 * desktop. The host owns Qt's application object, which exists beside this one. Main thread only, except for
 * `isTerminating`, `didFinishLaunching` and `presentError`.
 */
class VX_PLATFORM_EXPORT VXApplication : public QObject
{
    Q_OBJECT

public:
    /** Called once by `terminate`. After Later, the answer comes by `replyToApplicationShouldTerminate`. */
    using ShouldTerminateHandler = std::function<VXTerminateReply()>;
    /** Opens what the URL names; returns a value that represents it, invalid when nobody knows the URL. */
    using OpenURLHandler = std::function<QVariant(const QString &url)>;

    /** Made on first use and never freed. */
    static VXApplication &sharedApplication();

    /** True once it is decided, or being asked, that the application ends. */
    bool isTerminating() const { return _isTerminating; }
    void setAsTerminating(bool flag) { _isTerminating = flag; }

    bool didFinishLaunching() const { return _didFinishLaunching; }
    /** When set, a relaunch that was requested during launch takes place. */
    void setDidFinishLaunching(bool flag);

    /** Requests a relaunch when launching ends. */
    void setNeedsRelaunch(bool flag) { _needsRelaunch = flag; }
    bool needsRelaunch() const { return _needsRelaunch; }
    /** Quits the event loop after the current event was handled; the host then calls `relaunchIfDue`. */
    void relaunchInNextRunLoop();
    /**
     * For the host, after its event loop has ended: starts the program again with the same arguments, if
     * `relaunchInNextRunLoop` was called; without the arguments in `done`, whose files or URLs were opened already.
     * @return false when a relaunch was due and failed.
     */
    bool relaunchIfDue(VXError *error = nullptr, const QStringList &done = {});

    /** Asks whether the application may end, and if so ends its event loop; a host that has not entered it yet quits
     *  immediately on entering. Does nothing while an earlier request waits for its answer. */
    void terminate();
    /** The answer after Later: ends the application, or clears the terminating flag. Does nothing when no answer is
     *  awaited. */
    void replyToApplicationShouldTerminate(bool shouldTerminate);
    void setShouldTerminateHandler(ShouldTerminateHandler handler);

    /** Shows the error to the user; other threads pass it to the main thread, and wait. */
    void presentError(const VXError &error);

    /** The user interface in use: a terminal, unless the host sets another. Never null. */
    VXUserInterface &userInterface();
    void setUserInterface(std::unique_ptr<VXUserInterface> userInterface);

    /** The desktop: the freedesktop one unless set. Never null. */
    VXWorkspace &workspace();
    void setWorkspace(std::unique_ptr<VXWorkspace> workspace);

    /** Brings the application to the front and passes the URL to the handler. @return invalid when nobody knows the
     *  URL. */
    QVariant openURLString(const QString &url);
    void setOpenURLHandler(OpenURLHandler handler);

    /** Brings the application to the front, if it has windows. */
    void activate();

Q_SIGNALS:
    /** Termination is certain: the last opportunity to clean up. */
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
