#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QList>
#include <QtCore/QTimer>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

#include <chrono>
#include <functional>

/** The contents of a bezel. */
struct VX_INTERFACE_EXPORT VXBezelNotice
{
    struct Button
    {
        QString title;
        std::function<void()> action = {};
        bool isMain = false;
    };

    QString title;         // whom it is about
    QString subtitle = {}; // the number
    QString caption = {};  // what happens, and by which phone
    QImage picture = {};   // null: the icon is shown
    QString icon = {};     // the name of a VXSymbol
    QList<Button> buttons = {};
    std::chrono::milliseconds duration = std::chrono::seconds(6); // 0: until it is closed
};

/**
 * A short notice above all windows, for example about an incoming call or a hot key that was pressed. It never takes
 * the focus. It closes by itself, but not while the pointer is over it. Where programs cannot place their windows
 * (Wayland) it must not be shown: see `canPlaceWindows`. Main thread only.
 */
class VX_INTERFACE_EXPORT VXBezelWindow : public QWidget
{
    Q_OBJECT

public:
    VXBezelWindow();
    ~VXBezelWindow() override;

    /** Whether the desktop lets a program place its windows; otherwise use the desktop's notifications. */
    static bool canPlaceWindows();

    /** Shows the notice, replacing the present one, at the top of the screen with the pointer. */
    void showNotice(const VXBezelNotice &notice);

Q_SIGNALS:
    /** The bezel was closed: by itself, by a button or by its close button. */
    void didClose();

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void fill(const VXBezelNotice &notice);
    void place();

    QTimer _time;
    bool _closesByItself = false;
};
