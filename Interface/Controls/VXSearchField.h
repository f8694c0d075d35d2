#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QTimer>
#include <QtWidgets/QLineEdit>

#include <optional>

class QLabel;

/**
 * Where the user says what to look for. The search follows the typing: a letter is searched for at once, those right behind it
 * together. Return searches at once, Escape empties the field, Down goes to what was found. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSearchField : public QLineEdit
{
    Q_OBJECT

public:
    explicit VXSearchField(QWidget *parent = nullptr);
    ~VXSearchField() override;

    /** What is looked in, for the placeholder: "Search contacts". */
    void setPlace(const QString &placeholder);
    /** What was searched for last; empty for everything. */
    QString searchText() const { return _searchText; }
    /** Shown in the field while it has a text, and told to assistive technology; none while nobody knows. `isMore`: there are more. */
    void setResultCount(std::optional<qint64> count, bool isMore = false);

Q_SIGNALS:
    /** Each time the text is another one, trimmed. */
    void searchTextDidChange(const QString &text);
    /** Down: the user wants the first of what was found. */
    void resultsWanted();
    /** Escape in an empty field. */
    void escaped();

protected:
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
