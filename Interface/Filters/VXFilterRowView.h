#pragma once

#include "VXFilterField.h"

#include <QtWidgets/QWidget>

#include <optional>

class QComboBox;
class QLineEdit;
class QToolButton;
class VXFilterValueEdit;

/** One condition: field, operator and value; or a predicate as text if these cannot express it. */
class VXFilterRowView : public QWidget
{
    Q_OBJECT

public:
    /** Shows a comparison that VXSmartFilterRow can express and whose key is that of a field; anything else as text. */
    VXFilterRowView(const QList<VXFilterField> &fields, const std::optional<VXPredicate> &predicate);
    ~VXFilterRowView() override;

    /** Empty while there is no value. */
    std::optional<VXPredicate> predicate() const;
    /** The condition in words. */
    QString words() const;

Q_SIGNALS:
    void predicateDidChange();
    void removeWanted();

private:
    void makeComparison(const VXPredicate *predicate);
    void makeText(const VXPredicate &predicate);
    void addRemoveButton();
    void fieldChanged();
    int lengthOfOperators() const;
    const VXFilterField &field() const;
    VXPredicate::Operator comparison() const;

    const QList<VXFilterField> _fields;
    QComboBox *_field = nullptr;
    QComboBox *_operator = nullptr;
    VXFilterValueEdit *_value = nullptr;
    QLineEdit *_text = nullptr;
    VXTextOptions _options;
};
