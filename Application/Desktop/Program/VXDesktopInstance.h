#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The one instance of the program in the user's session: it owns the name "com.halvern.VNX2.Desktop" on the session bus and
 * serves org.freedesktop.Application there. Without a bus each start is an instance. Main thread.
 */
class VXDesktopInstance : public QObject
{
    Q_OBJECT

public:
    static const QString busName;

    /** Hands over to the instance that is running: it comes to the front and opens the URIs. False when there is none. */
    [[nodiscard]] static bool handOver(const QStringList &uris);
    /** Becomes the instance; false when another was faster. */
    [[nodiscard]] bool take();

Q_SIGNALS:
    void wantsActivation();
    void wantsOpen(const QStringList &uris);
    /** "new-message". */
    void wantsAction(const QString &name);
};
