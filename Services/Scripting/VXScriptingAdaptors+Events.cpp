#include "VXScriptingAdaptors.h"

#include "VXDBusValue.h"
#include "VXErrorDomain.h"
#include "VXEvent.h"
#include "VXEventHistory.h"
#include "VXEventManager.h"
#include "VXScriptingCalls.h"
#include "VXTriggerStore.h"
#include "VXTriggerTrial.h"

#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<VXTriggerStore> openTriggers()
{
    VXError error;
    std::unique_ptr<VXTriggerStore> store = VXTriggerStore::open(&error);
    if (!store)
        throw VXScriptingFault{u"Failed"_s, error.localizedDescription()};
    return store;
}

QVariantMap plainRecord(const VXEventRecord &record)
{
    return VXCarriedByDBus(record.json().toVariantMap()).toMap();
}

// D-Bus has no dates: a map with the one key "$date" is one, as in JSON.
QVariant withDates(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        QVariantList list = value.toList();
        for (QVariant &element : list)
            element = withDates(element);
        return list;
    }
    if (value.metaType() != QMetaType::fromType<QVariantMap>())
        return value;
    QVariantMap map = value.toMap();
    if (map.size() == 1 && map.firstKey() == "$date"_L1) {
        const QDateTime date = QDateTime::fromString(map.first().toString(), Qt::ISODateWithMs);
        return date.isValid() ? QVariant(date) : value;
    }
    for (QVariant &entry : map)
        entry = withDates(entry);
    return map;
}

QVariant objectFromDBus(const QVariantMap &object)
{
    return object.isEmpty() ? QVariant() : withDates(VXPlainDBusValue(object));
}

QVariantMap mapOfTrigger(const VXTrigger &trigger)
{
    QStringList reactors;
    for (const VXReaction &reaction : trigger.reactions())
        reactors.append(reaction.bundleIdentifier());
    return {{u"id"_s, trigger.shortID()},        {u"event"_s, trigger.eventName()},   {u"name"_s, trigger.userName()},
            {u"enabled"_s, trigger.isEnabled()}, {u"filter"_s, trigger.filterText()}, {u"reactors"_s, reactors}};
}

} // namespace

VXEventsAdaptor::VXEventsAdaptor(VXScriptingCalls &calls, QObject *parent) : QDBusAbstractAdaptor(parent), _calls(calls)
{
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXEventManagerWillPostEventNotification,
        [this](const VXNotification &notification) { tell(notification); });
}

VXEventsAdaptor::~VXEventsAdaptor() = default;

// On the poster's thread; the object is read there.
void VXEventsAdaptor::tell(const VXNotification &notification)
{
    VXEventRecord record;
    record.setObject(notification.object);
    const QVariantMap object = VXCarriedByDBus(record.object).toMap();
    const VXEvent event = VXEvent::fromNotification(notification);
    QMetaObject::invokeMethod(
        this, [this, name = event.name, subtype = event.subtype, object] { Q_EMIT Posted(name, subtype, object); },
        Qt::QueuedConnection);
}

void VXEventsAdaptor::List(const QDBusMessage &call, QVariantMap &names)
{
    names = _calls.serve(call, [] {
        const VXEventManager &manager = VXEventManager::sharedEventManager();
        QVariantMap titles = manager.events();
        for (auto entry = titles.begin(); entry != titles.end(); ++entry)
            *entry = manager.localizedNameForEventName(entry.key());
        return titles;
    });
}

void VXEventsAdaptor::Post(const QString &event, const QString &subtype, const QVariantMap &object,
                           const QDBusMessage &call, QVariantMap &record)
{
    record = _calls.serve(call, [&] {
        if (event.isEmpty())
            throw VXScriptingFault{u"org.freedesktop.DBus.Error.InvalidArgs"_s, u"an event needs a name"_s};
        return plainRecord(VXEventManager::sharedEventManager().recordByPostingEventWithName(
            event, subtype.isEmpty() ? QString() : subtype, objectFromDBus(object)));
    });
}

void VXEventsAdaptor::History(uint count, const QDBusMessage &call, QList<QVariantMap> &records)
{
    records = _calls.serve(call, [count] {
        const QList<VXEventRecord> kept = VXEventHistory::sharedEventHistory().records();
        QList<QVariantMap> last;
        for (const VXEventRecord &record : kept.last(qMin(kept.size(), qsizetype(count))))
            last.append(plainRecord(record));
        return last;
    });
}

void VXEventsAdaptor::Triggers(const QDBusMessage &call, QList<QVariantMap> &triggers)
{
    triggers = _calls.serve(call, [] {
        VXError error;
        const std::optional<QList<VXTrigger>> found = openTriggers()->triggers({}, &error);
        if (!found)
            throw VXScriptingFault{u"Failed"_s, error.localizedDescription()};
        QList<QVariantMap> maps;
        for (const VXTrigger &trigger : *found)
            maps.append(VXCarriedByDBus(mapOfTrigger(trigger)).toMap());
        return maps;
    });
}

void VXEventsAdaptor::TestTrigger(const QString &id, const QVariantMap &object, const QDBusMessage &call,
                                  QVariantMap &result)
{
    result = _calls.serve(call, [&] {
        const std::unique_ptr<VXTriggerStore> store = openTriggers();
        VXError error;
        const VXTrigger trigger = store->triggerWithID(id, &error);
        if (trigger.isNull())
            throw VXScriptingFault{u"NotFound"_s,
                                   error ? error.localizedText() : u"there is no trigger \"%1\""_s.arg(id)};
        const VXTriggerTrial trial = VXTriggerTrial::of(trigger, objectFromDBus(object));
        QStringList running;
        for (const VXTriggerTrial::Reaction &reaction : trial.reactions) {
            if (reaction.runs)
                running.append(reaction.identifier);
        }
        QVariantMap answer = mapOfTrigger(trigger);
        answer.insert(u"passes"_s, trial.passes);
        answer.insert(u"problem"_s, trial.problem);
        answer.insert(u"runs"_s, running);
        return VXCarriedByDBus(answer).toMap();
    });
}
