#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/** A serial port at which there may be a phone. */
struct VXSerialPort
{
    QString path;    // of the device file, by the name that it keeps where it has one
    QString device;  // as the kernel calls it: "ttyACM0"
    QString product; // what is connected, as it calls itself; null where it does not
};

/** Those of phones and modems at USB, and those bound to a phone by Bluetooth, by name. `root` is the folder in which "sys" and
 *  "dev" lie. Any thread. */
[[nodiscard]] QList<VXSerialPort> VXSerialPorts(const QString &root = QStringLiteral("/"));
