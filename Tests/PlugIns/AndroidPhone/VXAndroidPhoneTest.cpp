// What the daemon of KDE Connect cannot be made to do is played by VXBusMock; VXConnectDaemonTest has the real one.

#include "VXAndroidPhone.h"
#include "VXBusMock.h"
#include "VXBusPhoneTest.h"
#include "VXConnectNames.h"

#include <QtCore/QFileInfo>
#include <QtDBus/QDBusMetaType>

using namespace Qt::StringLiterals;
using namespace VXConnectNames;

class VXAndroidPhoneTest : public VXBusPhoneTest
{
protected:
    VXAndroidPhoneTest()
        : VXBusPhoneTest(u"com.halvern.VNX2.AndroidPhone"_s, [] { return std::make_shared<VXAndroidPhone>(); })
    {
    }

    const QString id = u"abc"_s;
    std::unique_ptr<VXBusMock> mock;
    QMap<QString, QString> names{{u"abc"_s, u"Pixel"_s}};
    QVariantMap state{{u"name"_s, u"Pixel"_s}, {u"isReachable"_s, true}, {u"isTrusted"_s, true}};
    QStringList plugins{u"kdeconnect_sms"_s, u"kdeconnect_contacts"_s, u"kdeconnect_share"_s,
                        u"kdeconnect_telephony"_s};
    QList<VXConnectMessage> messages;

    void SetUp() override
    {
        qDBusRegisterMetaType<QMap<QString, QString>>();
        VXConnectMessage::registerTypes();
        add(7, u"First"_s, VXConnectMessage::Inbox);
    }
    VXConnectMessage &add(qint64 thread, const QString &text, int type)
    {
        VXConnectMessage message;
        message.event = 1;
        message.body = text;
        message.addresses = {{u"+49170"_s}};
        message.date = 1'770'000'000'000 + messages.size() * 1000;
        message.type = type;
        message.thread = thread;
        message.identifier = int(messages.size()) + 1;
        messages.append(message);
        return messages.last();
    }
    void startDaemon()
    {
        mock = std::make_unique<VXBusMock>(bus.address(), service);
        mock->answer(u"deviceNames"_s,
                     [this](const QDBusMessage &) { return QVariantList{QVariant::fromValue(names)}; });
        mock->answer(u"GetAll"_s, [this](const QDBusMessage &) { return QVariantList{state}; });
        mock->answer(u"loadedPlugins"_s, [this](const QDBusMessage &) { return QVariantList{plugins}; });
        mock->answer(u"requestAllConversationThreads"_s, [this](const QDBusMessage &) {
            QMap<qint64, VXConnectMessage> newest;
            for (const VXConnectMessage &message : messages)
                newest.insert(message.thread, message);
            for (const VXConnectMessage &message : newest) {
                tell(u"conversationCreated"_s, message);
                loaded(message.thread, 1);
            }
            return QVariantList();
        });
        mock->answer(u"activeConversations"_s, [this](const QDBusMessage &) {
            QVariantList all;
            for (const VXConnectMessage &message : messages)
                all.append(QVariant::fromValue(message));
            return QVariantList{QVariant(all)};
        });
        mock->answer(u"requestConversation"_s, [this](const QDBusMessage &call) {
            const qint64 thread = call.arguments().value(0).toLongLong();
            QList<VXConnectMessage> its = messages;
            its.removeIf([&](const VXConnectMessage &message) { return message.thread != thread; });
            if (call.interface() == sms) {
                loaded(thread, qulonglong(its.size()));
            } else {
                for (const VXConnectMessage &message : its)
                    tell(u"conversationUpdated"_s, message);
            }
            return QVariantList();
        });
    }
    void connectPhone()
    {
        startDaemon();
        makePhone();
        isReached();
    }
    /** Connected, and what lies there is known. */
    void connectAndSurvey()
    {
        connectPhone();
        EXPECT_EQ(texts(perform(u"read_messages"_s), u"text"_s).size(), messages.size()); // behind the survey
    }
    void tell(const QString &member, const VXConnectMessage &message)
    {
        mock->emitSignal(path(id), conversations, member,
                         {QVariant::fromValue(QDBusVariant(QVariant::fromValue(message)))});
    }
    void loaded(qint64 thread, qulonglong count)
    {
        mock->emitSignal(path(id), conversations, u"conversationLoaded"_s, {thread, count});
    }
    static QString path(const QString &deviceID, const QString &part = {})
    {
        return VXConnectNames::path(deviceID, part);
    }
    void changed(const QString &member, const QVariantList &arguments = {})
    {
        mock->emitSignal(path(id), device, member, arguments);
    }
    static QVariantMap hello() { return {{u"number"_s, u"+49 170"_s}, {u"text"_s, u"Hello"_s}}; }
};

TEST_F(VXAndroidPhoneTest, SaysHowItStands)
{
    makePhone();
    hasProblem(u"The service org.kde.kdeconnect is not running. Is the package kdeconnect installed?"_s);
    names.clear();
    startDaemon();
    hasProblem(u"KDE Connect does not know the phone. Is the app KDE Connect open on the phone"_s);
    names = {{u"abc"_s, u"Pixel"_s}, {u"def"_s, u"Tablet"_s}};
    mock->emitSignal(root, VXConnectNames::daemon, u"deviceAdded"_s, {u"abc"_s});
    hasProblem(u"KDE Connect knows several phones. It knows Pixel (abc), Tablet (def): the preference"_s);
    state.insert(u"isReachable"_s, false);
    phone->setPreference(u"pixel"_s, u"device"_s); // by its name
    hasProblem(u"The phone is not in reach."_s);
    state = {{u"name"_s, u"Pixel"_s}, {u"isReachable"_s, true}, {u"isTrusted"_s, false}};
    changed(u"reachableChanged"_s, {true});
    hasProblem(u"The phone is not paired with this computer. The action \"pair\" asks for it"_s);
    mock->refuse(u"GetAll"_s, u"org.freedesktop.DBus.Error.UnknownObject"_s); // as after a second link
    changed(u"trustedChanged"_s, {false});
    hasProblem(u"The phone is not in reach."_s);
    // As newer daemons call it.
    mock->answer(u"GetAll"_s, {QVariantMap{{u"isReachable"_s, true}, {u"isPaired"_s, true}}});
    changed(u"reachableChanged"_s, {true});
    isReached();
    EXPECT_EQ(phone->name(), u"Pixel"_s);
    mock->vanish();
    hasProblem(u"The service org.kde.kdeconnect is not running."_s);
}

TEST_F(VXAndroidPhoneTest, FindsPhonesAndNotComputers)
{
    EXPECT_TRUE(found().first().startsWith(u"The service org.kde.kdeconnect could not be started: "_s));
    startDaemon();
    names = {{u"abc"_s, u"Pixel"_s},
             {u"def"_s, u"Pixel"_s},
             {u"fed"_s, u"Gone"_s},
             {u"pc"_s, u"Laptop"_s},
             {u"../a b"_s, u"Lying"_s}};
    mock->answer(u"GetAll"_s, [this](const QDBusMessage &call) {
        QVariantMap values = state;
        values.insert(u"type"_s, call.path().endsWith("/pc"_L1) ? u"laptop"_s : u"phone"_s);
        values.insert(u"isTrusted"_s, !call.path().endsWith("/def"_L1));
        return QVariantList{call.path().endsWith("/fed"_L1) ? QVariant(u"no properties"_s) : QVariant(values)};
    });
    EXPECT_EQ(found(), (QStringList{u"Pixel|abc|KDE Connect||"_s,
                                    u"Pixel|def|KDE Connect||The phone is not paired with this computer."_s,
                                    u"Gone|fed|KDE Connect||The phone is not in reach."_s}));
    mock->hold(u"deviceNames"_s);
    VXAndroidPhone finder;
    const auto finding = std::make_shared<VXDeviceFinding>();
    finder.findDevices(finding);
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 1; }));
    mock->vanish();
    EXPECT_TRUE(VXRunUntil([&] { return finding->isConcluded(); }));
    EXPECT_EQ(finding->problem().localizedDescription(), u"The service org.kde.kdeconnect has ended."_s);
}

TEST_F(VXAndroidPhoneTest, OffersWhatThePhoneAllows)
{
    plugins = {u"kdeconnect_share"_s};
    connectPhone();
    EXPECT_EQ(phone->actionNames(), (QStringList{u"dial"_s, u"pair"_s, u"unpair"_s}));
    EXPECT_EQ(shown(u"notAllowed"_s),
              u"SMS (permissions to read and send SMS); contacts (permission to read contacts); "
              "calls (permissions for the phone's state and its list of calls)"_s);
    plugins = {u"kdeconnect_sms"_s, u"kdeconnect_telephony"_s, u"kdeconnect_contacts"_s};
    changed(u"pluginsChanged"_s);
    EXPECT_TRUE(VXRunUntil([this] {
        return phone->actionNames() ==
               QStringList{u"pair"_s, u"read_contacts"_s, u"read_messages"_s, u"send_message"_s, u"unpair"_s};
    }));
    EXPECT_TRUE(shown(u"notAllowed"_s).isEmpty());

    plugins.clear(); // as while it goes
    changed(u"pluginsChanged"_s);
    EXPECT_TRUE(VXRunUntil([this] { return !phone->actionNames().contains(u"send_message"_s); }));
    state.insert(u"isReachable"_s, false);
    changed(u"reachableChanged"_s, {false});
    ASSERT_TRUE(hasProblem(u"The phone is not in reach."_s));
    EXPECT_EQ(fateOfSending(u"+49 170"_s, u"Hello"_s), u"later"_s) << "it may have what it had";
}

TEST_F(VXAndroidPhoneTest, ReadsTheWholeHistory)
{
    VXConnectMessage &group = add(8, u"To all"_s, VXConnectMessage::Sent);
    group.addresses = {{u"+49171"_s}, {u"+49172"_s}};
    add(7, u"Draft"_s, VXConnectMessage::Draft);
    VXConnectMessage &picture = add(7, {}, VXConnectMessage::Inbox);
    picture.attachments = {{.part = 1, .type = u"image/png"_s, .preview = {}, .identifier = u"x"_s}};
    picture.read = 1;
    connectPhone();
    const VXDeviceAction::Ptr read = perform(u"read_messages"_s);
    EXPECT_TRUE(resultOf(read).value(u"isComplete"_s).toBool());
    const QVariantList items = this->items(read);
    ASSERT_EQ(items.size(), 4);
    const QVariantMap first = items.at(0).toMap();
    EXPECT_EQ(first.value(u"from"_s), u"+49170"_s);
    EXPECT_EQ(first.value(u"state"_s), u"unread"_s);
    EXPECT_EQ(first.value(u"date"_s).toDateTime().toMSecsSinceEpoch(), 1'770'000'000'000);
    EXPECT_EQ(items.at(1).toMap().value(u"to"_s), u"+49171, +49172"_s);
    EXPECT_EQ(items.at(1).toMap().value(u"state"_s), u"sent"_s);
    EXPECT_EQ(items.at(2).toMap().value(u"state"_s), u"unsent"_s);
    EXPECT_FALSE(items.at(3).toMap().contains(u"text"_s));
    EXPECT_EQ(items.at(3).toMap().value(u"state"_s), u"read"_s);

    // One that says more than it has, and tells of something else in between.
    mock->answer(u"requestConversation"_s, [this](const QDBusMessage &call) {
        const qint64 thread = call.arguments().value(0).toLongLong();
        mock->emitSignal(path(id), conversations, u"conversationUpdated"_s, {7});
        mock->emitSignal(path(id), conversations, u"conversationUpdated"_s,
                         {QVariant::fromValue(QDBusVariant(u"no message"_s))});
        loaded(thread, 1000);
        return QVariantList();
    });
    const VXDeviceAction::Ptr lacking = begin(u"read_messages"_s);
    ASSERT_TRUE(waitFor(lacking) || waitFor(lacking));
    EXPECT_FALSE(resultOf(lacking).value(u"isComplete"_s).toBool());
    EXPECT_EQ(resultOf(lacking).value(u"problems"_s).toStringList(),
              (QStringList{u"Of a conversation only 0 of 1000 messages could be read."_s,
                           u"Of a conversation only 0 of 1000 messages could be read."_s}));
    EXPECT_EQ(texts(lacking, u"text"_s).size(), 2); // those that it told of by itself
}

TEST_F(VXAndroidPhoneTest, HandsOverToWhoTakesPortions)
{
    for (int index = 0; index < 2500; ++index)
        add(7 + index % 2, QString::number(index), VXConnectMessage::Sent);
    startDaemon();
    mock->answer(u"synchronizeRemoteWithLocal"_s, [this](const QDBusMessage &) {
        for (int index = 0; index < 1100; ++index)
            writeFile(u".local/share/kpeoplevcard/kdeconnect-abc/%1.vcf"_s.arg(index),
                      "BEGIN:VCARD\nFN:Jane\nTEL:1\nEND:VCARD\n");
        mock->emitSignal(path(id, u"contacts"_s), contacts, u"localCacheSynchronized"_s, {QStringList()});
        return QVariantList();
    });
    makePhone();
    isReached();
    const std::tuple<QString, QString, qsizetype> cases[] = {{u"read_messages"_s, u"url"_s, messages.size()},
                                                             {u"read_contacts"_s, u"location"_s, 1100}};
    for (const auto &[name, placeKey, count] : cases) {
        const auto read = VXDeviceAction::actionWithName(name);
        QVariantList all;
        read->setTaker([&all](const VXDeviceAction::Portion &portion, const std::function<void()> &next) {
            all += portion().value(u"items"_s).toList();
            if (next)
                next(); // at once
        });
        read->executeWithDevice(phone);
        ASSERT_TRUE(waitFor(read));
        EXPECT_GE(all.size(), 1000);
        all += items(read);
        QSet<QString> places;
        for (const QVariant &item : std::as_const(all))
            places.insert(item.toMap().value(placeKey).toString());
        EXPECT_EQ(all.size(), count); // each once
        EXPECT_EQ(places.size(), count);
    }
}

TEST_F(VXAndroidPhoneTest, ReadsAgainWhatGrewAfterItWasRead)
{
    for (int index = 0; index < 20; ++index)
        add(7 + index % 2, QString::number(index), VXConnectMessage::Sent);
    connectPhone();
    bool isFirst = true;
    mock->answer(u"requestConversation"_s, [&](const QDBusMessage &call) {
        const qint64 thread = call.arguments().value(0).toLongLong();
        const auto its = [this](qint64 number) {
            QList<VXConnectMessage> all = messages;
            all.removeIf([&](const VXConnectMessage &message) { return message.thread != number; });
            return all;
        };
        if (call.interface() == sms) {
            if (thread == 8)
                loaded(7, qulonglong(its(7).size()));
            loaded(thread, thread == 7 && std::exchange(isFirst, false) ? 1 : qulonglong(its(thread).size()));
        } else {
            for (const VXConnectMessage &message : its(thread).first(call.arguments().value(2).toInt()))
                tell(u"conversationUpdated"_s, message);
        }
        return QVariantList();
    });
    const VXDeviceAction::Ptr read = perform(u"read_messages"_s);
    EXPECT_EQ(items(read).size(), messages.size());
    EXPECT_TRUE(resultOf(read).value(u"isComplete"_s).toBool());
}

TEST_F(VXAndroidPhoneTest, ReadsCardsWhileTheDaemonWritesOthers)
{
    const auto write = [this](int first, int last) {
        for (int index = first; index < last; ++index)
            writeFile(u".local/share/kpeoplevcard/kdeconnect-abc/%1.vcf"_s.arg(index),
                      "BEGIN:VCARD\nFN:Jane\nTEL:1\nEND:VCARD\n");
    };
    write(9000, 9001); // of an earlier time
    connectPhone();
    mock->answer(u"synchronizeRemoteWithLocal"_s, [&](const QDBusMessage &) {
        write(0, 600);
        return QVariantList();
    });
    QStringList places;
    const auto take = [&](const QVariantList &some) {
        for (const QVariant &item : some)
            places.append(item.toMap().value(u"location"_s).toString());
    };
    const auto read = VXDeviceAction::actionWithName(u"read_contacts"_s);
    read->setTaker([&](const VXDeviceAction::Portion &portion, const std::function<void()> &next) {
        take(portion().value(u"items"_s).toList());
        next();
    });
    read->executeWithDevice(phone);
    EXPECT_TRUE(VXRunUntil([&] { return places.size() >= 500; }));
    write(590, 610); // some a second time
    mock->emitSignal(path(id, u"contacts"_s), contacts, u"localCacheSynchronized"_s, {QStringList()});
    ASSERT_TRUE(waitFor(read));
    take(items(read));
    EXPECT_EQ(places.size(), 610);
    EXPECT_EQ(places.removeDuplicates(), 0);
}

// One message with a date that cannot be hides no other.
TEST_F(VXAndroidPhoneTest, AnnouncesWhatIsNewOnce)
{
    add(7, u"Of the year 2200"_s, VXConnectMessage::Inbox).date = 7'258'118'400'000;
    connectAndSurvey();
    EXPECT_TRUE(events.isEmpty());
    const VXConnectMessage news = add(7, u"News"_s, VXConnectMessage::Inbox);
    tell(u"conversationUpdated"_s, news);
    tell(u"conversationUpdated"_s, news);
    VXConnectMessage mine = add(7, u"Mine"_s, VXConnectMessage::Sent);
    tell(u"conversationUpdated"_s, mine);
    VXConnectMessage late = messages.first(); // an old one, shown again
    late.identifier = 99;
    tell(u"conversationCreated"_s, late);
    const VXConnectMessage other = add(9, u"Other"_s, VXConnectMessage::Inbox);
    tell(u"conversationCreated"_s, other);
    ASSERT_TRUE(hears({u"new_message +49170 News"_s, u"new_message +49170 Other"_s}));
    EXPECT_EQ(texts(perform(u"read_messages"_s), u"text"_s).size(), 5); // pages are no news
    EXPECT_EQ(events.size(), 2);
}

TEST_F(VXAndroidPhoneTest, WhatAnotherProgramAskedForIsNoNews)
{
    startDaemon();
    mock->answer(u"requestAllConversationThreads"_s, [this](const QDBusMessage &) {
        loaded(7, 1); // it knows them, and does not tell again
        return QVariantList();
    });
    makePhone();
    isReached();
    EXPECT_EQ(texts(perform(u"read_messages"_s), u"text"_s), QStringList{u"First"_s});
    EXPECT_EQ(texts(perform(u"read_messages"_s), u"text"_s), QStringList{u"First"_s}); // behind the survey, surely
    tell(u"conversationUpdated"_s, add(7, u"News"_s, VXConnectMessage::Inbox));
    ASSERT_TRUE(hears({u"new_message +49170 News"_s}));
}

TEST_F(VXAndroidPhoneTest, AMessageIsSentWhenItComesBack)
{
    startDaemon();
    mock->refuse(u"requestAllConversationThreads"_s, u"org.freedesktop.DBus.Error.UnknownObject"_s);
    makePhone();
    ASSERT_TRUE(isReached());
    EXPECT_EQ(fateOfSending(u"+49 170"_s, u"Hello"_s), u"later"_s) << "it has gone before it was asked";
    phone->pluginWillUnload();
    mock.reset();
    add(7, u"Of the year 2200"_s, VXConnectMessage::Sent).date = 7'258'118'400'000;
    connectAndSurvey();
    mock->answer(u"sendSms"_s);
    const VXDeviceAction::Ptr sent = begin(u"send_message"_s, hello());
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"sendSms"_s) == 1; }));
    VXConnectMessage old = messages.first();
    old.body = u"Hello"_s;
    old.type = VXConnectMessage::Sent;
    tell(u"conversationUpdated"_s, old); // the same text, of an earlier time
    VXConnectMessage incoming = add(7, u"Hello"_s, VXConnectMessage::Inbox);
    tell(u"conversationUpdated"_s, incoming);
    VXConnectMessage ours = add(7, u"Hello"_s, VXConnectMessage::Outbox);
    tell(u"conversationUpdated"_s, ours);
    ASSERT_TRUE(VXRunUntil([this] { return !events.isEmpty(); })); // the one that came in
    EXPECT_TRUE(sent->isExecuting());
    ours.type = VXConnectMessage::Sent;
    tell(u"conversationUpdated"_s, ours);
    ASSERT_TRUE(waitFor(sent));
    EXPECT_TRUE(sent->error().isNull());

    const VXDeviceAction::Ptr failed = begin(u"send_message"_s, hello());
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"sendSms"_s) == 2; }));
    tell(u"conversationUpdated"_s, add(7, u"Hello"_s, VXConnectMessage::Failed));
    ASSERT_TRUE(waitFor(failed));
    EXPECT_EQ(resultOf(failed).value(u"failure"_s), u"refused"_s);

    mock->refuse(u"sendSms"_s, u"org.freedesktop.DBus.Error.UnknownObject"_s); // the phone has just gone
    EXPECT_EQ(fateOfSending(u"+49 170"_s, u"Hello"_s), u"later"_s);
    mock->hold(u"sendSms"_s);
    const VXDeviceAction::Ptr lost = begin(u"send_message"_s, hello());
    ASSERT_TRUE(VXRunUntil([this] { return mock->held().size() == 1; }));
    mock->vanish();
    ASSERT_TRUE(waitFor(lost));
    EXPECT_FALSE(lost->result().isValid()); // nobody knows
}

TEST_F(VXAndroidPhoneTest, ContactsAreFetchedAnewAndNeverLost)
{
    const QString folder = u".local/share/kpeoplevcard/kdeconnect-abc/"_s;
    writeFile(folder + u"old.vcf"_s, "BEGIN:VCARD\nFN:Old\nTEL:1\nEND:VCARD\n");
    connectPhone();
    mock->answer(u"synchronizeRemoteWithLocal"_s, [this, folder](const QDBusMessage &) {
        EXPECT_FALSE(QFileInfo::exists(VXHomeTest::path(folder + u"old.vcf"_s)));
        writeFile(folder + u"1.vcf"_s,
                  "BEGIN:VCARD\nVERSION:2.1\nN;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:M=C3=BCller;J=\n"
                  "=C3=B6rg;;;\nTEL;CELL:+49170\nX-KDECONNECT-TIMESTAMP:7\nEND:VCARD\n");
        writeFile(folder + u"2.vcf"_s, "BEGIN:VCARD\nFN:Cut\nTEL:1"); // cut off
        mock->emitSignal(path(id, u"contacts"_s), contacts, u"localCacheSynchronized"_s, {QStringList{u"1"_s}});
        return QVariantList();
    });
    const VXDeviceAction::Ptr read = perform(u"read_contacts"_s);
    const QVariantMap result = resultOf(read);
    EXPECT_FALSE(result.value(u"isComplete"_s).toBool());
    EXPECT_EQ(result.value(u"problems"_s).toStringList().size(), 1);
    ASSERT_EQ(texts(read, u"lastName"_s), QStringList{u"Müller"_s});
    EXPECT_EQ(result.value(u"items"_s).toList().first().toMap().value(u"location"_s), u"1"_s);
    EXPECT_FALSE(result.value(u"items"_s).toList().first().toMap().contains(u"properties"_s));

    const QString aside = u".local/share/kpeoplevcard/.kdeconnect-abc-aside/"_s;
    EXPECT_TRUE(VXRunUntil([&] { return !QFileInfo::exists(VXHomeTest::path(aside)); }));
    EXPECT_TRUE(QDir(VXHomeTest::path(folder)).removeRecursively());
    writeFile(aside + u"left.vcf"_s, {}); // as by a program that was killed before it made the folder anew
    mock->refuse(u"synchronizeRemoteWithLocal"_s, u"org.freedesktop.DBus.Error.UnknownObject"_s);
    EXPECT_FALSE(succeeds(u"read_contacts"_s));
    EXPECT_TRUE(VXRunUntil([&] { return QFileInfo::exists(VXHomeTest::path(folder + u"left.vcf"_s)); }));
}

TEST_F(VXAndroidPhoneTest, RingingEndsAsMissed)
{
    connectPhone();
    const auto received = [this](const QString &event, const QString &number) {
        mock->emitSignal(path(id, u"telephony"_s), telephony, u"callReceived"_s, {event, number, u"Jane"_s});
    };
    received(u"callReceived"_s, u"+49170"_s);
    received(u"callReceived"_s, u"+49170"_s);
    received(u"talking"_s, u"+49170"_s);
    received(u"missedCall"_s, u"+49170"_s);
    received(u"missedCall"_s, u"+49171"_s); // while nobody listened to its ringing
    ASSERT_TRUE(hears({u"incoming_call ringing +49170"_s, u"incoming_call ended +49170"_s,
                       u"incoming_call ringing +49171"_s, u"incoming_call ended +49171"_s}));
    EXPECT_TRUE(lastEvent.value(u"isMissed"_s).toBool());
    events.clear();
    received(u"callReceived"_s, {});
    ASSERT_TRUE(hears({u"incoming_call ringing"_s}));
    mock->vanish();
    ASSERT_TRUE(hears({u"incoming_call ringing"_s, u"incoming_call ended"_s}));
}

TEST_F(VXAndroidPhoneTest, PairsWhenThePersonAgrees)
{
    state.insert(u"isTrusted"_s, false);
    startDaemon();
    makePhone();
    hasProblem(u"The phone is not paired with this computer."_s);
    for (const QString &method :
         {u"acquireDiscoveryMode"_s, u"releaseDiscoveryMode"_s, u"forceOnNetworkChange"_s, u"requestPair"_s})
        mock->answer(method);
    mock->answer(u"isTrusted"_s, {false});
    const VXDeviceAction::Ptr refused = begin(u"pair"_s);
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"requestPair"_s) == 1; }));
    changed(u"pairingError"_s, {u"Timed out"_s});
    ASSERT_TRUE(waitFor(refused));
    EXPECT_EQ(refused->error().localizedDescription(), u"The phone was not paired: Timed out"_s);
    EXPECT_TRUE(VXRunUntil([this] { return mock->count(u"releaseDiscoveryMode"_s) == 1; }));

    const QMap<QString, QString> all = std::exchange(names, {}); // not heard of yet
    const VXDeviceAction::Ptr paired = begin(u"pair"_s);
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"acquireDiscoveryMode"_s) == 2; }));
    names = all;
    mock->emitSignal(root, VXConnectNames::daemon, u"deviceAdded"_s, {id});
    ASSERT_TRUE(VXRunUntil([this] { return mock->count(u"requestPair"_s) == 2; }));
    state.insert(u"isTrusted"_s, true);
    changed(u"trustedChanged"_s, {true});
    ASSERT_TRUE(waitFor(paired));
    EXPECT_TRUE(paired->error().isNull());
    isReached();
    EXPECT_TRUE(perform(u"unpair"_s)->error().code() != VXErrorCancelled);
}

TEST_F(VXAndroidPhoneTest, DialsByURL)
{
    connectPhone();
    mock->answer(u"shareUrl"_s);
    EXPECT_TRUE(succeeds(u"dial"_s, u"*#06#"_s));
    EXPECT_TRUE(mock->calls().contains(u"shareUrl tel:*%2306%23"_s));
    EXPECT_FALSE(succeeds(u"dial"_s, u"tel:1"_s));
}
