#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QTimer>
#include <QtWidgets/QLineEdit>

#include <optional>

class QLabel;

/**
 * A field for search texts. The search follows the typing: the first letter is searched for at once, further letters
 * typed quickly are searched for together. Return searches at once, Escape clears the field, Down goes to the results.
 * Main thread only.
 */
class VX_INTERFACE_EXPORT VXSearchField : public QLineEdit
{
    Q_OBJECT

public:
    explicit VXSearchField(QWidget *parent = nullptr);
    ~VXSearchField() override;

    /** Sets the placeholder, which says what is searched: "Search contacts". */
    void setPlace(const QString &placeholder);
    /** The last text searched for; empty for everything. */
    QString searchText() const { return _searchText; }
    /** Shown in the field while it has a text, and told to assistive technology; none while nobody knows. `isMore`: there are more. */
    void setResultCount(std::optional<qint64> count, bool isMore = false);

Q_SIGNALS:
    /** The trimmed text has changed. */
    void searchTextDidChange(const QString &text);
    /** Down was pressed: the user wants the first result. */
    void resultsWanted();
    /** Escape was pressed in an empty field. */
    void escaped();

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void search();
    void placeCount();

    QTimer _rest;
    QString _searchText;
    QLabel *const _count;
    QAction *const _clear;
};
