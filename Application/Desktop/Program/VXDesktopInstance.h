#pragma once

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The only instance of the program in the user's session: it owns the name "com.halvern.VNX2.Desktop" on the session
 * bus and serves org.freedesktop.Application there. Without a bus, every start makes an instance. Main thread.
 */
class VXDesktopInstance : public QObject
{
    Q_OBJECT

public:
    static const QString busName;

    /** Passes the URIs to the running instance, which comes to the front and opens them. False if there is none. */
    [[nodiscard]] static bool handOver(const QStringList &uris);
    /** Becomes the instance; false if another process was faster. */
    [[nodiscard]] bool take();

Q_SIGNALS:
    void wantsActivation();
    void wantsOpen(const QStringList &uris);
    /** `name` is "new-message". */
    void wantsAction(const QString &name);
};
