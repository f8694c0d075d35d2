#include "VXMessageFiling.h"

#include "VXDeviceURL.h"
#include "VXPhonebookString.h"
#include "VXStoreWorkLock.h"

#include <algorithm>

using namespace Qt::StringLiterals;

using Rule = VXMessageMatch::Rule;
using State = VXMessageRecord::State;

namespace {

constexpr qsizetype sliceSize = 1000; // others who file a message wait for one slice

VXPendingChange pendingOf(const VXManagedObjectPtr &message)
{
    return static_cast<VXPendingChange>(message->valueForKey(u"pending"_s).toInt());
}

void setPending(const VXManagedObjectPtr &message, VXPendingChange change)
{
    message->setValueForKey(static_cast<int>(change), u"pending"_s);
}

QString actionOf(VXPendingChange change)
{
    return change == VXPendingChange::Remove ? u"delete_message"_s : u"write_message"_s;
}

QString urlOf(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"url"_s).toString();
}

VXManagedObjectPtr folderOf(const VXManagedObjectPtr &message)
{
    return message->valueForKey(u"folder"_s).value<VXManagedObjectPtr>();
}

VXFetchRequest requestFor(const VXManagedObjectContext &context, const QString &format, const QVariantList &arguments)
{
    VXFetchRequest request(*context.persistentStoreCoordinator()->model().entityForName(VXMessageStore::entityName));
    request.predicate = *VXPredicate::predicateWithFormat(format, arguments);
    return request;
}

size_t placeOf(const QString &url, const VXMessageCandidates::Subject &message)
{
    return qHashMulti(0, url, message.key);
}

// Messages sent from here or imported from a file stay there until it is known that their phone has them.
bool isInRootFolderOfPhones(const VXManagedObjectPtr &message)
{
    const VXManagedObjectPtr folder = folderOf(message);
    if (!folder || folder->entity().name() != "VXRootFolder"_L1)
        return false;
    const QString name = folder->valueForKey(u"root_name"_s).toString();
    return name == VXInboxFolder || name == VXSentFolder || name == VXDraftsFolder;
}

} // namespace

VXMessageFiling::VXMessageFiling(const VXMessageStore &store, const Phone &phone, const std::function<bool()> &isOver)
    : _store(store), _phone(phone), _deviceURL(VXAbsoluteString(phone.url)), _isOver(isOver)
{
}

bool VXMessageFiling::file(const QVariantMap &portion, VXError *error)
{
    if (portion.contains(u"marksAsRead"_s))
        _marksAsRead = portion.value(u"marksAsRead"_s).toBool();
    return begin(error) && inSlices(take(portion.value(u"items"_s).toList()), Round::AtOnce, error);
}

bool VXMessageFiling::finish(bool isAll, VXError *error)
{
    if (!begin(error))
        return false;
    sortByDate(_waiting);
    findSent();
    for (const Round round : {Round::SameDate, Round::SentHere}) { // identical ones come first
        if (!inSlices(std::exchange(_waiting, {}), round, error))
            return false;
    }
    if (_isOver() || (isAll && !applyAbsences(error)))
        return _isOver();
    return perform([this](Step &step, VXError *why) { return finishWritten(step, why) && forgetTrash(step, why); },
                   error);
}

// -- Step by step

// Others file messages too, as events report them, and import them.
bool VXMessageFiling::perform(const Work &work, VXError *error)
{
    VXManagedObjectContext context(_store.coordinator());
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    const VXStoreWorkLock saving(*_store.coordinator(), VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    Step step{.context = context, .folder = _store.deviceFolder(_phone.url, context, saving, error)};
    if (!step.folder || !work(step, error))
        return false;
    if (const VXError &failed = context.failedRead(); failed) { // what seemed to be gone may be there
        VXSetError(error, failed);
        return false;
    }
    const QList<Message> inserted = context.insertedObjects();
    if (context.hasChanges() && !context.save(error))
        return false;
    for (const Message &message : inserted)
        _met.insert(message->objectID().number()); // it has a number only now
    _outcome.changes += step.outcome.changes;
    _outcome.added += step.outcome.added;
    _outcome.changed += step.outcome.changed;
    return true;
}

bool VXMessageFiling::begin(VXError *error)
{
    if (_hasBegun)
        return true;
    _perhapsSent.emplace(_phone.url);
    _hasBegun = perform(
        [this](Step &step, VXError *why) {
            VXFetchRequest request =
                requestFor(step.context, u"folder == %@ AND url != NULL"_s, {QVariant::fromValue(step.folder)});
            request.includesPropertyValues = false;
            request.batchSize = sliceSize;
            const std::optional<VXFetchResult> found = step.context.executeFetchRequest(request, why);
            if (!found)
                return false;
            for (const Message &message : *found)
                _onPhone.append(message->objectID());
            return readWritten(step, why);
        },
        error);
    return _hasBegun;
}

// Of the phone's folder, what is meant to be on the phone and was not found there. Only what is pending is asked for:
// that is little, and the store would rather go through all of the folder.
std::optional<QList<VXManagedObjectPtr>> VXMessageFiling::fetchWritten(const Step &step, VXError *error)
{
    const auto found = step.context.executeFetchRequest(requestFor(step.context, u"pending == 3"_s, {}), error);
    if (!found)
        return std::nullopt;
    QList<Message> written;
    for (const Message &message : *found) {
        if (urlOf(message).isNull() && folderOf(message) == step.folder)
            written.append(message);
    }
    return written;
}

bool VXMessageFiling::readWritten(Step &step, VXError *error)
{
    const std::optional<QList<Message>> found = fetchWritten(step, error);
    if (!found)
        return false;
    QSet<VXManagedObjectID> known;
    const auto add = [&](const Message &message) {
        const VXMessageCandidates::Subject subject(VXMessageRecord(QVariant::fromValue(message)));
        if (!known.contains(message->objectID()))
            _written.insert(subject.key, message->objectID());
        known.insert(message->objectID());
    };
    for (const Message &message : *found)
        add(message);
    for (const VXManagedObjectID &objectID : _phone.written) {
        if (const Message message = step.context.existingObjectWithID(objectID))
            add(message);
    }
    return true;
}

// What is not text, or not complete, is left on the phone.
QList<VXMessageFiling::Item> VXMessageFiling::take(const QVariantList &items)
{
    QList<Item> taken;
    for (const QVariant &value : items) {
        const QVariantMap map = value.toMap();
        if (map.value(u"kind"_s) == "report"_L1)
            continue;
        VXMessageRecord record(map);
        if (!map.value(u"isComplete"_s, true).toBool() || !map.contains(u"text"_s)) {
            ++_outcome.left;
            continue;
        }
        if (record.text.isNull())
            record.text = u""_s; // an empty message is still a message
        taken.append({.map = map, .message = VXMessageCandidates::Subject(record)});
        if (!record.url.isNull())
            _places.insert(placeOf(record.url, taken.constLast().message));
    }
    sortByDate(taken);
    return taken;
}

// Then a slice covers one period, and few messages of the store may correspond.
void VXMessageFiling::sortByDate(QList<Item> &items)
{
    std::ranges::stable_sort(items, {}, [](const Item &item) { return item.message.record.date; });
}

bool VXMessageFiling::inSlices(const QList<Item> &items, Round round, VXError *error)
{
    for (qsizetype start = 0; start < items.size(); start += sliceSize) {
        if (_isOver())
            return true;
        const auto work = [&](Step &step, VXError *why) {
            return fileSlice(items.sliced(start, std::min(sliceSize, items.size() - start)), round, step, why);
        };
        if (!perform(work, error))
            return false;
    }
    return true;
}

bool VXMessageFiling::fileSlice(const QList<Item> &slice, Round round, Step &step, VXError *error)
{
    QList<VXMessageCandidates::Subject> messages;
    for (const Item &item : slice)
        messages.append(item.message);
    const auto isMet = [this](qint64 number) { return _met.contains(number); };
    if (!step.candidates.readAtPlaces(messages, step.context, error))
        return false;
    if (round != Round::SentHere)
        messages.removeIf([&](const auto &message) { return bool(findAtPlace(message, step)); });
    if (!messages.isEmpty() && !step.candidates.read(messages, isMet, step.context, error))
        return false;
    for (const Item &item : slice) {
        const bool waits = round == Round::AtOnce && _perhapsSent->mayBeCopy(item.message.record);
        const Message found = waits ? Message() : find(item, round, step);
        const bool mayBeSentHere = round == Round::SameDate && !found && (item.sent || bool(findSentHere(item, step)));
        if (waits || mayBeSentHere || (round == Round::AtOnce && !found && mayBeAnother(item, step)))
            _waiting.append(item);
        else
            apply(item, settleSent(item, found, step), step);
    }
    return true;
}

// -- Which is which

VXManagedObjectPtr VXMessageFiling::find(const Item &item, Round round, const Step &step) const
{
    if (round == Round::SentHere)
        return findSentHere(item, step);
    const Message same = findAtPlace(item.message, step);
    if (same || round == Round::AtOnce)
        return same;
    if (const Message written = findWritten(item, step))
        return written;
    // It was elsewhere on the phone, or was gone for a while. A similar one that is at its place is matched there.
    const Message moved = step.candidates.nearest(item.message, Rule::SameDate, [&](const auto &known) {
        return isHere(known, step) && !_places.contains(placeOf(known.url, item.message));
    });
    return moved ? moved : step.candidates.nearest(item.message, Rule::SameDate, [&](const auto &known) {
        return isElsewhere(known);
    });
}

VXManagedObjectPtr VXMessageFiling::findAtPlace(const VXMessageCandidates::Subject &message, const Step &step)
{
    return step.candidates.atPlaceOf(message,
                                     [&](const auto &known) { return folderOf(known.message) == step.folder; });
}

// Phones may give it a date of their own.
VXManagedObjectPtr VXMessageFiling::findWritten(const Item &item, const Step &step) const
{
    for (const VXManagedObjectID &written : _written.values(item.message.key)) {
        const Message message =
            _met.contains(written.number()) ? Message() : step.context.existingObjectWithID(written);
        if (message)
            return message;
    }
    return {};
}

VXManagedObjectPtr VXMessageFiling::findSentHere(const Item &item, const Step &step) const
{
    return step.candidates.nearest(item.message, Rule::SentHere, [&](const auto &known) { return isElsewhere(known); });
}

// Only the rest of the phone tells which of them it is.
bool VXMessageFiling::mayBeAnother(const Item &item, const Step &step) const
{
    const auto isKnown = [&](const auto &known) { return isHere(known, step) || isElsewhere(known); };
    return step.candidates.nearest(item.message, Rule::SameDate, isKnown) || findSentHere(item, step) ||
           _written.contains(item.message.key);
}

bool VXMessageFiling::isHere(const VXMessageCandidates::Known &known, const Step &step) const
{
    return !known.message->isInserted() && !isMet(known.message) && folderOf(known.message) == step.folder;
}

// Not yet known to be on the phone. What is in another phone's folder belongs to that phone.
bool VXMessageFiling::isElsewhere(const VXMessageCandidates::Known &known) const
{
    const QString device = known.message->valueForKey(u"device_url"_s).toString();
    const Message lies = folderOf(known.message);
    return !isMet(known.message) && known.url.isNull() && (device.isNull() || device == _deviceURL) && lies &&
           lies->entity().name() != "VXDeviceFolder"_L1;
}

// Only all copies together show which one belongs to which; so these few wait.
void VXMessageFiling::findSent()
{
    QList<VXMessageRecord> copies;
    for (const Item &item : std::as_const(_waiting))
        copies.append(item.message.record);
    const QList<std::optional<qint64>> entries = _perhapsSent->entriesOf(copies);
    for (qsizetype index = 0; index < entries.size(); ++index)
        _waiting[index].sent = entries[index];
}

// The outbox is updated first: if the program is killed in between, the message counts as sent and is found as such.
VXManagedObjectPtr VXMessageFiling::settleSent(const Item &item, const Message &found, const Step &step) const
{
    if (!item.sent)
        return found;
    const VXManagedObjectID known = _store.coordinator()->objectIDForURIRepresentation(_perhapsSent->draft(*item.sent));
    const Message draft = known.isNull() ? Message() : step.context.existingObjectWithID(known);
    if (found && found != draft) // it is another one, known before
        return found;
    _perhapsSent->settle(*item.sent, item.message.record.date);
    return draft && isInRootFolderOfPhones(draft) && urlOf(draft).isNull() ? draft : found;
}

// -- What becomes of it

void VXMessageFiling::apply(const Item &item, const Message &message, Step &step)
{
    const VXMessageRecord &record = item.message.record;
    if (!message) {
        step.candidates.add(VXMessageStore::insertMessage(record, step.folder), item.message);
        ++step.outcome.added;
        return;
    }
    if (message->isInserted()) // the phone has reported it twice
        return;
    _met.insert(message->objectID().number());
    // A message that was saved without its class has no conversation: this makes the class set it, along with
    // everything else it sets.
    if (const QString conversation = item.message.conversation;
        message->valueForKey(u"conversation"_s).toString() != conversation)
        message->setValueForKey(conversation.isNull() ? QVariant() : QVariant(conversation), u"conversation"_s);
    if (folderOf(message) != step.folder) {
        if (!isInRootFolderOfPhones(message)) // the user has put it where it is
            return;
        message->setValueForKey(QVariant::fromValue(step.folder), u"folder"_s);
        if (message->valueForKey(u"state"_s).toInt() == static_cast<int>(State::Unsent))
            message->setValueForKey(static_cast<int>(record.state), u"state"_s);
    }
    const bool wasWritten = urlOf(message).isNull() && pendingOf(message) == VXPendingChange::Update;
    bool isChanged = wasWritten;
    if (wasWritten)
        setPending(message, VXPendingChange::None);
    if (urlOf(message) != record.url) {
        if (urlOf(message).isNull() && record.date.isValid())
            message->setValueForKey(record.date, u"date"_s); // the phone's date
        message->setValueForKey(record.url, u"url"_s);
        message->setValueForKey(_deviceURL, u"device_url"_s); // it may come from another phone
        isChanged = true;
    }
    const bool wasReadThere = record.state == State::Read && !_marksAsRead &&
                              message->valueForKey(u"state"_s).toInt() == static_cast<int>(State::Unread);
    if (wasReadThere && pendingOf(message) == VXPendingChange::None) {
        message->setValueForKey(static_cast<int>(State::Read), u"state"_s);
        isChanged = true;
    }
    step.outcome.changed += isChanged ? 1 : 0;
    noteChange(message, item.map, step);
}

bool VXMessageFiling::applyAbsences(VXError *error)
{
    _onPhone.removeIf([this](const VXManagedObjectID &message) { return _met.contains(message.number()); });
    for (qsizetype start = 0; start < _onPhone.size() && !_isOver(); start += sliceSize) {
        QVariantList missing;
        for (const VXManagedObjectID &message : _onPhone.sliced(start, std::min(sliceSize, _onPhone.size() - start)))
            missing.append(QVariant::fromValue(message));
        const auto work = [&](Step &step, VXError *why) {
            VXFetchRequest request =
                requestFor(step.context, u"folder == %@ AND url != NULL"_s, {QVariant::fromValue(step.folder)});
            request.predicate =
                VXPredicate::allOf({VXPredicate::comparison(VXExpression::self(), VXPredicate::Operator::In,
                                                            VXExpression::constant(missing)),
                                    request.predicate});
            const std::optional<VXFetchResult> found = step.context.executeFetchRequest(request, why);
            for (qsizetype index = 0; found && index < found->size(); ++index)
                applyAbsence(found->at(index), step);
            return found.has_value();
        };
        if (!perform(work, error))
            return false;
    }
    return true;
}

void VXMessageFiling::applyAbsence(const Message &message, Step &step) const
{
    if (pendingOf(message) == VXPendingChange::Remove) { // its copy was filed elsewhere
        step.context.deleteObject(message);
        return;
    }
    message->setValueForKey(QVariant(), u"url"_s);
    setPending(message, VXPendingChange::None);
    ++step.outcome.changed;
}

bool VXMessageFiling::finishWritten(Step &step, VXError *error)
{
    const std::optional<QList<Message>> found = fetchWritten(step, error);
    for (qsizetype index = 0; found && index < found->size(); ++index) {
        if (const Message message = found->at(index); !isMet(message))
            noteChange(message, {}, step);
    }
    return found.has_value();
}

// If a copy of these was on the phone, it has disappeared in another way.
bool VXMessageFiling::forgetTrash(Step &step, VXError *error) const
{
    const auto found = step.context.executeFetchRequest(
        requestFor(step.context, u"pending == 2 AND (device_url == %@ OR device_url == NULL)"_s, {_deviceURL}), error);
    for (qsizetype index = 0; found && index < found->size(); ++index)
        setPending(found->at(index), VXPendingChange::None);
    return found.has_value();
}

void VXMessageFiling::noteChange(const Message &message, const QVariantMap &item, Step &step) const
{
    const VXPendingChange kind = pendingOf(message);
    if (kind != VXPendingChange::Remove && kind != VXPendingChange::Update)
        return;
    // What the phone cannot be told to do waits; whether a message was read is then known only here.
    if (!_phone.actionNames.contains(actionOf(kind))) {
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
    step.outcome.changes.append(
        {.message = message->objectID(), .kind = kind, .object = object, .isNew = item.isEmpty()});
}
