#include "VXX11SelectedText.h"

#include "VXX11Connection.h"

#include <QtCore/QDeadlineTimer>

#include <poll.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int longestWait = 1000;              // milliseconds
constexpr quint32 longestText = 64 * 1024 / 4; // in units of the property, of four bytes

struct Disconnect
{
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};

xcb_atom_t atomNamed(xcb_connection_t *connection, QByteArrayView name)
{
    const VXX11Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<quint16>(name.size()), name.data()), nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

// The next event, if one comes in time.
VXX11Reply<xcb_generic_event_t> nextEvent(xcb_connection_t *connection, const QDeadlineTimer &deadline)
{
    xcb_flush(connection);
    while (xcb_connection_has_error(connection) == 0) {
        if (VXX11Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection)})
            return event;
        pollfd waited{xcb_get_file_descriptor(connection), POLLIN, 0};
        if (deadline.hasExpired() || ::poll(&waited, 1, static_cast<int>(deadline.remainingTime())) == 0)
            return nullptr;
    }
    return nullptr;
}

enum class Answer { Given, Refused, Silence };

// Has the owner of the selection put it there.
Answer askForSelection(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t type, xcb_atom_t place)
{
    xcb_convert_selection(connection, window, XCB_ATOM_PRIMARY, type, place, XCB_CURRENT_TIME);
    const QDeadlineTimer deadline(longestWait);
    while (const VXX11Reply<xcb_generic_event_t> event = nextEvent(connection, deadline)) {
        if ((event->response_type & 0x7f) != XCB_SELECTION_NOTIFY)
            continue;
        const auto &notify = reinterpret_cast<const xcb_selection_notify_event_t &>(*event);
        return notify.property == XCB_ATOM_NONE ? Answer::Refused : Answer::Given;
    }
    return Answer::Silence;
}

} // namespace

QString VXX11SelectedText(QString *reason)
{
    const std::unique_ptr<xcb_connection_t, Disconnect> owned(xcb_connect(nullptr, nullptr));
    xcb_connection_t *const connection = owned.get();
    if (xcb_connection_has_error(connection) != 0) {
        *reason = u"there is no X display to read the selection from"_s;
        return {};
    }
    const xcb_screen_t *const screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const xcb_window_t window = xcb_generate_id(connection);
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    const xcb_atom_t utf8 = atomNamed(connection, "UTF8_STRING");
    const xcb_atom_t place = atomNamed(connection, "VORNIX_SELECTION");
    Answer answer = askForSelection(connection, window, utf8, place);
    if (answer == Answer::Refused) // by programs of old, which know Latin-1 alone
        answer = askForSelection(connection, window, XCB_ATOM_STRING, place);
    if (answer != Answer::Given) {
        *reason = u"no text is selected"_s;
        return {};
    }
    const VXX11Reply<xcb_get_property_reply_t> value(xcb_get_property_reply(
        connection, xcb_get_property(connection, 1, window, place, XCB_ATOM_ANY, 0, longestText), nullptr));
    const bool isText = value && (value->type == utf8 || value->type == XCB_ATOM_STRING);
    if (!isText || value->bytes_after != 0) {
        *reason = u"what is selected is no text, or too much"_s;
        return {};
    }
    const QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(value.get())),
                               xcb_get_property_value_length(value.get()));
    return value->type == utf8 ? QString::fromUtf8(bytes) : QString::fromLatin1(bytes);
}
