#include "VXTray.h"

#include "VXDesktopSettings.h"
#include "VXDesktopText.h"
#include "VXMainWindow.h"
#include "VXUserDefaults.h"

#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtWidgets/QSystemTrayIcon>

using namespace Qt::StringLiterals;

// A visible icon appears by itself once the session gets a tray.
VXTray::VXTray(VXMainWindow &window)
    : _window(window), _menu(std::make_unique<QMenu>()), _icon(new QSystemTrayIcon(QApplication::windowIcon(), this))
{
    _menu->addAction(VXText("Open Vornix"), &window, [&window] { window.activate(); });
    _menu->addAction(VXText("New message"), &window, [&window] {
        window.activate();
        window.writeMessage({});
    });
    _menu->addAction(VXText("Sync phones"), &window, [&window] { window.sync(); });
    _menu->addSeparator();
    _menu->addAction(VXText("Quit"), &window, &VXMainWindow::quit);
    _icon->setContextMenu(_menu.get());
    connect(_icon, &QSystemTrayIcon::activated, &window, [&window](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            window.activate();
    });
    connect(&window, &VXMainWindow::badgeDidChange, this, &VXTray::updateText);
    updateText();
    _icon->show();
}

VXTray::~VXTray() = default;

bool VXTray::keepsRunning()
{
    return VXUserDefaults::standardUserDefaults().boolForKey(VXDesktopSettings::keepsRunningKey) &&
           QSystemTrayIcon::isSystemTrayAvailable();
}

void VXTray::updateText()
{
    QStringList lines{u"Vornix"_s};
    for (const VXSection *const section : _window.sections()) {
        if (section->badge() > 0)
            lines.append(u"%1: %2"_s.arg(section->title()).arg(section->badge()));
    }
    _icon->setToolTip(lines.join(u'\n'));
}
