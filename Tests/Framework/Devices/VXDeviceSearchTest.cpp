#include "VXDeviceSearch.h"
#include "VXDevicePort.h"
#include "VXDeviceTesting.h"

#include <QtCore/QProcess>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The other end of a port that a program may hold.
class Terminal
{
public:
    Terminal() : _master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        EXPECT_EQ(::grantpt(_master), 0);
        EXPECT_EQ(::unlockpt(_master), 0);
    }
    ~Terminal() { ::close(_master); }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    QString port() const { return QString::fromLocal8Bit(::ptsname(_master)); }

private:
    const int _master;
};

// Started by another process than this one, whose own children do not count; it says when it has opened the port.
class Holder
{
public:
    explicit Holder(const QString &port)
    {
        _shell.start(u"/bin/sh"_s,
                     {u"-c"_s, u"exec 3<&0; ( exec 5<>\"$0\"; echo held; read -r line <&3 ) & echo $!; wait"_s, port});
        while (_said.count('\n') < 2 && _shell.waitForReadyRead()) // its number, and that it has it
            _said += _shell.readAllStandardOutput();
    }
    ~Holder()
    {
        QProcess::execute(u"/bin/kill"_s, {process()});
        _shell.waitForFinished();
    }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    QString process() const
    {
        for (const QByteArray &line : _said.split('\n')) {
            if (line.toLongLong() > 0)
                return QString::fromUtf8(line);
        }
        return {};
    }

private:
    QProcess _shell;
    QByteArray _said;
};

} // namespace

class VXDeviceSearchTest : public VXDeviceHomeTest
{
protected:
    static void setFound(const QVariantList &found)
    {
        QCoreApplication::instance()->setProperty("VXFoundDevices", found);
    }
    ~VXDeviceSearchTest() override { setFound({}); }

    static QVariantMap found(const QString &name, const QStringList &ports = {}, const QString &holder = {})
    {
        return {{u"name"_s, name}, {u"ports"_s, ports}, {u"holder"_s, holder}};
    }
};

TEST_F(VXDeviceSearchTest, TellsWhoHoldsAPort)
{
    const Terminal terminal;
    EXPECT_TRUE(VXProblemOfPort(terminal.port()).isNull()) << "held by nobody but this test, at its other end";
    {
        const Holder holder(terminal.port());
        const QStringList expected{u"sh (process %1)"_s.arg(holder.process())};
        EXPECT_EQ(VXProgramsHoldingPort(terminal.port()), expected);
        EXPECT_EQ(VXProblemOfPort(terminal.port()).localizedDescription(),
                  u"%1 is held by %2."_s.arg(terminal.port(), expected.first()));
    }
    EXPECT_TRUE(VXProgramsHoldingPort(terminal.port()).isEmpty());
    EXPECT_EQ(VXProblemOfPort(path(u"nowhere"_s)).localizedDescription(), u"There is no %1."_s.arg(path(u"nowhere"_s)));
}

TEST_F(VXDeviceSearchTest, AsksThePluginsAndTellsWhoHoldsThePortsThatTwoWant)
{
    const QString port = writeFile(u"port"_s, {});
    ASSERT_TRUE(QFile::link(port, path(u"by-id"_s)));
    setFound({found(u"Serial"_s, {path(u"by-id"_s)}), found(u"Modem"_s, {path(u"other"_s), port}, u"ModemManager"_s),
              found(u"Free"_s)});
    startWithPhones({});
    VXDeviceSearch search;
    search.start();
    EXPECT_TRUE(search.isDone());
    QStringList told;
    for (const VXFoundDevice &device : search.devices())
        told << device.plugin + u' ' + device.name + u": "_s + device.problem.localizedDescription();
    EXPECT_EQ(told, (QStringList{u"org.phones Serial: %1 is held by ModemManager."_s.arg(path(u"by-id"_s)),
                                 u"org.phones Modem: "_s, u"org.phones Free: "_s}));
    EXPECT_TRUE(search.problems().isEmpty());
    EXPECT_TRUE(VXDevicePlugin::liveDevices().isEmpty()) << "nothing was made of what was found";
}

TEST_F(VXDeviceSearchTest, WhatAPhoneCallsItselfGetsOneShortLine)
{
    VXDeviceFinding finding;
    const QString face = QString::fromUtf8("\xf0\x9f\x98\x80");
    const std::pair<QString, QString> cases[] = {{u" A\x1b[31m\nB\x07"_s, u"A [31m B"_s},
                                                 {face + QChar(0xd800) + u'x', u"x"_s}, // one half of a pair
                                                 {face, face},
                                                 {QString(300, u'x'), QString(200, u'x') + u'…'},
                                                 {u"\x1b"_s, QString()}};
    for (const auto &[said, kept] : cases) {
        finding.add({.name = said, .identifier = said, .preferences = {{u"name"_s, said}, {u"number"_s, 7}}});
        const VXFoundDevice &device = finding.devices().last();
        EXPECT_EQ(device.name, kept);
        EXPECT_EQ(device.identifier, device.name);
        EXPECT_EQ(device.preferences, (QVariantMap{{u"name"_s, device.name}, {u"number"_s, 7}}));
    }
}

TEST_F(VXDeviceSearchTest, DoesNotWaitForWhoNeverAnswers)
{
    setFound({u"never"_s});
    startWithPhones({});
    VXDeviceSearch search;
    search.start();
    EXPECT_FALSE(search.isDone());
    search.stop();
    ASSERT_EQ(search.problems().size(), 1);
    EXPECT_EQ(search.problems().first().plugin, u"org.phones"_s);
    EXPECT_EQ(search.problems().first().error.localizedDescription(), u"The plugin has not answered in time."_s);
    VXFlushDeferredDeletions();
    EXPECT_TRUE(VXPluginEvents().contains(u" destructor"_s)) << "its instance is let go";
}
