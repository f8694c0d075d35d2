#pragma once

#include <QtCore/QTimer>

#include <deque>
#include <functional>

/**
 * What came from message buses, in the order in which it came: signals, answers, names that changed hands. It is dealt with in
 * slices of a few milliseconds, and the event loop comes round between them, however much a service tells at once. Main thread.
 */
class VXBusInbox
{
public:
    static VXBusInbox &shared();

    /** Calls it when its turn has come, by the event loop. */
    void add(std::function<void()> news);

private:
    VXBusInbox();
    void deal();

    std::deque<std::function<void()>> _waiting;
    QTimer _turn; // once each, as one that repeats keeps quiet in an event loop within its own call
};
