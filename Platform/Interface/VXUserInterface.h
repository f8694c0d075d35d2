#pragma once

#include "VXError.h"
#include "VXPlatformExport.h"
#include "VXProgressWindow.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <memory>

/** The buttons of an alert; the numbers are stable. */
enum class VXAlertButton { Other = -1, Alternate = 0, Default = 1 };

/** A question, or a notice if there is only one button. */
struct VX_PLATFORM_EXPORT VXAlert
{
    QString message;
    QString informativeText;
    /** Titles; null for a button that does not exist. A null default title becomes "OK". */
    QString defaultButton;
    QString alternateButton;
    QString otherButton;
    /** Null: no check box. */
    QString checkBoxTitle;
    bool isChecked = false;
    /** Helps to find the cause: who and why. Null for nothing. */
    QString details = {};

    /** Whether the user has a choice: more than one button, or a check box. */
    bool isQuestion() const;
    /** The button for dismissing the alert: the alternate one, or else the other, or else the default. */
    VXAlertButton dismissButton() const;
    /** Null for a button that does not exist. */
    QString title(VXAlertButton button) const;
};

struct VXAlertResult
{
    VXAlertButton button = VXAlertButton::Default;
    bool isChecked = false;
};

/** Lets the user choose something that exists. */
struct VX_PLATFORM_EXPORT VXOpenPanel
{
    QString message;
    /** The initial folder; null: the current folder. */
    QString directory;
    bool canChooseFiles = true;
    bool canChooseDirectories = false;
    /** Extensions, without dot, of folders that count as a single file. */
    QStringList packageExtensions;
    /** Decides for each file and package whether it may be chosen; empty: all may. */
    std::function<bool(const QString &path)> shouldShowFilename;

    bool isPackage(const QString &path) const;
    /** Whether this existing path can be chosen. */
    bool canChoose(const QString &path) const;
};

/** Lets the user name a file to write. */
struct VX_PLATFORM_EXPORT VXSavePanel
{
    QString message;
    /** The initial folder; null: the current folder. */
    QString directory;
    QString proposedName;
    /** Null: no check box. */
    QString checkBoxTitle;
    bool isChecked = false;

    /** The initial absolute path; null without a proposed name. */
    QString proposedPath() const;
};

struct VXPanelResult
{
    /** Absolute; null when the user cancelled. The path of a save panel may exist: replacing it was agreed to. */
    QString path;
    bool isChecked = false;

    bool isOk() const { return !path.isNull(); }
};

/**
 * The program's communication with its user. Everything is modal, and the main event loop runs meanwhile. Main thread
 * only; another thread fails the assertion "User interface used off the main thread".
 */
class VX_PLATFORM_EXPORT VXUserInterface
{
public:
    virtual ~VXUserInterface();
    VXUserInterface(const VXUserInterface &) = delete;
    VXUserInterface &operator=(const VXUserInterface &) = delete;

    [[nodiscard]] VXAlertResult runAlert(VXAlert alert);
    [[nodiscard]] VXPanelResult runOpenPanel(const VXOpenPanel &panel);
    [[nodiscard]] VXPanelResult runSavePanel(const VXSavePanel &panel);
    [[nodiscard]] std::unique_ptr<VXProgressWindow> makeProgressWindow(const QString &title);
    /** Shows what went wrong and what may be done about it; returns when the user has seen it. */
    void presentError(const VXError &error);
    /** Brings the program to the front, if it has windows. */
    virtual void activate();

protected:
    VXUserInterface();

    virtual VXAlertResult showAlert(const VXAlert &alert) = 0;
    virtual VXPanelResult showOpenPanel(const VXOpenPanel &panel) = 0;
    virtual VXPanelResult showSavePanel(const VXSavePanel &panel) = 0;
    virtual std::unique_ptr<VXProgressWindow> createProgressWindow() = 0;
    /** As an alert with one button, unless overridden. */
    virtual void showError(const VXError &error);
};
