#pragma once

#include <QtCore/QTimer>

#include <deque>
#include <functional>

/**
 * What has arrived from message buses, in the order of arrival: signals, answers, changes of name owners. It is
 * processed in slices of a few milliseconds, and the event loop runs between them, however much a service sends at
 * once. Main thread.
 */
class VXBusInbox
{
public:
    static VXBusInbox &shared();

    /** Has the event loop call it when its turn comes. */
    void add(std::function<void()> news);

private:
    VXBusInbox();
    void deal();

    std::deque<std::function<void()>> _waiting;
    QTimer _turn; // single shot each time, because a repeating timer does not fire in an event loop within its own call
};
