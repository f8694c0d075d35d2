#pragma once

#include <QtWidgets/QDialog>

class QStackedWidget;
class VXSidebar;

/** The user's choices, each applied at once. Pages: general, phones, plugins, keys, data, privacy. */
class VXPreferencesWindow : public QDialog
{
    Q_OBJECT

public:
    explicit VXPreferencesWindow(QWidget *parent);

    /** Null keeps the current page. */
    void showPage(const QString &key);

private:
    void add(const QString &key, const QString &title, const QString &icon, QWidget *page);

    VXSidebar *_list;
    QStackedWidget *_pages;
};
