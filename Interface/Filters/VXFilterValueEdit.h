#pragma once

#include "VXFilterField.h"

#include <QtWidgets/QWidget>

#include <functional>
#include <optional>
#include <vector>

/** Edits what a field is compared with: one value, two of a range, or a list. */
class VXFilterValueEdit : public QWidget
{
    Q_OBJECT

public:
    explicit VXFilterValueEdit(QWidget *parent = nullptr);
    ~VXFilterValueEdit() override;

    /** Makes the fields that fit; an earlier value stays where it fits too. */
    void setKind(const VXFilterField &field, VXPredicate::Operator comparison);
    void setValue(const QVariant &value);
    /** Invalid while what stands there is none. */
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
