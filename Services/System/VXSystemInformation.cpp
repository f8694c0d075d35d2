#include "VXSystemInformation.h"

#include "VXSessionBus.h"
#include "VXX11Connection.h"

#include <QtCore/QCoreApplication>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusUnixFileDescriptor>

#include <xcb/screensaver.h>

using namespace Qt::StringLiterals;

using std::chrono::milliseconds;

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

std::optional<milliseconds> idleTimeOfMonitor()
{
    if (!VXProblemOfSessionBus().isNull())
        return std::nullopt;
    const QVariant answer = answerTo(
        QDBusConnection::sessionBus(),
        QDBusMessage::createMethodCall(u"org.gnome.Mutter.IdleMonitor"_s, u"/org/gnome/Mutter/IdleMonitor/Core"_s,
                                       u"org.gnome.Mutter.IdleMonitor"_s, u"GetIdletime"_s));
    return answer.isValid() ? std::optional(milliseconds(answer.toLongLong())) : std::nullopt;
}

std::optional<milliseconds> idleTimeOfXServer()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return std::nullopt;
    const VXX11Connection connection;
    if (!connection.isUp() || connection.rootWindows().isEmpty())
        return std::nullopt;
    const xcb_query_extension_reply_t *const extension = xcb_get_extension_data(connection.get(), &xcb_screensaver_id);
    if (extension == nullptr || extension->present == 0)
        return std::nullopt;
    const xcb_screensaver_query_info_cookie_t cookie =
        xcb_screensaver_query_info(connection.get(), connection.rootWindows().first());
    const VXX11Reply<xcb_screensaver_query_info_reply_t> info(
        xcb_screensaver_query_info_reply(connection.get(), cookie, nullptr));
    return info ? std::optional(milliseconds(info->ms_since_user_input)) : std::nullopt;
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

std::optional<milliseconds> VXIdleTime()
{
    const auto told = idleTimeOfMonitor();
    return told ? told : idleTimeOfXServer();
}

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
