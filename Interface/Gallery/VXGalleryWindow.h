#pragma once

#include <QtWidgets/QWidget>

class QListWidget;
class QScrollArea;

/** The pages with a list of them and a switch for the theme. */
class VXGalleryWindow : public QWidget
{
    Q_OBJECT

public:
    VXGalleryWindow();
    ~VXGalleryWindow() override;

    void showPage(int index);

private:
    QListWidget *const _list;
    QScrollArea *const _place;
};
