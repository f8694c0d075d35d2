#include "VXContactSync.h"

#include "VXCoreDataSaveError.h"
#include "VXDeviceURL.h"
#include "VXPhonebookPluginString.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

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

// As the result calls it.
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
    QList<VXPhoneContact> contacts;
    for (const QVariant &item : result.value(u"items"_s).toList()) {
        const VXPhoneContact contact = VXPhoneContact::fromItem(item.toMap());
        if (!contact.contact.map().isEmpty())
            contacts.append(contact);
    }
    const VXDevicePlugin::Ptr device = whole()->device();
    _reconciler = std::make_unique<VXContactReconciler>(_coordinator, VXAbsoluteString(device->url()), device->name(),
                                                        result.value(u"phone"_s).toString());
    _reconciler->setAcceptsDeletions(options.value(u"acceptsDeletions"_s).toBool());
    _reconciler->setIsNewPhone(options.value(u"isNewPhone"_s).toBool());
    const bool takesContacts = device->actionNames().contains(u"write_contact"_s);
    _reconciler->setAddsAll(takesContacts && options.value(u"addsAll"_s).toBool());
    VXError error;
    if (!_reconciler->run(contacts, result.value(u"isComplete"_s).toBool(), &error))
        return finish(error);
    if (!_reconciler->question().isNull()) {
        whole()->setErrorString(
            _reconciler->question() + u' ' + VXPhonebookPluginString(u"Nothing was changed, here or there."_s) + u' ' +
            VXPhonebookPluginString(u"A phone that was reset or replaced can be taken as a new one (--new-phone)."_s));
        return finish();
    }
    for (const VXPhoneChange &change : _reconciler->changes()) {
        if (whole()->device()->actionNames().contains(actionOf(change))) // else the contact stays on the phone as it is
            _changes.push_back(change);
    }
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
    if (!part.error().isNull() && isOver()) { // it stays to be done
        _problems.append(change.name + ": "_L1 + part.error().localizedDescription());
        return finish();
    }
    if (!part.error().isNull()) { // this too, but only the first time it is something to tell
        VXError error;
        const bool isNews = noteRefusal(change, &error);
        if (!error.isNull())
            return finish(error);
        if (isNews)
            _problems.append(change.name + ": "_L1 + part.error().localizedDescription());
        else
            _refused.append(change.name);
        return carryOutNext();
    }
    const QVariantMap result = part.result().toMap();
    for (const QString &problem : result.value(u"problems"_s).toStringList())
        _problems.append(change.name + ": "_L1 + problem);
    if (VXError error; !note(change, result, &error)) {
        VXLogCoreDataSaveError(error);
        return finish(error);
    }
    _carriedOut[outcomeOf(change)].append(change.name);
    whole()->incrementProgress();
    carryOutNext();
}

// Phones do not keep all that is written to them: what they made of it is what both agree on.
bool VXContactSync::note(const VXPhoneChange &change, const QVariantMap &result, VXError *error)
{
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    context.setMergePolicy(VXMergePolicy::MergeByPropertyObjectTrumps);
    const VXManagedObjectPtr object = context.existingObjectWithID(change.placeID);
    if (!object)
        return true;
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
    return !context.hasChanges() || context.save(error);
}

bool VXContactSync::noteRefusal(const VXPhoneChange &change, VXError *error)
{
    const VXStoreWorkLock saving(*_coordinator, VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    VXManagedObjectContext context(_coordinator);
    const VXManagedObjectPtr object = context.existingObjectWithID(change.placeID);
    const bool isNews = object && VXContactPlace(object).noteRefusal(change.here);
    if (isNews && !context.save(error))
        VXLogCoreDataSaveError(*error);
    return isNews;
}

void VXContactSync::finish(const VXError &error)
{
    QVariantMap result{{u"problems"_s, _problems}};
    const std::pair<QString, QStringList> outcomes[] = {
        {u"added"_s, _reconciler ? _reconciler->added() : QStringList()},
        {u"changed"_s, _reconciler ? _reconciler->changed() : QStringList()},
        {u"removed"_s, _reconciler ? _reconciler->removed() : QStringList()},
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
    result.insert(u"conflicts"_s, _reconciler ? _reconciler->conflicts() : QStringList());
    if (_reconciler && _reconciler->isOtherPhone())
        result.insert(u"notices"_s,
                      QStringList(VXPhonebookPluginString(
                          u"This is another phone than before: nothing that it lacks was deleted here."_s)));
    if (_reconciler && !_reconciler->question().isNull())
        result.insert(u"question"_s, _reconciler->question());
    whole()->setResult(result);
    whole()->setError(error);
    if (!_problems.isEmpty() && whole()->error().isNull())
        whole()->setErrorString(_problems.first());
    end();
}
