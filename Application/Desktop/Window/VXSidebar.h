#pragma once

#include <QtWidgets/QListWidget>

/** The names of a window's pages, with what each has to be looked at. */
class VXSidebar : public QListWidget
{
    Q_OBJECT

public:
    explicit VXSidebar(QWidget *parent);
    /** `icon`: by name (VXSymbol). */
    QListWidgetItem *addPage(const QString &title, const QString &icon);
    /** What there is to be looked at, beside the name of a page; 0 for nothing. */
    void setBadge(int row, int badge);

private:
    class Delegate;
};
