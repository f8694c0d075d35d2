#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

class QMenu;
class QSystemTrayIcon;
class VXMainWindow;

/** The program in the desktop's tray, where the session has one: what is new, and the way back to the window. Main thread. */
class VXTray : public QObject
{
    Q_OBJECT

public:
    /** User default: closing the window leaves the program running in the tray. */
    static const QString keepsRunningKey;

    explicit VXTray(VXMainWindow &window);
    ~VXTray() override;

    static bool isThereOne();
    /** There is a tray, and the user wants the program to go on there. */
    static bool keepsRunning();

private:
    void updateText();

    VXMainWindow &_window;
    std::unique_ptr<QMenu> _menu;
    QSystemTrayIcon *_icon;
};
