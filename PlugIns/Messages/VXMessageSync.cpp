#include "VXMessageSync.h"

#include "VXBundle.h"
#include "VXCoreDataSaveError.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

QString localized(const QString &text)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(u"com.halvern.VNX2.plugin.messages"_s);
    return bundle ? bundle->localizedStringForKey(text) : text;
}

/** About a change that was carried out on the phone. */
struct Note
{
    VXError error = {};
    bool isWritten = false; // it is there now, but nobody knows where
};

Note noteAsDone(const VXMessageStore &store, const VXMessageFiling::Change &change)
{
    Note note;
    const VXStoreWorkLock saving(*store.coordinator(), VXStoreWorkLock::savingName);
    if (!saving.isHeld(&note.error))
        return note;
    VXManagedObjectContext context(store.coordinator());
    const VXManagedObjectPtr message = context.existingObjectWithID(change.message);
    if (message && message->valueForKey(u"pending"_s).toInt() == static_cast<int>(change.kind)) {
        if (change.kind == VXPendingChange::Remove)
            context.deleteObject(message);
        else if (message->valueForKey(u"state"_s) == change.object.value(u"state"_s)) // otherwise there is more to do
            message->setValueForKey(static_cast<int>(VXPendingChange::None), u"pending"_s);
        note.isWritten = change.kind == VXPendingChange::Update && message->valueForKey(u"url"_s).isNull();
    }
    note.error = context.failedRead(); // else it counts as done although it was not noted
    if (!note.error && context.hasChanges())
        static_cast<void>(context.save(&note.error));
    return note;
}

} // namespace

// -- From the phone

// What was known before is looked up first, so that a message that is filed meanwhile because of an event does not
// count as gone from the phone.
void VXMessageSync::read()
{
    const VXDevicePlugin::Ptr device = whole()->device();
    const auto isOver = [whole = whole()] { return whole->isCancelled() || VXMainThread::hasEnded(); };
    _filing = std::make_shared<VXMessageFiling>(
        _store, VXMessageFiling::Phone{.url = device->url(), .actionNames = device->actionNames(), .written = _written},
        isOver);
    const auto look = [filing = _filing] {
        VXError error;
        static_cast<void>(filing->begin(&error));
        return error;
    };
    compute(look, [this](const VXError &error) { readPhone(error); });
}

// The phone's messages are filed while the rest is being read. A driver that is not asked to continue reads at its own
// pace.
void VXMessageSync::readPhone(const VXError &problem)
{
    if (!problem.isNull()) {
        VXLogCoreDataSaveError(problem);
        whole()->setError(problem);
        return finish();
    }
    _isRead = false;
    const auto take = [this](const VXDeviceAction::Portion &portion, const std::function<void()> &next) {
        _readOn = next;
        enqueue([portion](VXMessageFiling &filing) {
            VXError error;
            static_cast<void>(filing.file(portion(), &error));
            return error;
        });
    };
    perform(
        u"read_messages"_s, {}, localized(u"Reading messages"_s), [this](const VXDeviceAction &part) { didRead(part); },
        take);
}

void VXMessageSync::didRead(const VXDeviceAction &part)
{
    const QVariantMap result = part.result().toMap();
    _isRead = true;
    _readOn = {};
    if (!_hasReadAgain)
        _problems += result.value(u"problems"_s).toStringList();
    whole()->setError(part.error());
    if (!whole()->error().isNull()) {
        _steps.clear();
        return fileNext();
    }
    enqueue([result, isAll = result.value(u"isComplete"_s).toBool()](VXMessageFiling &filing) {
        VXError error;
        if (filing.file(result, &error))
            static_cast<void>(filing.finish(isAll, &error));
        return error;
    });
}

void VXMessageSync::enqueue(const Step &step)
{
    if (whole()->error().isNull()) // otherwise the phone is heard to the end, as some drivers do not look for a cancel
        _steps.push_back(step);
    fileNext();
}

// One portion is filed while the next is being read. What a phone delivers without waiting to be asked is kept until
// its turn.
void VXMessageSync::fileNext()
{
    if (!_isFiling && !_steps.empty()) {
        _isFiling = true;
        compute([filing = _filing, step = std::move(_steps.front())] { return step(*filing); },
                [this](const VXError &error) { didFile(error); });
        _steps.pop_front();
    }
    if (_steps.empty() && _readOn)
        std::exchange(_readOn, {})();
    if (!_isFiling && _isRead)
        didFileAll();
}

void VXMessageSync::didFile(const VXError &error)
{
    _isFiling = false;
    if (!error.isNull() && !whole()->isCancelled()) {
        VXLogCoreDataSaveError(error);
        whole()->setError(error);
        _steps.clear();
        cancelPart();
    }
    fileNext();
}

void VXMessageSync::didFileAll()
{
    const VXMessageFiling::Outcome outcome = _filing->outcome();
    _filing.reset();
    _isRead = false;
    _addedCount += outcome.added;
    _changedCount += outcome.changed;
    _leftCount = outcome.left;
    if (!whole()->error().isNull())
        return finish();
    _changes.assign(outcome.changes.begin(), outcome.changes.end());
    whole()->setProgressMaxValue(double(_changes.size()));
    whole()->setProgressValue(0);
    carryOutNext();
}

// -- To the phone

void VXMessageSync::carryOutNext()
{
    if (whole()->isCancelled())
        return finish();
    if (_changes.empty()) {
        // What was written now has a place there, which only reading reveals.
        if (!_written.isEmpty() && !std::exchange(_hasReadAgain, true))
            return read();
        return finish();
    }
    const Change change = _changes.front();
    _changes.pop_front();
    perform(change.kind == VXPendingChange::Remove ? u"delete_message"_s : u"write_message"_s, change.object,
            localized(u"Changing messages"_s),
            [this, change](const VXDeviceAction &part) { didCarryOut(change, part); });
}

void VXMessageSync::didCarryOut(const Change &change, const VXDeviceAction &part)
{
    if (!part.error().isNull()) {
        _problems.append(part.error().localizedDescription());
        if (isOver())
            return finish();
        return carryOutNext(); // it still has to be done
    }
    compute([store = _store, change] { return noteAsDone(store, change); },
            [this, change](const Note &note) { didNote(change, note.error, note.isWritten); });
}

void VXMessageSync::didNote(const Change &change, const VXError &error, bool isWritten)
{
    if (isWritten)
        _written.append(change.message);
    if (!error.isNull()) {
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
