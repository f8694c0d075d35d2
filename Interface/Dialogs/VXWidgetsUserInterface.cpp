#include "VXWidgetsUserInterface.h"

#include "VXAlertWindow.h"
#include "VXFileWindow.h"
#include "VXInterface.h"
#include "VXWidgetsProgressWindow.h"

#include <QtCore/QPointer>
#include <QtWidgets/QApplication>

using namespace Qt::StringLiterals;

namespace {

// The parent window for a question; not one that closes by itself.
QWidget *windowInFront()
{
    QWidget *const modal = QApplication::activeModalWidget();
    return modal != nullptr ? modal : QApplication::activeWindow();
}

VXAlertResult run(const VXAlert &alert, VXAlertWindow::Kind kind)
{
    const QPointer<VXAlertWindow> window = new VXAlertWindow(alert, kind, windowInFront());
    const VXAlertResult result = window->runModal();
    delete window; // null if its parent has deleted it already
    return result;
}

QString detailsOf(const VXError &error)
{
    QStringList lines;
    if (const QString path = error.filePath(); !path.isNull())
        lines.append(path);
    lines.append(u"%1 %2"_s.arg(error.domain()).arg(error.code()));
    if (const auto cause = error.userInfo().value(VXUnderlyingErrorKey).value<VXError>())
        lines.append(cause.description());
    return lines.join(u'\n');
}

} // namespace

VXWidgetsUserInterface::VXWidgetsUserInterface() = default;

VXWidgetsUserInterface::~VXWidgetsUserInterface() = default;

VXAlertResult VXWidgetsUserInterface::showAlert(const VXAlert &alert)
{
    return run(alert, alert.isQuestion() ? VXAlertWindow::Kind::Question : VXAlertWindow::Kind::Notice);
}

void VXWidgetsUserInterface::showError(const VXError &error)
{
    VXAlert alert;
    alert.message = error.localizedDescription();
    alert.informativeText = error.localizedRecoverySuggestion();
    alert.details = detailsOf(error);
    alert.defaultButton = VXInterfaceString(u"OK"_s);
    static_cast<void>(run(alert, VXAlertWindow::Kind::Error));
}

VXPanelResult VXWidgetsUserInterface::showOpenPanel(const VXOpenPanel &panel)
{
    return VXFileWindow::runOpenPanel(panel, windowInFront());
}

VXPanelResult VXWidgetsUserInterface::showSavePanel(const VXSavePanel &panel)
{
    return VXFileWindow::runSavePanel(panel, windowInFront());
}

std::unique_ptr<VXProgressWindow> VXWidgetsUserInterface::createProgressWindow()
{
    return std::make_unique<VXWidgetsProgressWindow>(windowInFront());
}

void VXWidgetsUserInterface::activate()
{
    QWidget *window = windowInFront();
    for (QWidget *const each : QApplication::topLevelWidgets()) {
        if (window == nullptr && each->windowType() == Qt::Window && (each->isVisible() || each->isMinimized()))
            window = each;
    }
    if (window == nullptr)
        return;
    if (window->isMinimized())
        window->showNormal();
    window->raise();
    window->activateWindow();
}
