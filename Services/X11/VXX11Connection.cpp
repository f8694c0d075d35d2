#include "VXX11Connection.h"

using namespace Qt::StringLiterals;

VXX11Connection::VXX11Connection() : _connection(xcb_connect(nullptr, nullptr))
{
    if (xcb_connection_has_error(_connection) != 0) {
        const QString display = qEnvironmentVariable("DISPLAY");
        _problem = display.isEmpty() ? u"there is no X display: DISPLAY is not set"_s
                                     : u"the X display %1 cannot be reached"_s.arg(display);
        return;
    }
    _notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(_connection), QSocketNotifier::Read);
    connect(_notifier.get(), &QSocketNotifier::activated, this, &VXX11Connection::readEvents);
}

VXX11Connection::~VXX11Connection()
{
    xcb_disconnect(_connection);
}

QList<xcb_window_t> VXX11Connection::rootWindows() const
{
    QList<xcb_window_t> windows;
    for (xcb_screen_iterator_t screen = xcb_setup_roots_iterator(setup()); screen.rem > 0; xcb_screen_next(&screen))
        windows.append(screen.data->root);
    return windows;
}

void VXX11Connection::flush()
{
    xcb_flush(_connection);
    QMetaObject::invokeMethod(this, &VXX11Connection::readEvents, Qt::QueuedConnection);
}

void VXX11Connection::readEvents()
{
    if (!isUp())
        return;
    VXX11Reply<xcb_generic_event_t> event(xcb_poll_for_event(_connection));
    while (event) {
        VXX11Reply<xcb_generic_event_t> next(xcb_poll_for_queued_event(_connection));
        Q_EMIT eventArrived(event.get(), next.get());
        event = next ? std::move(next) : VXX11Reply<xcb_generic_event_t>(xcb_poll_for_event(_connection));
    }
    if (xcb_connection_has_error(_connection) == 0)
        return;
    _problem = u"the connection to the X server was lost"_s;
    _notifier.reset();
    Q_EMIT lost();
}
