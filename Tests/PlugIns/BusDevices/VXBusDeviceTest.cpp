#include "VXBusDevice.h"

#include "VXBusMock.h"
#include "VXBusText.h"
#include "VXEventManager.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtCore/QThreadPool>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/** A phone of the service of the test, there as soon as that is. */
class Phone : public VXBusDevice
{
public:
    explicit Phone(const VXBusService::Ptr &service) : _service(service) {}

    bool initWithURL(const QUrl &theURL) override
    {
        VXBusQueue &queue = (VXBusDevice::initWithURL(theURL), addQueue(_service));
        const VXBusQueue::Work work = [](VXBusErrand &errand) {
            errand.begin(u"Doing"_s, 10s);
            errand.call({.path = u"/a"_s, .interface = u"org.example.I"_s, .method = u"Do"_s},
                        [&errand](const QVariantList &answer) {
                            errand.succeed({{u"is"_s, answer.value(0)}});
                        });
        };
        for (const QString &action : {u"do"_s, u"send_message"_s})
            offer(action, queue, work);
        connect(_service.get(), &VXBusService::didAppear, this, [this] { setState(State::Connected); });
        connect(_service.get(), &VXBusService::didVanish, this,
                [this] { setState(State::Away, VXBusError(u"gone"_s, u"Switch it on."_s)); });
        return true;
    }
    using VXBusDevice::setState;

    bool isReachable = false;
    int reached = 0;

protected:
    void reach() override
    {
        ++reached;
        if (isReachable)
            setState(State::Connecting, VXBusError(u"silent"_s), limit);
        else
            setState(State::Away, VXBusError(u"out of reach"_s));
    }

public:
    std::chrono::milliseconds limit = 10s;

private:
    const VXBusService::Ptr _service;
};

} // namespace

class VXBusDeviceTest : public VXHomeTest
{
protected:
    const QString name = u"org.example.phones"_s;
    VXTestBus bus{path(u"bus"_s)};
    std::unique_ptr<VXBusMock> mock;
    VXBusService::Ptr service = VXBusService::named(name, QString::fromLocal8Bit(bus.address()));
    std::shared_ptr<Phone> phone = std::make_shared<Phone>(service);
    QList<VXDeviceAction::Ptr> done;

    void SetUp() override { phone->initWithURL(QUrl(u"vxdevice://localhost/org.example.plugin/mine"_s)); }
    void start()
    {
        mock = std::make_unique<VXBusMock>(bus.address(), name);
        mock->answer(u"Do"_s, {u"done"_s});
    }
    VXDeviceAction::Ptr execute(const QString &actionName)
    {
        const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(actionName);
        action->executeWithDevice(phone, [this, action](VXDeviceAction *) { done.append(action); });
        return action;
    }
    bool ended(qsizetype count)
    {
        return VXRunUntil([&] { return done.size() == count; });
    }
    QString problem(const QString &key = u"problem"_s) const
    {
        return phone->devicePropertyForKey(key).value<VXLocalizedProperty>().value().toString();
    }
};

TEST_F(VXBusDeviceTest, WaitsForAPhoneThatIsBeingConnected)
{
    phone->isReachable = true;
    execute(u"do"_s);
    execute(u"do"_s);
    EXPECT_TRUE(phone->isConnecting());
    start();
    ASSERT_TRUE(ended(2));
    EXPECT_EQ(done.first()->result().toMap().value(u"is"_s), u"done"_s);
    EXPECT_EQ(phone->reached, 1);
    EXPECT_TRUE(phone->isConnected());
}

TEST_F(VXBusDeviceTest, FailsAtOnceWithoutAPhone)
{
    execute(u"do"_s);
    execute(u"send_message"_s);
    ASSERT_TRUE(ended(2));
    EXPECT_EQ(done.first()->error().localizedDescription(), u"out of reach"_s);
    EXPECT_FALSE(done.first()->result().isValid());
    EXPECT_EQ(done.last()->result().toMap().value(u"failure"_s), u"later"_s); // the outbox tries it again
    EXPECT_EQ(problem(), u"out of reach"_s);
}

TEST_F(VXBusDeviceTest, GivesUpAPhoneThatKeepsSilent)
{
    phone->isReachable = true;
    phone->limit = 20ms;
    execute(u"send_message"_s);
    ASSERT_TRUE(ended(1));
    EXPECT_EQ(done.first()->error().localizedDescription(), u"silent"_s);
    EXPECT_FALSE(phone->isConnecting());
}

TEST_F(VXBusDeviceTest, TellsHowItStands)
{
    QStringList news;
    QObject::connect(phone.get(), &VXDevicePlugin::didChangeValueForKey, phone.get(), [&](const QString &key) {
        if (key == "isConnecting"_L1)
            news.append(phone->isConnected() ? u"connected"_s : phone->isConnecting() ? u"connecting"_s : u"away"_s);
    });
    start();
    ASSERT_TRUE(VXRunUntil([&] { return news.size() == 1; }));
    mock->hold(u"Do"_s);
    execute(u"do"_s);
    execute(u"do"_s);
    ASSERT_TRUE(VXRunUntil([&] { return mock->held().size() == 1; }));
    mock->vanish();
    ASSERT_TRUE(ended(2));
    EXPECT_EQ(news, (QStringList{u"connected"_s, u"away"_s}));
    EXPECT_EQ(problem(), u"gone"_s);
    EXPECT_EQ(problem(u"remedy"_s), u"Switch it on."_s);
    EXPECT_EQ(done.last()->error().localizedDescription(), u"gone"_s);
    mock->appear();
    ASSERT_TRUE(VXRunUntil([&] { return phone->isConnected(); }));
    EXPECT_TRUE(problem().isNull());
    EXPECT_TRUE(problem(u"remedy"_s).isNull());
}

TEST_F(VXBusDeviceTest, ActionsMayBeCancelled)
{
    start();
    ASSERT_TRUE(VXRunUntil([&] { return phone->isConnected(); }));
    mock->hold(u"Do"_s);
    const VXDeviceAction::Ptr running = execute(u"do"_s);
    const VXDeviceAction::Ptr waiting = execute(u"do"_s);
    ASSERT_TRUE(VXRunUntil([&] { return mock->held().size() == 1; }));
    waiting->cancel();
    running->cancel();
    EXPECT_TRUE(ended(2));
    EXPECT_TRUE(running->isCancelled() && waiting->isCancelled());
    mock->reply(mock->held().first());
    mock->answer(u"Do"_s, {u"next"_s});
    execute(u"do"_s);
    ASSERT_TRUE(ended(3));
    EXPECT_EQ(done.last()->result().toMap().value(u"is"_s), u"next"_s);
}

TEST_F(VXBusDeviceTest, AnyThreadMayAsk)
{
    start();
    ASSERT_TRUE(VXRunUntil([&] { return phone->isConnected(); }));
    QThreadPool::globalInstance()->start([this] { execute(u"do"_s); });
    EXPECT_TRUE(ended(1));
}

TEST_F(VXBusDeviceTest, UnloadingEndsWhatRuns)
{
    start();
    ASSERT_TRUE(VXRunUntil([&] { return phone->isConnected(); }));
    mock->hold(u"Do"_s);
    execute(u"do"_s);
    execute(u"do"_s);
    phone->pluginWillUnload();
    EXPECT_TRUE(ended(2));
    EXPECT_TRUE(phone->actionNames().isEmpty());
    EXPECT_FALSE(phone->isConnected());
}

TEST_F(VXBusDeviceTest, NamesPropertiesAndEvents)
{
    EXPECT_EQ(phone->name(), u"mine"_s);
    phone->setDeviceProperty(u"Pixel"_s, u"ownName"_s);
    EXPECT_EQ(phone->name(), u"Pixel"_s);
    phone->setPreference(u"Work phone"_s, u"name"_s);
    EXPECT_EQ(phone->name(), u"Work phone"_s);

    int changes = 0;
    QObject::connect(phone.get(), &VXDevicePlugin::devicePropertiesDidChange, phone.get(), [&] { ++changes; });
    phone->show(u"phoneNumber"_s, u"+49170"_s, u"Own number"_s);
    phone->show(u"phoneNumber"_s, u"+49170"_s, u"Own number"_s);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(phone->phoneNumber(), u"+49170"_s);
    phone->show(u"phoneNumber"_s, {}, u"Own number"_s);
    EXPECT_TRUE(phone->phoneNumber().isNull());

    QVariant posted;
    VXNotificationCenter::defaultCenter().addObserver(
        phone.get(), VXEventManagerWillPostEventNotification,
        [&](const VXNotification &notification) { posted = notification.object; });
    phone->announce(u"new_message"_s, {}, {{u"text"_s, u"Hi"_s}});
    EXPECT_EQ(posted.toMap().value(u"device_url"_s), u"vxdevice://localhost/org.example.plugin/mine"_s);
}
