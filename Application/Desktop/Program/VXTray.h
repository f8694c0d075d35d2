#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>

#include <memory>

class QMenu;
class QSystemTrayIcon;
class VXMainWindow;

/** The program in the desktop's tray, if the session has one: news, and the way back to the window. Main thread. */
class VXTray : public QObject
{
    Q_OBJECT

public:
    explicit VXTray(VXMainWindow &window);
    ~VXTray() override;

    /** True if there is a tray, and the user wants the program to keep running there. */
    static bool keepsRunning();

private:
    void updateText();

    VXMainWindow &_window;
    std::unique_ptr<QMenu> _menu;
    QSystemTrayIcon *_icon;
};
