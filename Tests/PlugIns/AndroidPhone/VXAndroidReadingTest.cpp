// Reading messages and contacts.

#include "VXAndroidPhoneTest.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;
using namespace VXConnectNames;

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
        writeCards(0, 1100);
        areThere();
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
    qulonglong before = 1; // what it tells of the first at first
    bool isFirst = true;
    mock->answer(u"requestConversation"_s, [&](const QDBusMessage &call) {
        const qint64 thread = call.arguments().value(0).toLongLong();
        const auto its = [this](qint64 number) {
            QList<VXConnectMessage> all = messages;
            all.removeIf([&](const VXConnectMessage &message) { return message.thread != number; });
            return all;
        };
        if (call.interface() == sms) {
            if (thread == 8 && before == 0)
                tell(u"conversationCreated"_s, its(7).last());
            else if (thread == 8)
                loaded(7, qulonglong(its(7).size()));
            loaded(thread, thread == 7 && std::exchange(isFirst, false) ? before : qulonglong(its(thread).size()));
        } else {
            for (const VXConnectMessage &message : its(thread).first(call.arguments().value(2).toInt()))
                tell(u"conversationUpdated"_s, message);
        }
        return QVariantList();
    });
    for (const qulonglong count : {1ULL, 0ULL}) {
        before = count;
        isFirst = true;
        const VXDeviceAction::Ptr read = perform(u"read_messages"_s);
        EXPECT_EQ(items(read).size(), messages.size());
        EXPECT_TRUE(resultOf(read).value(u"isComplete"_s).toBool());
    }
}

TEST_F(VXAndroidPhoneTest, ReadsCardsWhileTheDaemonWritesOthers)
{
    writeCards(9000, 9001); // of an earlier time
    connectPhone();
    mock->answer(u"synchronizeRemoteWithLocal"_s, [&](const QDBusMessage &) {
        mock->emitSignal(path(id, u"contacts"_s), contacts, u"localCacheSynchronized"_s, {QStringList()}); // to others
        writeCards(0, 600);
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
    writeCards(590, 610); // some a second time
    areThere();
    ASSERT_TRUE(waitFor(read));
    take(items(read));
    EXPECT_EQ(places.size(), 610);
    EXPECT_EQ(places.removeDuplicates(), 0);
}

// Who has taken some of the cards is told that there are no more, and those of before are there again.
TEST_F(VXAndroidPhoneTest, DisablingTheDriverBreaksReadingOff)
{
    writeCards(9000, 9001);
    connectPhone();
    mock->answer(u"synchronizeRemoteWithLocal"_s, [&](const QDBusMessage &) {
        writeCards(0, 600);
        return QVariantList();
    });
    qsizetype count = 0;
    std::function<void()> more;
    const auto read = VXDeviceAction::actionWithName(u"read_contacts"_s);
    read->setTaker([&](const VXDeviceAction::Portion &portion, const std::function<void()> &next) {
        count += portion().value(u"items"_s).toList().size();
        more = next;
    });
    read->executeWithDevice(phone);
    ASSERT_TRUE(VXRunUntil([&] { return more != nullptr; }));
    phone->pluginWillUnload();
    ASSERT_TRUE(waitFor(read));
    EXPECT_FALSE(read->error().isNull());
    more();
    EXPECT_TRUE(VXRunUntil([this] {
        return QFileInfo::exists(VXHomeTest::path(u".local/share/kpeoplevcard/kdeconnect-abc/9000.vcf"_s));
    }));
    EXPECT_EQ(count, 500);
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
        areThere();
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
