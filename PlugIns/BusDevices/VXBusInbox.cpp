#include "VXBusInbox.h"

#include <QtCore/QDeadlineTimer>

using namespace std::chrono_literals;

namespace {

constexpr auto slice = 3ms; // each driver has its own

} // namespace

VXBusInbox &VXBusInbox::shared()
{
    static auto *const inbox = new VXBusInbox; // used on the main thread only
    return *inbox;
}

VXBusInbox::VXBusInbox()
{
    _turn.setSingleShot(true);
    QObject::connect(&_turn, &QTimer::timeout, &_turn, [this] { deal(); });
}

void VXBusInbox::add(std::function<void()> news)
{
    _waiting.push_back(std::move(news));
    if (!_turn.isActive())
        _turn.start(0);
}

void VXBusInbox::deal()
{
    const QDeadlineTimer end(slice);
    while (!_waiting.empty() && !end.hasExpired()) {
        const std::function<void()> news = std::move(_waiting.front());
        _waiting.pop_front();
        if (!_waiting.empty() && !_turn.isActive()) // even while an event loop runs within the call
            _turn.start(0);
        news();
    }
    if (_waiting.empty())
        _turn.stop();
}
