// What the driver tells of the phone, and what it does there.

#include "VXAndroidPhoneTest.h"

using namespace Qt::StringLiterals;
using namespace VXConnectNames;

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
