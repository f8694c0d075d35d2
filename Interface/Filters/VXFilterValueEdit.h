#pragma once

#include "VXFilterField.h"

#include <QtWidgets/QWidget>

#include <functional>
#include <optional>
#include <vector>

/** Edits the value that a field is compared with: a single one, the two of a range, or a list. */
class VXFilterValueEdit : public QWidget
{
    Q_OBJECT

public:
    explicit VXFilterValueEdit(QWidget *parent = nullptr);
    ~VXFilterValueEdit() override;

    /** Makes the fitting fields; keeps the present value if it fits as well. */
    void setKind(const VXFilterField &field, VXPredicate::Operator comparison);
    void setValue(const QVariant &value);
    /** Invalid while the input is no value. */
    QVariant value() const;

Q_SIGNALS:
    void valueDidChange();

private:
    struct Part
    {
        QWidget *view;
        std::function<QVariant()> value;
        std::function<void(const QVariant &)> setValue;
    };

    Part makePart(const VXFilterField &field);
    Part makeText();
    Part makeList();
    Part makeNumber(bool isDuration);
    Part makeDate();
    Part makeChoice(const QList<VXFilterField::Choice> &choices);

    std::vector<Part> _parts;
    bool _isRange = false;
};
