#include "VXFilterValueEdit.h"

#include "VXInterface.h"
#include "VXTextLabel.h"
#include "VXTextTransformers.h"

#include <QtCore/QDateTime>
#include <QtCore/QSignalBlocker>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDateTimeEdit>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QStyle>

using namespace Qt::StringLiterals;

using Operator = VXPredicate::Operator;

namespace {

void showAsWrong(QWidget &field, bool isWrong)
{
    const QString tone = isWrong ? u"bad"_s : QString();
    if (field.property("vxTone").toString() == tone)
        return;
    field.setProperty("vxTone", tone);
    field.style()->unpolish(&field);
    field.style()->polish(&field);
}

QVariantList listOf(const QVariant &value)
{
    return value.typeId() == QMetaType::QStringList ? QVariant(value.toStringList()).toList() : value.toList();
}

} // namespace

VXFilterValueEdit::VXFilterValueEdit(QWidget *parent) : QWidget(parent)
{
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(6);
}

VXFilterValueEdit::~VXFilterValueEdit() = default;

void VXFilterValueEdit::setKind(const VXFilterField &field, Operator comparison)
{
    const QVariant before = value();
    while (QLayoutItem *const item = layout()->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    _parts.clear();
    _isRange = comparison == Operator::Between;
    auto *const row = static_cast<QHBoxLayout *>(layout());
    if (comparison == Operator::In)
        _parts.push_back(makeList());
    else
        _parts.push_back(makePart(field));
    row->addWidget(_parts.front().view, 1);
    if (_isRange) {
        auto *const word = new VXTextLabel(VXInterfaceString(u"and"_s, u"Filters"_s));
        word->setWordWrap(false);
        row->addWidget(word);
        _parts.push_back(makePart(field));
        row->addWidget(_parts.back().view, 1);
    }
    for (const Part &part : _parts)
        part.view->setAccessibleName(VXInterfaceString(u"Value"_s, u"Filters"_s));
    setFocusProxy(_parts.front().view);
    if (before.isValid())
        setValue(before);
}

VXFilterValueEdit::Part VXFilterValueEdit::makePart(const VXFilterField &field)
{
    switch (field.type) {
    case VXFilterField::Type::Number:
        return makeNumber(false);
    case VXFilterField::Type::Duration:
        return makeNumber(true);
    case VXFilterField::Type::Date:
        return makeDate();
    case VXFilterField::Type::Boolean:
        return makeChoice({{field.textOf(true), true}, {field.textOf(false), false}});
    case VXFilterField::Type::Choice:
        return makeChoice(field.choices);
    case VXFilterField::Type::Text:
        break;
    }
    return makeText();
}

VXFilterValueEdit::Part VXFilterValueEdit::makeText()
{
    auto *const edit = new QLineEdit;
    connect(edit, &QLineEdit::textChanged, this, &VXFilterValueEdit::valueDidChange);
    return {edit, [edit] { return QVariant(edit->text()); },
            [edit](const QVariant &value) { edit->setText(value.toString()); }};
}

VXFilterValueEdit::Part VXFilterValueEdit::makeList()
{
    Part part = makeText();
    auto *const edit = static_cast<QLineEdit *>(part.view);
    edit->setPlaceholderText(VXInterfaceString(u"with commas between"_s, u"Filters"_s));
    part.value = [edit] {
        QVariantList values;
        for (const QString &each : edit->text().split(u',', Qt::SkipEmptyParts))
            values.append(each.trimmed());
        return values.isEmpty() ? QVariant() : QVariant(values);
    };
    part.setValue = [edit](const QVariant &value) {
        QStringList texts;
        for (const QVariant &each : listOf(value))
            texts.append(each.toString());
        edit->setText(texts.isEmpty() ? value.toString() : texts.join(", "_L1));
    };
    return part;
}

VXFilterValueEdit::Part VXFilterValueEdit::makeNumber(bool isDuration)
{
    auto *const edit = new QLineEdit;
    if (isDuration)
        edit->setPlaceholderText(VXInterfaceString(u"seconds"_s, u"Filters"_s));
    const auto value = [edit] { return VXNumberTransformer().reverseTransformedValue(edit->text()); };
    connect(edit, &QLineEdit::textChanged, this, [this, edit, value] {
        showAsWrong(*edit, !edit->text().isEmpty() && !value().isValid());
        Q_EMIT valueDidChange();
    });
    return {edit, value, [edit](const QVariant &number) {
                const QVariant shown = VXNumberTransformer().transformedValue(number);
                edit->setText(shown.isValid() ? shown.toString() : number.toString());
            }};
}

VXFilterValueEdit::Part VXFilterValueEdit::makeDate()
{
    auto *const edit = new QDateTimeEdit(QDateTime(QDate::currentDate(), QTime(0, 0)));
    edit->setCalendarPopup(true);
    connect(edit, &QDateTimeEdit::dateTimeChanged, this, &VXFilterValueEdit::valueDidChange);
    return {edit, [edit] { return QVariant(edit->dateTime()); },
            [edit](const QVariant &value) {
                if (value.toDateTime().isValid())
                    edit->setDateTime(value.toDateTime().toLocalTime());
            }};
}

VXFilterValueEdit::Part VXFilterValueEdit::makeChoice(const QList<VXFilterField::Choice> &choices)
{
    auto *const box = new QComboBox;
    for (const VXFilterField::Choice &choice : choices)
        box->addItem(choice.title, choice.value);
    connect(box, &QComboBox::currentIndexChanged, this, &VXFilterValueEdit::valueDidChange);
    return {box, [box] { return box->currentData(); },
            [box](const QVariant &value) {
                for (int index = 0; index < box->count(); ++index) {
                    if (box->itemData(index) == value)
                        return box->setCurrentIndex(index);
                }
                if (!value.isValid() || value.toString().isEmpty())
                    return;
                box->addItem(value.toString(), value); // from another version, but kept
                box->setCurrentIndex(box->count() - 1);
            }};
}

void VXFilterValueEdit::setValue(const QVariant &value)
{
    const QSignalBlocker blocker(this);
    if (!_isRange)
        return _parts.front().setValue(value);
    const QVariantList ends = listOf(value);
    for (std::size_t i = 0; i < _parts.size(); ++i)
        _parts[i].setValue(ends.isEmpty() ? value : ends.value(static_cast<qsizetype>(i)));
}

QVariant VXFilterValueEdit::value() const
{
    if (_parts.empty())
        return {};
    if (!_isRange)
        return _parts.front().value();
    QVariantList ends;
    for (const Part &part : _parts)
        ends.append(part.value());
    return ends.at(0).isValid() && ends.at(1).isValid() ? QVariant(ends) : QVariant();
}
