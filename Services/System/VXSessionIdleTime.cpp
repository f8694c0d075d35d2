#include "VXSessionIdleTime.h"

#include "VXSessionBus.h"
#include "VXX11Connection.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>

#include <memory>

#include <xcb/screensaver.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int patience = 250; // ms
constexpr double perSecond = 1000.0;

struct Disconnect
{
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};

// A connection for one question, which belongs to no thread.
std::optional<double> idleByX11()
{
    int screen = 0;
    const std::unique_ptr<xcb_connection_t, Disconnect> connection(xcb_connect(nullptr, &screen));
    if (xcb_connection_has_error(connection.get()) != 0)
        return std::nullopt;
    const xcb_query_extension_reply_t *const extension = xcb_get_extension_data(connection.get(), &xcb_screensaver_id);
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    if (extension == nullptr || extension->present == 0 || screens.rem == 0)
        return std::nullopt;
    const auto question = xcb_screensaver_query_info(connection.get(), screens.data->root);
    const VXX11Reply<xcb_screensaver_query_info_reply_t> answer(
        xcb_screensaver_query_info_reply(connection.get(), question, nullptr));
    return answer ? std::optional(answer->ms_since_user_input / perSecond) : std::nullopt;
}

std::optional<double> idleByShell()
{
    if (!VXProblemOfSessionBus().isNull())
        return std::nullopt;
    const QDBusMessage question =
        QDBusMessage::createMethodCall(u"org.gnome.Mutter.IdleMonitor"_s, u"/org/gnome/Mutter/IdleMonitor/Core"_s,
                                       u"org.gnome.Mutter.IdleMonitor"_s, u"GetIdletime"_s);
    const QDBusMessage answer = QDBusConnection::sessionBus().call(question, QDBus::Block, patience);
    bool isNumber = false;
    const qulonglong milliseconds = answer.arguments().value(0).toULongLong(&isNumber);
    if (answer.type() != QDBusMessage::ReplyMessage || !isNumber)
        return std::nullopt;
    return static_cast<double>(milliseconds) / perSecond;
}

} // namespace

// The X server that serves old programs on Wayland knows only of their input.
std::optional<double> VXSessionIdleTime()
{
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return idleByShell();
    return qEnvironmentVariableIsEmpty("DISPLAY") ? std::nullopt : idleByX11();
}
