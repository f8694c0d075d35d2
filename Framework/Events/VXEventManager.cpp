#include "VXEventManager.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXEventHistory.h"
#include "VXEventRun.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXPluginManager.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QScopeGuard>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;

const VXNotificationName VXEventManagerWillPostEventNotification(u"VXEventManagerWillPostEvent"_s);
const QString VXSingletonEventTimeoutDelayDefaultKey = u"ui.reactor_timeout"_s;

namespace {

constexpr const char *operation = "postEventWithName:subtype:object:";
const QString triggersStore = u"triggers"_s;

QVariantMap postedEvents(const VXBundle &bundle)
{
    return bundle.infoDictionary().value(u"VXPostsEvents"_s).toMap();
}

// What stands for the object in a trace.
const void *addressOf(const QVariant &object)
{
    if (object.metaType().flags().testFlag(QMetaType::PointerToQObject))
        return object.value<QObject *>();
    if (object.metaType() == QMetaType::fromType<VXManagedObjectPtr>())
        return object.value<VXManagedObjectPtr>().get();
    return object.isValid() ? object.constData() : nullptr;
}

QString addressText(const QVariant &object)
{
    return "0x"_L1 + QString::number(quintptr(addressOf(object)), 16);
}

} // namespace

VXEventManager &VXEventManager::sharedEventManager()
{
    static auto *const manager = new VXEventManager;
    return *manager;
}

void VXEventManager::postEventWithName(const QString &name, const QString &subtype, const QVariant &object)
{
    if (!VXEventHistory::isOn()) {
        post(name, subtype, object, nullptr);
        return;
    }
    VXEventRecord record;
    const auto keep = qScopeGuard([&] { keepRecord(record); });
    post(name, subtype, object, &record);
}

VXEventRecord VXEventManager::recordByPostingEventWithName(const QString &name, const QString &subtype,
                                                           const QVariant &object)
{
    VXEventRecord record;
    const auto keep = qScopeGuard([&] {
        if (VXEventHistory::isOn())
            keepRecord(record);
    });
    post(name, subtype, object, &record);
    return record;
}

void VXEventManager::post(const QString &name, const QString &subtype, const QVariant &object, VXEventRecord *record)
{
    VXAssert(!name.isNull(), u"an event must have a name"_s);
    if (VXApplication::sharedApplication().isTerminating()) {
        VXTraceMethod(VXDebugCategory::EVNT(), operation, u"%1 ignored while quitting"_s.arg(name));
        return;
    }
    const auto start = std::chrono::steady_clock::now();
    const auto stop = qScopeGuard([&] {
        using Milliseconds = std::chrono::duration<double, std::milli>;
        if (record != nullptr)
            record->milliseconds = Milliseconds(std::chrono::steady_clock::now() - start).count();
    });
    if (record != nullptr) {
        *record = {.date = QDateTime::currentDateTimeUtc(),
                   .process = QCoreApplication::applicationPid(),
                   .name = name,
                   .subtype = subtype};
        record->setObject(object);
    }
    VXTraceMethod(VXDebugCategory::EVNT(), operation,
                  u"%1::%2(%3)"_s.arg(name, subtype.isNull() ? u""_s : subtype, addressText(object)));
    announce(name, subtype, object);
    QString problem;
    if (const VXPersistentStoreCoordinator::Ptr triggers = triggersCoordinator(&problem))
        VXEventRun(*this, name, subtype, object, record).runTriggers(triggers);
    else if (record != nullptr)
        record->problem = problem;
}

// Observers are code of plugins too: one that throws shall not keep the triggers from running.
void VXEventManager::announce(const QString &name, const QString &subtype, const QVariant &object) const
{
    QVariantMap userInfo{{u"event_name"_s, name}};
    if (!subtype.isNull())
        userInfo.insert(u"event_message"_s, subtype);
    try {
        VXNotificationCenter::defaultCenter().postNotificationName(VXEventManagerWillPostEventNotification, object,
                                                                   userInfo);
    } catch (...) {
        VXLogMethod(VXLogError, operation,
                    u"An observer of the event %1 threw %2"_s.arg(name, VXDescribeThrown().description));
    }
}

VXPersistentStoreCoordinator::Ptr VXEventManager::triggersCoordinator(QString *problem)
{
    if (!_hasTriggersStore) {
        bool isThere = false; // asked on the main thread, to which plugins belong
        const bool isAsked = VXMainThread::performAndWait([&] {
            isThere = !VXPluginManager::sharedPluginManager()
                           .pluginsWithInfoDictionaryKey(u"VXDataStoreName"_s, triggersStore)
                           .isEmpty();
        });
        if (!isAsked || !isThere) {
            if (!_saidThatStoreIsMissing.exchange(true))
                VXLogMethod(
                    VXLogWarning, operation,
                    u"No enabled plugin has the store \"triggers\": events are announced, and no trigger runs"_s);
            return nullptr;
        }
    }
    VXPersistentStoreCoordinator::Ptr coordinator =
        VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(triggersStore);
    _hasTriggersStore = coordinator != nullptr; // handed out once, it stays
    if (!coordinator)
        *problem = u"The store \"triggers\" cannot be used; the log tells why."_s;
    return coordinator;
}

void VXEventManager::keepRecord(VXEventRecord &record)
{
    if (record.name.isNull()) // it was not posted
        return;
    VXError error;
    if (!VXEventHistory::sharedEventHistory().append(record, &error) && !_saidThatHistoryFails.exchange(true))
        VXLogMethod(VXLogWarning, operation, error.description());
}

// -- The catalogue

QList<VXBundle::Ptr> VXEventManager::_eventPostingBundles() const
{
    QList<VXBundle::Ptr> bundles{VXFrameworkBundle(), VXBundle::mainBundle()};
    for (const VXPluginProxy *const plugin : VXPluginManager::sharedPluginManager().eventPostingPlugins())
        bundles.append(plugin->bundle());
    return bundles;
}

QVariantMap VXEventManager::events() const
{
    QVariantMap events;
    for (const VXBundle::Ptr &bundle : _eventPostingBundles())
        events.insert(postedEvents(*bundle));
    return events;
}

VXBundle::Ptr VXEventManager::bundleForEventName(const QString &name) const
{
    const QList<VXBundle::Ptr> bundles = _eventPostingBundles();
    const auto found = std::ranges::find_if(
        bundles, [&](const VXBundle::Ptr &bundle) { return postedEvents(*bundle).contains(name); });
    return found == bundles.end() ? nullptr : *found;
}

QString VXEventManager::localizedNameForEventName(const QString &name) const
{
    const VXBundle::Ptr bundle = bundleForEventName(name);
    return bundle ? bundle->localizedStringForKey(name, name, u"Event"_s) : QString();
}

VXPluginProxy *VXEventManager::pluginForEventName(const QString &name) const
{
    const QList<VXPluginProxy *> plugins = VXPluginManager::sharedPluginManager().eventPostingPlugins();
    const auto found = std::ranges::find_if(
        plugins, [&](const VXPluginProxy *plugin) { return postedEvents(*plugin->bundle()).contains(name); });
    return found == plugins.end() ? nullptr : *found;
}
