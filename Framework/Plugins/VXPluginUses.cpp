#include "VXPluginUses.h"

#include "VXMainThread.h"

#include <QtCore/QCoreApplication>

#include <chrono>

namespace {

using namespace std::chrono_literals;

constexpr auto longestWait = 5s; // for other threads; then the plugin is unloaded anyway
constexpr auto turn = 5ms;       // interval at which their calls to the main thread are served

} // namespace

class VXPluginUses::Use
{
public:
    Use(std::shared_ptr<Counts> counts, const QString &identifier) : _counts(std::move(counts)), _identifier(identifier)
    {
        const VXMutexLocker locker(_counts->lock);
        ++_counts->uses[_identifier];
    }
    ~Use()
    {
        const VXMutexLocker locker(_counts->lock);
        const auto count = _counts->uses.find(_identifier);
        if (--*count == 0)
            _counts->uses.erase(count);
        _counts->changed.notifyAll();
    }
    Use(const Use &) = delete;
    Use &operator=(const Use &) = delete;

private:
    const std::shared_ptr<Counts> _counts;
    const QString _identifier;
};

VXPluginUses::VXPluginUses() : _counts(std::make_shared<Counts>()) {}

std::shared_ptr<void> VXPluginUses::begin(const QString &identifier)
{
    return VXMainThread::isCurrent() ? nullptr : std::make_shared<Use>(_counts, identifier);
}

// Serves their calls, as the threads may be waiting for the main thread, for example in a reactor that shows an alert.
bool VXPluginUses::waitUntilUnused(const QString &identifier)
{
    Counts &counts = *_counts;
    const auto isUnused = [&]() VX_REQUIRES(counts.lock) { return !counts.uses.contains(identifier); };
    const auto deadline = std::chrono::steady_clock::now() + longestWait;
    while (std::chrono::steady_clock::now() < deadline) {
        {
            const VXMutexLocker locker(counts.lock);
            if (counts.changed.waitFor(counts.lock, turn, isUnused))
                return true;
        }
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    }
    return false;
}
