#include "VXAutomationsSection.h"

#include "VXDesktopText.h"
#include "VXEmptyState.h"
#include "VXHistoryText.h"
#include "VXListPane.h"
#include "VXNoticeBar.h"
#include "VXTriggerEditor.h"
#include "VXTriggerRow.h"
#include "VXUserDefaults.h"

#include <QtCore/QScopedValueRollback>
#include <QtWidgets/QApplication>
#include <QtWidgets/QButtonGroup>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

/** Making, changing or removing a trigger, as a step that can be undone and redone. */
class VXAutomationsSection::Edit : public QUndoCommand
{
public:
    Edit(VXAutomationsSection &section, const std::shared_ptr<QString> &identity,
         const std::optional<VXTriggerDraft> &before, const std::optional<VXTriggerDraft> &after)
        : _section(section), _identity(identity), _before(before), _after(after)
    {
        const QString name = (after ? *after : *before).name;
        setText(VXText("changing “%1”").arg(name));
    }
    void undo() override { write(_after, _before); }
    void redo() override
    {
        if (std::exchange(_isDone, true))
            write(_before, _after);
    }

private:
    void write(const std::optional<VXTriggerDraft> &from, const std::optional<VXTriggerDraft> &to)
    {
        const QScopedValueRollback undoing(_section._isUndoing, true);
        _section.commit(); // what is typed in this one or another
        if (const auto written = _section.write(*_identity, from, to)) {
            *_identity = *written;
            _section.showTrigger(*written);
        }
    }

    VXAutomationsSection &_section;
    const std::shared_ptr<QString> _identity; // that of all steps with the same trigger
    const std::optional<VXTriggerDraft> _before;
    const std::optional<VXTriggerDraft> _after;
    bool _isDone = false; // it has already been done when it is recorded
};

void VXAutomationsSection::showTrigger(const QString &shortID)
{
    const auto store = VXTriggerStore::open();
    const VXTrigger trigger = store ? VXTriggerWithID(*store, shortID) : VXTrigger();
    const auto unsaved = shortID.isNull() ? std::nullopt : VXUnsavedTrigger::read(shortID);
    if (trigger.isNull() && !unsaved) {
        _isNew = _isUnsaved = false;
        _shownTrigger.clear();
        _detail->setCurrentIndex(0);
        return;
    }
    begin(shortID, trigger.isNull(), trigger.isNull() ? unsaved->before : VXTriggerDraft::of(trigger));
    VXError error;
    if (!trigger.isNull() && trigger.usesFilter() && !trigger.filter(&error))
        _editor->setProblem(VXText("Its condition does not work: %1").arg(error.localizedDescription()));
    if (!unsaved)
        return;
    _editor->setDraft(unsaved->after.appliedTo(_began, unsaved->before));
    take();
}

void VXAutomationsSection::begin(const QString &shortID, bool isNew, const VXTriggerDraft &draft)
{
    _shownTrigger = shortID;
    _isNew = isNew;
    _isUnsaved = false;
    _stored = draft;
    _editor->setDraft(draft);
    _began = _editor->draft();
    _detail->setCurrentWidget(_editor);
}

// What others change is shown, unless something is being typed.
void VXAutomationsSection::followOthers()
{
    if (_isNew || _isUnsaved || _editor->draft() != _began)
        return;
    if (const auto now = VXTriggerDraft::stored(_shownTrigger); now && *now != _stored)
        showTrigger(_shownTrigger);
}

bool VXAutomationsSection::isBeingEdited() const
{
    return !_shownTrigger.isNull() && !showsHistory() && _detail->currentWidget() == _editor &&
           _editor->isAncestorOf(QApplication::focusWidget());
}

// The list does not show it any more: what is typed on must not go to another one. If others have removed it, what was
// typed makes it anew.
void VXAutomationsSection::keepEdited()
{
    _pane->list()->setCurrentIndex({});
    if (_isUnsaved || VXTriggerDraft::stored(_shownTrigger))
        return; // the search hides it
    if (_editor->draft() != _began)
        return take();
    _shownTrigger.clear();
    _detail->setCurrentWidget(_nothing);
}

// Writes only what differs, so that what others change stays; none removes it. @return the trigger's ID, null if it is
// gone; none, with a message to the user, if it was refused.
std::optional<QString> VXAutomationsSection::write(const QString &shortID, const std::optional<VXTriggerDraft> &from,
                                                   const std::optional<VXTriggerDraft> &to)
{
    VXError error;
    const auto store = VXTriggerStore::open(&error);
    VXTrigger trigger = store ? VXTriggerWithID(*store, shortID) : VXTrigger();
    bool isDone = store != nullptr;
    if (isDone && !to && !trigger.isNull())
        store->remove(trigger);
    else if (isDone && to && trigger.isNull())
        isDone = !(trigger = store->add(to->change(), &error)).isNull();
    else if (isDone && to)
        isDone = store->change(trigger, from ? to->changeSince(*from) : to->change(), &error);
    isDone = isDone && store->save(&error);
    _editor->setProblem(isDone ? QString() : VXText("Not saved yet: %1").arg(error.localizedText()));
    if (!isDone)
        return std::nullopt;
    return to ? trigger.shortID() : QString();
}

std::shared_ptr<QString> VXAutomationsSection::identityOf(const QString &shortID)
{
    const auto known =
        std::ranges::find_if(_identities, [&](const std::shared_ptr<QString> &each) { return *each == shortID; });
    return known != _identities.end() ? *known : _identities.emplaceBack(std::make_shared<QString>(shortID));
}

// A step of undo. Undo itself writes what is still being typed, which can only become a step of its own afterwards.
void VXAutomationsSection::record(const QString &shortID, const std::optional<VXTriggerDraft> &before,
                                  const VXTriggerDraft &after)
{
    const auto push = [this, identity = identityOf(shortID), before, after] {
        undoStack().push(new Edit(*this, identity, before, after));
    };
    if (_isUndoing)
        QMetaObject::invokeMethod(this, push, Qt::QueuedConnection);
    else
        push();
}

// Stores what is in the editor, or keeps it for later if it lacks something or the disk is full, with a message in the
// editor.
void VXAutomationsSection::take()
{
    if (_shownTrigger.isNull())
        return;
    const VXTriggerDraft draft = _editor->draft();
    const bool isComplete = !draft.reactions.isEmpty();
    if (draft == _began && !(_isNew && isComplete)) {
        VXUnsavedTrigger::drop(_shownTrigger);
        if (std::exchange(_isUnsaved, false))
            _editor->setProblem({});
    } else if (!isComplete || !save(draft)) {
        if (!isComplete)
            _editor->setProblem(VXText("Not saved yet: say what shall happen."));
        VXUnsavedTrigger{_began, draft}.keep(_shownTrigger);
        _isUnsaved = true;
    }
    if (_isNew)
        QMetaObject::invokeMethod(this, &VXAutomationsSection::update, Qt::QueuedConnection); // to list it
}

bool VXAutomationsSection::save(const VXTriggerDraft &draft)
{
    const auto present = VXTriggerDraft::stored(_shownTrigger);
    const auto written = write(_shownTrigger, _began, draft);
    if (!written)
        return false;
    record(*written, present ? std::optional(_began) : std::nullopt, draft);
    VXUnsavedTrigger::drop(_shownTrigger);
    _shownTrigger = *written;
    _isNew = _isUnsaved = false;
    const bool isOfOthersToo = present && *present != _stored;
    _stored = VXTriggerDraft::stored(_shownTrigger).value_or(draft);
    _began = draft;
    if (isOfOthersToo)
        showTrigger(_shownTrigger);
    return true;
}

void VXAutomationsSection::startFrom(const VXTriggerDraft &draft)
{
    if (showsHistory())
        _chips->button(0)->click();
    if (!commit())
        return;
    _pane->list()->setCurrentIndex({});
    begin(VXUnsavedTrigger::unusedID(), true, draft);
    take();
    _editor->focusName();
}

// One that lacks something comes first.
void VXAutomationsSection::makeNew()
{
    if (!commit())
        return;
    const QStringList unsaved = VXUnsavedTrigger::identifiers();
    const auto begun = std::ranges::find_if(unsaved, &VXUnsavedTrigger::isNew);
    if (begun == unsaved.end())
        return startFrom({{}, u"incoming_call"_s, {}, true, {}});
    if (showsHistory())
        _chips->button(0)->click();
    showTrigger(*begun);
    update();
    _editor->focusName();
}

void VXAutomationsSection::edit()
{
    if (_detail->currentWidget() == _editor)
        _editor->focusName();
}

void VXAutomationsSection::remove()
{
    if (_shownTrigger.isNull() || showsHistory())
        return;
    _editor->flush();
    const QString shortID = _shownTrigger;
    const auto unsaved = VXUnsavedTrigger::read(shortID);
    const auto stored = VXTriggerDraft::stored(shortID);
    if (stored && !write(shortID, stored, std::nullopt))
        return;
    VXUnsavedTrigger::drop(shortID);
    _shownTrigger.clear();
    _isNew = _isUnsaved = false;
    update();
    const std::shared_ptr<QString> identity = identityOf(shortID);
    identity->clear();
    if (stored)
        undoStack().push(new Edit(*this, identity, stored, std::nullopt));
    if (!stored && !unsaved)
        return;
    notices().showDone(VXText("“%1” was deleted.").arg(stored ? stored->name : unsaved->after.name), VXText("Undo"),
                       [this, identity, stored, unsaved, step = undoStack().index()] {
                           if (!commit())
                               return;
                           if (stored && undoStack().index() == step)
                               undoStack().undo();
                           else
                               bringBack(identity, stored, unsaved);
                       });
}

// After other changes, or what was never stored.
void VXAutomationsSection::bringBack(const std::shared_ptr<QString> &identity,
                                     const std::optional<VXTriggerDraft> &stored,
                                     const std::optional<VXUnsavedTrigger> &unsaved)
{
    QString shortID = VXUnsavedTrigger::unusedID();
    if (!stored) {
        unsaved->keep(shortID);
    } else if (const auto written = write({}, std::nullopt, stored)) {
        shortID = *identity = *written;
        record(shortID, std::nullopt, *stored);
    }
    showTrigger(shortID);
    update();
}

// False, with a message in the editor, if it can neither be stored nor kept for later, as on a full disk.
bool VXAutomationsSection::commit()
{
    _editor->flush();
    if (_isUnsaved)
        take();
    return !_isUnsaved || VXUserDefaults::standardUserDefaults().synchronize();
}

void VXAutomationsSection::toggle(int row)
{
    if (row < 0 || showsHistory() || _shownTrigger.isNull())
        return;
    _editor->flush();
    VXTriggerDraft draft = _editor->draft();
    draft.isEnabled = !draft.isEnabled;
    _editor->setDraft(draft);
    take();
}

void VXAutomationsSection::showTrials()
{
    if (!commit())
        return;
    const auto store = VXTriggerStore::open();
    const VXTrigger trigger = store ? VXTriggerWithID(*store, _shownTrigger) : VXTrigger();
    if (trigger.isNull())
        return;
    const QStringList lines = VXLinesOfTrials(trigger);
    _editor->setTrials(lines.isEmpty() ? QStringList{VXText("There was no such event yet.")} : lines);
}
