#include "VXTableHeader.h"

#include "VXInterface.h"
#include "VXSavedState.h"

#include <QtCore/QScopedValueRollback>
#include <QtGui/QContextMenuEvent>
#include <QtWidgets/QMenu>

using namespace Qt::StringLiterals;

namespace {

constexpr int mainColumn = 0; // is never hidden

} // namespace

VXTableHeader::VXTableHeader(QWidget *parent) : QHeaderView(Qt::Horizontal, parent)
{
    setSectionsMovable(true);
    setSectionsClickable(true);
    setHighlightSections(false);
    setDefaultAlignment(Qt::AlignLeading | Qt::AlignVCenter);
    setTextElideMode(Qt::ElideRight);
    connect(this, &QHeaderView::sectionResized, this, &VXTableHeader::changed);
    connect(this, &QHeaderView::sectionMoved, this, &VXTableHeader::changed);
    connect(this, &QHeaderView::sortIndicatorChanged, this, &VXTableHeader::changed);
}

VXTableHeader::~VXTableHeader()
{
    if (_state != nullptr)
        _state->write();
}

void VXTableHeader::setModel(QAbstractItemModel *model)
{
    QHeaderView::setModel(model);
    if (_state != nullptr)
        restore();
}

void VXTableHeader::setAutosaveName(const QString &name)
{
    delete _state;
    _state = new VXSavedState(
        "interface.columns."_L1 + name, [this] { return state(); }, this);
    restore();
}

void VXTableHeader::restore()
{
    if (count() == 0)
        return;
    const QScopedValueRollback restoring(_isRestoring, true);
    _standard = saveState();
    const QVariantMap kept = _state->value().toMap();
    // A state of other columns is useless.
    if (kept.value(u"columns"_s).toStringList() == columnTitles())
        restoreState(kept.value(u"state"_s).toByteArray());
    if (isSectionHidden(mainColumn))
        showSection(mainColumn);
}

QVariant VXTableHeader::state() const
{
    if (model() == nullptr) // the model was destroyed first: keep what was stored
        return _state->value();
    return QVariantMap{{u"columns"_s, columnTitles()}, {u"state"_s, saveState()}};
}

QStringList VXTableHeader::columnTitles() const
{
    QStringList titles;
    for (int column = 0; column < count(); ++column)
        titles.append(model()->headerData(column, Qt::Horizontal).toString());
    return titles;
}

void VXTableHeader::changed()
{
    if (_state != nullptr && !_isRestoring)
        _state->changed();
}

void VXTableHeader::resetColumns()
{
    if (_standard.isEmpty())
        return;
    restoreState(_standard);
    changed();
}

void VXTableHeader::fill(QMenu &menu)
{
    const QStringList titles = columnTitles();
    for (int position = 0; position < count(); ++position) {
        const int column = logicalIndex(position);
        QAction *const action = menu.addAction(titles.at(column));
        action->setCheckable(true);
        action->setChecked(!isSectionHidden(column));
        action->setEnabled(column != mainColumn);
        connect(action, &QAction::toggled, this, [this, column](bool isShown) {
            setSectionHidden(column, !isShown);
            changed();
        });
    }
    menu.addSeparator();
    connect(menu.addAction(VXInterfaceString(u"Reset Columns"_s)), &QAction::triggered, this,
            &VXTableHeader::resetColumns);
}

void VXTableHeader::contextMenuEvent(QContextMenuEvent *event)
{
    QMenu menu(this);
    fill(menu);
    menu.exec(event->globalPos());
}

void VXTableHeader::showColumnMenu()
{
    QMenu menu(this);
    fill(menu);
    menu.exec(mapToGlobal(rect().bottomLeft()));
}

void VXTableHeader::hideEvent(QHideEvent *event)
{
    if (_state != nullptr)
        _state->write();
    QHeaderView::hideEvent(event);
}
