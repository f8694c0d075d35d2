#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QStringList>
#include <QtWidgets/QFrame>

#include <optional>

class QListView;
class QStringListModel;

/**
 * The list that opens below a field while its user types a name or number. It never takes the focus: the field passes the keys
 * on that are the list's. No row is chosen unless the user chooses one. Main thread only.
 */
class VX_INTERFACE_EXPORT VXCompletionWindow : public QFrame
{
    Q_OBJECT

public:
    explicit VXCompletionWindow(QWidget &field);
    ~VXCompletionWindow() override;

    /** Shows phonebook strings and groups, below this rectangle of the field; none closes the list. */
    void showRows(const QStringList &rows, const QRect &below);
    QStringList rows() const;
    /** The row that the user chose; none unless they did. */
    std::optional<QString> chosenRow() const;
    /** Up and Down, Page Up and Page Down; false for other keys, and while it is closed. */
    bool takeKey(int key);

Q_SIGNALS:
    /** A click: the row is wanted. */
    void rowWanted(const QString &row);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void choose(int row);

    QWidget &_field;
    QStringListModel *const _model;
    QListView *const _list;
};
