#include "VXDevicePopup.h"

#include "VXDevicePlugin.h"
#include "VXDeviceTransformer.h"
#include "VXDiagnostics.h"
#include "VXFramework.h"
#include "VXInvocation.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"

#include <QtCore/QPointer>
#include <QtCore/QScopedValueRollback>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

bool isConnected(VXDevicePlugin &device)
{
    bool answer = false;
    VXCallPlugin(device, "isConnected",
                 [&] { answer = VXInvocation::withMethod(&device, "isConnected").invoke().value_or(false).toBool(); });
    return answer;
}

} // namespace

VXDevicePopup::VXDevicePopup(QObject *parent) : QObject(parent)
{
    rebuild();
}

VXDevicePopup::~VXDevicePopup() = default;

void VXDevicePopup::setInWindow(bool flag)
{
    if (std::exchange(_isInWindow, flag) == flag)
        return;
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    if (!flag)
        return center.removeObserver(this);
    // The notification is posted under the registry's lock, perhaps on another thread, which must not wait for this
    // one.
    const auto follow = [popup = QPointer(this)](const VXNotification &) {
        VXMainThread::perform([popup] {
            if (popup)
                popup->rebuildWhenChanged();
        });
    };
    center.addObserver(this, VXDevicePluginDidAddDeviceNotification, follow);
    center.addObserver(this, VXDevicePluginDidRemoveDeviceNotification, follow);
    rebuild();
}

void VXDevicePopup::rebuildWhenChanged()
{
    if (_isInWindow && !_isRebuilding)
        rebuild();
}

void VXDevicePopup::rebuild()
{
    QList<Item> items;
    {
        const QScopedValueRollback rebuilding(_isRebuilding, true);
        items = makeItems();
    }
    if (std::exchange(_items, items) != _items)
        Q_EMIT itemsDidChange();
    if (!shows(_selectedURL))
        select(replacementForSelection(), !_selectedURL.isEmpty());
}

QList<VXDevicePopup::Item> VXDevicePopup::makeItems() const
{
    const VXDeviceNameAtURL naming;
    QList<Item> items;
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()))
        items.append({naming.transformedValue(url).toString(), url});
    std::stable_sort(items.begin(), items.end(),
                     [](const Item &a, const Item &b) { return QString::localeAwareCompare(a.title, b.title) < 0; });
    if (items.isEmpty())
        items.append({VXLocalizedString(u"Add a phone..."_s), QUrl()});
    return items;
}

bool VXDevicePopup::shows(const QUrl &url) const
{
    return !url.isEmpty() &&
           std::any_of(_items.cbegin(), _items.cend(), [&url](const Item &item) { return item.url == url; });
}

QUrl VXDevicePopup::replacementForSelection() const
{
    for (const Item &item : _items) {
        const VXDevicePlugin::Ptr device = item.url.isEmpty() ? nullptr : VXDevicePlugin::deviceAtURL(item.url);
        if (device && isConnected(*device))
            return item.url;
    }
    return _items.first().url;
}

void VXDevicePopup::setSelectedURL(const QUrl &url)
{
    if (shows(url))
        select(url, true);
}

void VXDevicePopup::select(const QUrl &url, bool store)
{
    if (store && !_defaultsKey.isNull())
        VXDevicePlugin::setDefaultDeviceURL(url, _defaultsKey);
    if (std::exchange(_selectedURL, url) != url)
        Q_EMIT selectionDidChange();
}

void VXDevicePopup::setDefaultsKey(const QString &key)
{
    _defaultsKey = key;
    const VXDevicePlugin::Ptr device = key.isNull() ? nullptr : VXDevicePlugin::defaultDeviceForKey(key);
    if (device)
        setSelectedURL(device->url());
}

void VXDevicePopup::activateItem(const Item &item)
{
    if (item.url.isEmpty())
        addPhone();
    else
        setSelectedURL(item.url);
}

void VXDevicePopup::addPhone()
{
    VXPluginProxy *const plugin =
        VXPluginManager::sharedPluginManager().pluginWithIdentifier(u"com.halvern.VNX2.BTPhonePluginPreferences"_s);
    if (plugin != nullptr && plugin->isEnabled())
        plugin->performSelector("runModalSetup");
    else
        VXLogMethod(VXLogWarning, "addPhone:",
                    "plugin not enabled: "_L1 + VXDescription(plugin == nullptr ? QString() : plugin->description()));
}
