#include "VXContactSync.h"

#include "VXCoreDataSaveError.h"
#include "VXDeviceURL.h"
#include "VXPhonebookPluginString.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

// Not all phones accept text with several lines or quotation marks. Returns whether anything changed.
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

QString actionOf(const VXPhoneChange &change)
{
    return change.here ? u"write_contact"_s : u"delete_contact"_s;
}

} // namespace

void VXContactSync::start()
{
    perform(u"read_contacts"_s, {}, VXPhonebookPluginString(u"Reading contacts"_s),
            [this](const VXDeviceAction &part) { didRead(part); });
}

void VXContactSync::didRead(const VXDeviceAction &part)
{
    if (!part.error().isNull())
        return finish(part.error());
    const QVariantMap result = part.result().toMap();
    const QVariantMap options = whole()->object().toMap();
    _problems = result.value(u"problems"_s).toStringList();
    const VXDevicePlugin::Ptr device = whole()->device();
    const auto work = [coordinator = _coordinator, url = VXAbsoluteString(device->url()), name = device->name(),
                       options, takesContacts = device->actionNames().contains(u"write_contact"_s), result] {
        VXContactReconciler reconciler(coordinator, url, name, result.value(u"phone"_s).toString());
        reconciler.setAcceptsDeletions(options.value(u"acceptsDeletions"_s).toBool());
        reconciler.setIsNewPhone(options.value(u"isNewPhone"_s).toBool());
        reconciler.setAddsAll(takesContacts && options.value(u"addsAll"_s).toBool());
        return reconcile(reconciler, result);
    };
    compute(work, [this](const Reconciled &reconciled) { didReconcile(reconciled); });
}

VXContactSync::Reconciled VXContactSync::reconcile(VXContactReconciler &reconciler, const QVariantMap &result)
{
    QList<VXPhoneContact> contacts;
    for (const QVariant &item : result.value(u"items"_s).toList()) {
        const VXPhoneContact contact = VXPhoneContact::fromItem(item.toMap());
        if (!contact.contact.map().isEmpty())
            contacts.append(contact);
    }
    Reconciled reconciled;
    if (reconciler.run(contacts, result.value(u"isComplete"_s).toBool(), &reconciled.error))
        reconciled.outcome = reconciler.outcome();
    return reconciled;
}

void VXContactSync::didReconcile(const Reconciled &reconciled)
{
    _outcome = reconciled.outcome;
    if (!reconciled.error.isNull())
        return finish(reconciled.error);
    if (!_outcome.question.isNull()) {
        whole()->setErrorString(
            _outcome.question + u' ' + VXPhonebookPluginString(u"Nothing was changed, here or there."_s) + u' ' +
            VXPhonebookPluginString(u"A phone that was reset or replaced can be taken as a new one (--new-phone)."_s));
        return finish();
    }
    for (const VXPhoneChange &change : std::as_const(_outcome.changes)) {
        // Otherwise the contact stays as it is on the phone.
        if (whole()->device()->actionNames().contains(actionOf(change)))
            _changes.push_back(change);
    }
    _outcome.changes.clear();
    whole()->setProgressMaxValue(double(_changes.size()));
    whole()->setProgressValue(0);
    carryOutNext();
}

void VXContactSync::carryOutNext()
{
    if (_changes.empty() || whole()->isCancelled())
        return finish();
    const VXPhoneChange change = _changes.front();
    _changes.pop_front();
    perform(actionOf(change), change.object, VXPhonebookPluginString(u"Changing contacts"_s),
            [this, change](const VXDeviceAction &part) { didCarryOut(change, part); });
}

void VXContactSync::didCarryOut(const VXPhoneChange &change, const VXDeviceAction &part)
{
    VXPhoneChange plain = change;
    if (!part.error().isNull() && !isOver() && makePlain(plain.object)) {
        _changes.push_front(plain);
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
    const VXManagedObjectPtr object = context.existingObjectWithID(change.placeID);
    if (!object)
        return {};
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
    if (context.hasChanges())
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
    const VXManagedObjectPtr object = context.existingObjectWithID(change.placeID);
    refusal.isNews = object && VXContactPlace(object).noteRefusal(change.here);
    if (refusal.isNews && !context.save(&refusal.error))
        VXLogCoreDataSaveError(refusal.error);
    return refusal;
}

void VXContactSync::finish(const VXError &error)
{
    QVariantMap result{{u"problems"_s, _problems}};
    const std::pair<QString, QStringList> outcomes[] = {{u"added"_s, _outcome.added},
                                                        {u"changed"_s, _outcome.changed},
                                                        {u"removed"_s, _outcome.removed},
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
    result.insert(u"conflicts"_s, _outcome.conflicts);
    if (_outcome.isOtherPhone)
        result.insert(u"notices"_s,
                      QStringList(VXPhonebookPluginString(
                          u"This is another phone than before: nothing that it lacks was deleted here."_s)));
    if (!_outcome.question.isNull())
        result.insert(u"question"_s, _outcome.question);
    whole()->setResult(result);
    whole()->setError(error);
    if (!_problems.isEmpty() && whole()->error().isNull())
        whole()->setErrorString(_problems.first());
    end();
}
