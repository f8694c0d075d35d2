#include "VXConversationList.h"
#include "MessageDataConstants.h"
#include "VXConversationKey.h"
#include "VXConversationModel.h"
#include "VXDesktopTesting.h"
#include "VXMessagesOverview.h"
#include "VXMessageText.h"
#include "VXRowDelegate.h"
#include "VXStoreListModel.h"

#include <QtCore/QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

/** A list over more messages than are looked through at once. */
class VXConversationListTest : public VXDesktopTest
{
protected:
    struct Message
    {
        QString text;
        int party;
        QDateTime date;
        QString folder;
    };

    void add(const QList<Message> &added)
    {
        VXManagedObjectContext context(store.coordinator());
        QHash<QString, VXManagedObjectPtr> folders;
        for (const QString &name : {VXInboxFolder, VXSentFolder, VXTrashFolder})
            folders.insert(name, VXFetchRootFolder(name, &context));
        for (const Message &each : added) {
            VXMessageRecord record;
            record.text = each.text;
            record.state = VXMessageRecord::State::Unread;
            record.date = each.date;
            record.direction = VXRecordDirection::Incoming;
            record.from = u"<+1 555 %1>"_s.arg(each.party, 4, 10, QChar(u'0'));
            VXMessageStore::insertMessage(record, folders.value(each.folder));
        }
        EXPECT_TRUE(context.save());
        messages += added;
    }

    // What a search has to find, newest first; rows of one date in the order of their texts.
    QStringList expected(const QString &text, const QString &folder) const
    {
        QList<Message> found = messages;
        found.removeIf([&](const Message &each) {
            const QString all = u"%1 555%2"_s.arg(each.text).arg(each.party, 4, 10, QChar(u'0'));
            const QStringList words = text.split(u' ');
            return !std::ranges::all_of(words, [&all](const QString &word) {
                return all.contains(word, Qt::CaseInsensitive);
            }) || (folder.isNull() ? each.folder == VXTrashFolder : each.folder != folder);
        });
        sort(found);
        QSet<int> known;
        QStringList texts;
        for (const Message &each : std::as_const(found)) {
            if (folder.isNull() && known.contains(each.party))
                continue;
            known.insert(each.party);
            texts.append(each.text);
        }
        return texts;
    }

    [[nodiscard]] QStringList shown()
    {
        EXPECT_TRUE(VXRunUntil([&] { return !list.isReading(); }));
        QList<Message> rows;
        for (int row = 0; row < list.rowCount(); ++row) {
            const auto contents = list.index(row).data(VXStoreListModel::ValueRole).value<VXRowContents>();
            const VXMessageRecord message = contents.data.value<VXShownMessage>().message;
            rows.append({message.text, 0, message.date, {}});
        }
        EXPECT_TRUE(std::ranges::is_sorted(rows, std::ranges::greater(), &Message::date));
        sort(rows);
        QStringList texts;
        for (const Message &each : std::as_const(rows))
            texts.append(each.text);
        return texts;
    }

    static void sort(QList<Message> &found)
    {
        std::ranges::sort(found, {}, &Message::text);
        std::ranges::stable_sort(found, std::ranges::greater(), &Message::date);
    }

    const VXMessageStore store = *VXMessageStore::sharedStore();
    QList<Message> messages;
    VXConversationList list{store, nullptr};
};

TEST_F(VXConversationListTest, findsWhatHasTheTextWhateverWasTypedBefore)
{
    const QDateTime first = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);
    QList<Message> added;
    for (int i = 0; i < 12'000; ++i) {
        const bool isRare = i % 1'499 == 7;
        const QString folder = i % 5 == 0 ? VXSentFolder : i % 7 == 0 ? VXTrashFolder : VXInboxFolder;
        added.append({isRare ? u"A Zebra, %1"_s.arg(i) : u"To be, %1"_s.arg(i), i % 60,
                      i % 2'998 == 7 ? QDateTime() : first.addSecs(i / 3), folder});
    }
    add(added);
    VXManagedObjectContext context(store.coordinator());
    const VXManagedObjectID inbox = VXFetchRootFolder(VXInboxFolder, &context)->objectID();
    for (const QString &typed : {u"e"_s, u"ze"_s, u"zebra, 1"_s, u"ze"_s, u"b"_s, u"119 be,"_s, u"no such"_s}) {
        list.setSearch(typed);
        EXPECT_EQ(shown(), expected(typed, {})) << typed.toStdString();
    }
    for (const QString &typed : {u"zeb"_s, u"1 zebra,"_s}) {
        list.setSearch(typed, inbox);
        EXPECT_EQ(shown(), expected(typed, VXInboxFolder)) << typed.toStdString();
    }
    for (const QString &typed : {u"+1555000"_s, u"+15550007"_s}) { // not among what had the shorter one
        list.setSearch(typed);
        EXPECT_EQ(shown().isEmpty(), typed.size() < 9);
    }
    EXPECT_EQ(VXReadMessagesOverview(store).unread,
              std::ranges::count_if(added, [](const Message &each) { return each.folder != VXTrashFolder; }));
    list.setSearch(u"zebra"_s);
    add({{u"One more zebra"_s, 99, first.addYears(1), VXInboxFolder}}); // where it was looked already
    EXPECT_TRUE(VXRunUntil([&] { return list.rowOfConversation(VXConversationKey(u"<+1 555 0099>"_s)) == 0; }));
    EXPECT_EQ(shown(), expected(u"zebra"_s, {}));
}

TEST_F(VXConversationListTest, aConversationHasNothingOfTheTrashButWhatIsSought)
{
    const QDateTime first = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC);
    add({{u"here"_s, 1, first, VXInboxFolder}, {u"gone"_s, 1, first.addSecs(1), VXTrashFolder}});
    EXPECT_TRUE(VXRunUntil([&] {
        return list.index(0).data(VXStoreListModel::ValueRole).value<VXRowContents>().mark == "1"_L1; // unread
    }));
    VXManagedObjectContext context(store.coordinator());
    const auto trashed = store.newestOfFolder(VXFetchRootFolder(VXTrashFolder, &context), 1);
    ASSERT_TRUE(trashed && trashed->size() == 1);
    for (const VXManagedObjectID &sought : {VXManagedObjectID(), trashed->constFirst()->objectID()}) {
        VXConversationModel model(store, nullptr);
        model.setConversations({VXConversationKey(u"<+1 555 0001>"_s)}, sought);
        EXPECT_TRUE(VXRunUntil([&] { return model.rowCount() > 0; }));
        EXPECT_EQ(model.rowCount(), sought.isNull() ? 1 : 2);
        EXPECT_EQ(model.messageAt(0).message.text, "here"_L1);
    }
}
