// With the real daemon of KDE Connect in a network namespace of its own. The phone is fake_phone.py.

#include "ConnectDaemonTestsPaths.h"
#include "VXAndroidPhone.h"
#include "VXBusPhoneTest.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTimer>

#include <algorithm>
#include <cstdio>
#include <optional>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

class VXConnectDaemonTest : public VXBusPhoneTest
{
protected:
    VXConnectDaemonTest()
        : VXBusPhoneTest(u"com.halvern.VNX2.AndroidPhone"_s, [] { return std::make_shared<VXAndroidPhone>(); })
    {
        patience = 6;
    }

    std::optional<VXTestProcess> other; // the daemon and the phone
    QFile control{path(u"control"_s)};

    void start(int contacts = 0, int messages = 0)
    {
        const QString space = u"unshare --map-current-user --keep-caps --net"_s;
        if (QProcess::execute(u"sh"_s, {u"-c"_s, space + " true 2>/dev/null"_L1}) != 0)
            GTEST_SKIP() << "user namespaces are refused here: the daemon is not tried";
        qputenv("QT_QPA_PLATFORM", "offscreen");
        QDir().mkpath(path(u"run"_s));
        QFile::setPermissions(path(u"run"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(path(u"run"_s)));
        ASSERT_EQ(::mkfifo(QFile::encodeName(control.fileName()).constData(), 0600), 0);
        other.emplace(
            space + u" sh -c 'ip link set lo up; exec /usr/bin/python3 \"%1\" \"%2\" \"%3\" \"%4\" %5 %6'"_s
                        .arg(QStringLiteral(FAKE_PHONE), path(), control.fileName(), QStringLiteral(KDECONNECT_DAEMON))
                        .arg(contacts)
                        .arg(messages));
        ASSERT_EQ(other->readLine(), "ready");
        ASSERT_TRUE(control.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    }
    void happen(const QString &what) { control.write((what + u'\n').toUtf8()); }
    bool obeyed(const QByteArray &what)
    {
        QByteArray line;
        do
            line = other->readLine();
        while (!line.isEmpty() && line != what);
        EXPECT_EQ(line, what);
        return line == what;
    }
    void startPaired(int contacts = 0, int messages = 0)
    {
        start(contacts, messages);
        if (IsSkipped() || HasFatalFailure())
            return;
        happen(u"link"_s);
        obeyed("linked");
        makePhone();
        hasProblem(u"The phone is not paired with this computer."_s);
        const VXDeviceAction::Ptr paired = perform(u"pair"_s);
        EXPECT_TRUE(paired->error().isNull()) << paired->error().description().toStdString();
        obeyed("paired");
        isReached();
    }
};

TEST_F(VXConnectDaemonTest, PairsReadsSendsAndHears)
{
    startPaired(0, 60);
    if (IsSkipped())
        return;
    EXPECT_EQ(phone->name(), u"Fake phone"_s);
    EXPECT_EQ(phone->actionNames(), (QStringList{u"dial"_s, u"pair"_s, u"read_contacts"_s, u"read_messages"_s,
                                                 u"send_message"_s, u"unpair"_s}));
    EXPECT_TRUE(shown(u"notAllowed"_s).isEmpty());
    EXPECT_TRUE(until([this] { return shown(u"battery"_s) == "61"_L1; }));

    for (int time = 0; time < 2; ++time) {
        const VXDeviceAction::Ptr contacts = perform(u"read_contacts"_s);
        EXPECT_TRUE(resultOf(contacts).value(u"isComplete"_s).toBool());
        EXPECT_EQ(texts(contacts, u"location"_s), (QStringList{u"1r1"_s, u"2r2"_s}));
        EXPECT_EQ(texts(contacts, u"firstName"_s), (QStringList{u"Bob"_s, u"Jörg"_s}));
        const VXDeviceAction::Ptr messages = perform(u"read_messages"_s);
        EXPECT_TRUE(resultOf(messages).value(u"isComplete"_s).toBool());
        EXPECT_EQ(texts(messages, u"text"_s).size(), 63);
        EXPECT_EQ(texts(messages, u"text"_s).mid(0, 3), (QStringList{u"Answer"_s, u"First"_s, u"Group"_s}));
    }
    EXPECT_TRUE(events.isEmpty()) << events.join(u'|').toStdString(); // what lay there is not new

    happen(u"message 7 +491701 Hello"_s);
    ASSERT_TRUE(hears({u"new_message +491701 Hello"_s}));
    EXPECT_EQ(lastEvent.value(u"url"_s), url.toString() + "/messages/7/64"_L1);
    EXPECT_EQ(fateOfSending(u"+49 1701"_s, u"Grüß Gott"_s), u"sent"_s);
    EXPECT_TRUE(obeyed("sent +491701 Gr\xc3\xbc\xc3\x9f Gott"));
    EXPECT_EQ(events.size(), 1); // what was sent did not come in

    EXPECT_TRUE(succeeds(u"dial"_s, u"+49 170-5"_s));
    EXPECT_TRUE(obeyed("shared tel:+491705"));
    events.clear();
    happen(u"ring +491709"_s);
    ASSERT_TRUE(hears({u"incoming_call ringing +491709"_s}));
    happen(u"missed +491709"_s);
    ASSERT_TRUE(hears({u"incoming_call ringing +491709"_s, u"incoming_call ended +491709"_s}));
    EXPECT_TRUE(lastEvent.value(u"isMissed"_s).toBool());
}

TEST_F(VXConnectDaemonTest, FollowsAPhoneThatGoesAndComes)
{
    startPaired();
    if (IsSkipped())
        return;
    happen(u"unlink"_s);
    hasProblem(u"The phone is not in reach. Is the app KDE Connect open"_s);
    EXPECT_EQ(fateOfSending(u"1"_s, u"Hi"_s), u"later"_s);
    happen(u"link"_s);
    isReached();
    EXPECT_EQ(texts(perform(u"read_messages"_s), u"text"_s).size(), 3);
    EXPECT_TRUE(succeeds(u"unpair"_s));
    EXPECT_TRUE(until([this] { return !phone->isConnected(); }));
}

TEST_F(VXConnectDaemonTest, ThePersonMayRefuseToPair)
{
    start();
    if (IsSkipped())
        return;
    happen(u"refuse"_s);
    happen(u"link"_s);
    obeyed("linked");
    makePhone();
    EXPECT_TRUE(perform(u"pair"_s)->error().localizedDescription().startsWith(u"The phone was not paired: "_s));
}

// By `scripts/test phones`: it takes a while.
TEST_F(VXConnectDaemonTest, DISABLED_ReadsTensOfThousands)
{
    patience = 60;
    startPaired(10'000, 100'000);
    if (IsSkipped())
        return;
    QElapsedTimer sinceLast; // since the event loop last came round
    qint64 longest = 0;
    QTimer pulse;
    QObject::connect(&pulse, &QTimer::timeout, &pulse, [&] { longest = std::max(longest, sinceLast.restart()); });
    const auto perform = [&](const QString &name) {
        QElapsedTimer time;
        time.start();
        sinceLast.start();
        longest = 0;
        pulse.start(0);
        const VXDeviceAction::Ptr action = begin(name);
        static_cast<void>(waitFor(action));
        pulse.stop();
        std::printf("%s: %.1f s, the main thread at most %lld ms at once\n", qPrintable(name),
                    double(time.elapsed()) / 1000, static_cast<long long>(longest));
        EXPECT_TRUE(action->error().isNull()) << action->error().description().toStdString();
        EXPECT_TRUE(resultOf(action).value(u"isComplete"_s).toBool());
        return resultOf(action).value(u"items"_s).toList().size();
    };
    EXPECT_EQ(perform(u"read_contacts"_s), 10'002);
    EXPECT_EQ(perform(u"read_messages"_s), 100'003);
}
