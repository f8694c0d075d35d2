// What the real services cannot be made to do is played by VXBusMock; program_test.py has the real ones.

#include "VXBluetoothPhone.h"

#include "VXBusMock.h"
#include "VXBusPhoneTest.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusObjectPath>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

using Interfaces = QMap<QString, QVariantMap>;
using Objects = QMap<QDBusObjectPath, Interfaces>;
using Listing = QMap<QDBusObjectPath, QVariantMap>;

const QString contactsProfile = u"0000112f-0000-1000-8000-00805f9b34fb"_s;
const QString messagesProfile = u"00001132-0000-1000-8000-00805f9b34fb"_s;
const QString session = u"/client/session0"_s;
const QString transfer = u"/client/session0/transfer0"_s;

QVariant path(const QString &text)
{
    return QVariant::fromValue(QDBusObjectPath(text));
}

} // namespace

class VXBluetoothPhoneTest : public VXBusPhoneTest
{
protected:
    VXBluetoothPhoneTest()
        : VXBusPhoneTest(u"com.halvern.VNX2.BluetoothPhone"_s, [] { return std::make_shared<VXBluetoothPhone>(); })
    {
        qDBusRegisterMetaType<Interfaces>();
        qDBusRegisterMetaType<Objects>();
        qDBusRegisterMetaType<Listing>();
        addPhone(u"11:22:33:44:55:66"_s, u"Mock"_s, true);
        setPreference(u"address"_s, u"11:22:33:44:55:66"_s);
    }
    void addPhone(const QString &address, const QString &name, bool isPaired)
    {
        const QVariantMap values{{u"Address"_s, address}, {u"Alias"_s, name},
                                 {u"Paired"_s, isPaired}, {u"Adapter"_s, ::path(u"/hci0"_s)},
                                 {u"UUIDs"_s, profiles},  {u"Connected"_s, true}};
        objects.insert(QDBusObjectPath(u"/hci0/%1"_s.arg(objects.size())), {{u"org.bluez.Device1"_s, values}});
    }
    void startServices()
    {
        bluez.emplace(bus.address(), u"org.bluez"_s);
        obex.emplace(bus.address(), u"org.bluez.obex"_s);
        bluez->answer(u"GetManagedObjects"_s,
                      [this](const QDBusMessage &) { return QVariantList{QVariant::fromValue(objects)}; });
        for (const QString &method : {u"Select"_s, u"SetFolder"_s, u"RemoveSession"_s, u"Cancel"_s})
            obex->answer(method);
        obex->answer(u"CreateSession"_s, {::path(session)});
    }
    void connectPhone()
    {
        startServices();
        makePhone();
        ASSERT_TRUE(isReached());
        if (profiles == QStringList{contactsProfile}) {
            ASSERT_TRUE(wasCalled(u"RemoveSession"_s)); // it was only tried
        }
        obex->forgetCalls();
    }
    void offerMessages()
    {
        profiles = QStringList{contactsProfile, messagesProfile};
        objects.clear();
        addPhone(u"11:22:33:44:55:66"_s, u"Mock"_s, true);
    }
    /** The answer to what begins a transfer, which has handed over that by then. */
    VXBusMock::Answer handsOver(const QByteArray &bytes, const QString &status = u"complete"_s)
    {
        return [this, bytes, status](const QDBusMessage &call) {
            QFile file(call.arguments().value(0).toString());
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(bytes);
            tellStatus(status);
            tellGone(transfer);
            return began();
        };
    }
    void tellStatus(const QVariant &status, const QString &object = transfer)
    {
        obex->emitSignal(object, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s,
                         {u"org.bluez.obex.Transfer1"_s, QVariantMap{{u"Status"_s, status}}, QStringList()});
    }
    void tellGone(const QString &object)
    {
        obex->emitSignal(u"/"_s, u"org.freedesktop.DBus.ObjectManager"_s, u"InterfacesRemoved"_s,
                         {::path(object), QStringList{u"org.bluez.obex.Transfer1"_s}});
    }
    static QVariantList began() { return {::path(transfer), QVariantMap{{u"Status"_s, u"queued"_s}}}; }
    bool wasCalled(const QString &method) const
    {
        return VXRunUntil([&] { return obex->count(method) == 1; });
    }
    /** Of what the phone handed over. */
    bool nothingIsLeft() const
    {
        const QDir all(VXHomeTest::path(u".cache/com.halvern.VNX2/Transfers"_s));
        return VXRunUntil([&] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            const QStringList processes = all.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
            return std::ranges::all_of(processes,
                                       [&](const QString &own) { return QDir(all.filePath(own)).isEmpty(); });
        });
    }

    QVariant profiles = QStringList{contactsProfile};
    Objects objects;
    std::optional<VXBusMock> bluez;
    std::optional<VXBusMock> obex;
};

TEST_F(VXBluetoothPhoneTest, FindsPairedPhones)
{
    EXPECT_EQ(found(), QStringList{u"Bluetooth is not there: The service org.bluez is not running. Connect a Bluetooth "
                                   u"adapter, and see that the service "
                                   "\"bluetooth\" runs (package bluez)."_s});
    startServices();
    const Objects before = std::exchange(objects, {});
    EXPECT_EQ(found(), QStringList{u"This computer has no Bluetooth adapter. Connect one, or switch on the one it has, "
                                   "as by a key of the keyboard."_s});
    objects = before;
    addPhone(u"11:22:33:44:55:67"_s, u"Mock\x1b\n"_s, false); // of the same name, as people see it
    addPhone(u"11:22:33:44:55:68"_s, {}, true);
    profiles = 7; // of another type
    addPhone(u"11:22:33:44:55:69"_s, u"Lying"_s, true);
    profiles = QStringList{contactsProfile};
    addPhone(u"no address"_s, u"Lying"_s, true);
    EXPECT_EQ(found(), (QStringList{u"Mock|112233445566|Bluetooth, 11:22:33:44:55:66||"_s,
                                    u"Mock|112233445567|Bluetooth, 11:22:33:44:55:67||The phone 11:22:33:44:55:67 is "
                                    "not paired with this computer."_s,
                                    u"11:22:33:44:55:68|112233445568|Bluetooth, 11:22:33:44:55:68||"_s}));
    bluez->answer(u"GetManagedObjects"_s, {QStringList{u"no objects"_s}});
    EXPECT_TRUE(found().first().startsWith(u"The service's answer is not understood."_s));
}

TEST_F(VXBluetoothPhoneTest, ATransferMayEndBeforeItsNameIsTold)
{
    connectPhone();
    const QByteArray card = "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Jane\r\nTEL:1\r\nEND:VCARD\r\n";
    obex->answer(u"PullAll"_s, handsOver(card + card));
    EXPECT_EQ(items(perform(u"read_contacts"_s)).size(), 1) << "the owner is none";
    EXPECT_TRUE(wasCalled(u"RemoveSession"_s));
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(VXBluetoothPhoneTest, ATransferMayFail)
{
    connectPhone();
    const std::function<void()> ends[] = {[this] { tellGone(transfer); }, [this] { tellStatus(u"error"_s); }};
    for (const auto &end : ends) {
        obex->answer(u"PullAll"_s, began());
        const auto action = begin(u"read_contacts"_s);
        ASSERT_TRUE(wasCalled(u"PullAll"_s));
        tellStatus(u"complete"_s, u"/client/session9/transfer0"_s); // not ours
        tellStatus(QVariant::fromValue(QList<int>{7}));             // of another type
        end();
        ASSERT_TRUE(waitFor(action));
        EXPECT_EQ(action->error().localizedDescription(), u"The phone ended the transfer before it was complete."_s);
        EXPECT_TRUE(wasCalled(u"RemoveSession"_s)) << "the session is let go";
        obex->forgetCalls();
    }
    obex->answer(u"PullAll"_s, {u"no transfer"_s});
    EXPECT_EQ(perform(u"read_contacts"_s)->error().localizedDescription(),
              u"The service's answer is not understood."_s);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(VXBluetoothPhoneTest, ASessionThatComesTooLateIsLetGo)
{
    connectPhone();
    obex->hold(u"CreateSession"_s);
    const auto action = begin(u"read_calls"_s);
    ASSERT_TRUE(VXRunUntil([&] { return obex->held().size() == 1; }));
    action->cancel();
    ASSERT_TRUE(waitFor(action));
    EXPECT_EQ(obex->count(u"RemoveSession"_s), 0);
    obex->reply(obex->held().first(), {::path(u"/client/late"_s)});
    EXPECT_TRUE(wasCalled(u"RemoveSession"_s));
}

TEST_F(VXBluetoothPhoneTest, APhoneWithoutTheListOfAllCallsIsAskedForEach)
{
    connectPhone();
    obex->refuse(u"Select"_s, u"org.bluez.obex.Error.Failed"_s, u"Bad folder"_s);
    EXPECT_EQ(perform(u"read_calls"_s)->error().localizedDescription(), u"Bad folder"_s);
    EXPECT_EQ(obex->calls().filter(u"Select"_s).size(), 2) << "the one list, then the first of the three";
}

TEST_F(VXBluetoothPhoneTest, MessagesComeInPagesAndOneThatFailsLeavesTheOthers)
{
    offerMessages();
    connectPhone();
    obex->answer(u"ListMessages"_s, [](const QDBusMessage &call) {
        const bool isInbox = call.arguments().value(0) == u"inbox"_s;
        const int offset = qdbus_cast<QVariantMap>(call.arguments().value(1)).value(u"Offset"_s).toInt();
        Listing listing;
        for (int at = offset; isInbox && at < std::min(offset + 1000, 1002); ++at)
            listing.insert(QDBusObjectPath(u"%1/message%2"_s.arg(session).arg(at)),
                           {{u"Folder"_s, u"inbox"_s}, {u"Type"_s, at < 999 ? u"EMAIL"_s : u"SMS_GSM"_s}});
        return QVariantList{QVariant::fromValue(listing)};
    });
    const QByteArray text = "BEGIN:BMSG\r\nBEGIN:BENV\r\nBEGIN:BBODY\r\nCHARSET:UTF-8\r\nBEGIN:MSG\r\nHi\r\nEND:MSG\r\n"
                            "END:BBODY\r\nEND:BENV\r\nEND:BMSG\r\n";
    obex->answer(u"Get"_s, [&, count = 0](const QDBusMessage &call) mutable {
        return handsOver(text, ++count == 2 ? u"error"_s : u"complete"_s)(call);
    });
    const auto read = perform(u"read_messages"_s);
    EXPECT_EQ(texts(read, u"text"_s), (QStringList{u"Hi"_s, u"Hi"_s}));
    EXPECT_FALSE(resultOf(read).value(u"isComplete"_s).toBool());
    EXPECT_EQ(resultOf(read).value(u"problems"_s).toStringList(),
              QStringList{u"1000: The phone ended the transfer before it was complete."_s});

    obex->answer(u"Get"_s, began());
    const auto cancelled = begin(u"read_messages"_s);
    ASSERT_TRUE(VXRunUntil([&] { return obex->count(u"Get"_s) == 4; }));
    obex->emitSignal(u"/"_s, u"org.freedesktop.DBus.ObjectManager"_s, u"InterfacesAdded"_s,
                     {::path(session + "/message7"_L1), QStringList{u"of another type"_s}});
    cancelled->cancel();
    ASSERT_TRUE(waitFor(cancelled));
    EXPECT_TRUE(wasCalled(u"Cancel"_s));
    EXPECT_TRUE(nothingIsLeft());
    EXPECT_TRUE(phone->isConnected());
    tellGone(session); // by the phone
    EXPECT_TRUE(hasProblem(u"The connection to the phone was lost."_s));
    EXPECT_EQ(obex->count(u"RemoveSession"_s), 0);
}

TEST_F(VXBluetoothPhoneTest, TellsWhatBecameOfAMessage)
{
    offerMessages();
    connectPhone();
    const auto refused = [this](const QString &method) {
        return [this, method] { obex->refuse(method, u"org.bluez.obex.Error.Failed"_s, u"no"_s); };
    };
    const auto fails = [this] { obex->answer(u"PushMessage"_s, handsOver({}, u"error"_s)); };
    const auto works = [this] { obex->answer(u"PushMessage"_s, handsOver({})); };
    const auto loses = [&] {
        tellGone(session); // another one is made
        EXPECT_TRUE(hasProblem(u"The connection to the phone was lost."_s));
        refused(u"SetFolder"_s)();
    };
    const std::tuple<const char *, std::function<void()>, QString> cases[] = {
        {"taken", works, u"sent"_s},
        {"cut off", fails, {}}, // nobody knows
        {"not taken", refused(u"PushMessage"_s), {}},
        {"no folder", loses, u"later"_s},
        {"no session", refused(u"CreateSession"_s), u"later"_s},
    };
    EXPECT_EQ(fateOfSending(u"Jane"_s, u"Hi"_s), u"refused"_s);
    for (const auto &[name, arrange, fate] : cases) {
        obex->forgetCalls();
        arrange();
        EXPECT_EQ(fateOfSending(u"+49 170"_s, u"Hi"_s), fate) << name;
        EXPECT_TRUE(nothingIsLeft()) << name;
    }
}
