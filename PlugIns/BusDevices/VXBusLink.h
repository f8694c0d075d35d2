#pragma once

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtDBus/QDBusConnection>

#include <chrono>
#include <memory>

/**
 * A connection to a message bus, shared by everyone who uses the same bus, and made again when the bus has gone away.
 * It is made on another thread, so that the main thread, to which this object belongs, never waits for a bus.
 */
class VXBusLink : public QObject, public std::enable_shared_from_this<VXBusLink>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXBusLink>;

    /** `bus` is "session", "system", or an address as D-Bus writes it. The link opens by itself. */
    static Ptr toBus(const QString &bus);
    ~VXBusLink() override;

    bool isOpen() const { return _isOpen; }
    /** Valid while the link is open. */
    QDBusConnection connection() const { return QDBusConnection(_name); }
    /** Why it is not open, for the user; null while it is open or not yet known. */
    const QString &problem() const { return _problem; }

    /** Tries now instead of later. */
    void open();

Q_SIGNALS:
    void didOpen();
    /** The bus is gone or cannot be reached: see `problem`. */
    void didClose();

private Q_SLOTS:
    void busWasLost();

private:
    explicit VXBusLink(const QString &bus);
    void concludeOpening(const QString &name, const QString &problem);
    void close(const QString &problem);

    const QString _bus;
    QString _name; // of the connection
    QString _problem;
    QTimer _retry;
    std::chrono::milliseconds _delay;
    bool _isOpen = false;
    bool _isOpening = false;
};
