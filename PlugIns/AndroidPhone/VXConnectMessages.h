#pragma once

#include "VXBusDevice.h"
#include "VXConnectMessage.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QSet>

/**
 * The messages of a phone, taken from the daemon's conversations: reads their whole history, sends, and announces
 * incoming messages. The daemon uses the same signals for its answers and for new messages, so a message counts as new
 * if it is newer than everything that was there when the phone was connected. Main thread.
 */
class VXConnectMessages : public QObject
{
    Q_OBJECT

public:
    /** Both must outlive this object. */
    VXConnectMessages(VXBusDevice &device, VXBusQueue &queue);

    /** Sets which phone it is; null means none. */
    void setPhone(const QString &deviceID);
    /** To be called after each connection: phones report new messages only after they were asked for messages. */
    void survey();

    // -- Work of actions
    void read(VXBusErrand &errand);
    void send(VXBusErrand &errand);

private:
    using Heard = std::function<void(const VXConnectMessage &message)>;
    struct Reading;
    struct Sending;
    /** Dates of the newest messages. Those that are dated ahead count by themselves: one of them, however wrong, hides no other. */
    struct Newest
    {
        qint64 usual = 0;
        qint64 ahead = 0; // of our clock

        void note(qint64 date);
        bool isBefore(qint64 date) const;
    };

    /** Passes on messages during this step. */
    void listen(VXBusErrand &errand, const Heard &heard);
    void dropHeard();
    void askForThreads(VXBusErrand &errand, const std::function<void()> &then);
    void askForNewest(VXBusErrand &errand, const std::function<void()> &then);
    /** Told how many messages the daemon has of a conversation. */
    using Loaded = std::function<void(qint64 thread, qulonglong count)>;
    void beginReading(VXBusErrand &errand, const std::shared_ptr<Reading> &reading, const QString &what,
                      std::chrono::milliseconds limit, const Loaded &loaded = {});
    void readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void awaitMore(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    void readLoaded(VXBusErrand &errand, const std::shared_ptr<Reading> &reading, qulonglong count);
    void finishThread(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
    bool handOver(VXBusErrand &errand, Reading &reading, const std::function<void()> &next = {}) const;
    void finish(VXBusErrand &errand, const std::shared_ptr<Reading> &reading) const;
    static QVariantList recordsOf(QList<VXConnectMessage> messages, const QString &deviceURL);
    void sendNow(VXBusErrand &errand, const std::shared_ptr<Sending> &sending);
    void follow(VXBusErrand &errand, const std::shared_ptr<Sending> &sending, const VXConnectMessage &message);
    void take(const VXConnectMessage &message);

    VXBusDevice &_device;
    VXBusQueue &_queue;
    QString _phone;
    std::optional<Newest> _watermark; // of the messages there were; none before the first survey
    Newest _newest;                   // of any message
    QSet<VXConnectMessage::Key> _told;
    Heard _heard;                     // null for none
    QPointer<VXBusErrand> _listening; // the errand that is listening
};
