#include "VXGammuJob.h"

#include "VXGammuChannel.h"
#include "VXGammuProtocol.h"

bool VXGammuJob::isCancelled() const
{
    return _channel.isCancelled();
}

void VXGammuJob::expect(int steps)
{
    _expected += steps;
    _channel.send(VXGammuProtocol::Expect{.maximum = _expected});
}

void VXGammuJob::step()
{
    _channel.send(VXGammuProtocol::Step{});
}

void VXGammuJob::addItem(const QVariantMap &item)
{
    _channel.send(VXGammuProtocol::Item{.value = item});
}
