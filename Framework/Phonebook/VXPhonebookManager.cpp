#include "VXPhonebookManager.h"

#include "VXApplication.h"
#include "VXDataManager.h"
#include "VXException.h"
#include "VXMainThread.h"
#include "VXManagedObjectContext.h"
#include "VXMethodLog.h"
#include "VXPhonebookClock.h"
#include "VXPhonebookEntry.h"
#include "VXPhonebookGroup.h"
#include "VXPhonebookPlugin.h"
#include "VXPhonebookRegistry.h"
#include "VXPhonebookString.h"
#include "VXPhoneNumber.h"
#include "VXPluginGuard.h"
#include "VXPluginManager.h"

#include <QtCore/QSet>

#include <algorithm>
#include <ctime>
#include <mutex>

using namespace Qt::StringLiterals;

std::atomic<quint32> VXPhonebookManager::_globalContextVersion = 0;

namespace {

using namespace std::chrono_literals;

constexpr auto longestAnswer = 5s;
std::atomic<std::chrono::steady_clock::time_point (*)()> testClock = nullptr;
constexpr QLatin1StringView storeName("phonebook");

std::chrono::steady_clock::time_point now()
{
    if (auto *const clock = testClock.load(std::memory_order_relaxed); Q_UNLIKELY(clock != nullptr))
        return clock();
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time); // coarse to some milliseconds, but much cheaper
    return std::chrono::steady_clock::time_point(std::chrono::seconds(time.tv_sec) +
                                                 std::chrono::nanoseconds(time.tv_nsec));
}

// The plugin that owns the store. Main thread.
const VXPluginProxy *phonebookStorePlugin()
{
    const QList<VXPluginProxy *> plugins =
        VXPluginManager::sharedPluginManager().pluginsWithInfoDictionaryKey(u"VXDataStoreName"_s, storeName.toString());
    return plugins.isEmpty() ? nullptr : plugins.constLast();
}

// Null unless the plugin is enabled and loaded; on other threads, unless the store is open.
VXPersistentStoreCoordinator::Ptr phonebookStore()
{
    if (VXMainThread::isCurrent()) {
        const VXPluginProxy *const plugin = phonebookStorePlugin();
        if (plugin == nullptr || !plugin->isEnabled() || !plugin->isLoaded())
            return nullptr;
    }
    return VXDataManager::sharedDataManager().openCoordinatorForDataStore(storeName);
}

qsizetype savedCount(const VXNotification &notification, const QString &key)
{
    return notification.userInfo.value(key).toList().size();
}

} // namespace

void VXSetPhonebookClock(std::chrono::steady_clock::time_point (*clock)())
{
    testClock = clock;
}

VXPhonebookManager &VXPhonebookManager::sharedPhonebookManager()
{
    static thread_local VXPhonebookManager manager;
    return manager;
}

void VXPhonebookManager::startObserving()
{
    static std::once_flag once;
    std::call_once(once, [] {
        VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
        center.addObserver(nullptr, VXManagedObjectContextDidSaveNotification, contextDidSaveNotification);
        center.addObserver(nullptr, VXPluginWillUnloadNotification, pluginWillUnload);
    });
}

VXPhonebookManager::VXPhonebookManager()
{
    startObserving();
    _contextVersion = _globalContextVersion;
}

VXPhonebookManager::~VXPhonebookManager() = default;

VXManagedObjectContext *VXPhonebookManager::managedObjectContext()
{
    if (!_managedObjectContext) {
        if (const VXPersistentStoreCoordinator::Ptr store = phonebookStore())
            _managedObjectContext = std::make_unique<VXManagedObjectContext>(store);
        else
            VXLogMethod(VXLogWarning, "managedObjectContext", u"phonebook store has not loaded yet"_s);
    }
    return _managedObjectContext.get();
}

// -- Look-ups

VXManagedObjectPtr VXPhonebookManager::entryForPhonebookString(const QString &phonebookString)
{
    const QString text = phonebookString.trimmed();
    return answer(text, text, Kind::PhoneNumber);
}

// Kept behind a sign that no trimmed text begins with: the other look-up says of the same text that it is none.
VXManagedObjectPtr VXPhonebookManager::entryForAddress(const QString &phonebookString)
{
    const QString text = VXPhonebookStringWithPause(phonebookString.trimmed());
    return text.contains(u'@') ? answer(u'\n' + text, text, Kind::EmailAddress) : answer(text, text, Kind::PhoneNumber);
}

VXManagedObjectPtr VXPhonebookManager::answer(const QString &key, const QString &phonebookString, Kind kind)
{
    if (phonebookString.isEmpty())
        return {};
    if (const quint32 version = _globalContextVersion.load(std::memory_order_acquire); version != _contextVersion) {
        renew(version);
    } else if (const auto kept = _lookupCache.find(key); kept != _lookupCache.end() && now() < kept->second.end) {
        return kept->second.entry;
    }
    const VXManagedObjectPtr entry = find(phonebookString, kind);
    keep(key, entry);
    return entry;
}

void VXPhonebookManager::renew(quint32 version)
{
    _contextVersion = version;
    _lookupCache.clear();
    _ends.clear();
    if (_managedObjectContext)
        _managedObjectContext->reset();
}

VXManagedObjectPtr VXPhonebookManager::find(const QString &phonebookString, Kind kind)
{
    QString name;
    QString value;
    unsigned type = 0;
    if (!VXPhonebookStringSplit(phonebookString, &name, &value, &type))
        return {};
    if (VXIsValidPhoneNumber(value))
        kind = Kind::PhoneNumber; // whatever the name beside it
    else if (kind == Kind::PhoneNumber)
        return {};
    const bool isNumber = kind == Kind::PhoneNumber;
    QList<VXManagedObjectPtr> candidates;
    for (const VXPhonebookInUse &each : VXPhonebookRegistry::shared().plugins()) {
        QVariant found;
        VXCallPlugin(*each.plugin,
                     isNumber ? "phonebookEntryForPhoneNumber:entryType:nameHint:"
                              : "phonebookEntryForEmailAddress:entryType:nameHint:",
                     [&] {
                         found = isNumber ? each.plugin->phonebookEntryForPhoneNumber(value, type, name)
                                          : each.plugin->phonebookEntryForEmailAddress(value, type, name);
                     });
        if (const auto entry = found.value<VXManagedObjectPtr>())
            candidates.append(entry);
    }
    const VXManagedObjectPtr best = bestOf(std::move(candidates));
    if (!best || (_managedObjectContext && best->managedObjectContext() == _managedObjectContext.get()))
        return best;
    VXManagedObjectContext *const own = managedObjectContext();
    return own == nullptr ? VXManagedObjectPtr() : VXPhonebookEntry::copyPhoneNumberIntoContext(*best, *own);
}

// Of equal entries the last one. A single candidate needs no score, which takes queries.
VXManagedObjectPtr VXPhonebookManager::bestOf(QList<VXManagedObjectPtr> candidates)
{
    if (candidates.size() <= 1)
        return candidates.value(0);
    VXManagedObjectPtr best;
    float highest = -1.0F;
    for (const VXManagedObjectPtr &candidate : std::as_const(candidates)) {
        const float value = VXPhonebookEntry::informativeValue(*candidate);
        if (value < highest)
            continue;
        highest = value;
        best = candidate;
    }
    return best;
}

void VXPhonebookManager::keep(const QString &key, const VXManagedObjectPtr &entry)
{
    const Clock::time_point time = now();
    while (!_ends.empty() && _ends.front().first <= time) { // the key of an answer that was renewed meanwhile is kept
        const QString &old = _ends.front().second;
        if (const auto kept = _lookupCache.find(old); kept != _lookupCache.end() && kept->second.end <= time)
            _lookupCache.erase(kept);
        _ends.pop_front();
    }
    _lookupCache.insert_or_assign(key, Answer{entry, time + longestAnswer});
    _ends.emplace_back(time + longestAnswer, key);
}

void VXPhonebookManager::removeFromCache(const QString &key)
{
    _lookupCache.erase(key);
}

QByteArray VXPhonebookManager::imageForPhonebookString(const QString &phonebookString)
{
    if (VXPhonebookGroupSplit(phonebookString))
        return {};
    const VXManagedObjectPtr entry = entryForPhonebookString(VXPhonebookStringWithPause(phonebookString.trimmed()));
    if (!entry)
        return {};
    const QString entity = entry->entity().name();
    if (entity == "VXPerson"_L1)
        return entry->valueForKey(u"image"_s).toByteArray();
    if (entity == "VXPhoneNumber"_L1 || entity == "VXEmailAddress"_L1)
        return VXValueForKeyPath(QVariant::fromValue(entry), u"person.image"_s).toByteArray();
    return {};
}

QStringList VXPhonebookManager::completionsForSubstring(const QString &substring, unsigned propertyMask, unsigned limit,
                                                        int *)
{
    VXAssert(propertyMask != 0, u"thePropertyMask can not be 0, no results would match"_s);
    VXAssert(limit != 0, u"theResultsCountMax can not be 0, no results would match"_s);
    QSet<QString> found;
    for (const VXPhonebookInUse &each : VXPhonebookRegistry::shared().plugins()) {
        QVariantList texts;
        VXCallPlugin(*each.plugin, "completionsForSubstring:propertyMask:limit:", [&] {
            texts = each.plugin->completionsForSubstring(substring, propertyMask, limit);
        });
        for (const QVariant &text : std::as_const(texts))
            found.insert(text.toString());
    }
    QStringList sorted(found.cbegin(), found.cend());
    std::ranges::sort(sorted, [](const QString &a, const QString &b) {
        const int order = a.compare(b, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : a < b;
    });
    return sorted.mid(0, limit);
}

// -- Changes by others

QList<VXManagedObjectPtr> VXPhonebookManager::phonebookEntriesWithPathPrefix(const QString &prefix,
                                                                             VXManagedObjectContext &context)
{
    QList<VXManagedObjectPtr> entries;
    for (const QString &name : {u"VXGroup"_s, u"VXPerson"_s, u"VXPhoneNumber"_s, u"VXEmailAddress"_s}) {
        const VXEntityDescription *const entity = context.persistentStoreCoordinator()->model().entityForName(name);
        if (entity == nullptr || entity->propertyForName(u"url_string"_s) == nullptr)
            continue;
        VXFetchRequest request(*entity);
        request.predicate = *VXPredicate::predicateWithFormat(u"%K BEGINSWITH %@"_s, {u"url_string"_s, prefix});
        VXError error;
        const std::optional<VXFetchResult> found = context.executeFetchRequest(request, &error);
        if (!found) {
            VXLogClassMethod(VXLogError, VXPhonebookManager,
                             "phonebookEntriesWithPathPrefix:inManagedObjectContext:", error.description());
            continue;
        }
        for (const VXManagedObjectPtr &entry : *found)
            entries.append(entry);
    }
    return entries;
}

void VXPhonebookManager::contextDidSaveNotification(const VXNotification &notification)
{
    _globalContextVersion.fetch_add(1, std::memory_order_acq_rel);
    if (Q_LIKELY(!VXDebugCategory::PHBK().isEnabled()))
        return;
    VXTraceFrom(VXClassOrigin<VXPhonebookManager>("contextDidSaveNotification:"), VXDebugCategory::PHBK(),
                u"+(%1) ~(%2) -(%3)"_s.arg(savedCount(notification, VXInsertedObjectsKey))
                    .arg(savedCount(notification, VXUpdatedObjectsKey))
                    .arg(savedCount(notification, VXDeletedObjectsKey)));
}

void VXPhonebookManager::pluginWillUnload(const VXNotification &notification)
{
    const auto *const plugin = notification.object.value<VXPlugin *>();
    const QString identifier = plugin == nullptr ? QString() : plugin->identifier();
    const VXPluginProxy *const owner = phonebookStorePlugin();
    if (identifier.isEmpty() || (owner != nullptr && owner->identifier() == identifier))
        return;
    const auto store = VXDataManager::sharedDataManager().openCoordinatorForDataStore(storeName);
    if (!store)
        return;
    VXManagedObjectContext context(store);
    const QList<VXManagedObjectPtr> entries = phonebookEntriesWithPathPrefix(identifier, context);
    if (entries.isEmpty())
        return;
    for (const VXManagedObjectPtr &entry : entries)
        context.deleteObject(entry);
    VXError error;
    if (context.save(&error))
        return;
    VXLogClassMethod(VXLogError, VXPhonebookManager, "pluginWillUnload:", error.description());
    VXApplication::sharedApplication().presentError(error);
}
