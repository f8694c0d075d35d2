// What ModemManager cannot be made to do is played by VXBusMock; VXModemManagerTest has the real one.

#include "VXMobileModem.h"
#include "VXBusMock.h"
#include "VXBusPhoneTest.h"

#include <QtDBus/QDBusMetaType>

using namespace Qt::StringLiterals;
using namespace VXModemNames;

namespace {

struct Port
{
    QString name;
    quint32 type = 0;
};
using Ports = QList<Port>;

QDBusArgument &operator<<(QDBusArgument &argument, const Port &port)
{
    argument.beginStructure();
    argument << port.name << port.type;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Port &)
{
    return argument;
}

} // namespace

class VXMobileModemTest : public VXBusPhoneTest
{
protected:
    VXMobileModemTest()
        : VXBusPhoneTest(u"com.halvern.VNX2.MobileModem"_s, [] { return std::make_shared<VXMobileModem>(); })
    {
    }

    const QString first = u"/org/freedesktop/ModemManager1/Modem/0"_s;
    const QString second = u"/org/freedesktop/ModemManager1/Modem/1"_s;
    std::unique_ptr<VXBusMock> mock;
    Objects objects;
    QMap<QString, QVariantMap> messages; // by path
    QMap<QString, QVariantMap> calls;

    void SetUp() override
    {
        qDBusRegisterMetaType<Interfaces>();
        qDBusRegisterMetaType<Objects>();
        qDBusRegisterMetaType<QList<QDBusObjectPath>>();
        qDBusRegisterMetaType<Port>();
        qDBusRegisterMetaType<Ports>();
    }
    static QVariantMap modemProperties(int state = Enabled)
    {
        return {{u"State"_s, state},
                {u"Manufacturer"_s, u"Example"_s},
                {u"EquipmentIdentifier"_s, u"490154203237518"_s},
                {u"OwnNumbers"_s, QStringList{u"+491700000"_s}}};
    }
    void addModem(const QString &path, const QVariantMap &values, bool hasVoice = true)
    {
        Interfaces interfaces{{VXModemNames::modem, values}, {messaging, {}}};
        if (hasVoice)
            interfaces.insert(voice, {});
        objects.insert(QDBusObjectPath(path), interfaces);
    }
    void startService()
    {
        mock = std::make_unique<VXBusMock>(bus.address(), service);
        mock->answer(u"GetManagedObjects"_s,
                     [this](const QDBusMessage &) { return QVariantList{QVariant::fromValue(objects)}; });
        mock->answer(u"List"_s, [this](const QDBusMessage &) { return QVariantList{paths(messages)}; });
        mock->answer(u"ListCalls"_s, [this](const QDBusMessage &) { return QVariantList{paths(calls)}; });
        mock->answer(u"GetAll"_s, [this](const QDBusMessage &asked) {
            return QVariantList{messages.value(asked.path(), calls.value(asked.path()))};
        });
    }
    void connectModem()
    {
        startService();
        makePhone();
        ASSERT_TRUE(isReached());
    }
    static QVariant paths(const QMap<QString, QVariantMap> &of)
    {
        QList<QDBusObjectPath> list;
        for (const QString &path : of.keys())
            list.append(QDBusObjectPath(path));
        return QVariant::fromValue(list);
    }
    static QString messagePath(int number) { return u"/org/freedesktop/ModemManager1/SMS/%1"_s.arg(number); }
    static QString callPath(int number) { return u"/org/freedesktop/ModemManager1/Call/%1"_s.arg(number); }
    static QVariantMap message(const QString &text, int state = Received, int kind = Deliver)
    {
        return {{u"State"_s, state}, {u"PduType"_s, quint32(kind)}, {u"Number"_s, u"+49170"_s},
                {u"Text"_s, text},   {u"Storage"_s, quint32(2)},    {u"Timestamp"_s, u"2026-03-01T12:00:00+01"_s}};
    }
    void changed(const QString &path, const QString &interface, const QVariantMap &values)
    {
        mock->emitSignal(path, VXBusNames::properties, u"PropertiesChanged"_s, {interface, values, QStringList()});
    }
    void setModemState(int state)
    {
        objects[QDBusObjectPath(first)][VXModemNames::modem].insert(u"State"_s, state);
        changed(first, VXModemNames::modem, {{u"State"_s, state}});
    }
    void announceMessage(int number, bool isReceived = true)
    {
        mock->emitSignal(first, messaging, u"Added"_s,
                         {QVariant::fromValue(QDBusObjectPath(messagePath(number))), isReceived});
    }
    void announceCall(const QString &member, int number)
    {
        mock->emitSignal(first, voice, member, {QVariant::fromValue(QDBusObjectPath(callPath(number)))});
    }
    void setCallState(int number, int state)
    {
        mock->emitSignal(callPath(number), call, u"StateChanged"_s, {0, state, quint32(0)});
    }
};

TEST_F(VXMobileModemTest, SaysWhyThereIsNoModem)
{
    makePhone();
    hasProblem(u"The service org.freedesktop.ModemManager1 is not running. Is the package modemmanager installed?"_s);
    startService();
    hasProblem(u"ModemManager tells of no modem. Is it plugged in"_s);
    struct Row
    {
        int state;
        quint32 reason;
        QString problem;
    };
    const QList<Row> rows{{Locked, 0, u"The card of the modem is locked. Unlock it with its PIN"_s},
                          {Failed, CardMissing, u"There is no card in the modem."_s},
                          {Failed, CardError, u"The modem does not work."_s},
                          {Disabling, 0, u"The modem is switched off."_s}};
    for (const Row &row : rows) {
        QVariantMap values = modemProperties(row.state);
        values.insert(u"StateFailedReason"_s, row.reason);
        addModem(first, values);
        mock->emitSignal(root, VXBusNames::objectManager, u"InterfacesAdded"_s,
                         {QVariant::fromValue(QDBusObjectPath(first)), QVariant::fromValue(Interfaces())});
        hasProblem(row.problem);
    }
    setModemState(Enabled);
    EXPECT_TRUE(isReached());
    EXPECT_TRUE(problem().isEmpty());
    setModemState(Disabled); // by somebody else: it stays so until it is used
    hasProblem(u"The modem is switched off."_s);
    EXPECT_EQ(mock->count(u"Enable"_s), 0);
    mock->answer(u"Enable"_s, [this](const QDBusMessage &) {
        setModemState(Enabled);
        return QVariantList();
    });
    EXPECT_TRUE(succeeds(u"read_messages"_s));
    EXPECT_EQ(mock->count(u"Enable"_s), 1);
    objects.clear();
    mock->emitSignal(root, VXBusNames::objectManager, u"InterfacesRemoved"_s,
                     {QVariant::fromValue(QDBusObjectPath(first)), QStringList{VXModemNames::modem}});
    hasProblem(u"ModemManager tells of no modem."_s);
    EXPECT_EQ(fateOfSending(u"1"_s, u"Hi"_s), u"later"_s);
}

TEST_F(VXMobileModemTest, SaysWhoMaySwitchAModemOn)
{
    addModem(first, modemProperties(Disabled));
    startService();
    mock->refuse(u"Enable"_s, u"org.freedesktop.ModemManager1.Error.Core.Unauthorized"_s, u"PolicyKit: not allowed"_s);
    makePhone();
    hasProblem(
        u"The modem could not be switched on: PolicyKit: not allowed ModemManager lets only the user who sits"_s);
}

TEST_F(VXMobileModemTest, TakesTheModemThatItsPreferenceNames)
{
    QVariantMap other = modemProperties();
    other.insert(u"EquipmentIdentifier"_s, u"1"_s);
    other.insert(u"OwnNumbers"_s, QStringList{u"+4916"_s});
    addModem(first, other, true);
    addModem(second, modemProperties(), false);
    setPreference(u"modem"_s, u"490154203237518"_s);
    setPreference(u"bus"_s, QString::fromLocal8Bit(bus.address()));
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    connectModem();
    EXPECT_EQ(phone->phoneNumber(), u"+491700000"_s);
    EXPECT_EQ(phone->actionNames(), (QStringList{u"delete_message"_s, u"read_messages"_s, u"send_message"_s}));
    phone->setPreference(u"1"_s, u"modem"_s);
    EXPECT_TRUE(VXRunUntil([this] { return phone->phoneNumber() == u"+4916"_s; }));
    EXPECT_TRUE(phone->actionNames().contains(u"dial"_s));
    phone->setPreference(u"elsewhere"_s, u"modem"_s);
    hasProblem(u"ModemManager tells of no modem. It tells of others: the preference"_s);
}

TEST_F(VXMobileModemTest, ReadsMessages)
{
    addModem(first, modemProperties());
    messages = {{messagePath(1), message(u"In"_s)},
                {messagePath(2), message(u"Out"_s, Sent, Submit)},
                {messagePath(3), message({}, Receiving)},
                {messagePath(4), message({}, Received, StatusReport)}};
    QVariantMap odd = message({});
    odd.insert(u"Data"_s, QByteArray("\1\2"));
    odd.insert(u"Number"_s, u"INFO"_s);
    odd.insert(u"Timestamp"_s, u"2026-03-01T12:00:00"_s); // without a zone
    messages.insert(messagePath(5), odd);
    connectModem();
    const VXDeviceAction::Ptr read = perform(u"read_messages"_s);
    EXPECT_TRUE(resultOf(read).value(u"isComplete"_s).toBool());
    const QVariantList items = this->items(read);
    ASSERT_EQ(items.size(), 5);
    const QVariantMap in = items.at(0).toMap();
    EXPECT_EQ(in.value(u"from"_s), u"+49170"_s);
    EXPECT_EQ(in.value(u"state"_s), u"unread"_s);
    EXPECT_EQ(in.value(u"date"_s).toDateTime(), QDateTime(QDate(2026, 3, 1), QTime(11, 0), Qt::UTC));
    EXPECT_EQ(in.value(u"url"_s), url.toString() + "/messages/ME/1"_L1);
    EXPECT_EQ(items.at(1).toMap().value(u"to"_s), u"+49170"_s);
    EXPECT_EQ(items.at(1).toMap().value(u"state"_s), u"sent"_s);
    EXPECT_FALSE(items.at(2).toMap().value(u"isComplete"_s).toBool());
    EXPECT_EQ(items.at(3).toMap().value(u"kind"_s), u"report"_s);
    EXPECT_EQ(items.at(4).toMap().value(u"data"_s), QByteArray("\1\2"));
    EXPECT_FALSE(items.at(4).toMap().contains(u"text"_s));
    EXPECT_EQ(items.at(4).toMap().value(u"date"_s).toDateTime(), QDateTime(QDate(2026, 3, 1), QTime(12, 0)));

    mock->answer(u"List"_s, {7}); // of another type
    EXPECT_EQ(perform(u"read_messages"_s)->error().localizedDescription(),
              u"The service's answer is not understood."_s);
    mock->hold(u"List"_s);
    const VXDeviceAction::Ptr broken = begin(u"read_messages"_s);
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 1; }));
    mock->restart();
    ASSERT_TRUE(waitFor(broken) && isReached());
    EXPECT_FALSE(broken->error().isNull());
}

TEST_F(VXMobileModemTest, TellsWhatBecameOfAMessage)
{
    addModem(first, modemProperties());
    connectModem();
    mock->answer(u"Create"_s, {QVariant::fromValue(QDBusObjectPath(messagePath(9)))});
    mock->answer(u"Delete"_s);
    const QString longText = QString(u"x"_s).repeated(300);
    const QString prefix = u"org.freedesktop.ModemManager1.Error."_s;
    const std::tuple<QString, QString, QString> cases[] = {
        // how sending fails, the text, its fate
        {prefix + u"MobileEquipment.NoNetwork"_s, u"Hi"_s, u"later"_s},
        {prefix + u"MobileEquipment.NoNetwork"_s, longText, {}},
        {prefix + u"MobileEquipment.NetworkTimeout"_s, u"Hi"_s, {}},
        {prefix + u"Message.InvalidPduParameter"_s, u"Hi"_s, u"refused"_s},
        {u"org.freedesktop.DBus.Error.NoReply"_s, u"Hi"_s, {}}};
    for (const auto &[error, text, fate] : cases) {
        mock->forgetCalls();
        mock->refuse(u"Send"_s, error, u"no"_s);
        EXPECT_EQ(fateOfSending(u"+49 170"_s, text), fate) << error.toStdString();
        EXPECT_TRUE(VXRunUntil([this] { return mock->count(u"Delete"_s) == 1; })); // nothing is left on the modem
    }
    EXPECT_EQ(fateOfSending(u"Jane"_s, u"Hi"_s), u"refused"_s);
    mock->refuse(u"Create"_s, prefix + u"Core.WrongState"_s, u"not now"_s);
    EXPECT_EQ(fateOfSending(u"+49170"_s, longText), u"later"_s);
    mock->hold(u"Create"_s);
    const VXDeviceAction::Ptr lost =
        begin(u"send_message"_s, QVariantMap{{u"to"_s, u"Jane <+49170/H>"_s}, {u"text"_s, u"Hi"_s}});
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 1; }));
    mock->vanish();
    ASSERT_TRUE(waitFor(lost));
    EXPECT_EQ(resultOf(lost).value(u"failure"_s), u"later"_s) << "it was not even made";
}

TEST_F(VXMobileModemTest, FindsModems)
{
    EXPECT_TRUE(found().first().startsWith(u"The service org.freedesktop.ModemManager1 could not be started: "_s));
    startService();
    EXPECT_TRUE(found().isEmpty());
    QVariantMap odd{{u"SignalQuality"_s, u"full"_s}, {u"Ports"_s, 7}, {u"State"_s, Failed}};
    addModem(second, odd);
    QVariantMap values = modemProperties(Locked);
    values.insert({{u"Model"_s, u"Stick"_s},
                   {u"PrimaryPort"_s, u"ttyUSB2"_s},
                   {u"Ports"_s, QVariant::fromValue(Ports{{u"ttyUSB2"_s, 3}, {u"wwan0"_s, 2}, {u"cdc-wdm0"_s, 6}})}});
    addModem(first, values);
    EXPECT_EQ(found(), (QStringList{u"Example Stick|490154203237518|ModemManager, /dev/ttyUSB2|/dev/ttyUSB2 "
                                    "/dev/cdc-wdm0|The card of the modem is locked."_s,
                                    u"1|1|ModemManager||The modem does not work."_s}));
    mock->answer(u"GetManagedObjects"_s, {u"nothing of the kind"_s});
    EXPECT_TRUE(found().first().startsWith(u"The service's answer is not understood."_s));
}

TEST_F(VXMobileModemTest, DeletesOnlyTheMessageThatWasRead)
{
    addModem(first, modemProperties());
    messages = {{messagePath(1), message(u"In"_s)}};
    connectModem();
    mock->answer(u"Delete"_s);
    const QVariant item = items(perform(u"read_messages"_s)).first();
    EXPECT_TRUE(succeeds(u"delete_message"_s, item));
    EXPECT_EQ(mock->count(u"Delete"_s), 1);
    messages[messagePath(1)] = message(u"Another"_s);
    EXPECT_FALSE(succeeds(u"delete_message"_s, item));
    mock->refuse(u"GetAll"_s, u"org.freedesktop.DBus.Error.UnknownObject"_s);
    EXPECT_FALSE(succeeds(u"delete_message"_s, item));
    EXPECT_FALSE(succeeds(u"delete_message"_s, QVariantMap()));
    EXPECT_EQ(mock->count(u"Delete"_s), 1);
}

TEST_F(VXMobileModemTest, AnnouncesWholeMessagesOnce)
{
    addModem(first, modemProperties(Enabling));
    startService();
    makePhone();
    messages = {{messagePath(1), message(u"stored"_s)}};
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"GetManagedObjects"_s) == 1; }));
    announceMessage(1); // while it is being enabled
    setModemState(Enabled);
    ASSERT_TRUE(isReached());

    messages.insert(messagePath(2), message({}, Receiving));
    messages.insert(messagePath(3), message(u"short"_s));
    messages.insert(messagePath(4), message(u"mine"_s, Sent, Submit));
    announceMessage(2);
    announceMessage(3);
    announceMessage(3);
    announceMessage(4, false);
    ASSERT_TRUE(hears({u"new_message +49170 short"_s}));
    changed(messagePath(2), sms, {{u"Storage"_s, quint32(2)}}); // another part
    messages[messagePath(2)] = message(u"long"_s);
    changed(messagePath(2), sms, {{u"State"_s, Received}, {u"Text"_s, u"long"_s}});
    changed(messagePath(2), sms, {{u"State"_s, Received}});
    ASSERT_TRUE(hears({u"new_message +49170 short"_s, u"new_message +49170 long"_s}));
    EXPECT_EQ(lastEvent.value(u"device_url"_s), url.toString());
    EXPECT_EQ(lastEvent.value(u"url"_s), url.toString() + "/messages/ME/2"_L1);
}

TEST_F(VXMobileModemTest, FollowsCalls)
{
    addModem(first, modemProperties());
    calls = {{callPath(1), {{u"Direction"_s, 1}, {u"Number"_s, u"+49170"_s}, {u"State"_s, RingingIn}}}};
    connectModem();
    mock->answer(u"Accept"_s);
    EXPECT_TRUE(succeeds(u"answer"_s));                      // though nobody told of it
    ASSERT_TRUE(hears({u"incoming_call ringing +49170"_s})); // it rang already
    EXPECT_EQ(mock->count(u"Accept"_s), 1);
    setCallState(1, Active);
    setCallState(1, Held);
    setCallState(1, Active);
    setCallState(1, Terminated);
    announceCall(u"CallDeleted"_s, 1);
    ASSERT_TRUE(hears(
        {u"incoming_call ringing +49170"_s, u"incoming_call connected +49170"_s, u"incoming_call ended +49170"_s}));
    EXPECT_FALSE(lastEvent.value(u"isMissed"_s).toBool());
    calls = {};
    EXPECT_FALSE(succeeds(u"answer"_s));
    EXPECT_FALSE(succeeds(u"hang_up"_s));

    // Dialled here, ended by the service's end.
    events.clear();
    mock->answer(u"CreateCall"_s, {QVariant::fromValue(QDBusObjectPath(callPath(2)))});
    mock->answer(u"Start"_s);
    EXPECT_TRUE(succeeds(u"dial"_s, u"+49 171"_s));
    calls = {};
    mock->restart();
    ASSERT_TRUE(hears({u"outgoing_call ringing +49171"_s, u"outgoing_call ended +49171"_s}));
    EXPECT_EQ(lastEvent.value(u"duration"_s), 0);

    // One that fails leaves nothing behind.
    ASSERT_TRUE(isReached());
    mock->refuse(u"Start"_s, u"org.freedesktop.ModemManager1.Error.Core.Failed"_s, u"no network"_s);
    mock->answer(u"DeleteCall"_s);
    EXPECT_EQ(perform(u"dial"_s, u"171"_s)->error().localizedDescription(), u"no network"_s);
    EXPECT_TRUE(VXRunUntil([this] { return mock->count(u"DeleteCall"_s) == 1; }));
    EXPECT_FALSE(succeeds(u"dial"_s, u"CALL ME"_s));
}
