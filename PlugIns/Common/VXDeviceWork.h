#pragma once

#include "VXDeviceAction.h"

#include <QtCore/QPointer>

#include <functional>

/**
 * An action that consists of others on the same device, one after the other: their progress is shown as its own, and its cancel
 * goes to the one that runs. It is to conclude the whole. Main thread.
 */
class VXDeviceWork : public std::enable_shared_from_this<VXDeviceWork>
{
public:
    virtual ~VXDeviceWork() = default;
    VXDeviceWork(const VXDeviceWork &) = delete;
    VXDeviceWork &operator=(const VXDeviceWork &) = delete;

    /** Registers a handler with every device that has handlers for all of the actions, now and as they are added; for as long as
     *  the owner lives. `make` makes the work for an action. */
    using Maker = std::function<std::shared_ptr<VXDeviceWork>(const VXDeviceAction::Ptr &action)>;
    static void offer(QObject *owner, const QString &name, const QString &neededAction, const Maker &make);

protected:
    explicit VXDeviceWork(const VXDeviceAction::Ptr &action) : _whole(action) {}

    virtual void start() = 0;
    const VXDeviceAction::Ptr &whole() const { return _whole; }

    using Then = std::function<void(const VXDeviceAction &part)>;
    /** Has the device do this, and then calls `then`, unless the whole was cancelled meanwhile: then it is concluded. */
    void perform(const QString &name, const QVariant &object, const QString &statusText, const Then &then);
    /** True, when after a failure there is no sense in going on: cancelled, or the phone is gone. */
    bool isOver() const;

private:
    static void offerTo(VXDevicePlugin *device, QObject *owner, const QString &name, const QString &neededAction,
                        const Maker &make);

    const VXDeviceAction::Ptr _whole;
};
