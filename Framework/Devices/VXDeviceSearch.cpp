#include "VXDeviceSearch.h"

#include "VXDevicePort.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"

#include <QtCore/QFileInfo>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// A device file may have several names, such as /dev/serial/by-id/...
QString canonicalPort(const QString &port)
{
    const QString canonical = QFileInfo(port).canonicalFilePath();
    return canonical.isEmpty() ? port : canonical;
}

// The programs through which the phone at this port is already reached.
QStringList holdersOf(const QString &port, const QList<VXFoundDevice> &all)
{
    QStringList holders;
    for (const VXFoundDevice &other : all) {
        const bool isSame = std::ranges::any_of(
            other.ports, [&](const QString &each) { return canonicalPort(each) == canonicalPort(port); });
        if (isSame && !other.holder.isNull() && !holders.contains(other.holder))
            holders.append(other.holder);
    }
    return holders;
}

void tellWhoHoldsThePort(VXFoundDevice &device, const QList<VXFoundDevice> &all)
{
    for (const QString &port : std::as_const(device.ports)) {
        if (!device.holder.isNull() || !device.problem.isNull())
            return;
        const QStringList holders = holdersOf(port, all);
        device.problem = holders.isEmpty() ? VXProblemOfPort(port) : VXPortIsHeldError(port, holders);
    }
}

} // namespace

VXDeviceSearch::VXDeviceSearch() = default;

VXDeviceSearch::~VXDeviceSearch()
{
    stop();
}

void VXDeviceSearch::start()
{
    QStringList plugins;
    for (const VXPluginProxy *const plugin : VXPluginManager::sharedPluginManager().allPlugins()) {
        if (plugin->isLoaded() && plugin->pluginClassType() == VXPluginKind::Device)
            plugins.append(plugin->identifier());
    }
    plugins.sort();
    for (const QString &plugin : std::as_const(plugins))
        ask(plugin);
    _isStarted = true;
    didConclude();
}

void VXDeviceSearch::ask(const QString &plugin)
{
    VXPluginProxy *const proxy = VXPluginManager::sharedPluginManager().pluginWithIdentifier(plugin);
    const auto finding = std::make_shared<VXDeviceFinding>();
    connect(finding.get(), &VXDeviceFinding::didConclude, this, &VXDeviceSearch::didConclude, Qt::QueuedConnection);
    auto instance = proxy->instantiateWithSelector("findDevices", QVariant::fromValue(finding));
    if (!instance) { // it threw, which was logged
        finding->setProblem(VXMakeError(VXLocalizedString(u"The plugin could not look for phones."_s)));
        finding->conclude();
    }
    _asked.push_back({plugin, finding, instance});
}

bool VXDeviceSearch::isDone() const
{
    return std::ranges::all_of(_asked, [](const Asked &asked) { return asked.finding->isConcluded(); });
}

void VXDeviceSearch::didConclude()
{
    for (Asked &asked : _asked) {
        if (asked.finding->isConcluded())
            letGo(asked);
    }
    if (_isStarted && isDone() && !std::exchange(_hasEnded, true))
        Q_EMIT didEnd();
}

void VXDeviceSearch::letGo(Asked &asked)
{
    if (!asked.instance)
        return;
    if (VXPluginProxy *const plugin = VXPluginManager::sharedPluginManager().pluginWithIdentifier(asked.plugin))
        plugin->removeInstance(asked.instance.get());
    asked.instance.reset();
}

void VXDeviceSearch::stop()
{
    for (Asked &asked : _asked) {
        if (!asked.finding->isConcluded()) {
            asked.finding->setProblem(VXMakeError(VXLocalizedString(u"The plugin has not answered in time."_s)));
            asked.finding->conclude();
        }
        letGo(asked);
    }
}

QList<VXFoundDevice> VXDeviceSearch::devices() const
{
    QList<VXFoundDevice> all;
    for (const Asked &asked : _asked) {
        for (VXFoundDevice device : asked.finding->devices()) {
            device.plugin = asked.plugin;
            all.append(device);
        }
    }
    for (VXFoundDevice &device : all)
        tellWhoHoldsThePort(device, all);
    return all;
}

QList<VXDeviceSearch::Problem> VXDeviceSearch::problems() const
{
    QList<Problem> problems;
    for (const Asked &asked : _asked) {
        if (const VXError error = asked.finding->problem(); !error.isNull())
            problems.append({asked.plugin, error});
    }
    return problems;
}
