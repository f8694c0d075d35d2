#include "VXUserInterface.h"

#include "VXBundle.h"
#include "VXException.h"
#include "VXMainThread.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

void assertMainThread()
{
    VXAssert(VXMainThread::isCurrent(), u"User interface used off the main thread"_s);
}

} // namespace

bool VXAlert::isQuestion() const
{
    return !alternateButton.isNull() || !otherButton.isNull() || !checkBoxTitle.isNull();
}

VXAlertButton VXAlert::dismissButton() const
{
    if (!alternateButton.isNull())
        return VXAlertButton::Alternate;
    return otherButton.isNull() ? VXAlertButton::Default : VXAlertButton::Other;
}

QString VXAlert::title(VXAlertButton button) const
{
    switch (button) {
    case VXAlertButton::Default:
        return defaultButton;
    case VXAlertButton::Alternate:
        return alternateButton;
    case VXAlertButton::Other:
        return otherButton;
    }
    return {};
}

bool VXOpenPanel::isPackage(const QString &path) const
{
    const QFileInfo info(path);
    return info.isDir() && packageExtensions.contains(info.suffix());
}

bool VXOpenPanel::canChoose(const QString &path) const
{
    const QFileInfo info(path);
    if (!info.exists())
        return false;
    if (info.isDir() && !isPackage(path))
        return canChooseDirectories;
    return canChooseFiles && (!shouldShowFilename || shouldShowFilename(path));
}

QString VXSavePanel::proposedPath() const
{
    if (proposedName.isNull())
        return {};
    return QDir(directory.isNull() ? QDir::currentPath() : directory).absoluteFilePath(proposedName);
}

VXUserInterface::VXUserInterface() = default;

VXUserInterface::~VXUserInterface() = default;

VXAlertResult VXUserInterface::runAlert(VXAlert alert)
{
    assertMainThread();
    if (alert.defaultButton.isNull())
        alert.defaultButton = VXBundle::mainBundle()->localizedStringForKey(u"OK"_s, {}, u"Global"_s);
    return showAlert(alert);
}

VXPanelResult VXUserInterface::runOpenPanel(const VXOpenPanel &panel)
{
    assertMainThread();
    return showOpenPanel(panel);
}

VXPanelResult VXUserInterface::runSavePanel(const VXSavePanel &panel)
{
    assertMainThread();
    return showSavePanel(panel);
}

std::unique_ptr<VXProgressWindow> VXUserInterface::makeProgressWindow(const QString &title)
{
    assertMainThread();
    auto window = createProgressWindow();
    window->setTitle(title);
    return window;
}

void VXUserInterface::presentError(const VXError &error)
{
    assertMainThread();
    if (error)
        showError(error);
}

void VXUserInterface::activate() {}

void VXUserInterface::showError(const VXError &error)
{
    VXAlert alert;
    alert.message = error.localizedDescription();
    alert.informativeText = error.localizedRecoverySuggestion();
    static_cast<void>(runAlert(alert));
}
