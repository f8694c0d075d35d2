#pragma once

#include "VXBusDevice.h"
#include "VXConnectMessage.h"

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

    /** Passes on messages during this step. */
    void listen(VXBusErrand &errand, const Heard &heard);
    void dropHeard();
    void askForThreads(VXBusErrand &errand, const std::function<void()> &then);
    void askForNewest(VXBusErrand &errand, const std::function<void()> &then);
    void readNext(VXBusErrand &errand, const std::shared_ptr<Reading> &reading);
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
    std::optional<qint64> _watermark; // the newest message that existed at the first survey; none before it
    qint64 _newest = 0;               // date of any message
    QSet<VXConnectMessage::Key> _told;
    Heard _heard;                     // null for none
    QPointer<VXBusErrand> _listening; // the errand that is listening
};
