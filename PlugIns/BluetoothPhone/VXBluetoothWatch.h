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
    QStringList profiles; // UUIDs, in small letters
    bool isPaired = false;
    bool isConnected = false;
    bool isPowered = false; // its adapter

    bool offers(const QString &profile) const;
    /** Whether contacts, messages or calls can be had. */
    bool isPhone() const;
};

/**
 * Which phones BlueZ knows, and how it stands with them: read when the service appears, and again when something changes. Main
 * thread.
 */
class VXBluetoothWatch : public QObject
{
    Q_OBJECT

public:
    using Text = std::function<QString(const QString &key)>;

    /** `text` gives the plugin's texts. */
    explicit VXBluetoothWatch(const Text &text);

    /** Paired or not, those with a profile of phones. */
    const QList<VXBluetoothEntry> &phones() const { return _phones; }
    /** True once they were read, or cannot be: then `problem` says why, and what to do. */
    bool isKnown() const { return _isKnown; }
    const VXError &problem() const { return _problem; }

    /** What keeps that phone from being used; null when nothing does. */
    VXError problemOf(const QString &address) const;
    /** Null without the phone. */
    const VXBluetoothEntry *phone(const QString &address) const;

Q_SIGNALS:
    /** It is known, or is not the same as before. */
    void didChange();

private:
    void read();
    void take(const QDBusMessage &answer);
    void beAbsent();

    const Text _text;
    const VXBusService::Ptr _service;
    QTimer _soon; // several changes come together
    QList<VXBluetoothEntry> _phones;
    VXError _problem;
    bool _isKnown = false;
};
