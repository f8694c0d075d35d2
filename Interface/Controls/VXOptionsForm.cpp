#include "VXOptionsForm.h"

#include "VXApplication.h"
#include "VXInterface.h"
#include "VXTextLabel.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>

#include <functional>

using namespace Qt::StringLiterals;

using Type = VXReactorOption::Type;

struct VXOptionsForm::Field
{
    VXReactorOption option;
    std::function<QVariant()> value; // invalid: the default
    VXTextLabel *problem;

    QString trouble() const
    {
        const QVariant given = value();
        if (!given.isValid())
            return option.isNeeded ? VXInterfaceString(u"This is needed."_s) : QString();
        return option.problemOf(given);
    }
};

namespace {

QString textOf(const QVariant &value)
{
    const bool isList = value.typeId() == QMetaType::QStringList || value.typeId() == QMetaType::QVariantList;
    return isList ? value.toStringList().join(", "_L1) : value.toString();
}

void choosePath(QLineEdit &edit)
{
    VXOpenPanel panel;
    panel.directory = QFileInfo(edit.text()).isAbsolute() ? QFileInfo(edit.text()).path() : QString();
    const VXPanelResult result = VXApplication::sharedApplication().userInterface().runOpenPanel(panel);
    if (result.isOk())
        edit.setText(result.path);
}

} // namespace

VXOptionsForm::VXOptionsForm(const VXReactorOptions &options, const QVariantMap &values, QWidget *parent)
    : QWidget(parent)
{
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    for (const VXReactorOption &option : options)
        add(option, values.value(option.key, option.standard));
}

VXOptionsForm::~VXOptionsForm() = default;

void VXOptionsForm::add(const VXReactorOption &option, const QVariant &value)
{
    auto *const column = static_cast<QVBoxLayout *>(layout());
    if (column->count() > 0)
        column->addSpacing(8);
    auto field = std::make_unique<Field>();
    field->option = option;
    field->problem = new VXTextLabel({}, VXTextLabel::Role::Caption);
    field->problem->setProperty("vxTone", u"bad"_s);
    field->problem->hide();
    if (option.type == Type::Boolean) {
        auto *const box = new QCheckBox(option.meaning);
        box->setChecked(value.toBool());
        connect(box, &QCheckBox::toggled, this, &VXOptionsForm::changed);
        field->value = [box] { return QVariant(box->isChecked()); };
        column->addWidget(box);
    } else {
        auto *const meaning = new VXTextLabel(option.meaning, VXTextLabel::Role::Secondary);
        column->addWidget(meaning);
        auto *const row = new QHBoxLayout;
        if (!option.choices.isEmpty()) {
            auto *const box = new QComboBox;
            box->addItems(option.choices);
            box->setCurrentText(textOf(value));
            box->setAccessibleName(option.meaning);
            connect(box, &QComboBox::currentTextChanged, this, &VXOptionsForm::changed);
            field->value = [box] { return QVariant(box->currentText()); };
            meaning->setBuddy(box);
            row->addWidget(box);
            row->addStretch();
        } else {
            auto *const edit = new QLineEdit(textOf(value));
            edit->setAccessibleName(option.meaning);
            connect(edit, &QLineEdit::textChanged, this, &VXOptionsForm::changed);
            field->value = [edit] { return edit->text().isEmpty() ? QVariant() : QVariant(edit->text()); };
            meaning->setBuddy(edit);
            row->addWidget(edit, 1);
            if (option.type == Type::File || option.type == Type::Program) {
                auto *const choose = new QPushButton(VXInterfaceString(u"Choose"_s));
                choose->setAutoDefault(false);
                connect(choose, &QPushButton::clicked, this, [edit] { choosePath(*edit); });
                row->addWidget(choose);
            }
        }
        column->addLayout(row);
    }
    column->addWidget(field->problem);
    _fields.push_back(std::move(field));
}

void VXOptionsForm::changed()
{
    for (const auto &field : _fields) {
        // reported by `problem`, but not shown while the user fills in the form
        const bool isEmpty = !field->value().isValid();
        field->problem->setText(isEmpty ? QString() : field->trouble());
        field->problem->setVisible(!field->problem->text().isEmpty());
    }
    Q_EMIT valuesDidChange();
}

QVariantMap VXOptionsForm::values() const
{
    QVariantMap values;
    for (const auto &field : _fields) {
        const QVariant value = field->value();
        if (value.isValid() && textOf(value) != textOf(field->option.standard))
            values.insert(field->option.key, value);
    }
    return values;
}

QString VXOptionsForm::problem() const
{
    for (const auto &field : _fields) {
        if (const QString trouble = field->trouble(); !trouble.isEmpty())
            return trouble;
    }
    return {};
}
