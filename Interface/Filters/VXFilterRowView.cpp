#include "VXFilterRowView.h"

#include "VXFilterValueEdit.h"
#include "VXInterface.h"
#include "VXSmartFilterRow.h"
#include "VXSymbol.h"

#include <QtCore/QSignalBlocker>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

QString text(const QString &key)
{
    return VXInterfaceString(key, u"Filters"_s);
}

VXExpression constantOf(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantList)
        return VXExpression::constant(value);
    QList<VXExpression> elements;
    for (const QVariant &each : value.toList())
        elements.append(VXExpression::constant(each));
    return VXExpression::aggregate(elements);
}

bool hasTexts(const QVariant &value)
{
    const QVariantList values = value.typeId() == QMetaType::QVariantList ? value.toList() : QVariantList{value};
    return std::ranges::any_of(values, [](const QVariant &each) { return each.typeId() == QMetaType::QString; });
}

} // namespace

VXFilterRowView::VXFilterRowView(const QList<VXFilterField> &fields, const std::optional<VXPredicate> &predicate)
    : _fields(fields), _options(VXTextOption::CaseInsensitive | VXTextOption::DiacriticInsensitive)
{
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(8);
    const auto isOfField = [&](const VXFilterField &each) { return each.key == predicate->left().keys().join(u'.'); };
    const bool isComparison = predicate && predicate->kind() == VXPredicate::Kind::Comparison &&
                              VXSmartFilterRow::canExpress(*predicate) && std::ranges::any_of(fields, isOfField);
    if (!predicate || isComparison)
        makeComparison(predicate ? &*predicate : nullptr);
    else
        makeText(*predicate);
    addRemoveButton();
}

VXFilterRowView::~VXFilterRowView() = default;

void VXFilterRowView::makeComparison(const VXPredicate *predicate)
{
    _field = new QComboBox;
    _operator = new QComboBox;
    _value = new VXFilterValueEdit;
    for (const VXFilterField &each : _fields)
        _field->addItem(each.title, each.key);
    _field->setAccessibleName(text(u"Field"_s));
    _operator->setMinimumContentsLength(lengthOfOperators());
    _operator->setAccessibleName(text(u"Comparison"_s));
    auto *const row = static_cast<QHBoxLayout *>(layout());
    row->addWidget(_field);
    row->addWidget(_operator);
    row->addWidget(_value, 1);
    if (predicate != nullptr)
        _field->setCurrentIndex(_field->findData(predicate->left().keys().join(u'.')));
    fieldChanged();
    if (predicate != nullptr) {
        _options = predicate->options();
        int index = _operator->findData(static_cast<int>(predicate->comparisonOperator()));
        if (index < 0) { // unusual for the type, but kept
            _operator->addItem(field().titleOf(predicate->comparisonOperator()),
                               static_cast<int>(predicate->comparisonOperator()));
            index = _operator->count() - 1;
        }
        _operator->setCurrentIndex(index);
        _value->setKind(field(), comparison());
        _value->setValue(predicate->right().value());
    }
    connect(_field, &QComboBox::currentIndexChanged, this, [this] {
        fieldChanged();
        Q_EMIT predicateDidChange();
    });
    connect(_operator, &QComboBox::currentIndexChanged, this, [this] {
        _value->setKind(field(), comparison());
        Q_EMIT predicateDidChange();
    });
    connect(_value, &VXFilterValueEdit::valueDidChange, this, &VXFilterRowView::predicateDidChange);
    setFocusProxy(_field);
}

void VXFilterRowView::makeText(const VXPredicate &predicate)
{
    _text = new QLineEdit(predicate.predicateFormat());
    _text->setAccessibleName(text(u"Condition as text"_s));
    connect(_text, &QLineEdit::textChanged, this, [this] {
        VXError error;
        const bool isGood = VXPredicate::predicateWithFormat(_text->text(), {}, &error).has_value();
        _text->setProperty("vxTone", isGood ? QString() : u"bad"_s);
        _text->setToolTip(isGood ? QString() : error.localizedDescription());
        _text->style()->unpolish(_text);
        _text->style()->polish(_text);
        Q_EMIT predicateDidChange();
    });
    static_cast<QHBoxLayout *>(layout())->addWidget(_text, 1);
    setFocusProxy(_text);
}

void VXFilterRowView::addRemoveButton()
{
    auto *const remove = new QToolButton;
    remove->setIcon(VXSymbol::named(u"minus"_s, VXSymbol::Tone::Quiet));
    remove->setToolTip(text(u"Remove this condition"_s));
    remove->setAccessibleName(remove->toolTip());
    remove->setFocusPolicy(Qt::TabFocus);
    connect(remove, &QToolButton::clicked, this, &VXFilterRowView::removeWanted);
    layout()->addWidget(remove);
}

void VXFilterRowView::fieldChanged()
{
    const QSignalBlocker blocker(_operator);
    _operator->clear();
    for (const Operator each : field().operators())
        _operator->addItem(field().titleOf(each), static_cast<int>(each));
    _value->setKind(field(), comparison());
}

// The same for all rows, so that the values are aligned.
int VXFilterRowView::lengthOfOperators() const
{
    int widest = 0;
    for (const VXFilterField &each : _fields) {
        for (const Operator comparison : each.operators())
            widest = std::max(widest, fontMetrics().horizontalAdvance(each.titleOf(comparison)));
    }
    return widest / fontMetrics().horizontalAdvance(u'X') + 1; // combo boxes count in widths of that letter
}

const VXFilterField &VXFilterRowView::field() const
{
    return _fields.at(std::max(0, _field->currentIndex()));
}

Operator VXFilterRowView::comparison() const
{
    return static_cast<Operator>(_operator->currentData().toInt());
}

std::optional<VXPredicate> VXFilterRowView::predicate() const
{
    if (_text != nullptr)
        return VXPredicate::predicateWithFormat(_text->text());
    const QVariant value = _value->value();
    if (!value.isValid() || (value.typeId() == QMetaType::QString && value.toString().isEmpty()))
        return std::nullopt;
    const auto made = VXPredicate::comparison(VXExpression::keyPath(field().key), comparison(), constantOf(value),
                                              hasTexts(value) ? _options : VXTextOptions());
    return VXSmartFilterRow::canExpress(made) ? std::optional(made) : std::nullopt;
}

QString VXFilterRowView::words() const
{
    if (_text != nullptr)
        return _text->text();
    const QVariant value = _value->value();
    QString shown = value.isValid() ? field().textOf(value) : u"…"_s;
    if (const QVariantList ends = value.toList(); comparison() == Operator::Between && ends.size() == 2)
        shown = QStringList{field().textOf(ends.first()), text(u"and"_s), field().textOf(ends.last())}.join(u' ');
    return QStringList{field().title, field().titleOf(comparison()), shown}.join(u' ');
}
