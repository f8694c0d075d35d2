#pragma once

#include <QtCore/QObject>
#include <QtCore/QSocketNotifier>
#include <QtCore/QString>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

/** What libxcb hands out, to be freed by the caller. */
struct VXFree
{
    void operator()(void *memory) const { std::free(memory); }
};
template <class T>
using VXX11Reply = std::unique_ptr<T, VXFree>;

/** A connection to the X server of DISPLAY, whose events arrive by the event loop. Main thread only. */
class VXX11Connection : public QObject
{
    Q_OBJECT

public:
    VXX11Connection();
    ~VXX11Connection() override;

    /** Why there is none; null while it is up. */
    QString problem() const { return _problem; }
    bool isUp() const { return _problem.isNull(); }

    xcb_connection_t *get() const { return _connection; }
    const xcb_setup_t *setup() const { return xcb_get_setup(_connection); }
    /** Of every screen. */
    QList<xcb_window_t> rootWindows() const;

    /** Sends what is kept back, and sees to events that came in while an answer was waited for. */
    void flush();

Q_SIGNALS:
    /** Each event once, in order. `next` is the one behind it when that has arrived already, else nullptr. */
    void eventArrived(const xcb_generic_event_t *event, const xcb_generic_event_t *next);
    void lost();

private:
    void readEvents();

    xcb_connection_t *const _connection;
    QString _problem;
    std::unique_ptr<QSocketNotifier> _notifier;
};
