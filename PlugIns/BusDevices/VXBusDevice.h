#pragma once

#include "VXBusQueue.h"
#include "VXDeviceFinding.h"
#include "VXDevicePlugin.h"

#include <vector>

/**
 * A phone that is reached through a service on a message bus: what drivers of that kind have in common. A subclass makes its
 * queues, offers its actions and begins to look for its phone in an overridden initWithURL, after the base's; it says by
 * `setState` how it stands with the phone. Main thread, but for what VXDevicePlugin allows to others.
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
    /** What its preference "name" says, else what the phone calls itself, else its identifier. */
    QString name() const override;
    /** The property "phoneNumber". */
    QString phoneNumber() const override;
    Q_INVOKABLE bool isConnected() const { return _state == State::Connected; }
    Q_INVOKABLE bool isConnecting() const { return _state == State::Connecting; }

    // -- For those who do its work
    /** Shows a property; none removes it. Nothing is announced where it is the same. `title` is a key of the plugin's texts. */
    void show(const QString &key, const QVariant &value, const QString &title, int priority = 0);
    /** Posts an event about this phone. */
    void announce(const QString &event, const QString &subtype, QVariantMap object);
    /** The plugin's text in the user's language; the key itself when there is none. */
    QString text(const QString &key) const;

Q_SIGNALS:
    void connectionDidChange();

protected:
    VXBusDevice();

    /** Called when something is asked while the phone is away: a subclass tries to reach it, and says Connecting while it does. */
    virtual void reach() = 0;

    /** A queue for a channel of this phone. It is open while the phone is connected. */
    VXBusQueue &addQueue(const VXBusService::Ptr &service);
    /** Ends what is done, for good: what ends may call its device, so a subclass's destructor does it first. */
    void stopQueues();
    /**
     * How it stands. Connected opens the queues. Away closes them; what waits fails with `why`, which the property "problem"
     * shows too, and "remedy" its suggestion. Connecting lasts as long as said: then it is Away for `why`, or because nothing came.
     */
    void setState(State state, const VXError &why = {}, std::chrono::milliseconds limit = std::chrono::seconds(20));
    State state() const { return _state; }
    /**
     * For findDevices: does the work, which adds what it finds, on the service, and concludes the finding when it ends. The service
     * is started where its bus knows how; when there is none, `remedy` says what to do.
     */
    void search(const VXDeviceFinding::Ptr &finding, const VXBusService::Ptr &service, const QString &remedy,
                const VXBusQueue::Work &work);
    /** Whether something was asked and waits for the phone: then a service that is not there is worth starting. */
    bool isAwaited() const;

    /** Has the queue do the work when the action is asked for; any thread may ask. */
    void offer(const QString &action, VXBusQueue &queue, const VXBusQueue::Work &work);
    /** Calls on the main thread, in place of a queue. */
    void offer(const QString &action, const std::function<void(const VXDeviceAction::Ptr &action)> &perform);
    /** The phone does not know the action after all. */
    void withdraw(const QString &action) { unregisterActionHandler(action, this); }

private:
    void setProblem(const VXError &why);
    void closeQueues(const VXError &why);

    State _state = State::Away;
    VXError _why;
    QTimer _limit; // of connecting
    std::vector<std::unique_ptr<VXBusQueue>> _queues;
    std::unique_ptr<VXBusQueue> _search; // of an instance that finds devices
};
