#include "VXContactSync.h"

#include "VXCoreDataSaveError.h"
#include "VXDeviceURL.h"
#include "VXPhonebookPluginString.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

constexpr size_t changesAtOnce = 50; // on the phone, that are made ready
constexpr size_t mostWaiting = 2;    // portions, with the one that is worked on, while another is read

// Not all phones take texts of several lines, or with quotation marks. Whether anything changed.
bool makePlain(QVariantMap &object)
{
    bool isChanged = false;
    for (QVariant &value : object) {
        if (value.typeId() != QMetaType::QString)
            continue;
        QString text = value.toString();
        for (QChar &letter : text) {
            const bool isBreak = letter.category() == QChar::Other_Control || letter == QChar::LineSeparator ||
                                 letter == QChar::ParagraphSeparator;
            letter = isBreak ? QChar(u' ') : letter == u'"' ? QChar(u'\'') : letter;
        }
        isChanged = isChanged || text != value.toString();
        value = text;
    }
    return isChanged;
}

// The name of the change in the result.
QString outcomeOf(const VXPhoneChange &change)
{
    const bool wasThere = change.object.contains(u"expected"_s);
    return !change.here ? u"deletedThere"_s : wasThere ? u"changedThere"_s : u"addedThere"_s;
}

} // namespace

// What was known before is looked up first: what the phone has is then told apart by it as it comes.
void VXContactSync::start()
{
    const VXDevicePlugin::Ptr device = whole()->device();
    const QVariantMap options = whole()->object().toMap();
    const auto isOver = [whole = whole()] { return whole->isCancelled() || VXMainThread::hasEnded(); };
    _reconciler =
        std::make_shared<VXContactReconciler>(_coordinator, VXAbsoluteString(device->url()), device->name(), isOver);
    _reconciler->setAcceptsDeletions(options.value(u"acceptsDeletions"_s).toBool());
    _reconciler->setIsNewPhone(options.value(u"isNewPhone"_s).toBool());
    _reconciler->setAddsAll(device->actionNames().contains(u"write_contact"_s) && options.value(u"addsAll"_s).toBool());
    work([](VXContactReconciler &reconciler, VXError *error) { return reconciler.begin(error); },
         [this] { readPhone(); });
}

void VXContactSync::readPhone()
{
    perform(
        u"read_contacts"_s, {}, VXPhonebookPluginString(u"Reading contacts"_s),
        [this](const VXDeviceAction &part) { didRead(part); },
        [this](const auto &portion, const auto &next) { take(portion, next); });
}

// One portion is brought here while the next is made ready; those of a driver that does not wait come all at once, and are
// made ready when it is their turn.
void VXContactSync::take(const VXDeviceAction::Portion &portion, const std::function<void()> &next)
{
    if (!next)
        return work([portion](VXContactReconciler &reconciler, VXError *error) {
            return reconciler.take(reconciler.ready(portion()), error);
        });
    const auto makeReady = [reconciler = _reconciler, portion] { return reconciler->ready(portion()); };
    compute(makeReady, [this, next](const VXPhonePortion &ready) {
        _readOn = next;
        work([ready](VXContactReconciler &reconciler, VXError *error) { return reconciler.take(ready, error); });
    });
}

// What was handed over before a failure is kept all the same.
void VXContactSync::didRead(const VXDeviceAction &part)
{
    if (const VXError failure = part.error(); !failure.isNull())
        return work([](VXContactReconciler &reconciler, VXError *error) { return reconciler.secure(error); },
                    [this, failure] { finish(failure); });
    const QVariantMap result = part.result().toMap();
    _problems = result.value(u"problems"_s).toStringList();
    const auto reconcile = [result](VXContactReconciler &reconciler, VXError *error) {
        return reconciler.take(reconciler.ready(result), error) &&
               reconciler.run(result.value(u"phone"_s).toString(), result.value(u"isComplete"_s).toBool(), error);
    };
    work(reconcile, [this] { didReconcile(); });
}

// One step at a time, in turn.
void VXContactSync::work(const Step &step, const std::function<void()> &then)
{
    _steps.push_back({step, then});
    if (_steps.size() == 1)
        workNext();
    readOn();
}

void VXContactSync::readOn()
{
    if (_steps.size() <= mostWaiting && _readOn)
        std::exchange(_readOn, {})();
}

void VXContactSync::workNext()
{
    const auto carryOut = [reconciler = _reconciler, step = std::move(_steps.front().first)] {
        VXError error;
        if (!step(*reconciler, &error))
            reconciler->secure(nullptr); // what was saved before stays
        return error;
    };
    compute(carryOut, [this](const VXError &error) {
        if (!error.isNull())
            return finish(error);
        const std::function<void()> then = std::move(_steps.front().second);
        _steps.pop_front();
        if (!_steps.empty())
            workNext();
        readOn();
        if (then)
            then();
    });
}

void VXContactSync::didReconcile()
{
    const VXContactReconciler::Outcome &outcome = _reconciler->outcome();
    if (!outcome.question.isNull()) {
        whole()->setErrorString(
            outcome.question + u' ' + VXPhonebookPluginString(u"Nothing was changed, here or there."_s) + u' ' +
            VXPhonebookPluginString(u"A phone that was reset or replaced can be taken as a new one (--new-phone)."_s));
        return finish();
    }
    for (const VXPhoneChange &change : outcome.changes) {
        if (whole()->device()->actionNames().contains(change.actionName())) // else the contact stays there as it is
            _changes.push_back(change);
    }
    whole()->setProgressMaxValue(double(_changes.size()));
    whole()->setProgressValue(0);
    carryOutNext();
}

// What they are told is made for some at a time.
void VXContactSync::carryOutNext()
{
    if (whole()->isCancelled() || (_changes.empty() && _made.empty()))
        return finish();
    if (_made.empty()) {
        std::deque<VXPhoneChange> some;
        while (!_changes.empty() && some.size() < changesAtOnce) {
            some.push_back(_changes.front());
            _changes.pop_front();
        }
        return compute([coordinator = _coordinator, contacts = _reconciler->contacts(),
                        some] { return make(coordinator, *contacts, some); },
                       [this](const Made &made) {
                           if (!made.error.isNull())
                               return finish(made.error);
                           _made = made.changes;
                           carryOutNext();
                       });
    }
    const VXPhoneChange change = _made.front();
    _made.pop_front();
    perform(change.actionName(), change.object, VXPhonebookPluginString(u"Changing contacts"_s),
            [this, change](const VXDeviceAction &part) { didCarryOut(change, part); });
}

VXContactSync::Made VXContactSync::make(const VXPersistentStoreCoordinator::Ptr &coordinator, VXPhoneContacts &contacts,
                                        const std::deque<VXPhoneChange> &changes)
{
    Made made;
    VXManagedObjectContext context(coordinator);
    for (VXPhoneChange change : changes) {
        if (change.make(context, contacts, &made.error))
            made.changes.push_back(change);
        if (made.error.isNull())
            made.error = context.failedRead(); // the phone is told nothing that may be half of it
        if (!made.error.isNull())
            break;
    }
    return made;
}

void VXContactSync::didCarryOut(const VXPhoneChange &change, const VXDeviceAction &part)
{
    VXPhoneChange plain = change;
    if (!part.error().isNull() && !isOver() && makePlain(plain.object)) {
        _made.push_front(plain);
        return carryOutNext();
    }
    if (!part.error().isNull() && isOver()) { // it still has to be done
        _problems.append(change.name + ": "_L1 + part.error().localizedDescription());
        return finish();
    }
    if (!part.error().isNull())
        return didFail(change, part.error());
    const QVariantMap result = part.result().toMap();
    for (const QString &problem : result.value(u"problems"_s).toStringList())
        _problems.append(change.name + ": "_L1 + problem);
    const auto conclude = [this, change](const VXError &error) {
        if (!error.isNull()) {
            VXLogCoreDataSaveError(error);
            return finish(error);
        }
        _carriedOut[outcomeOf(change)].append(change.name);
        whole()->incrementProgress();
        carryOutNext();
    };
    compute([coordinator = _coordinator, change, result] { return note(coordinator, change, result); }, conclude);
}

// It still has to be done, but is reported only the first time.
void VXContactSync::didFail(const VXPhoneChange &change, const VXError &why)
{
    const auto conclude = [this, change, why](const Refusal &refusal) {
        if (!refusal.error.isNull())
            return finish(refusal.error);
        if (refusal.isNews)
            _problems.append(change.name + ": "_L1 + why.localizedDescription());
        else
            _refused.append(change.name);
        carryOutNext();
    };
    compute([coordinator = _coordinator, change] { return noteRefusal(coordinator, change); }, conclude);
}

// Phones do not keep everything that is written to them: what they made of it is what both sides agree on.
VXError VXContactSync::note(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXPhoneChange &change,
                            const QVariantMap &result)
{
    VXError error;
    const VXStoreWorkLock saving(*coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(&error))
        return error;
    VXManagedObjectContext context(coordinator);
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    const VXManagedObjectPtr object = context.existingObjectWithID(change.placeID, &error);
    if (!object)
        return error;
    if (change.here) {
        QVariantMap item = result.value(u"contact"_s, change.object).toMap();
        for (const QString &key : {u"memory"_s, u"location"_s})
            item.insert(key, result.value(key, change.object.value(key)));
        const VXPhoneContact written = VXPhoneContact::fromItem(item);
        VXContactPlace(object).note(written.location, *change.here, written.contact);
        VXContactPlace(object).forgetRefusal();
    } else {
        context.deleteObject(object);
    }
    error = context.failedRead();
    if (!error && context.hasChanges())
        static_cast<void>(context.save(&error));
    return error;
}

VXContactSync::Refusal VXContactSync::noteRefusal(const VXPersistentStoreCoordinator::Ptr &coordinator,
                                                  const VXPhoneChange &change)
{
    Refusal refusal;
    const VXStoreWorkLock saving(*coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(&refusal.error))
        return refusal;
    VXManagedObjectContext context(coordinator);
    const VXManagedObjectPtr object = context.existingObjectWithID(change.placeID, &refusal.error);
    refusal.isNews = object && VXContactPlace(object).noteRefusal(change.here);
    if (refusal.isNews && !context.save(&refusal.error))
        VXLogCoreDataSaveError(refusal.error);
    return refusal;
}

void VXContactSync::finish(const VXError &error)
{
    QVariantMap result{{u"problems"_s, _problems}};
    const VXContactReconciler::Outcome outcome = _reconciler->outcome();
    const std::pair<QString, QStringList> outcomes[] = {{u"added"_s, outcome.added},
                                                        {u"changed"_s, outcome.changed},
                                                        {u"removed"_s, outcome.removed},
                                                        {u"addedThere"_s, _carriedOut.value(u"addedThere"_s)},
                                                        {u"changedThere"_s, _carriedOut.value(u"changedThere"_s)},
                                                        {u"deletedThere"_s, _carriedOut.value(u"deletedThere"_s)},
                                                        {u"refused"_s, _refused}};
    QVariantMap names;
    for (const auto &[key, persons] : outcomes) {
        result.insert(key, persons.size());
        if (!persons.isEmpty())
            names.insert(key, persons);
    }
    if (!names.isEmpty())
        result.insert(u"names"_s, names);
    result.insert(u"conflicts"_s, outcome.conflicts);
    if (outcome.isOtherPhone)
        result.insert(u"notices"_s,
                      QStringList(VXPhonebookPluginString(
                          u"This is another phone than before: nothing that it lacks was deleted here."_s)));
    if (!outcome.question.isNull())
        result.insert(u"question"_s, outcome.question);
    whole()->setResult(result);
    whole()->setError(error);
    if (!_problems.isEmpty() && whole()->error().isNull())
        whole()->setErrorString(_problems.first());
    end();
}
