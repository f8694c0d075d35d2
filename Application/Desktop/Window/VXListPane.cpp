#include "VXListPane.h"

#include "VXEmptyState.h"
#include "VXRowDelegate.h"
#include "VXSearchField.h"
#include "VXStoreListModel.h"
#include "VXTabOrder.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QStackedWidget>

using namespace Qt::StringLiterals;

namespace {

constexpr int smallestWidth = 280;

} // namespace

VXListPane::VXListPane(const QString &searchHint, const QString &listName, QWidget *parent)
    : QWidget(parent), _search(new VXSearchField(this)), _list(new QListView(this)), _empty(new VXEmptyState(this)),
      _stack(new QStackedWidget(this)), _topRow(new QHBoxLayout), _secondRow(new QHBoxLayout)
{
    setProperty("vxSurface", u"base"_s);
    setAttribute(Qt::WA_StyledBackground);
    setMinimumWidth(smallestWidth);
    _search->setPlace(searchHint);
    _list->setAccessibleName(listName);
    _list->setUniformItemSizes(true);
    _list->setLayoutMode(QListView::Batched);
    _list->setBatchSize(200);
    _list->setItemDelegate(new VXRowDelegate(_list));
    _list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    _list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    _list->setMouseTracking(true);
    _list->setFrameShape(QFrame::NoFrame);

    _stack->addWidget(_list);
    _stack->addWidget(_empty);
    _topRow->setContentsMargins(12, 12, 12, 6);
    _topRow->addWidget(_search);
    _secondRow->setContentsMargins(12, 0, 12, 6);
    _secondRow->setSpacing(6);
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(_topRow);
    column->addLayout(_secondRow);
    column->addWidget(_stack, 1);

    VXKeepTabOrder(*this);
    connect(_search, &VXSearchField::searchTextDidChange, this, &VXListPane::searchDidChange);
    connect(_search, &VXSearchField::resultsWanted, this, [this] {
        choose(std::max(0, _list->currentIndex().row()));
        _list->setFocus();
    });
    connect(_list, &QListView::activated, this, [this](const QModelIndex &index) { Q_EMIT activated(index.row()); });
}

void VXListPane::setModel(QAbstractItemModel *model)
{
    // Told before the list, which then goes on to the neighbour.
    connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, this, &VXListPane::beginRemoval, Qt::UniqueConnection);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &VXListPane::endRemoval, Qt::UniqueConnection);
    _list->setModel(model);
    if (auto *const stored = qobject_cast<VXStoreListModel *>(model))
        stored->followSelection(_list->selectionModel());
    connect(_list->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex &now) { Q_EMIT chosen(now.row()); });
}

void VXListPane::setIsEmpty(bool flag)
{
    _stack->setCurrentWidget(flag ? static_cast<QWidget *>(_empty) : _list);
}

void VXListPane::choose(int row)
{
    if (_list->model() == nullptr || row >= _list->model()->rowCount())
        return;
    // The list itself would add to what is selected while Ctrl is held, as it is for most keys that lead here.
    const QModelIndex index = _list->model()->index(row, 0);
    if (index == _list->currentIndex() && _list->selectionModel()->isSelected(index))
        return; // with others, perhaps
    const QItemSelectionModel::SelectionFlag how =
        index.isValid() ? QItemSelectionModel::ClearAndSelect : QItemSelectionModel::Clear;
    _list->selectionModel()->setCurrentIndex(index, how);
}
