#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** A serial port that may have a phone. */
struct VXSerialPort
{
    QString path;    // of the device file, by its permanent name if it has one
    QString device;  // as the kernel calls it: "ttyACM0"
    QString product; // name that the connected device gives itself; null if it gives none
};

/**
 * The ports of phones and modems at USB, and those bound to a phone by Bluetooth, sorted by name. `root` is the folder
 * that contains "sys" and "dev". Any thread.
 */
[[nodiscard]] QList<VXSerialPort> VXSerialPorts(const QString &root = QStringLiteral("/"));
