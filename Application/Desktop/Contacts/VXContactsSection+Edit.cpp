#include "VXContactsSection.h"

#include "VXContactEdit.h"
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

} // namespace

void VXContactsSection::makeNew()
{
    if (!_coordinator || (_edited && !endEditing()))
        return;
    VXContactRecord contact;
    if (_group->currentIndex() > 0)
        contact.groups.append(_group->currentText());
    startEditing({}, contact);
}

void VXContactsSection::edit()
{
    if (const auto contact = _edited ? std::nullopt : read(_shown))
        startEditing({_shown, contact}, *contact);
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

void VXContactsSection::startEditing(const Edited &edited, const VXContactRecord &contact)
{
    _edited = edited;
    QStringList groups;
    for (int i = 1; i < _group->count(); ++i)
        groups.append(_group->itemText(i));
    makeForm();
    _detail->setCurrentWidget(_form);
    _form->setContact(contact, groups);
}

void VXContactsSection::stopEditing()
{
    _edited.reset();
    VXUserDefaults::standardUserDefaults().removeObjectForKey(draftKey);
}

void VXContactsSection::keepDraft()
{
    QVariantMap draft{{draftContactKey, _form->contact().map()}};
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
    startEditing({person, before}, VXContactRecord(draft.value(draftContactKey)));
    notices().showDone(VXText("What you were changing when Vornix ended is here again."));
}

bool VXContactsSection::endEditing()
{
    if (!_edited)
        return true;
    if (!_form->problem().isNull())
        return false;
    const VXContactRecord after = VXStorableContact(_form->contact());
    const bool isNothing = after.displayName().isEmpty();
    const QScopedValueRollback ending(_isEnding, true);
    if (!isNothing && !(_edited->before && VXIsSameContact(*_edited->before, after))) {
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
                             const std::optional<VXContactRecord> &after)
{
    undoStack().push(
        new VXContactEdit(_coordinator, person, before, after,
                          [this](const VXManagedObjectID &id, const VXError &error) { editDone(id, error); }));
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
    const VXContactRecord typed = _form->contact();
    if (read(edited.person)) {
        if (_form->problem().isNull() && !endEditing())
            return;
        stopEditing();
        return remove(edited.person);
    }
    stopEditing();
    showCard();
    _pane->list()->setFocus();
    if (!typed.displayName().isEmpty())
        notices().showDone(VXText("“%1” was discarded.").arg(typed.displayName()), VXText("Undo"), [this, typed] {
            if (_edited && !endEditing())
                return;
            startEditing({}, typed);
            keepDraft();
        });
}
