#pragma once

#include "VXFilterField.h"

#include <QtWidgets/QWidget>

#include <optional>

class QComboBox;
class QLineEdit;
class QToolButton;
class VXFilterValueEdit;

/** One condition: field, operator and value; or a predicate as text where these three cannot say it. */
class VXFilterRowView : public QWidget
{
    Q_OBJECT

public:
    /** A comparison, which VXSmartFilterRow can express and whose key is a field's; anything else is shown as text. */
    VXFilterRowView(const QList<VXFilterField> &fields, const std::optional<VXPredicate> &predicate);
    ~VXFilterRowView() override;

    /** Empty while the value is none. */
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
