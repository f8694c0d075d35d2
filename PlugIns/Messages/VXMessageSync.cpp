#include "VXMessageSync.h"

#include "VXBundle.h"
#include "VXCoreDataSaveError.h"
#include "VXDeviceURL.h"
#include "VXMessageMatch.h"
#include "VXPerhapsSent.h"
#include "VXPhonebookString.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

using Message = VXManagedObjectPtr;
using State = VXMessageRecord::State;

namespace {

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

// Without a value, with the error, when the store cannot be read.
std::optional<QList<Message>> fetch(VXManagedObjectContext &context, const QString &format,
                                    const QVariantList &arguments, VXError *error)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(format, arguments);
    const std::optional<VXFetchResult> found = context.executeFetchRequest(request, error);
    if (!found)
        return std::nullopt;
    QList<Message> messages;
    for (const Message &message : *found)
        messages.append(message);
    return messages;
}

// What was sent from here, or came from a file, lies there until its phone is known to have it.
bool isInRootFolderOfPhones(const Message &message)
{
    const auto folder = message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>();
    if (!folder || folder->entity().name() != "VXRootFolder"_L1)
        return false;
    const QString name = folder->valueForKey(u"root_name"_s).toString();
    return name == VXInboxFolder || name == VXSentFolder || name == VXDraftsFolder;
}

} // namespace

/** Which messages of the store are which on the phone: each is met once. */
class VXMessageSync::Match
{
public:
    Match(const VXMessageStore &store, const Message &phone, const QString &deviceURL, VXManagedObjectContext &context)
        : folder(phone), _deviceURL(deviceURL), _context(context), _match(store, context)
    {
    }

    bool read(const QList<Item> &items, const QList<VXManagedObjectID> &justWritten, VXError *error)
    {
        for (const Item &item : items)
            _urls.insert(item.record.url);
        const QVariantList here{QVariant::fromValue(folder)};
        const auto onPhone = fetch(_context, u"folder == %@ AND url != NULL"_s, here, error);
        if (!onPhone)
            return false;
        const auto written = fetch(_context, u"folder == %@ AND pending == 3 AND url == NULL"_s, here, error);
        if (!written)
            return false;
        _onPhone = *onPhone;
        _written = *written;
        for (const Message &message : std::as_const(_onPhone))
            _byURL.insert(urlOf(message), message);
        for (const VXManagedObjectID &objectID : justWritten) {
            if (const Message message = _context.existingObjectWithID(objectID); message && !_written.contains(message))
                _written.append(message);
        }
        return true;
    }

    /** For each of the phone the message that it is, null for one that is new. None when the store cannot be read. */
    std::optional<QList<Message>> find(const QList<Item> &items, VXError *error)
    {
        QList<Message> messages(items.size());
        for (const bool wasSentHere : {false, true}) { // what is just the same goes before
            for (qsizetype index = 0; index < items.size(); ++index) {
                if (messages[index] || !items[index].isKept)
                    continue;
                const VXMessageRecord &record = items[index].record;
                const auto found =
                    wasSentHere ? findElsewhere(record, VXMessageMatch::Rule::SentHere, error) : find(record, error);
                if (!found)
                    return std::nullopt;
                messages[index] = *found;
                if (*found)
                    _met.insert((*found)->objectID());
            }
        }
        return messages;
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
    std::optional<Message> find(const VXMessageRecord &record, VXError *error) const
    {
        for (const Message &message : _byURL.values(record.url)) {
            const VXMessageRecord other(QVariant::fromValue(message));
            if (VXMessageMatch::isAlike(record, other) && VXMessageMatch::isNear(record.date, other.date))
                return message;
        }
        for (const Message &message : std::as_const(_written)) { // phones may give it a date of their own
            if (!_met.contains(message->objectID()) &&
                VXMessageMatch::isAlike(record, VXMessageRecord(QVariant::fromValue(message))))
                return message;
        }
        // It lay elsewhere on the phone, or was gone for a while.
        const auto isHere = [this](const Message &message) {
            return message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>() == folder && isFree(message);
        };
        const auto found = _match.find(record, VXMessageMatch::Rule::SameDate, isHere, error);
        return !found || *found ? found : findElsewhere(record, VXMessageMatch::Rule::SameDate, error);
    }

    // Not yet known to be on the phone. What lies in another phone's folder is another's.
    std::optional<Message> findElsewhere(const VXMessageRecord &record, VXMessageMatch::Rule rule, VXError *error) const
    {
        const auto mayBe = [this](const Message &message) {
            const QString device = message->valueForKey(u"device_url"_s).toString();
            const auto lies = message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>();
            return isFree(message) && urlOf(message).isNull() && (device.isNull() || device == _deviceURL) && lies &&
                   lies->entity().name() != "VXDeviceFolder"_L1;
        };
        return _match.find(record, rule, mayBe, error);
    }

    bool isFree(const Message &message) const
    {
        return !_met.contains(message->objectID()) && !_urls.contains(urlOf(message));
    }

    const QString _deviceURL;
    VXManagedObjectContext &_context;
    const VXMessageMatch _match;
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
    _leftCount = 0;
    for (const QVariant &item : result.value(u"items"_s).toList())
        take(item.toMap());
    _changes.clear();
    if (VXError error; !fileAndSave(&error)) {
        VXLogCoreDataSaveError(error);
        whole()->setError(error);
        return finish();
    }
    whole()->setProgressMaxValue(double(_changes.size()));
    whole()->setProgressValue(0);
    carryOutNext();
}

// What is no text, and what is not there as a whole, is left where it lies; its place is taken all the same.
void VXMessageSync::take(const QVariantMap &item)
{
    if (item.value(u"kind"_s) == "report"_L1)
        return;
    Item taken{.map = item, .record = VXMessageRecord(item)};
    taken.isKept = item.value(u"isComplete"_s, true).toBool() && item.contains(u"text"_s);
    if (taken.isKept && taken.record.text.isNull())
        taken.record.text = u""_s; // an empty message is one
    _leftCount += taken.isKept ? 0 : 1;
    _items.append(taken);
}

// Others file messages too, as events tell of them, and import them.
bool VXMessageSync::fileAndSave(VXError *error)
{
    VXManagedObjectContext context(_store.coordinator());
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    if (!_store.deviceFolder(whole()->device()->url(), context, error))
        return false;
    const VXStoreWorkLock lock(*_store.coordinator(), VXStoreWorkLock::savingName);
    return lock.isHeld(error) && apply(context, error) && (!context.hasChanges() || context.save(error));
}

bool VXMessageSync::apply(VXManagedObjectContext &context, VXError *error)
{
    const Message folder = _store.deviceFolder(whole()->device()->url(), context, error);
    if (!folder)
        return false;
    Match match(_store, folder, deviceURL(), context);
    auto messages = match.read(_items, _written, error) ? match.find(_items, error) : std::nullopt;
    if (!messages)
        return false;
    settleSent(*messages, context);
    for (qsizetype index = 0; index < _items.size(); ++index) {
        if (_items[index].isKept)
            applyItem(_items[index], messages->at(index), folder);
    }
    for (const Message &message : match.missing()) {
        if (_isAll)
            applyAbsence(message, context);
    }
    for (const Message &message : match.toBeWritten())
        noteChange(message, {});
    return forgetTrash(context, error);
}

QString VXMessageSync::deviceURL() const
{
    return VXAbsoluteString(whole()->device()->url());
}

// First the outbox: who is killed between has a message that was sent, which is found as such.
void VXMessageSync::settleSent(QList<Message> &messages, VXManagedObjectContext &context) const
{
    const VXPerhapsSent perhaps(whole()->device()->url());
    if (perhaps.isEmpty())
        return;
    QList<VXMessageRecord> copies;
    for (const Item &item : _items)
        copies.append(item.isKept ? item.record : VXMessageRecord());
    const QList<std::optional<qint64>> entries = perhaps.entriesOf(copies);
    for (qsizetype index = 0; index < entries.size(); ++index) {
        const VXManagedObjectID known =
            entries[index] ? _store.coordinator()->objectIDForURIRepresentation(perhaps.draft(*entries[index]))
                           : VXManagedObjectID();
        const Message draft = known.isNull() ? Message() : context.existingObjectWithID(known);
        if (!entries[index] || (messages[index] && messages[index] != draft)) // it is another, known before
            continue;
        perhaps.settle(*entries[index], copies[index].date);
        if (draft && isInRootFolderOfPhones(draft) && urlOf(draft).isNull())
            messages[index] = draft;
    }
}

void VXMessageSync::applyItem(const Item &item, const VXManagedObjectPtr &message, const VXManagedObjectPtr &folder)
{
    const VXMessageRecord &record = item.record;
    if (!message) {
        VXMessageStore::insertMessage(record, folder);
        ++_addedCount;
        return;
    }
    if (message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>() != folder) {
        if (!isInRootFolderOfPhones(message)) // the user put it where it is
            return;
        message->setValueForKey(QVariant::fromValue(folder), u"folder"_s);
        if (message->valueForKey(u"state"_s).toInt() == static_cast<int>(State::Unsent))
            message->setValueForKey(static_cast<int>(record.state), u"state"_s);
    }
    const bool wasWritten = urlOf(message).isNull() && pendingOf(message) == VXPendingChange::Update;
    bool isChanged = wasWritten;
    if (wasWritten)
        setPending(message, VXPendingChange::None);
    if (urlOf(message) != record.url) {
        if (urlOf(message).isNull() && record.date.isValid())
            message->setValueForKey(record.date, u"date"_s); // as the phone has it
        message->setValueForKey(record.url, u"url"_s);
        message->setValueForKey(deviceURL(), u"device_url"_s); // it may be from another phone
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
        return;
    }
    message->setValueForKey(QVariant(), u"url"_s);
    setPending(message, VXPendingChange::None);
    ++_changedCount;
}

// Whatever was on the phone of these has gone another way.
bool VXMessageSync::forgetTrash(VXManagedObjectContext &context, VXError *error)
{
    const auto found =
        fetch(context, u"pending == 2 AND (device_url == %@ OR device_url == NULL)"_s, {deviceURL()}, error);
    if (!found)
        return false;
    for (const Message &message : *found)
        setPending(message, VXPendingChange::None);
    return true;
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
    _changes.push_back({.message = message->objectID(), .kind = kind, .object = object, .isNew = item.isEmpty()});
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
    VXError error;
    const VXStoreWorkLock saving(*_store.coordinator(), VXStoreWorkLock::savingName);
    if (!saving.isHeld(&error)) {
        whole()->setError(error);
        return finish();
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
    if (context.hasChanges() && !context.save(&error)) {
        whole()->setError(error);
        return finish();
    }
    ++(change.isNew                             ? _addedThereCount
       : change.kind == VXPendingChange::Remove ? _deletedThereCount
                                                : _changedThereCount);
    whole()->incrementProgress();
    carryOutNext();
}

void VXMessageSync::finish()
{
    QVariantMap result{{u"added"_s, _addedCount},
                       {u"changed"_s, _changedCount},
                       {u"addedThere"_s, _addedThereCount},
                       {u"changedThere"_s, _changedThereCount},
                       {u"deletedThere"_s, _deletedThereCount},
                       {u"problems"_s, _problems}};
    if (_leftCount > 0)
        result.insert(u"notices"_s,
                      QStringList(localized(u"Left on the phone, as no text or not whole yet: %1."_s).arg(_leftCount)));
    whole()->setResult(result);
    if (!_problems.isEmpty() && whole()->error().isNull())
        whole()->setErrorString(_problems.first());
    end();
}
