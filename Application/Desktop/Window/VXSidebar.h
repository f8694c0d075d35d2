#pragma once

#include <QtWidgets/QListWidget>

class VXSection;

/** The names of a window's sections, each with the number of things that need attention. */
class VXSidebar : public QListWidget
{
    Q_OBJECT

public:
    explicit VXSidebar(QWidget *parent);
    void addSection(VXSection &section);
    /** `icon`: by name (VXSymbol). */
    QListWidgetItem *addPage(const QString &title, const QString &icon);

private:
    class Delegate;
};
