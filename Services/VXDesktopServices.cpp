#include "VXDesktopServices.h"

#include "VXDBusTransport.h"
#include "VXPortalHotKeyService.h"
#include "VXSessionBus.h"
#include "VXX11HotKeyService.h"
#include "VXX11SelectedText.h"

using namespace Qt::StringLiterals;

namespace {

class MissingHotKeyService : public VXHotKeyService
{
public:
    explicit MissingHotKeyService(const QString &problem) : _problem(problem) {}

    QString name() const override { return u"none"_s; }
    QString problem() const override { return _problem; }
    quint32 installListener() override { return VXHotKeyNotConnected; }
    quint32 registerHotKey(const VXHotKeyRequest &, VXHotKeyRef *) override { return VXHotKeyNotConnected; }
    quint32 unregisterHotKey(VXHotKeyRef) override { return VXHotKeyUnknownRef; }

private:
    const QString _problem;
};

} // namespace

std::unique_ptr<VXHotKeyService> VXMakeHotKeyService(VXHotKeyServiceKind kind)
{
    QString portalProblem;
    const bool isWayland = !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (kind == VXHotKeyServiceKind::Portal || (kind == VXHotKeyServiceKind::Automatic && isWayland)) {
        portalProblem = VXProblemOfSessionBus();
        auto portal = portalProblem.isNull() ? std::make_unique<VXPortalHotKeyService>() : nullptr;
        if (portal)
            portalProblem = portal->problem();
        if (portal && (kind == VXHotKeyServiceKind::Portal || portalProblem.isNull()))
            return portal;
    }
    if (kind == VXHotKeyServiceKind::X11 || (kind == VXHotKeyServiceKind::Automatic && !isWayland)) {
        auto x11 = std::make_unique<VXX11HotKeyService>();
        if (x11->problem().isNull())
            return x11;
        return std::make_unique<MissingHotKeyService>(x11->problem());
    }
    // The X server that serves old programs on Wayland sees keys only while one of those is in front.
    return std::make_unique<MissingHotKeyService>(portalProblem);
}

QString VXReadSelectedText(QString *reason)
{
    return VXX11SelectedText(reason); // on Wayland that of the programs which the X server serves there
}

std::unique_ptr<VXScriptingTransport> VXMakeScriptingTransport(std::chrono::milliseconds timeOut)
{
    return std::make_unique<VXDBusTransport>(timeOut);
}
