#include "VXBusService.h"

#include "VXBusMock.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>

#include <optional>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class VXBusServiceTest : public VXHomeTest
{
protected:
    const QString name = u"org.example.phones"_s;
    const QString address = "unix:path="_L1 + path(u"bus"_s); // of whatever bus is there
    std::optional<VXTestBus> bus{path(u"bus"_s)};
    std::optional<VXBusMock> mock;
    VXBusService::Ptr service;
    QStringList news;

    void makeService(const QString &busName = {})
    {
        service = VXBusService::named(name, busName.isNull() ? address : busName);
        const auto note = [this](const QString &text) { return [this, text] { news.append(text); }; };
        QObject::connect(service.get(), &VXBusService::didAppear, service.get(), note(u"appeared"_s));
        QObject::connect(service.get(), &VXBusService::didVanish, service.get(), note(u"vanished"_s));
        QObject::connect(service.get(), &VXBusService::didProveAbsent, service.get(), note(u"absent"_s));
        QObject::connect(service.get(), &VXBusService::didFailToStart, service.get(),
                         [this](const QString &why) { news.append(why); });
    }
    bool hears(const QStringList &expected)
    {
        return VXRunUntil([&] { return news == expected; });
    }
};

TEST_F(VXBusServiceTest, TellsWhetherTheServiceIsThere)
{
    makeService();
    EXPECT_FALSE(service->isKnown());
    ASSERT_TRUE(hears({u"absent"_s})) << news.join(u'|').toStdString();
    EXPECT_EQ(service->problem(), u"The service org.example.phones is not running."_s);
    mock.emplace(address.toLocal8Bit(), name);
    ASSERT_TRUE(hears({u"absent"_s, u"appeared"_s}));
    EXPECT_TRUE(service->problem().isNull());
    const quint64 generation = service->generation();
    mock->restart();
    ASSERT_TRUE(hears({u"absent"_s, u"appeared"_s, u"vanished"_s, u"appeared"_s}));
    EXPECT_GT(service->generation(), generation);
    EXPECT_EQ(VXBusService::named(name, address), service); // one for all

    // The bus itself ends, and another takes its place.
    news.clear();
    bus->stop();
    ASSERT_TRUE(hears({u"vanished"_s}));
    EXPECT_EQ(service->problem(), u"The D-Bus message bus has ended."_s);
    QFile::remove(path(u"bus"_s));
    bus.emplace(path(u"bus"_s));
    mock->restart();
    ASSERT_TRUE(VXRunUntil([this] { return service->isThere(); })) << service->problem().toStdString();
    EXPECT_EQ(news.last(), u"appeared"_s);
}

TEST_F(VXBusServiceTest, TellsWhyABusIsOutOfReach)
{
    makeService("unix:path="_L1 + path(u"nothing"_s));
    ASSERT_TRUE(hears({u"absent"_s}));
    EXPECT_TRUE(service->problem().startsWith(u"The D-Bus message bus cannot be reached: "_s));
    service->activate();
    ASSERT_TRUE(VXRunUntil([this] { return news.size() == 3; })); // again absent, and not started
    EXPECT_TRUE(news.last().startsWith(u"The D-Bus message bus cannot be reached: "_s)) << news.last().toStdString();
}

TEST_F(VXBusServiceTest, StartsAServiceOnlyWhenItIsToldTo)
{
    makeService();
    ASSERT_TRUE(hears({u"absent"_s}));
    service->activate();
    ASSERT_TRUE(VXRunUntil([this] { return news.size() == 2; }));
    EXPECT_TRUE(news.last().startsWith(u"The service org.example.phones could not be started: "_s));
    EXPECT_EQ(service->remedyOfStart(u"Install it."_s), u"Install it."_s);
    // One that crashes is installed.
    bus.reset();
    ASSERT_TRUE(
        VXRunUntil([this] { return service->problem() == "The D-Bus message bus has ended."_L1; })); // so it is known
    QFile::remove(path(u"bus"_s));
    writeFile(u".local/share/dbus-1/services/phones.service"_s,
              "[D-BUS Service]\nName=" + name.toLatin1() + "\nExec=/bin/false\n");
    bus.emplace(path(u"bus"_s));
    news.clear();
    service->activate(); // as soon as there is a bus
    const auto hasCrashed = [this] { return !news.isEmpty() && news.last().contains(u"exited with status 1."_s); };
    ASSERT_TRUE(VXRunUntil(hasCrashed)) << news.join(u'|').toStdString();
    EXPECT_TRUE(service->remedyOfStart(u"Install it."_s).startsWith(u"It is installed, but ended at once"_s));
}

TEST_F(VXBusServiceTest, HandsSignalsToThoseWhoListen)
{
    makeService();
    QStringList heard;
    QObject context;
    auto shortLived = std::make_unique<QObject>();
    const auto note = [&](const QString &who) {
        return [&heard, who](const QDBusMessage &signal) {
            heard.append(who + u' ' + signal.member() + u' ' + signal.arguments().value(0).toString());
        };
    };
    service->listen(u"/a"_s, u"org.example.I"_s, u"Changed"_s, &context, note(u"one"_s)); // before it is there
    service->listen({}, u"org.example.I"_s, {}, &context, note(u"all"_s));
    service->listen(u"/a"_s, u"org.example.I"_s, u"Changed"_s, shortLived.get(), note(u"gone"_s));
    const quint64 number = service->listen({}, u"org.example.I"_s, {}, &context, note(u"stopped"_s));
    service->listen({}, u"org.example.Other"_s, {}, &context, note(u"other"_s));
    service->stopListening(number);
    shortLived.reset();
    mock.emplace(address.toLocal8Bit(), name);
    ASSERT_TRUE(VXRunUntil([this] { return service->isThere(); }));

    mock->emitSignal(u"/a"_s, u"org.example.I"_s, u"Changed"_s, {u"1"_s});
    mock->emitSignal(u"/b"_s, u"org.example.I"_s, u"Changed"_s, {u"2"_s});
    mock->emitSignal(u"/b"_s, u"org.example.I"_s, u"Ended"_s, {u"3"_s});
    ASSERT_TRUE(VXRunUntil([&] { return heard.size() == 4; }));
    EXPECT_EQ(heard, (QStringList{u"one Changed 1"_s, u"all Changed 1"_s, u"all Changed 2"_s, u"all Ended 3"_s}));

    // Of another process that has the name, and not of one that has it no more.
    VXBusMock former(address.toLocal8Bit(), u"org.example.other"_s);
    former.emitSignal(u"/a"_s, u"org.example.I"_s, u"Changed"_s, {u"4"_s});
    const quint64 generation = service->generation();
    mock->restart();
    ASSERT_TRUE(VXRunUntil([&] { return service->isThere() && service->generation() > generation + 1; }));
    heard.clear();
    mock->emitSignal(u"/b"_s, u"org.example.I"_s, u"Ended"_s, {u"5"_s});
    ASSERT_TRUE(VXRunUntil([&] { return !heard.isEmpty(); }));
    EXPECT_EQ(heard, QStringList{u"all Ended 5"_s});
}

TEST_F(VXBusServiceTest, ListenersMayStopEachOther)
{
    mock.emplace(address.toLocal8Bit(), name);
    makeService();
    QStringList heard;
    auto context = std::make_unique<QObject>();
    service->listen({}, u"org.example.I"_s, {}, service.get(), [&](const QDBusMessage &) {
        heard.append(u"first"_s);
        context.reset();
        service->listen({}, u"org.example.I"_s, {}, service.get(),
                        [&](const QDBusMessage &) { heard.append(u"later"_s); });
        throw std::runtime_error("a listener's fault");
    });
    service->listen({}, u"org.example.I"_s, {}, context.get(),
                    [&](const QDBusMessage &) { heard.append(u"second"_s); });
    ASSERT_TRUE(hears({u"appeared"_s}));
    const VXDiagnosticRecorder diagnostics;
    mock->emitSignal(u"/"_s, u"org.example.I"_s, u"Changed"_s);
    mock->emitSignal(u"/"_s, u"org.example.I"_s, u"Changed"_s);
    ASSERT_TRUE(VXRunUntil([&] { return heard.size() == 3; }));
    EXPECT_EQ(heard, (QStringList{u"first"_s, u"first"_s, u"later"_s}));
    EXPECT_EQ(diagnostics.texts().size(), 2);
}

TEST_F(VXBusServiceTest, AStormKeepsItsOrderAndLeavesRoomForOthers)
{
    mock.emplace(address.toLocal8Bit(), name);
    mock->answer(u"Get"_s);
    makeService();
    ASSERT_TRUE(hears({u"appeared"_s}));
    constexpr int count = 10'000;
    QList<int> heard;
    QList<int> expected;
    int rounds = 0; // of the event loop
    int roundsMeanwhile = 0;
    QTimer pulse;
    QObject::connect(&pulse, &QTimer::timeout, &pulse, [&rounds] { ++rounds; });
    service->listen({}, u"org.example.I"_s, {}, service.get(), [&](const QDBusMessage &signal) {
        heard.append(signal.arguments().value(0).toInt());
        QElapsedTimer work; // which takes its time
        for (work.start(); heard.size() <= 100 && work.elapsed() < 1;) {
        }
        if (heard.size() == 50) {
            QEventLoop inner; // goes on in it
            service->listen({}, u"org.example.I"_s, {}, &inner, [&inner](const QDBusMessage &) { inner.quit(); });
            inner.exec();
        }
        if (heard.size() == 100)
            roundsMeanwhile = rounds;
    });
    for (int number = 0; number < count; ++number) {
        mock->emitSignal(u"/a"_s, u"org.example.I"_s, u"Changed"_s, {number});
        expected.append(number);
    }
    service->call({.path = u"/a"_s, .interface = u"org.example.I"_s, .method = u"Get"_s}, 60s, service.get(),
                  [&](const QDBusMessage &) {
                      news.append(u"answered"_s);
                      mock->emitSignal(u"/a"_s, u"org.example.I"_s, u"Changed"_s, {count}); // as its last word
                      expected.append(count);
                      mock->vanish();
                  });
    pulse.start(0);
    EXPECT_TRUE(hears({u"appeared"_s, u"answered"_s, u"vanished"_s})) << news.join(u'|').toStdString();
    EXPECT_EQ(heard, expected);
    EXPECT_GT(roundsMeanwhile, 10);
}

TEST_F(VXBusServiceTest, CallsAreAnsweredOnce)
{
    makeService();
    QStringList answers;
    QObject context;
    const auto call = [&](const QString &method, const QString &signature, std::chrono::milliseconds limit) {
        service->call({.path = u"/a"_s, .interface = u"org.example.I"_s, .method = method, .signature = signature},
                      limit, &context, [&answers](const QDBusMessage &answer) {
                          answers.append(answer.type() == QDBusMessage::ErrorMessage
                                             ? answer.errorName().section(u'.', -1)
                                             : answer.arguments().value(0).toString());
                      });
    };
    call(u"Get"_s, {}, 10s);
    ASSERT_TRUE(VXRunUntil([&] { return answers.size() == 1; }));
    EXPECT_EQ(answers.takeFirst(), u"ServiceUnknown"_s); // and nothing was started

    mock.emplace(address.toLocal8Bit(), name);
    mock->answer(u"Get"_s, {u"x"_s});
    mock->hold(u"Hold"_s);
    ASSERT_TRUE(VXRunUntil([this] { return service->isThere(); }));
    struct Row
    {
        QString method;
        QString signature;
        std::chrono::milliseconds limit;
        QString answer;
    };
    const QList<Row> rows{{u"Get"_s, {}, 10s, u"x"_s},
                          {u"Get"_s, u"s"_s, 10s, u"x"_s},
                          {u"Get"_s, u"a{sv}"_s, 10s, u"InvalidSignature"_s},
                          {u"Missing"_s, {}, 10s, u"UnknownMethod"_s},
                          {u"Hold"_s, {}, 50ms, u"NoReply"_s}};
    for (const Row &row : rows) {
        call(row.method, row.signature, row.limit);
        ASSERT_TRUE(VXRunUntil([&] { return answers.size() == 1; })) << row.method.toStdString();
        EXPECT_EQ(answers.takeFirst(), row.answer);
    }
    call(u"Hold"_s, {}, 10s);
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 2; }));
    mock->reply(mock->held().last(), {u"a"_s});
    mock->reply(mock->held().last(), {u"b"_s}); // once more
    call(u"Get"_s, {}, 10s);
    ASSERT_TRUE(VXRunUntil([&] { return answers.size() == 2; }));
    EXPECT_EQ(answers, (QStringList{u"a"_s, u"x"_s}));
}
