#include "VXContactsSection.h"

#include "VXContactEdit.h"
#include "VXContactFields.h"
#include "VXContactForm.h"
#include "VXContactWriter.h"
#include "VXDesktopText.h"
#include "VXListPane.h"
#include "VXNoticeBar.h"
#include "VXStoreListModel.h"
#include "VXUserDefaults.h"

#include <QtCore/QScopedValueRollback>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

// The contents of the form, and the contact they belong to, restored after a sudden end.
const QString draftKey = u"desktop.draft.contact"_s;
const QString draftPersonKey = u"person"_s;
const QString draftContactKey = u"contact"_s;
const QString draftBeforeKey = u"before"_s;
const QString draftBirthdayKey = u"birthday"_s; // that is only begun

} // namespace

void VXContactsSection::makeNew()
{
    if (!_coordinator || (_edited && !endEditing()))
        return;
    VXContactRecord contact;
    if (_group->currentIndex() > 0)
        contact.groups.append(_group->currentText());
    startEditing({}, {contact});
}

void VXContactsSection::edit()
{
    if (const auto contact = _edited ? std::nullopt : read(_shown))
        startEditing({_shown, contact}, {*contact});
}

// Many a session edits nothing.
void VXContactsSection::makeForm()
{
    if (_form != nullptr)
        return;
    _form = new VXContactForm(this);
    _detail->addWidget(_form);
    connect(_form, &VXContactForm::done, this, &VXContactsSection::endEditing);
    connect(_form, &VXContactForm::wantsRemoval, this, &VXContactsSection::removeEdited);
    connect(_form, &VXContactForm::didChange, this, &VXContactsSection::keepDraft);
    connect(_form, &VXContactForm::cancelled, this, [this] {
        stopEditing();
        showCard();
    });
}

void VXContactsSection::startEditing(const Edited &edited, const VXTypedContact &typed)
{
    _edited = edited;
    QStringList groups;
    for (int i = 1; i < _group->count(); ++i)
        groups.append(_group->itemText(i));
    makeForm();
    _detail->setCurrentWidget(_form);
    _form->setContact(typed, groups);
}

void VXContactsSection::stopEditing()
{
    _edited.reset();
    VXUserDefaults::standardUserDefaults().removeObjectForKey(draftKey);
}

void VXContactsSection::keepDraft()
{
    const VXTypedContact typed = _form->typed();
    QVariantMap draft{{draftContactKey, typed.contact.map()}};
    if (!typed.birthday.isEmpty())
        draft.insert(draftBirthdayKey, typed.birthday);
    if (_edited && _edited->before) {
        draft.insert(draftPersonKey, _edited->person.uriRepresentation().toString());
        draft.insert(draftBeforeKey, _edited->before->map()); // what differs was typed; the rest may change meanwhile
    }
    VXUserDefaults::standardUserDefaults().setObject(draft, draftKey);
}

// If the contact has gone in the meantime, the draft becomes a new one.
void VXContactsSection::restoreDraft()
{
    const QVariantMap draft = VXUserDefaults::standardUserDefaults().objectForKey(draftKey).toMap();
    if (draft.isEmpty())
        return;
    const VXManagedObjectID person =
        objectAtURI(_coordinator, QUrl(draft.value(draftPersonKey).toString()), u"VXPerson");
    _shown = person;
    std::optional<VXContactRecord> before = read(person);
    if (before && draft.contains(draftBeforeKey))
        before = VXContactRecord(draft.value(draftBeforeKey));
    startEditing({person, before},
                 {VXContactRecord(draft.value(draftContactKey)), draft.value(draftBirthdayKey).toString()});
    notices().showDone(VXText("What you were changing when Vornix ended is here again."));
}

// Apart from the group that a new one is made in.
bool VXContactsSection::isNothing(const VXContactRecord &contact) const
{
    VXContactRecord contents = contact;
    contents.uid.clear();
    if (_group->currentIndex() > 0)
        contents.groups.removeAll(_group->currentText());
    return contents.map().isEmpty();
}

bool VXContactsSection::endEditing()
{
    if (!_edited)
        return true;
    if (!_form->problem().isNull())
        return false;
    const VXContactRecord after = VXStorableContact(_form->contact());
    const QScopedValueRollback ending(_isEnding, true);
    if (_edited->before ? !VXIsSameContact(*_edited->before, after) : !isNothing(after)) {
        if (!push(_edited->person, _edited->before, after))
            return false; // what was typed stays in the form
    } else {
        if (!read(_shown)) // deleted by others meanwhile
            _shown = _model->objectIDAt(_pane->list()->currentIndex().row());
        showCard();
    }
    stopEditing();
    _pane->list()->setFocus();
    return true;
}

// False, with a message to the user, if it could not be saved, for example because the disk is full.
bool VXContactsSection::push(const VXManagedObjectID &person, const std::optional<VXContactRecord> &before,
                             const std::optional<VXContactRecord> &after, const std::optional<VXTypedContact> &unsaved)
{
    undoStack().push(new VXContactEdit(
        _coordinator, person, before, after, [this, unsaved](const VXManagedObjectID &id, const VXError &error) {
            editDone(id, error);
            if (const auto contact = unsaved && _isSaved && !_edited ? read(id) : std::nullopt) {
                startEditing({id, contact}, *unsaved);
                keepDraft();
            }
        }));
    return _isSaved;
}

void VXContactsSection::editDone(const VXManagedObjectID &person, const VXError &error)
{
    _isSaved = error.isNull();
    if (!_isSaved) {
        notices().showProblem(VXText("The contact could not be saved: %1").arg(error.localizedDescription()),
                              _edited ? VXText("Try again") : QString(), [this] { endEditing(); });
        return;
    }
    notices().hide();
    showOutcome(person);
}

// What is undone while another contact is edited changes the store as another program would: the form stays.
void VXContactsSection::showOutcome(const VXManagedObjectID &person)
{
    if (_edited && !_isEnding)
        return;
    _shown = person;
    showCard();
}

// What was typed is saved first, so that undoing brings it back. Of a new contact there is nothing else.
void VXContactsSection::removeEdited()
{
    if (!_edited)
        return;
    const Edited edited = *_edited;
    const VXTypedContact typed = _form->typed();
    if (read(edited.person)) {
        const bool isValid = _form->problem().isNull();
        if (isValid && !endEditing())
            return;
        stopEditing();
        return remove(edited.person, isValid ? std::nullopt : std::optional(typed));
    }
    stopEditing();
    showCard();
    _pane->list()->setFocus();
    if (!isNothing(typed.contact) || !typed.birthday.isEmpty())
        notices().showDone(VXText("“%1” was discarded.").arg(VXContactTitle(typed.contact)), VXText("Undo"),
                           [this, typed] {
                               if (_edited && !endEditing())
                                   return;
                               startEditing({}, typed);
                               keepDraft();
                           });
}
