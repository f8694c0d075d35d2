#include "VXSleepInhibitor.h"

#include <QtCore/QCoreApplication>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusUnixFileDescriptor>

using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 1000; // ms, for each question

QVariant answerTo(const QDBusConnection &bus, const QDBusMessage &question, QString *reason = nullptr)
{
    const QDBusMessage answer = bus.call(question, QDBus::Block, patience);
    if (answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty())
        return answer.arguments().first();
    if (reason != nullptr)
        *reason = answer.errorMessage();
    return {};
}

/** Holds logind's descriptor open. */
class LogindInhibitor : public VXSleepInhibitor
{
public:
    LogindInhibitor(const QDBusUnixFileDescriptor &descriptor, bool isBlocking)
        : _descriptor(descriptor), _isBlocking(isBlocking)
    {
    }

    bool isBlocking() const override { return _isBlocking; }

private:
    const QDBusUnixFileDescriptor _descriptor; // its own copy, closed with it
    const bool _isBlocking;
};

} // namespace

VXSleepInhibitor::~VXSleepInhibitor() = default;

// To block may need more rights than to delay.
std::unique_ptr<VXSleepInhibitor> VXSleepInhibitor::inhibitSleep(const QString &why, QString *reason)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    QString problem = bus.lastError().message();
    for (const bool blocks : {true, false}) {
        if (!bus.isConnected())
            break;
        QDBusMessage question =
            QDBusMessage::createMethodCall(u"org.freedesktop.login1"_s, u"/org/freedesktop/login1"_s,
                                           u"org.freedesktop.login1.Manager"_s, u"Inhibit"_s);
        question.setArguments({u"sleep"_s, QCoreApplication::applicationName(), why, blocks ? u"block"_s : u"delay"_s});
        const auto descriptor = answerTo(bus, question, &problem).value<QDBusUnixFileDescriptor>();
        if (descriptor.isValid())
            return std::make_unique<LogindInhibitor>(descriptor, blocks);
    }
    if (reason != nullptr)
        *reason = problem;
    return nullptr;
}
