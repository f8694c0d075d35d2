#include "VXScriptingTransport.h"

#include "VXMutex.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

class MissingTransport : public VXScriptingTransport
{
public:
    qint32 sendMessage(const VXEventDescriptor &, VXEventDescriptor *, qint32, qint32) override
    {
        return VXScriptingConnectionInvalid;
    }
    QString problem() override { return u"this program has no connection to others"_s; }
    qint64 pidForApplicationWithIdentifier(const QString &) override { return 0; }
    QStringList runningIdentifiers(const QString &) override { return {}; }
};

struct Shared
{
    VXMutex lock;
    VXScriptingTransport::Maker maker VX_GUARDED_BY(lock);
    std::shared_ptr<VXScriptingTransport> transport VX_GUARDED_BY(lock);
};

// Never freed: other threads may send events until the very end.
Shared &shared()
{
    static auto *const made = new Shared;
    return *made;
}

} // namespace

VXScriptingTransport::VXScriptingTransport() = default;
VXScriptingTransport::~VXScriptingTransport() = default;

void VXScriptingTransport::setMaker(Maker maker)
{
    std::shared_ptr<VXScriptingTransport> former; // destroyed after the lock is released
    const VXMutexLocker lock(shared().lock);
    shared().maker = std::move(maker);
    former = std::exchange(shared().transport, nullptr);
}

std::shared_ptr<VXScriptingTransport> VXScriptingTransport::sharedTransport()
{
    Maker maker;
    {
        const VXMutexLocker lock(shared().lock);
        if (shared().transport)
            return shared().transport;
        maker = shared().maker;
    }
    std::shared_ptr<VXScriptingTransport> made = maker ? maker() : nullptr;
    if (!made)
        made = std::make_shared<MissingTransport>();
    const VXMutexLocker lock(shared().lock);
    if (!shared().transport) // another thread may have made it meanwhile
        shared().transport = made;
    return shared().transport;
}
