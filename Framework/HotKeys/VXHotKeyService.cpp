#include "VXHotKeyService.h"

using namespace Qt::StringLiterals;

namespace {

class UnattendedHotKeyService : public VXHotKeyService
{
public:
    QString name() const override { return u"none"_s; }
    QString problem() const override { return u"this program does not listen for hot keys"_s; }
    quint32 installListener() override { return VXHotKeyDone; }
    quint32 registerHotKey(const VXHotKeyRequest &, VXHotKeyRef *ref) override
    {
        *ref = ++_lastRef;
        return VXHotKeyDone;
    }
    quint32 unregisterHotKey(VXHotKeyRef) override { return VXHotKeyDone; }

private:
    VXHotKeyRef _lastRef = 0;
};

} // namespace

VXHotKeyService::VXHotKeyService() = default;

VXHotKeyService::~VXHotKeyService() = default;

std::unique_ptr<VXHotKeyService> VXHotKeyService::unattendedService()
{
    return std::make_unique<UnattendedHotKeyService>();
}
