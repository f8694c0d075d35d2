#include "VXFilterEditor.h"

#include "VXFilterRowView.h"
#include "VXInterface.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtCore/QSignalBlocker>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QToolButton>

using namespace Qt::StringLiterals;

namespace {

constexpr int deepest = 3; // nesting of groups

QString text(const QString &key)
{
    return VXInterfaceString(key, u"Filters"_s);
}

QToolButton *makeButton(const QString &title)
{
    auto *const button = new QToolButton;
    button->setText(title);
    button->setIcon(VXSymbol::named(u"plus"_s));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setFocusPolicy(Qt::TabFocus);
    return button;
}

VXPredicate joined(VXFilterMatching matching, const QList<VXPredicate> &parts)
{
    switch (matching) {
    case VXFilterMatching::All:
        return VXPredicate::allOf(parts);
    case VXFilterMatching::Any:
        return VXPredicate::anyOf(parts);
    case VXFilterMatching::None:
        break;
    }
    return VXPredicate::negationOf(VXPredicate::anyOf(parts));
}

} // namespace

VXFilterEditor::VXFilterEditor(const QList<VXFilterField> &fields, QWidget *parent)
    : QWidget(parent), _fields(fields), _depth(0)
{
    build();
}

VXFilterEditor::VXFilterEditor(const QList<VXFilterField> &fields, int depth) : _fields(fields), _depth(depth)
{
    setAttribute(Qt::WA_StyledBackground);
    setProperty("vxSurface", u"card"_s);
    build();
}

VXFilterEditor::~VXFilterEditor() = default;

void VXFilterEditor::build()
{
    _matching = new QComboBox;
    _matching->addItem(text(u"All of these are true"_s), int(VXFilterMatching::All));
    _matching->addItem(text(u"Any of these is true"_s), int(VXFilterMatching::Any));
    _matching->addItem(text(u"None of these is true"_s), int(VXFilterMatching::None));
    _matching->setAccessibleName(text(u"How the conditions are joined"_s));
    connect(_matching, &QComboBox::currentIndexChanged, this, &VXFilterEditor::changed);
    auto *const head = new QHBoxLayout;
    head->addWidget(_matching);
    head->addStretch();
    if (_depth > 0) {
        auto *const remove = new QToolButton;
        remove->setIcon(VXSymbol::named(u"minus"_s, VXSymbol::Tone::Quiet));
        remove->setToolTip(text(u"Remove this group"_s));
        remove->setAccessibleName(remove->toolTip());
        remove->setFocusPolicy(Qt::TabFocus);
        connect(remove, &QToolButton::clicked, this, &VXFilterEditor::removeWanted);
        head->addWidget(remove);
    }
    _empty = new VXTextLabel(text(u"Without a condition everything passes."_s), VXTextLabel::Role::Secondary);
    _rows = new QVBoxLayout;
    _rows->setSpacing(8);
    auto *const addRow = makeButton(text(u"Condition"_s));
    connect(addRow, &QToolButton::clicked, this, &VXFilterEditor::addRow);
    auto *const foot = new QHBoxLayout;
    foot->addWidget(addRow);
    if (_depth < deepest) {
        auto *const addGroup = makeButton(text(u"Group"_s));
        connect(addGroup, &QToolButton::clicked, this, &VXFilterEditor::addGroup);
        foot->addWidget(addGroup);
    }
    foot->addStretch();

    auto *const all = new QVBoxLayout(this);
    const int margin = _depth > 0 ? 10 : 0;
    all->setContentsMargins(margin, margin, margin, margin);
    all->setSpacing(8);
    all->addLayout(head);
    all->addWidget(_empty);
    all->addLayout(_rows);
    all->addLayout(foot);
}

// -- Rows

int VXFilterEditor::rowCount() const
{
    return _rows->count();
}

void VXFilterEditor::addRow()
{
    insert(std::nullopt);
    changed();
    _rows->itemAt(_rows->count() - 1)->widget()->setFocus();
}

void VXFilterEditor::addGroup()
{
    insertGroup(std::nullopt);
    changed();
}

void VXFilterEditor::insert(const std::optional<VXPredicate> &predicate)
{
    QList<VXPredicate> parts;
    if (predicate && predicate->kind() != VXPredicate::Kind::Comparison && _depth < deepest &&
        matchingOf(*predicate, &parts))
        return insertGroup(predicate);
    auto *const row = new VXFilterRowView(_fields, predicate);
    connect(row, &VXFilterRowView::predicateDidChange, this, &VXFilterEditor::changed);
    connect(row, &VXFilterRowView::removeWanted, this, [this, row] { removeRow(row); });
    _rows->addWidget(row);
    _empty->hide();
}

void VXFilterEditor::insertGroup(const std::optional<VXPredicate> &predicate)
{
    auto *const group = new VXFilterEditor(_fields, _depth + 1);
    if (predicate)
        group->setPredicate(*predicate);
    else
        group->insert(std::nullopt);
    connect(group, &VXFilterEditor::predicateDidChange, this, &VXFilterEditor::changed);
    connect(group, &VXFilterEditor::removeWanted, this, [this, group] { removeRow(group); });
    _rows->addWidget(group);
    _empty->hide();
}

// The focus goes to the row that takes its place.
void VXFilterEditor::removeRow(QWidget *row)
{
    const int index = _rows->indexOf(row);
    _rows->removeWidget(row);
    row->hide();
    row->deleteLater();
    if (_rows->count() > 0)
        _rows->itemAt(std::min(index, _rows->count() - 1))->widget()->setFocus();
    else
        _matching->setFocus();
    _empty->setVisible(_rows->count() == 0);
    changed();
}

void VXFilterEditor::changed()
{
    Q_EMIT predicateDidChange();
}

// -- Predicates

VXFilterMatching VXFilterEditor::matching() const
{
    return static_cast<VXFilterMatching>(_matching->currentData().toInt());
}

void VXFilterEditor::setMatching(VXFilterMatching matching)
{
    _matching->setCurrentIndex(_matching->findData(int(matching)));
}

std::optional<VXFilterMatching> VXFilterEditor::matchingOf(const VXPredicate &predicate, QList<VXPredicate> *parts)
{
    using Kind = VXPredicate::Kind;
    switch (predicate.kind()) {
    case Kind::And:
        *parts = predicate.subpredicates();
        return VXFilterMatching::All;
    case Kind::Or:
        *parts = predicate.subpredicates();
        return VXFilterMatching::Any;
    case Kind::Not: {
        const VXPredicate &inner = predicate.subpredicates().first();
        *parts = inner.kind() == Kind::Or ? inner.subpredicates() : QList<VXPredicate>{inner};
        return VXFilterMatching::None;
    }
    case Kind::True:
        return VXFilterMatching::All;
    case Kind::False:
    case Kind::Comparison:
        break;
    }
    return std::nullopt;
}

void VXFilterEditor::setPredicate(const VXPredicate &predicate)
{
    {
        const QSignalBlocker blocker(this);
        while (QLayoutItem *const item = _rows->takeAt(0)) {
            delete item->widget();
            delete item;
        }
        QList<VXPredicate> parts;
        const auto found = matchingOf(predicate, &parts);
        setMatching(found.value_or(VXFilterMatching::All));
        for (const VXPredicate &part : found ? parts : QList<VXPredicate>{predicate})
            insert(part);
        _empty->setVisible(_rows->count() == 0);
    }
    changed();
}

std::optional<VXPredicate> VXFilterEditor::predicate() const
{
    QList<VXPredicate> parts;
    for (int index = 0; index < _rows->count(); ++index) {
        QWidget *const view = _rows->itemAt(index)->widget();
        const auto *const group = qobject_cast<VXFilterEditor *>(view);
        const std::optional<VXPredicate> part =
            group != nullptr ? group->predicate() : static_cast<VXFilterRowView *>(view)->predicate();
        if (!part)
            return std::nullopt;
        parts.append(*part);
    }
    return parts.isEmpty() ? VXPredicate() : joined(matching(), parts);
}

QString VXFilterEditor::words() const
{
    if (_rows->count() == 0)
        return text(u"Everything passes"_s);
    QStringList rows;
    for (int index = 0; index < _rows->count(); ++index) {
        QWidget *const view = _rows->itemAt(index)->widget();
        const auto *const group = qobject_cast<VXFilterEditor *>(view);
        rows.append(group != nullptr ? u'(' + group->words() + u')' : static_cast<VXFilterRowView *>(view)->words());
    }
    if (rows.size() == 1 && matching() != VXFilterMatching::None)
        return rows.first();
    static const QStringList formats{u"All of: %1"_s, u"Any of: %1"_s, u"None of: %1"_s};
    return text(formats.at(int(matching()))).arg(rows.join("; "_L1));
}

void VXFilterEditor::setFilter(const VXSmartFilter &filter)
{
    setPredicate(filter.predicate().value_or(VXPredicate()));
}

bool VXFilterEditor::storeTo(VXSmartFilter &filter) const
{
    const std::optional<VXPredicate> made = predicate();
    if (!made)
        return false;
    static_cast<void>(filter.setPredicate(*made)); // what rows cannot express is kept as text
    return true;
}
