#pragma once

#include "VXWorkspace.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <optional>

/**
 * The group "Desktop Entry" of a .desktop file, by the freedesktop.org Desktop Entry Specification; only values without
 * locale. Private to the platform layer.
 */
class VXDesktopEntry
{
public:
    /** None when the file cannot be read or has no such group. */
    [[nodiscard]] static std::optional<VXDesktopEntry> fromFile(const QString &path);

    /** Null when the entry has no such key. */
    QString value(const QString &key) const { return _values.value(key); }
    /** Whether the entry says that its application does not exist. */
    bool isHidden() const { return value(QStringLiteral("Hidden")) == QLatin1StringView("true"); }
    VXIcon icon() const;

private:
    QHash<QString, QString> _values;
};
