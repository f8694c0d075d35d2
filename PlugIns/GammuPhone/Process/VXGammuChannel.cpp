#include "VXGammuChannel.h"

#include "VXGammuText.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

// How often the work is checked, and how long each step of ending it may take.
constexpr std::chrono::milliseconds watchInterval{100};
constexpr std::chrono::milliseconds grace{250};
constexpr std::chrono::milliseconds leave{2000};

} // namespace

VXGammuChannel::VXGammuChannel(int input, int output, VXGammuSession &session)
    : _input(input), _output(output), _session(session)
{
    if (::pipe2(_wake, O_CLOEXEC) != 0)
        std::_Exit(1);
    std::thread([this] { run(); }).detach(); // runs until the process ends
}

std::optional<VXGammuChannel::Message> VXGammuChannel::next(std::chrono::milliseconds time)
{
    std::unique_lock lock(_lock);
    const auto hasNews = [this] { return !_messages.empty() || _hasHungUp; };
    if (time.count() < 0)
        _changed.wait(lock, hasNews);
    else
        _changed.wait_for(lock, time, hasNews);
    if (_messages.empty())
        return std::nullopt;
    Message message = std::move(_messages.front());
    _messages.pop_front();
    return message;
}

void VXGammuChannel::beginWork()
{
    _isWorking = true;
    static_cast<void>(::write(_wake[1], "", 1) == 1);
}

void VXGammuChannel::endWork()
{
    _isWorking = false;
    _isCancelled = false;
}

void VXGammuChannel::write(const QByteArray &bytes)
{
    const std::lock_guard lock(_writing);
    for (qsizetype done = 0; done < bytes.size();) {
        const ssize_t count = ::write(_output, bytes.constData() + done, size_t(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            return; // nobody is listening any more: the other thread notices that too
        done += std::max<ssize_t>(count, 0);
    }
}

void VXGammuChannel::giveUp(const VXGammuFailure &failure)
{
    send(VXGammuProtocol::Lost{.failure = failure});
    std::_Exit(0);
}

// -- The thread

void VXGammuChannel::run()
{
    for (;;) {
        std::array<pollfd, 2> waited{pollfd{_wake[0], POLLIN, 0}, pollfd{_hasHungUp ? -1 : _input, POLLIN, 0}};
        ::poll(waited.data(), waited.size(), _isWorking || _hasHungUp ? int(watchInterval.count()) : -1);
        std::array<char, 16> bytes{};
        if ((waited[0].revents & POLLIN) != 0)
            static_cast<void>(::read(_wake[0], bytes.data(), bytes.size()) < 0);
        if (waited[1].revents != 0 && !takeIn()) {
            const std::lock_guard lock(_lock);
            _hasHungUp = true;
            _changed.notify_all();
        }
        watch();
    }
}

// False if nothing more will arrive.
bool VXGammuChannel::takeIn()
{
    QByteArray bytes(65536, Qt::Uninitialized);
    const ssize_t count = ::read(_input, bytes.data(), size_t(bytes.size()));
    if (count <= 0)
        return count < 0 && errno == EINTR;
    _frames.add(bytes.first(count));
    while (const auto array = _frames.next())
        take(*array);
    return !_frames.isDamaged();
}

void VXGammuChannel::take(const QCborArray &array)
{
    using namespace VXGammuProtocol;
    if (decode<Cancel>(array)) {
        _isCancelled = _isWorking.load();
        return;
    }
    std::optional<Message> message;
    if (auto configure = decode<Configure>(array))
        message = *configure;
    else if (auto request = decode<Request>(array))
        message = *request;
    if (!message)
        return;
    const std::lock_guard lock(_lock);
    _messages.push_back(std::move(*message));
    _changed.notify_all();
}

// What makes work pointless; ERR_NONE if nothing does.
GSM_Error VXGammuChannel::obstacle() const
{
    if (_hasHungUp)
        return ERR_ABORTED;
    if (!_isWorking)
        return ERR_NONE;
    return _isCancelled ? ERR_ABORTED : _session.obstacle();
}

void VXGammuChannel::watch()
{
    const GSM_Error reason = obstacle();
    if (reason == ERR_NONE)
        return _vainSince.reset();
    const Clock::time_point now = Clock::now();
    if (!_vainSince)
        _vainSince = now;
    const auto time = now - *_vainSince;
    // When no answer is wanted any more, the work gets a moment to end by itself; saying goodbye to a phone takes some
    // answers.
    if (reason != ERR_ABORTED || time > (_isWorking ? grace : leave))
        _session.abort(reason);
    if (time > (_isWorking ? 2 * grace : leave + grace))
        giveUp(VXGammuTrouble(QStringLiteral("The phone could not be reached: %1"), reason));
}
