#include "VXSerialPorts.h"

#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;

class VXSerialPortsTest : public VXHomeTest
{
protected:
    void addPort(const QString &name, const QString &interface) const
    {
        const QString folder = u"sys/devices/%1/tty/%2"_s.arg(interface, name);
        QDir().mkpath(path(folder));
        QDir().mkpath(path(u"sys/class/tty"_s));
        EXPECT_TRUE(QFile::link(path(folder), path(u"sys/class/tty/"_s + name)));
        EXPECT_TRUE(QFile::link(path(u"sys/devices/"_s + interface), path(folder + u"/device"_s)));
        writeFile(u"dev/"_s + name, {});
    }
};

TEST_F(VXSerialPortsTest, NamesWhatIsConnected)
{
    EXPECT_TRUE(VXSerialPorts(path(u"nothing"_s)).isEmpty());
    addPort(u"ttyACM0"_s, u"usb1/1-2/1-2:1.1"_s);
    writeFile(u"sys/devices/usb1/1-2/product"_s, "Phone 3310\n");
    writeFile(u"sys/devices/usb1/1-2/manufacturer"_s, "Maker\n");
    writeFile(u"sys/devices/usb1/product"_s, "Host Controller\n");
    addPort(u"ttyUSB1"_s, u"usb2/2-1/2-1:1.0/ttyUSB1"_s);
    writeFile(u"sys/devices/usb2/2-1/product"_s, "Maker Modem\n");
    writeFile(u"sys/devices/usb2/2-1/manufacturer"_s, "Maker\n");
    addPort(u"rfcomm0"_s, u"virtual"_s);
    addPort(u"ttyS0"_s, u"platform"_s);
    QDir().mkpath(path(u"dev/serial/by-id"_s));
    EXPECT_TRUE(QFile::link(path(u"dev/ttyACM0"_s), path(u"dev/serial/by-id/usb-Maker-if01"_s)));
    QStringList told;
    for (const VXSerialPort &port : VXSerialPorts(path()))
        told << port.device + u' ' + port.path.sliced(path().size()) + u' ' + port.product;
    EXPECT_EQ(told,
              (QStringList{u"rfcomm0 /dev/rfcomm0 "_s, u"ttyACM0 /dev/serial/by-id/usb-Maker-if01 Maker Phone 3310"_s,
                           u"ttyUSB1 /dev/ttyUSB1 Maker Modem"_s}));
}
