#include "VXMessageSync.h"

#include "VXBundle.h"
#include "VXConversationKey.h"
#include "VXCoreDataSaveError.h"
#include "VXDeviceURL.h"
#include "VXPhonebookString.h"

using namespace Qt::StringLiterals;

using Message = VXManagedObjectPtr;
using State = VXMessageRecord::State;

namespace {

constexpr qint64 nearness = 2; // seconds: phones keep no fractions

QString localized(const QString &text)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(u"com.halvern.VNX2.plugin.messages"_s);
    return bundle ? bundle->localizedStringForKey(text) : text;
}

VXPendingChange pendingOf(const Message &message)
{
    return static_cast<VXPendingChange>(message->valueForKey(u"pending"_s).toInt());
}

void setPending(const Message &message, VXPendingChange change)
{
    message->setValueForKey(static_cast<int>(change), u"pending"_s);
}

QString actionOf(VXPendingChange change)
{
    return change == VXPendingChange::Remove ? u"delete_message"_s : u"write_message"_s;
}

QString urlOf(const Message &message)
{
    return message->valueForKey(u"url"_s).toString();
}

bool isLike(const VXMessageRecord &record, const Message &message, bool isDateKnown)
{
    const VXMessageRecord other(QVariant::fromValue(message));
    return record.direction == other.direction && record.text == other.text &&
           VXConversationKey(record.otherParty()) == VXConversationKey(other.otherParty()) &&
           (!isDateKnown || !record.date.isValid() || !other.date.isValid() ||
            qAbs(record.date.secsTo(other.date)) <= nearness);
}

QList<Message> fetch(VXManagedObjectContext &context, const QString &format, const QVariantList &arguments)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(format, arguments);
    QList<Message> messages;
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request);
    for (qsizetype index = 0; found && index < found->size(); ++index)
        messages.append(found->at(index));
    return messages;
}

} // namespace

/** Which messages of the folder are which on the phone: each is met once. */
class VXMessageSync::Match
{
public:
    Match(const VXMessageStore &store, const Message &phone, const QList<Item> &items,
          const QList<VXManagedObjectID> &justWritten, VXManagedObjectContext &context)
        : folder(phone), _store(store), _context(context)
    {
        for (const Item &item : items)
            _urls.insert(item.record.url);
        _onPhone = fetch(context, u"folder == %@ AND url != NULL"_s, {QVariant::fromValue(folder)});
        for (const Message &message : std::as_const(_onPhone))
            _byURL.insert(urlOf(message), message);
        _written = fetch(context, u"folder == %@ AND pending == 3 AND url == NULL"_s, {QVariant::fromValue(folder)});
        for (const VXManagedObjectID &objectID : justWritten) {
            if (const Message message = context.existingObjectWithID(objectID); message && !_written.contains(message))
                _written.append(message);
        }
    }

    /** Null for one that is new. */
    Message find(const VXMessageRecord &record)
    {
        for (const Message &message : _byURL.values(record.url)) {
            if (isLike(record, message, true))
                return take(message);
        }
        for (const Message &message : std::as_const(_written)) { // phones may give it a date of their own
            if (!_met.contains(message->objectID()) && isLike(record, message, false))
                return take(message);
        }
        // It lay elsewhere, or was gone for a while.
        for (const Message &message : _store.findMessages(record, folder, _context).value_or(QList<Message>())) {
            if (!_met.contains(message->objectID()) && !_urls.contains(urlOf(message)))
                return take(message);
        }
        return {};
    }

    QList<Message> missing() const
    {
        QList<Message> missing = _onPhone;
        missing.removeIf([&](const Message &message) { return _met.contains(message->objectID()); });
        return missing;
    }
    QList<Message> toBeWritten() const
    {
        QList<Message> left = _written;
        left.removeIf([&](const Message &message) {
            return _met.contains(message->objectID()) || pendingOf(message) != VXPendingChange::Update;
        });
        return left;
    }

    const Message folder;

private:
    Message take(const Message &message)
    {
        _met.insert(message->objectID());
        return message;
    }

    const VXMessageStore &_store;
    VXManagedObjectContext &_context;
    QSet<QString> _urls;     // of what is on the phone now
    QList<Message> _onPhone; // as far as was known
    QMultiHash<QString, Message> _byURL;
    QList<Message> _written; // to be, or just now
    QSet<VXManagedObjectID> _met;
};

// -- From the phone

void VXMessageSync::read()
{
    perform(u"read_messages"_s, {}, localized(u"Reading messages"_s),
            [this](const VXDeviceAction &part) { didRead(part); });
}

void VXMessageSync::didRead(const VXDeviceAction &part)
{
    const QVariantMap result = part.result().toMap();
    if (!part.error().isNull()) {
        whole()->setError(part.error());
        return finish();
    }
    _isAll = result.value(u"isComplete"_s).toBool();
    _marksAsRead = result.value(u"marksAsRead"_s).toBool();
    if (!_hasReadAgain)
        _problems += result.value(u"problems"_s).toStringList();
    _items.clear();
    for (const QVariant &value : result.value(u"items"_s).toList()) {
        const QVariantMap map = value.toMap();
        if (map.value(u"kind"_s) == "report"_L1)
            continue;
        VXMessageRecord record(value);
        // What is no text, and what is not there as a whole, is left where it lies; its place is taken all the same.
        if (!map.value(u"isComplete"_s, true).toBool() || !VXMessageRecord::isMessage(value))
            record.text = QString();
        _items.append({.map = map, .record = record});
    }
    _changes.clear();
    VXManagedObjectContext context(_store.coordinator());
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    VXError error;
    if (!apply(context, &error) || (context.hasChanges() && !context.save(&error))) {
        VXLogCoreDataSaveError(error);
        whole()->setError(error);
        return finish();
    }
    whole()->setProgressMaxValue(double(_changes.size()));
    whole()->setProgressValue(0);
    carryOutNext();
}

bool VXMessageSync::apply(VXManagedObjectContext &context, VXError *error)
{
    const Message folder = _store.deviceFolder(whole()->device()->url(), context, error);
    if (!folder)
        return false;
    Match match(_store, folder, _items, _written, context);
    for (const Item &item : std::as_const(_items)) {
        if (!item.record.text.isNull())
            applyItem(item, match, context);
    }
    for (const Message &message : match.missing()) {
        if (_isAll)
            applyAbsence(message, context);
    }
    for (const Message &message : match.toBeWritten())
        noteChange(message, {});
    forgetTrash(context);
    return true;
}

void VXMessageSync::applyItem(const Item &item, Match &match, VXManagedObjectContext &)
{
    const VXMessageRecord &record = item.record;
    const Message message = match.find(record);
    if (!message) {
        VXMessageStore::insertMessage(record, match.folder);
        ++_addedCount;
        return;
    }
    const bool wasWritten = urlOf(message).isNull() && pendingOf(message) == VXPendingChange::Update;
    bool isChanged = wasWritten;
    if (wasWritten)
        setPending(message, VXPendingChange::None);
    if (urlOf(message) != record.url) {
        if (urlOf(message).isNull() && record.date.isValid())
            message->setValueForKey(record.date, u"date"_s); // as the phone has it
        message->setValueForKey(record.url, u"url"_s);
        isChanged = true;
    }
    const bool wasReadThere = record.state == State::Read && !_marksAsRead &&
                              message->valueForKey(u"state"_s).toInt() == static_cast<int>(State::Unread);
    if (wasReadThere && pendingOf(message) == VXPendingChange::None) {
        message->setValueForKey(static_cast<int>(State::Read), u"state"_s);
        isChanged = true;
    }
    _changedCount += isChanged ? 1 : 0;
    noteChange(message, item.map);
}

void VXMessageSync::applyAbsence(const VXManagedObjectPtr &message, VXManagedObjectContext &context)
{
    if (pendingOf(message) == VXPendingChange::Remove) { // its copy was filed elsewhere
        context.deleteObject(message);
        ++_carriedOutCount;
        return;
    }
    message->setValueForKey(QVariant(), u"url"_s);
    setPending(message, VXPendingChange::None);
    ++_changedCount;
}

// Whatever was on the phone of these has gone another way.
void VXMessageSync::forgetTrash(VXManagedObjectContext &context)
{
    const QString device = VXAbsoluteString(whole()->device()->url());
    for (const Message &message :
         fetch(context, u"pending == 2 AND (device_url == %@ OR device_url == NULL)"_s, {device})) {
        setPending(message, VXPendingChange::None);
        ++_carriedOutCount;
    }
}

void VXMessageSync::noteChange(const VXManagedObjectPtr &message, const QVariantMap &item)
{
    const VXPendingChange kind = pendingOf(message);
    if (kind != VXPendingChange::Remove && kind != VXPendingChange::Update)
        return;
    // What the phone cannot be made to do waits; what is read and unread is then known here alone.
    if (!whole()->device()->actionNames().contains(actionOf(kind))) {
        if (kind == VXPendingChange::Update && !item.isEmpty())
            setPending(message, VXPendingChange::None);
        return;
    }
    QVariantMap object = item;
    if (item.isEmpty()) {
        const VXMessageRecord record(QVariant::fromValue(message));
        QString number;
        static_cast<void>(VXPhonebookStringSplit(record.otherParty(), nullptr, &number));
        object = record.map();
        object.insert(u"number"_s, number);
    }
    object.insert(u"state"_s, message->valueForKey(u"state"_s));
    _changes.push_back({.message = message->objectID(), .kind = kind, .object = object});
}

// -- To the phone

void VXMessageSync::carryOutNext()
{
    if (whole()->isCancelled())
        return finish();
    if (_changes.empty()) {
        // What was written has a place there now, which only reading tells.
        if (!_written.isEmpty() && !std::exchange(_hasReadAgain, true))
            return read();
        return finish();
    }
    const Change change = _changes.front();
    _changes.pop_front();
    perform(actionOf(change.kind), change.object, localized(u"Changing messages"_s),
            [this, change](const VXDeviceAction &part) { didCarryOut(change, part); });
}

void VXMessageSync::didCarryOut(const Change &change, const VXDeviceAction &part)
{
    if (!part.error().isNull()) {
        _problems.append(part.error().localizedDescription());
        if (isOver())
            return finish();
        return carryOutNext(); // it stays to be done
    }
    VXManagedObjectContext context(_store.coordinator());
    const Message message = context.existingObjectWithID(change.message);
    if (message && pendingOf(message) == change.kind) {
        if (change.kind == VXPendingChange::Remove)
            context.deleteObject(message);
        else if (message->valueForKey(u"state"_s) == change.object.value(u"state"_s)) // else there is more to be done
            setPending(message, VXPendingChange::None);
        if (urlOf(message).isNull() && change.kind == VXPendingChange::Update)
            _written.append(change.message);
    }
    VXError error;
    if (context.hasChanges() && !context.save(&error)) {
        whole()->setError(error);
        return finish();
    }
    ++_carriedOutCount;
    whole()->incrementProgress();
    carryOutNext();
}

void VXMessageSync::finish()
{
    whole()->setResult(QVariantMap{{u"added"_s, _addedCount},
                                   {u"changed"_s, _changedCount},
                                   {u"carriedOut"_s, _carriedOutCount},
                                   {u"problems"_s, _problems}});
    if (!_problems.isEmpty() && whole()->error().isNull())
        whole()->setErrorString(_problems.first());
    end();
}
