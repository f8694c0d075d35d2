#pragma once

#include "VXError.h"
#include "VXPlatformExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <functional>
#include <memory>

/** An icon by its name in the icon theme, or by a file of its own. Null when there is none. */
struct VXIcon
{
    QString name;        // as in the freedesktop.org Icon Naming Specification
    QString genericName; // what the theme has when it lacks the name; may be null
    QString path;        // absolute; goes before the name

    bool isNull() const { return name.isNull() && path.isNull(); }
    friend bool operator==(const VXIcon &a, const VXIcon &b) = default;
};

/** The desktop around the application: icons of files, other applications, opening of URLs. Main thread only. */
class VX_PLATFORM_EXPORT VXWorkspace
{
public:
    /** By the freedesktop.org specifications: shared MIME info, desktop entries, xdg-open; processes by /proc. */
    static std::unique_ptr<VXWorkspace> freedesktopWorkspace();

    virtual ~VXWorkspace();
    VXWorkspace(const VXWorkspace &) = delete;
    VXWorkspace &operator=(const VXWorkspace &) = delete;

    /** The icon of what lies at the path, by its contents where the name does not tell; null when nothing does. */
    virtual VXIcon iconForFile(const QString &path) = 0;
    /** `type` is an extension, with or without dot, or a MIME type name; unknown ones have a plain file's icon. */
    virtual VXIcon iconForFileType(const QString &type) = 0;

    /**
     * The desktop entry of an installed application: by desktop file ID, with or without ".desktop", else by
     * the entry's key X-Vornix-Identifier. The user's entries go before the machine's, and one marked Hidden
     * removes those after it. @return null when there is none.
     */
    virtual QString applicationPathForIdentifier(const QString &identifier) = 0;
    virtual VXIcon iconForApplication(const QString &identifier) = 0;

    /** Lets the desktop open the URL, without waiting for what comes of it. */
    virtual bool openURL(const QUrl &url, VXError *error = nullptr) = 0;

    /** A process running the program of that file name; 0 when there is none. */
    virtual qint64 processIdentifierForApplication(const QString &name) = 0;
    bool isApplicationRunning(const QString &name) { return processIdentifierForApplication(name) != 0; }

    /** Reads what the user marked last, in whatever program; null, with the reason for people, when it cannot. */
    using SelectedTextSource = std::function<QString(QString *reason)>;
    /** Given by a program that is connected to the desktop. */
    void setSelectedTextSource(SelectedTextSource source) { _selectedText = std::move(source); }
    /** What the user marked last, in whatever program; null, with the reason if asked for, when there is nothing. */
    QString selectedText(QString *reason = nullptr) const;

protected:
    VXWorkspace();

private:
    SelectedTextSource _selectedText;
};
