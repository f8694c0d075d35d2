#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QList>
#include <QtCore/QTimer>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

#include <functional>

/** What a bezel shows. */
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
    QImage picture = {};   // null: the icon
    QString icon = {};     // by name (VXSymbol)
    QList<Button> buttons = {};
    int seconds = 6; // 0: until it is closed
};

/**
 * A short notice over all windows, as of a call that comes in or a hot key that was pressed. It never takes the focus; it goes
 * by itself, but not while the pointer is on it. Where programs may not place windows (Wayland), `show` is not for use: see
 * `canPlaceWindows`. Main thread only.
 */
class VX_INTERFACE_EXPORT VXBezelWindow : public QWidget
{
    Q_OBJECT

public:
    VXBezelWindow();
    ~VXBezelWindow() override;

    /** Whether the desktop lets a program place its windows; otherwise its notifications have to serve. */
    static bool canPlaceWindows();

    /** Shows the notice, in place of the one there is, at the upper end of the screen with the pointer. */
    void showNotice(const VXBezelNotice &notice);
    /** Milliseconds for a second of a notice: for tests. */
    void setSecond(int milliseconds) { _second = milliseconds; }

Q_SIGNALS:
    /** It went: by itself, by a button or by its close button. */
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
    int _second = 1000;
    int _seconds = 0;
};
