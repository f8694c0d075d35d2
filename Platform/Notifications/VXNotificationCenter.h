#pragma once

#include "VXMutex.h"
#include "VXPlatformExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <typeinfo>
#include <vector>

/**
 * The name of a notification. Equal texts share one entry of a process-wide table, so that posting compares numbers
 * rather than texts; make names once, as constants. Any thread.
 */
class VX_PLATFORM_EXPORT VXNotificationName
{
public:
    explicit VXNotificationName(const QString &text);

    QString text() const;
    friend bool operator==(VXNotificationName a, VXNotificationName b) = default;

private:
    friend class VXNotificationCenter;
    quint32 _index;
};

/**
 * What an observer receives. `object` is what the notification is about; it and `userInfo` may be none (invalid,
 * empty).
 */
struct VXNotification
{
    VXNotificationName name;
    QVariant object;
    QVariantMap userInfo;
};

/**
 * Informs observers about named events. Observers run on the poster's thread, in the order in which they were added,
 * with no lock held; they may add or remove observers, including themselves. If one throws, that is reported with the
 * owner of its code, and the next one runs: posting never throws. An observer removed on the posting thread is not
 * called any more; one removed on another thread may be in its last call. Any thread may call.
 */
class VX_PLATFORM_EXPORT VXNotificationCenter
{
public:
    using Handler = std::function<void(const VXNotification &)>;
    /** Identifies an observation; 0 for none. */
    using ObserverID = quint64;

    /** The process-wide center. */
    static VXNotificationCenter &defaultCenter();

    VXNotificationCenter();
    ~VXNotificationCenter();
    VXNotificationCenter(const VXNotificationCenter &) = delete;
    VXNotificationCenter &operator=(const VXNotificationCenter &) = delete;

    /**
     * Calls `handler` for each notification of that name, and only for those about `object` when it is valid.
     * The observation ends with removeObserver or with the death of `context`, when one is given.
     */
    ObserverID addObserver(QObject *context, VXNotificationName name, Handler handler, const QVariant &object = {});

    /** Ends one observation; an unknown number is ignored. */
    void removeObserver(ObserverID observer);
    /** Ends every observation made with that context. */
    void removeObserver(QObject *context);

    /** A description of an observation; the location of these types tells whose code it is. */
    struct Observation
    {
        VXNotificationName name;
        const QMetaObject *contextClass; // nullptr without a context
        const std::type_info *handlerType;
    };
    /** All present observations. */
    std::vector<Observation> observations() const;

    /** Whether the name has observers: otherwise what would be posted need not be gathered. */
    bool hasObservers(VXNotificationName name) const;
    /** Calls the observers of that name, and returns when all have run. */
    void postNotificationName(VXNotificationName name, const QVariant &object = {}, const QVariantMap &userInfo = {});
    void postNotification(const VXNotification &notification);

private:
    struct Observer;
    struct ObserverList;

    static QString describe(const Observer &observer);
    std::shared_ptr<const ObserverList> observersOf(VXNotificationName name) const;
    void removeObserversIf(const std::function<bool(const Observer &)> &matches);

    mutable VXMutex _lock;
    // By name index; lists are immutable: a change replaces the list.
    std::vector<std::shared_ptr<const ObserverList>> _lists VX_GUARDED_BY(_lock);
    ObserverID _lastObserver VX_GUARDED_BY(_lock) = 0;
};
