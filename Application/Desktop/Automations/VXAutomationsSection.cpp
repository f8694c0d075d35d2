#include "VXAutomationsSection.h"

#include "VXDataManager.h"
#include "VXDesktopText.h"
#include "VXDesktopWork.h"
#include "VXEmptyState.h"
#include "VXEventHistory.h"
#include "VXEventManager.h"
#include "VXEventPage.h"
#include "VXHistoryText.h"
#include "VXListPane.h"
#include "VXNoticeBar.h"
#include "VXRowDelegate.h"
#include "VXSearchField.h"
#include "VXStoreListModel.h"
#include "VXStoreWatch.h"
#include "VXTriggerRow.h"
#include "VXUserDefaults.h"

#include <QtCore/QScopedValueRollback>
#include <QtGui/QShortcut>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QButtonGroup>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int mostEvents = 500;

// The object with which an event was posted; invalid if it was not kept.
QVariant objectOf(const VXEventRecord &record)
{
    return record.object.isEmpty() ? QVariant() : QVariant(record.object);
}

QString identifierAt(const QModelIndex &index)
{
    return index.data(VXStoreListModel::ValueRole).value<VXRowContents>().data.toString();
}

} // namespace

/** Making, changing or removing a trigger, as a step that can be undone and redone. */
class VXAutomationsSection::Edit : public QUndoCommand
{
public:
    Edit(VXAutomationsSection &section, const QString &shortID, const std::optional<VXTriggerDraft> &before,
         const std::optional<VXTriggerDraft> &after)
        : _section(section), _shortID(shortID), _before(before), _after(after)
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
        if (const auto written = _section.write(_shortID, from, to)) {
            _shortID = *written;
            _section.showTrigger(_shortID);
        }
    }

    VXAutomationsSection &_section;
    QString _shortID;
    const std::optional<VXTriggerDraft> _before;
    const std::optional<VXTriggerDraft> _after;
    bool _isDone = false; // it has already been done when it is recorded
};

VXSection::Info VXAutomationsSection::info()
{
    return {.key = u"automations"_s, .title = VXText("Automations"), .icon = u"bolt"_s};
}

VXAutomationsSection::VXAutomationsSection(QWidget *parent)
    : VXSection(info(), parent), _pane(new VXListPane(VXText("Search automations"), VXText("Automations"), this)),
      _chips(new QButtonGroup(this)), _model(new QStandardItemModel(this)), _detail(new QStackedWidget(this)),
      _editor(new VXTriggerEditor(this)), _nothing(new VXEmptyState(this)), _eventPage(new VXEventPage(this))
{
    makeChips();
    _pane->setModel(_model);
    for (QWidget *const page : std::initializer_list<QWidget *>{_nothing, _editor, _eventPage})
        _detail->addWidget(page);
    showBeside(_pane, _detail);

    connect(_pane, &VXListPane::chosen, this, &VXAutomationsSection::show);
    connect(_pane, &VXListPane::searchDidChange, this, &VXAutomationsSection::update);
    connect(_pane, &VXListPane::activated, this, &VXAutomationsSection::edit);
    connect(_pane->placeholder(), &VXEmptyState::actionWanted, this, &VXAutomationsSection::makeNew);
    connect(_pane->placeholder(), &VXEmptyState::secondActionWanted, this, [this] {
        startFrom({VXText("Tell me of missed calls"),
                   u"incoming_call"_s,
                   u"isMissed == TRUE"_s,
                   true,
                   {{u"com.halvern.VNX2.plugin.desktopnotification"_s, {}}}});
    });
    connect(_editor, &VXTriggerEditor::didChange, this, &VXAutomationsSection::take);
    connect(_editor, &VXTriggerEditor::wantsTrials, this, &VXAutomationsSection::showTrials);
    connect(_eventPage, &VXEventPage::wantsReplay, this, &VXAutomationsSection::replay);
    const auto onKeys = [this](const QKeySequence &keys, QWidget *where, Qt::ShortcutContext context,
                               const std::function<void()> &perform) {
        auto *const shortcut = new QShortcut(keys, where);
        shortcut->setContext(context);
        connect(shortcut, &QShortcut::activated, this, perform);
    };
    onKeys(Qt::Key_Space, _pane->list(), Qt::WidgetShortcut, [this] { toggle(_pane->list()->currentIndex().row()); });
    onKeys(Qt::CTRL | Qt::Key_R, this, Qt::WidgetWithChildrenShortcut, [this] { showTrials(); });
    onKeys(Qt::CTRL | Qt::Key_H, this, Qt::WidgetWithChildrenShortcut,
           [this] { _chips->button(showsHistory() ? 0 : 1)->click(); });
    if (const auto store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(VXTrigger::storeName)) {
        _watch = std::make_unique<VXStoreWatch>(store);
        connect(_watch.get(), &VXStoreWatch::didChange, this, &VXAutomationsSection::update);
    }
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXEventManagerWillPostEventNotification, [this](const VXNotification &) {
            QMetaObject::invokeMethod(this, &VXAutomationsSection::update, Qt::QueuedConnection);
        });
    update();
}

VXAutomationsSection::~VXAutomationsSection() = default;

void VXAutomationsSection::makeChips()
{
    int number = 0;
    for (const char *const title : {"Automations", "History"}) {
        auto *const chip = new QPushButton(VXText(title));
        chip->setCheckable(true);
        chip->setChecked(number == 0);
        _chips->addButton(chip, number++);
        _pane->secondRow()->addWidget(chip);
    }
    _pane->secondRow()->addStretch();
    connect(_chips, &QButtonGroup::idClicked, this, [this] {
        if (!commit()) {
            _chips->button(0)->setChecked(true);
            return;
        }
        _pane->list()->setCurrentIndex({});
        update();
    });
}

bool VXAutomationsSection::showsHistory() const
{
    return _chips->checkedId() == 1;
}

// -- The list

void VXAutomationsSection::update()
{
    QString chosen = identifierAt(_pane->list()->currentIndex());
    if (!showsHistory() && !_shownTrigger.isNull())
        chosen = _shownTrigger; // a trigger that was just made is not in the list yet
    const QSignalBlocker blocker(_pane);
    if (showsHistory())
        updateHistory();
    else
        updateTriggers();
    int row = _model->rowCount() - 1;
    while (row >= 0 && identifierAt(_model->index(row, 0)) != chosen)
        --row;
    _pane->setIsEmpty(_model->rowCount() == 0);
    const bool isOnlyTyped = row < 0 && _isNew && !showsHistory(); // nothing in it yet that could be listed
    if (isOnlyTyped || _model->rowCount() == 0) {
        _detail->setCurrentWidget(isOnlyTyped ? static_cast<QWidget *>(_editor) : _nothing);
        return;
    }
    _pane->choose(std::max(0, row));
    if (row < 0 || showsHistory() || chosen != _shownTrigger || _detail->currentWidget() != _editor)
        show(std::max(0, row));
    else
        followOthers();
}

namespace {

void fill(QStandardItemModel &model, const QList<VXListRow> &rows, const QString &search)
{
    model.clear();
    for (const VXListRow &row : rows) {
        if (!row.text.contains(search, Qt::CaseInsensitive))
            continue;
        auto *const item = new QStandardItem(row.text);
        item->setEditable(false);
        item->setData(row.value, VXStoreListModel::ValueRole);
        model.appendRow(item);
    }
}

} // namespace

void VXAutomationsSection::updateTriggers()
{
    QList<VXListRow> rows;
    QStringList unsaved = VXUnsavedTrigger::identifiers();
    if (const auto store = VXTriggerStore::open()) {
        for (const VXTrigger &trigger : store->triggers().value_or(QList<VXTrigger>())) {
            rows.append(VXRowOfTrigger(trigger));
            unsaved.removeAll(trigger.shortID());
        }
    }
    for (const QString &shortID : std::as_const(unsaved))
        rows.prepend(VXRowOfUnsavedTrigger(shortID, VXUnsavedTrigger::read(shortID)->after));
    fill(*_model, rows, _pane->search()->searchText());
    if (rows.isEmpty()) {
        _pane->placeholder()->setContents(u"bolt"_s, VXText("No automations yet"),
                                          VXText("Have something done by itself when a call or a message comes."),
                                          VXText("Make one"), VXText("Start with “missed calls”"));
        _nothing->setContents(u"bolt"_s, VXText("When this happens, do that"), {});
    } else {
        _pane->placeholder()->setContents(u"search"_s, VXText("Nothing found"), {});
    }
}

void VXAutomationsSection::updateHistory()
{
    QList<VXEventRecord> records = VXEventHistory::sharedEventHistory().records();
    QList<VXListRow> rows;
    for (auto record = records.crbegin(); record != records.crend() && rows.size() < mostEvents; ++record)
        rows.append(VXRowOfEvent(*record));
    fill(*_model, rows, _pane->search()->searchText());
    _pane->placeholder()->setContents(u"clock"_s, VXText("Nothing has happened yet"),
                                      VXText("Calls and messages show here, with what came of them and why."));
    _nothing->setContents(u"clock"_s, VXText("No event chosen"), {});
}

void VXAutomationsSection::show(int row)
{
    const QStandardItem *const item = _model->item(row);
    if (item == nullptr)
        return;
    const QString chosen = identifierAt(item->index());
    if (showsHistory()) {
        showRecord(chosen);
        return;
    }
    if ((chosen == _shownTrigger && _detail->currentWidget() == _editor) || !commit())
        return;
    showTrigger(chosen);
}

// -- One automation

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
    const QString reason = error.localizedDescription() + u' ' + error.localizedRecoverySuggestion();
    _editor->setProblem(isDone ? QString() : VXText("Not saved yet: %1").arg(reason.trimmed()));
    if (!isDone)
        return std::nullopt;
    return to ? trigger.shortID() : QString();
}

// A step of undo. Undo itself writes what is still being typed, which can only become a step of its own afterwards.
void VXAutomationsSection::record(const QString &shortID, const std::optional<VXTriggerDraft> &before,
                                  const VXTriggerDraft &after)
{
    const auto push = [this, shortID, before, after] { undoStack().push(new Edit(*this, shortID, before, after)); };
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
    if (stored)
        undoStack().push(new Edit(*this, {}, stored, std::nullopt));
    if (!stored && !unsaved)
        return;
    notices().showDone(VXText("“%1” was deleted.").arg(stored ? stored->name : unsaved->after.name), VXText("Undo"),
                       [this, stored, unsaved, step = undoStack().index()] {
                           if (!commit())
                               return;
                           if (stored && undoStack().index() == step)
                               undoStack().undo();
                           else
                               bringBack(stored, unsaved);
                       });
}

// After other changes, or what was never stored.
void VXAutomationsSection::bringBack(const std::optional<VXTriggerDraft> &stored,
                                     const std::optional<VXUnsavedTrigger> &unsaved)
{
    QString shortID = VXUnsavedTrigger::unusedID();
    if (!stored) {
        unsaved->keep(shortID);
    } else if (const auto written = write({}, std::nullopt, stored)) {
        shortID = *written;
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

// -- One event

void VXAutomationsSection::showRecord(const QString &identifier)
{
    _event = VXEventHistory::sharedEventHistory().recordWithIdentifier(identifier);
    if (_event)
        _eventPage->setEvent(*_event);
    _detail->setCurrentWidget(_event ? static_cast<QWidget *>(_eventPage) : _nothing);
}

void VXAutomationsSection::replay()
{
    if (!_event)
        return;
    VXEventManager::sharedEventManager().postEventWithName(_event->name, _event->subtype, objectOf(*_event));
    notices().showDone(VXText("The event was posted again."));
}

void VXAutomationsSection::find()
{
    _pane->search()->setFocus();
    _pane->search()->selectAll();
}
