#pragma once

#include "VXFilterField.h"
#include "VXInterfaceExport.h"
#include "VXSmartFilter.h"

#include <QtWidgets/QWidget>

#include <optional>

class QBoxLayout;
class QComboBox;
class QLabel;

/**
 * Edits a condition as rows of field, operator and value that are joined by all, any or none; a group is a row too. What rows
 * cannot say stays as text. Main thread only.
 */
class VX_INTERFACE_EXPORT VXFilterEditor : public QWidget
{
    Q_OBJECT

public:
    /** At least one field. */
    explicit VXFilterEditor(const QList<VXFilterField> &fields, QWidget *parent = nullptr);
    ~VXFilterEditor() override;

    /** One that is true for all has no rows. */
    void setPredicate(const VXPredicate &predicate);
    /** Of the rows; true for all without any. Empty while a row is wrong or has no value yet. */
    std::optional<VXPredicate> predicate() const;
    /** The whole in words: "All of: Contact contains "Jane"; Duration is at least 10 s". */
    QString words() const;

    /** From and to a stored filter, on the main thread's context. False, with nothing changed, while a row is wrong. */
    void setFilter(const VXSmartFilter &filter);
    bool storeTo(VXSmartFilter &filter) const;

    /** Below the others. */
    void addRow();
    void addGroup();
    int rowCount() const;

Q_SIGNALS:
    void predicateDidChange();
    /** Of a group within another. */
    void removeWanted();

private:
    VXFilterEditor(const QList<VXFilterField> &fields, int depth);

    void build();
    void insert(const std::optional<VXPredicate> &predicate);
    void insertGroup(const std::optional<VXPredicate> &predicate);
    void removeRow(QWidget *row);
    void changed();
    VXFilterMatching matching() const;
    void setMatching(VXFilterMatching matching);
    static std::optional<VXFilterMatching> matchingOf(const VXPredicate &predicate, QList<VXPredicate> *parts);

    const QList<VXFilterField> _fields;
    const int _depth;
    QComboBox *_matching = nullptr;
    QBoxLayout *_rows = nullptr;
    QLabel *_empty = nullptr;
};
