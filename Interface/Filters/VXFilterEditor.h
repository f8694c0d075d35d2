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
 * Edits a condition as rows of field, operator and value, joined by all, any or none; a row may be a group. What rows
 * cannot express is kept as text. Main thread only.
 */
class VX_INTERFACE_EXPORT VXFilterEditor : public QWidget
{
    Q_OBJECT

public:
    /** At least one field. */
    explicit VXFilterEditor(const QList<VXFilterField> &fields, QWidget *parent = nullptr);
    ~VXFilterEditor() override;

    /** A predicate that is always true gives no rows. */
    void setPredicate(const VXPredicate &predicate);
    /** The predicate of the rows; always true without any. Empty while a row is invalid or has no value yet. */
    std::optional<VXPredicate> predicate() const;
    /** A description in words: "All of: Contact contains "Jane"; Duration is at least 10 s". */
    QString words() const;

    /** Load and store a stored filter, on the main thread's context. False, with nothing changed, while a row is
     *  invalid. */
    void setFilter(const VXSmartFilter &filter);
    bool storeTo(VXSmartFilter &filter) const;

    /** These add below the others. */
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
