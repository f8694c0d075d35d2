#include "VXSerialPorts.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

using namespace Qt::StringLiterals;

namespace {

QString lineOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
}

// The device on the bus is above its interfaces, which are above the port.
QString productAbove(const QString &folder, const QString &top)
{
    for (QString at = folder; at.startsWith(top) && at != top; at = QFileInfo(at).path()) {
        const QString product = lineOf(at + "/product"_L1);
        if (product.isEmpty())
            continue;
        const QString maker = lineOf(at + "/manufacturer"_L1);
        return maker.isEmpty() || product.startsWith(maker) ? product : maker + u' ' + product;
    }
    return {};
}

// The name that tells what is connected, and that stays the same when the cable is plugged in again.
QString lastingName(const QString &root, const QString &file)
{
    const QDir names(root + "/dev/serial/by-id"_L1);
    for (const QFileInfo &link : names.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        if (QFileInfo(link.symLinkTarget()).fileName() == QFileInfo(file).fileName())
            return link.filePath();
    }
    return file;
}

} // namespace

QList<VXSerialPort> VXSerialPorts(const QString &root)
{
    const QString top = QDir::cleanPath(root);
    const QString prefix = top == "/"_L1 ? QString() : top;
    const QDir ports(prefix + "/sys/class/tty"_L1);
    QList<VXSerialPort> found;
    for (const QString &device :
         ports.entryList({u"ttyACM*"_s, u"ttyUSB*"_s, u"rfcomm*"_s}, QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        const QString folder = QFileInfo(ports.filePath(device + "/device"_L1)).canonicalFilePath();
        found.append({.path = lastingName(prefix, prefix + "/dev/"_L1 + device),
                      .device = device,
                      .product = productAbove(folder, QFileInfo(prefix + "/sys"_L1).canonicalFilePath())});
    }
    return found;
}
