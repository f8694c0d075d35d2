#include "VXPluginManager.h"

#include "VXApplication.h"
#include "VXContainer.h"
#include "VXMethodLog.h"
#include "VXPluginKind.h"
#include "VXPluginMarker.h"
#include "VXUserDefaults.h"

#include <QtCore/QScopeGuard>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// holds an array of URL strings
const QString openWindowsKey = u"open-windows"_s;

QStringList openWindowsOf(VXPluginProxy &proxy)
{
    constexpr auto selector = "urlStringsForOpenWindows";
    return proxy.respondsToSelector(selector) ? proxy.performSelector(selector).toStringList()
                                              : QStringList(); // none when it throws
}

} // namespace

void VXPluginManager::restoreOpenWindows()
{
    const QStringList urls = VXUserDefaults::standardUserDefaults().stringArrayForKey(openWindowsKey);
    const bool everyPluginIsThere = std::all_of(_proxies.cbegin(), _proxies.cend(), [](const auto &proxy) {
        return proxy->pluginClassType() != VXPluginKind::Interface || proxy->singleton() != nullptr;
    });
    _windowsAtStart = urls;
    _restoresWindows = true;
    const auto restored = qScopeGuard([this] { _restoresWindows = false; });
    for (const QString &url : urls) {
        if (VXApplication::sharedApplication().openURLString(url).isValid())
            continue;
        if (!everyPluginIsThere || !_lastURLProblem.isNull())
            _windowsNotRestored.append(url); // the URL may belong to a missing plugin, and a failed one may be fixed
        QString what = everyPluginIsThere ? u"No plugin knows this window any more: "_s
                                          : u"This window waits for a plugin that is not loaded: "_s;
        if (!_lastURLProblem.isNull())
            what = u"This window cannot be opened again. %1: "_s.arg(_lastURLProblem);
        VXLogMethod(VXLogNotice, "restoreOpenWindows", what + url);
    }
}

void VXPluginManager::finalizeOpenWindowsForQuit()
{
    QStringList urls;
    for (VXPluginProxy *const proxy : interfacePlugins()) {
        if (!proxy->singleton())
            continue; // a plugin that was left out was not at work, and must not be marked
        const VXPluginMarker::Scope mark(*proxy, VXPluginWork::Unloading);
        urls += openWindowsOf(*proxy);
    }
    urls += std::exchange(_windowsNotRestored, {});
    // Another process may have stored its windows meanwhile: change only those that were opened and closed here.
    const auto update = [before = std::exchange(_windowsAtStart, {}), urls](const QVariant &stored) {
        QStringList windows = VXStringListFrom(stored);
        windows.removeIf([&before](const QString &url) { return before.contains(url); });
        windows += urls;
        windows.removeDuplicates();
        return windows.isEmpty() ? QVariant() : QVariant(windows);
    };
    VXUserDefaults::standardUserDefaults().updateObject(openWindowsKey, update);
}
