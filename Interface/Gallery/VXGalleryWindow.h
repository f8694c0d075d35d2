#pragma once

#include <QtWidgets/QWidget>

class QListWidget;
class QScrollArea;

/** The pages beside a list of them, with a switch of the theme. */
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
