#pragma once

#include "VXBusService.h"
#include "VXError.h"

#include <QtCore/QList>

#include <functional>

/** A phone as BlueZ knows it. A value. */
struct VXBluetoothEntry
{
    QString path;
    QString address;
    QString name;
    QStringList profiles; // UUIDs, in lower case
    bool isPaired = false;
    bool isConnected = false;
    bool isPowered = false; // its adapter

    bool offers(const QString &profile) const;
    /** Whether it offers contacts, messages or calls. */
    bool isPhone() const;
};

/**
 * Which phones BlueZ knows, and the state they are in. Read when the service appears, and again when something changes.
 * Main thread.
 */
class VXBluetoothWatch : public QObject
{
    Q_OBJECT

public:
    using Text = std::function<QString(const QString &key)>;

    /** `text` returns the plugin's texts. */
    explicit VXBluetoothWatch(const Text &text);

    /** Phones, paired or not, that have one of the profiles of phones. */
    const QList<VXBluetoothEntry> &phones() const { return _phones; }
    /** True once the phones were read, or turned out to be unreadable: then `problem` says why, and what to do. */
    bool isKnown() const { return _isKnown; }
    const VXError &problem() const { return _problem; }

    /** What prevents that phone from being used; null if nothing does. */
    VXError problemOf(const QString &address) const;
    /** Null if the phone is not known. */
    const VXBluetoothEntry *phone(const QString &address) const;

Q_SIGNALS:
    /** The phones are known for the first time, or have changed. */
    void didChange();

private:
    void read();
    void take(const QDBusMessage &answer);
    void beAbsent();

    const Text _text;
    const VXBusService::Ptr _service;
    QTimer _soon; // combines several changes into one
    QList<VXBluetoothEntry> _phones;
    VXError _problem;
    bool _isKnown = false;
};
