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
    if (isOnlyTyped)
        return _detail->setCurrentWidget(_editor);
    if (row < 0 && isBeingEdited())
        return keepEdited();
    if (_model->rowCount() == 0)
        return _detail->setCurrentWidget(_nothing);
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
    for (const QString &shortID : std::as_const(unsaved)) {
        if (const auto kept = VXUnsavedTrigger::read(shortID))
            rows.prepend(VXRowOfUnsavedTrigger(shortID, kept->after));
    }
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
