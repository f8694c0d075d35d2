#pragma once

#include "VXError.h"
#include "VXPlatformExport.h"

#include <QtCore/QString>
#include <QtCore/QUrl>

#include <functional>
#include <memory>

/** An icon by its name in the icon theme, or by its own file. Null when there is none. */
struct VXIcon
{
    QString name;        // as in the freedesktop.org Icon Naming Specification
    QString genericName; // used when the theme lacks the name; may be null
    QString path;        // absolute; takes precedence over the name

    bool isNull() const { return name.isNull() && path.isNull(); }
    friend bool operator==(const VXIcon &a, const VXIcon &b) = default;
};

/** The desktop around the application: icons of files, other applications, opening of URLs. Main thread only. */
class VX_PLATFORM_EXPORT VXWorkspace
{
public:
    /** Uses the freedesktop.org specifications: shared MIME info, desktop entries, xdg-open; and /proc for processes.
     *  */
    static std::unique_ptr<VXWorkspace> freedesktopWorkspace();

    virtual ~VXWorkspace();
    VXWorkspace(const VXWorkspace &) = delete;
    VXWorkspace &operator=(const VXWorkspace &) = delete;

    /** The icon of the item at the path, by its contents if the name does not determine it; null when nothing is there.
     *  */
    virtual VXIcon iconForFile(const QString &path) = 0;
    /** `type` is an extension, with or without dot, or a MIME type name; unknown types have the icon of a plain file.
     *  */
    virtual VXIcon iconForFileType(const QString &type) = 0;

    /**
     * The path of an installed application's desktop entry: by desktop file ID, with or without ".desktop", or else by
     * the entry's key X-Vornix-Identifier. The user's entries take precedence over the machine's, and one marked Hidden
     * hides later ones of the same ID. @return null when there is none.
     */
    virtual QString applicationPathForIdentifier(const QString &identifier) = 0;
    virtual VXIcon iconForApplication(const QString &identifier) = 0;

    /** Has the desktop open the URL, without waiting for the result. */
    virtual bool openURL(const QUrl &url, VXError *error = nullptr) = 0;

    /** A process running the program of that file name; 0 when there is none. */
    virtual qint64 processIdentifierForApplication(const QString &name) = 0;
    bool isApplicationRunning(const QString &name) { return processIdentifierForApplication(name) != 0; }

    /** Reads the user's last selection in any program; null, with the reason in the user's language, when it cannot. */
    using SelectedTextSource = std::function<QString(QString *reason)>;
    /** Set by a program that is connected to the desktop. */
    void setSelectedTextSource(SelectedTextSource source) { _selectedText = std::move(source); }
    /** The user's last selection in any program; null, with the reason if requested, when there is none. */
    QString selectedText(QString *reason = nullptr) const;

protected:
    VXWorkspace();

private:
    SelectedTextSource _selectedText;
};
