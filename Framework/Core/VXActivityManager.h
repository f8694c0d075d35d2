#pragma once

#include "VXActivity.h"
#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"

#include <QtCore/QHash>
#include <QtCore/QList>

/** Posted on the main thread; object: the activity's identifier, no user info. */
VX_EXPORT extern const VXNotificationName VXActivityManagerDidAddActivityNotification;
VX_EXPORT extern const VXNotificationName VXActivityManagerWillRemoveActivityNotification;

/**
 * The registry of running activities. It belongs to the main thread: adding and removing on another thread wait until
 * the main thread has done it. Look-ups are for the main thread.
 */
class VX_EXPORT VXActivityManager
{
public:
    static VXActivityManager &sharedActivityManager();

    VXActivityManager(const VXActivityManager &) = delete;
    VXActivityManager &operator=(const VXActivityManager &) = delete;

    /** All running activities, in no particular order. */
    QList<VXActivity::Ptr> activities() const;
    /** Null when no activity with that identifier is running. */
    VXActivity::Ptr activityWithIdentifier(const QString &identifier) const;

    /** Registers a new activity with that delegate and a new identifier. Never null. */
    VXActivity::Ptr addActivityWithTitle(const QString &title, QObject *delegate = nullptr);
    /** Registers a new activity; one that is already running with this identifier is removed first, with an error in
     *  the log. A null identifier fails an assertion. */
    VXActivity::Ptr addActivityWithTitle(const QString &title, const QString &identifier);

    /** Does nothing when the activity, or the identifier, is not registered; another activity that has replaced the
     *  given one is kept. */
    void removeActivity(const VXActivity::Ptr &activity);
    void removeActivityWithIdentifier(const QString &identifier);

private:
    VXActivityManager() = default;

    void add(const VXActivity::Ptr &activity);
    void remove(const VXActivity::Ptr &leaving);
    void leave(const VXActivity::Ptr &activity);

    QHash<VXActivity::Key, VXActivity::Ptr> _activities; // this and _leaving: main thread only
    QList<VXActivity::Ptr> _leaving;                     // being removed, while observers are notified
};
