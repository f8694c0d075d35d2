#pragma once

#include <QtWidgets/QListView>
#include <QtWidgets/QWidget>

class QBoxLayout;
class QStackedWidget;
class VXEmptyState;
class VXSearchField;

/**
 * The list side of a section: a search field with room for buttons beside and below it, the list, and what is shown if
 * it is empty.
 */
class VXListPane : public QWidget
{
    Q_OBJECT

public:
    VXListPane(const QString &searchHint, const QString &listName, QWidget *parent);

    QListView *list() const { return _list; }
    VXSearchField *search() const { return _search; }
    VXEmptyState *placeholder() const { return _empty; }
    /** Below the search field, for chips. */
    QBoxLayout *secondRow() const { return _secondRow; }
    /** Shows each row of the model as a row drawn by VXRowDelegate. */
    void setModel(QAbstractItemModel *model);
    /** Shows the list, or what replaces it when it is empty. */
    void setIsEmpty(bool flag);
    /** Selects a row as a click does; the first row if none is selected. */
    void choose(int row);
    /** While `chosen` is emitted: whether the row is only the neighbour of one that the model is removing. */
    bool isChosenByRemoval() const { return _isRemoving; }

Q_SIGNALS:
    void searchDidChange(const QString &text);
    /** -1 for none. */
    void chosen(int row);
    void activated(int row);

private:
    void beginRemoval() { _isRemoving = true; }
    void endRemoval() { _isRemoving = false; }

    VXSearchField *_search;
    QListView *_list;
    VXEmptyState *_empty;
    QStackedWidget *_stack;
    QBoxLayout *_topRow;
    QBoxLayout *_secondRow;
    bool _isRemoving = false;
};
