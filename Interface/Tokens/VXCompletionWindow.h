#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QStringList>
#include <QtWidgets/QFrame>

#include <optional>

class QListView;
class QStringListModel;

/**
 * The list that opens below a field while the user types a name or number. It never takes the focus: the field passes
 * on the keys for the list. No row is selected unless the user selects one. Main thread only.
 */
class VX_INTERFACE_EXPORT VXCompletionWindow : public QFrame
{
    Q_OBJECT

public:
    explicit VXCompletionWindow(QWidget &field);
    ~VXCompletionWindow() override;

    /** Shows phonebook strings and groups below this rectangle of the field; an empty list closes the window. */
    void showRows(const QStringList &rows, const QRect &below);
    QStringList rows() const;
    /** The row that the user has selected, if any. */
    std::optional<QString> chosenRow() const;
    /** Handles Up, Down, Page Up and Page Down; false for other keys, and while closed. */
    bool takeKey(int key);

Q_SIGNALS:
    /** The row was clicked. */
    void rowWanted(const QString &row);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void choose(int row);

    QWidget &_field;
    QStringListModel *const _model;
    QListView *const _list;
};
