#include "VXEventManager.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXEventHistory.h"
#include "VXEventRun.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXOpenEvent.h"
#include "VXPluginManager.h"
#include "VXTrigger.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QPointer>
#include <QtCore/QScopeGuard>

#include <algorithm>
#include <chrono>
#include <optional>

using namespace Qt::StringLiterals;

const VXNotificationName VXEventManagerWillPostEventNotification(u"VXEventManagerWillPostEvent"_s);
const QString VXSingletonEventTimeoutDelayDefaultKey = u"ui.reactor_timeout"_s;

namespace {

constexpr const char *operation = "postEventWithName:subtype:object:";

// An address that identifies the object in a trace.
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

QVariantMap VXPostedEvents(const VXBundle &bundle)
{
    return bundle.infoDictionary().value(u"VXPostsEvents"_s).toMap();
}

VXEventManager &VXEventManager::sharedEventManager()
{
    static auto *const manager = new VXEventManager;
    return *manager;
}

void VXEventManager::postEventWithName(const QString &name, const QString &subtype, const QVariant &object)
{
    const VXEvent event{name, subtype, object};
    if (!VXEventHistory::isOn())
        return post(event, nullptr);
    VXEventRecord record;
    post(event, &record);
}

VXEventRecord VXEventManager::recordByPostingEventWithName(const QString &name, const QString &subtype,
                                                           const QVariant &object)
{
    return recordByPostingEvent({name, subtype, object});
}

VXEventRecord VXEventManager::recordByPostingEvent(const VXEvent &event)
{
    VXEventRecord record;
    post(event, &record);
    return record;
}

VXEventRecord VXEventManager::recordByPostingAndAwaitingEvent(const VXEvent &event)
{
    VXEventRecord record;
    QEventLoop loop;
    const auto last = std::make_shared<std::optional<VXEventRecord>>(); // main thread
    post(event, &record, [last, loop = QPointer(&loop)](const VXEventRecord &concluded) {
        VXMainThread::perform([=] {
            *last = concluded;
            if (loop)
                loop->quit();
        });
    });
    if (record.isRunning() && !*last)
        loop.exec();
    return last->value_or(record);
}

// The history gets a record when the reactors have returned, and another one once everything is known.
void VXEventManager::post(const VXEvent &event, VXEventRecord *record, const Concluded &concluded)
{
    std::vector<VXOpenReaction> open;
    const bool isKept = record != nullptr && VXEventHistory::isOn();
    {
        const auto keep = qScopeGuard([&] { // also when triggers could not be fetched
            if (isKept)
                keepRecord(*record);
        });
        run(event, record, &open);
    }
    if (open.empty())
        return;
    const auto whole = std::make_shared<VXOpenEvent>(*record);
    whole->await(open, [this, isKept, concluded](VXEventRecord &last) {
        if (isKept)
            keepRecord(last);
        if (concluded)
            concluded(last);
    });
}

void VXEventManager::run(const VXEvent &event, VXEventRecord *record, std::vector<VXOpenReaction> *open)
{
    VXAssert(!event.name.isNull(), u"an event must have a name"_s);
    if (VXApplication::sharedApplication().isTerminating()) {
        VXTraceMethod(VXDebugCategory::EVNT(), operation, u"%1 ignored while quitting"_s.arg(event.name));
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
                   .name = event.name,
                   .subtype = event.subtype};
        record->setObject(event.object);
    }
    VXTraceMethod(
        VXDebugCategory::EVNT(), operation,
        u"%1::%2(%3)"_s.arg(event.name, event.subtype.isNull() ? u""_s : event.subtype, addressText(event.object)));
    announce(event);
    QString problem;
    if (const VXPersistentStoreCoordinator::Ptr triggers = triggersCoordinator(&problem)) {
        VXEventRun run(*this, event, record);
        run.runTriggers(triggers);
        *open = run.openReactions();
    } else if (record != nullptr) {
        record->problem = problem;
    }
}

void VXEventManager::announce(const VXEvent &event) const
{
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    if (center.hasObservers(VXEventManagerWillPostEventNotification))
        center.postNotificationName(VXEventManagerWillPostEventNotification, event.object, event.announcement());
}

// On the main thread, which plugins belong to, the store is opened if need be; on other threads a store that is not
// open counts as missing.
VXPersistentStoreCoordinator::Ptr VXEventManager::triggersCoordinator(QString *problem)
{
    VXDataManager &data = VXDataManager::sharedDataManager();
    if (_hasTriggersStore || !VXMainThread::isCurrent()) {
        if (VXPersistentStoreCoordinator::Ptr open = data.openCoordinatorForDataStore(VXTrigger::storeName))
            return open;
    } else {
        VXPersistentStoreCoordinator::Ptr coordinator = data.findCoordinatorForDataStore(VXTrigger::storeName, problem);
        _hasTriggersStore = coordinator != nullptr; // a store that was handed out once stays available
        if (coordinator || !problem->isNull())
            return coordinator;
    }
    if (!_saidThatStoreIsMissing.exchange(true))
        VXLogMethod(VXLogWarning, operation,
                    u"No enabled plugin has the store \"triggers\": events are announced, and no trigger runs"_s);
    return nullptr;
}

void VXEventManager::keepRecord(VXEventRecord &record) const
{
    if (record.name.isNull()) // the event was not posted
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
        events.insert(VXPostedEvents(*bundle));
    return events;
}

VXBundle::Ptr VXEventManager::bundleForEventName(const QString &name) const
{
    const QList<VXBundle::Ptr> bundles = _eventPostingBundles();
    const auto found = std::ranges::find_if(
        bundles, [&](const VXBundle::Ptr &bundle) { return VXPostedEvents(*bundle).contains(name); });
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
        plugins, [&](const VXPluginProxy *plugin) { return VXPostedEvents(*plugin->bundle()).contains(name); });
    return found == plugins.end() ? nullptr : *found;
}
