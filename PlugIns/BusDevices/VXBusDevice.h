#pragma once

#include "VXBusNames.h"
#include "VXBusQueue.h"
#include "VXDeviceFinding.h"
#include "VXDevicePlugin.h"

#include <vector>

/**
 * A phone that is reached through a service on a message bus: what drivers of that kind have in common. A subclass
 * overrides initWithURL and there, after calling the base, makes its queues, offers its actions and begins to look for
 * its phone. It reports the phone's state with `setState`. Main thread, except for what VXDevicePlugin allows on
 * others.
 */
class VXBusDevice : public VXDevicePlugin
{
    Q_OBJECT
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY connectionDidChange)
    Q_PROPERTY(bool isConnecting READ isConnecting NOTIFY connectionDidChange)

public:
    enum class State { Away, Connecting, Connected };

    ~VXBusDevice() override;

    void pluginWillUnload() override;
    /** Its preference "name", else what the phone calls itself, else its identifier. */
    QString name() const override;
    /** The property "phoneNumber". */
    QString phoneNumber() const override;
    Q_INVOKABLE bool isConnected() const { return _state == State::Connected; }
    Q_INVOKABLE bool isConnecting() const { return _state == State::Connecting; }

    // -- For those who do its work
    /** Shows a property; an invalid value removes it. Nothing is announced if the value is the same. `title` is a key
     *  of the plugin's texts. */
    void show(const QString &key, const QVariant &value, const QString &title, int priority = 0);
    /** Posts an event about this phone. */
    void announce(const QString &event, const QString &subtype, QVariantMap object);
    /** The plugin's text in the user's language, or the key itself if there is none. */
    QString text(const QString &key) const;

Q_SIGNALS:
    void connectionDidChange();

protected:
    VXBusDevice();

    /** Called when something is requested while the phone is away. A subclass tries to reach the phone, and sets
     *  Connecting meanwhile. */
    virtual void reach() = 0;

    /** The text of a preference; the other one if that is empty. */
    QString preference(const QString &key, const QString &otherwise = {}) const;
    /** A queue for a channel of this phone. It is open as long as the phone is connected. */
    VXBusQueue &addQueue(const VXBusService::Ptr &service);
    /** Ends what is in progress, for good. Since that may call the device, a subclass's destructor does this first. */
    void stopQueues();
    /**
     * Sets the state. Connected opens the queues. Away closes them; whatever waits fails with `why`, which the property
     * "problem" shows too, and "remedy" shows its suggestion. Connecting lasts until the limit: then the state is Away
     * because of `why`, or because there was no answer.
     */
    void setState(State state, const VXError &why = {}, std::chrono::milliseconds limit = std::chrono::seconds(20));
    State state() const { return _state; }
    /**
     * For findDevices: does the work on the service, which adds what it finds, and concludes the finding when the work
     * ends. The service is started if its bus knows how; if there is none, `remedy` says what to do.
     */
    void search(const VXDeviceFinding::Ptr &finding, const VXBusService::Ptr &service, const QString &remedy,
                const VXBusQueue::Work &work);
    /** Whether a request is waiting for the phone: then it is worth starting a missing service. */
    bool isAwaited() const;

    /** Has the queue do the work when the action is requested; any thread may request it. */
    void offer(const QString &action, VXBusQueue &queue, const VXBusQueue::Work &work);
    /** Calls on the main thread instead of using a queue. */
    void offer(const QString &action, const std::function<void(const VXDeviceAction::Ptr &action)> &perform);
    /** Offers the action, or takes it back, as the phone turns out to know it or not. */
    void setOffered(const QString &action, bool isOffered, VXBusQueue &queue, const VXBusQueue::Work &work);
    void setOffered(const QString &action, bool isOffered,
                    const std::function<void(const VXDeviceAction::Ptr &action)> &perform);

private:
    void setProblem(const VXError &why);
    void closeQueues(const VXError &why);

    State _state = State::Away;
    VXError _why;
    QTimer _limit; // of connecting
    std::vector<std::unique_ptr<VXBusQueue>> _queues;
    QStringList _offered;                // actions, as the phone has them
    std::unique_ptr<VXBusQueue> _search; // for an instance that finds devices
};
