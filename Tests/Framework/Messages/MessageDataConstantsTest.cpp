#include "MessageDataConstants.h"

#include "VXModelParser.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

#include <QtCore/QDateTime>

using namespace Qt::StringLiterals;

using Object = VXManagedObjectPtr;

namespace {

const QByteArray source = R"(
entity VXFolder {
    relationship messages: VXMessage[] inverse folder;
}
entity VXRootFolder: VXFolder {
    attribute root_name: string;
    fetch inbox = "root_name == \"inbox\"";
    fetch trash = "root_name == \"trash\"";
    fetch user = "root_name == \"user\"";
    fetch broken = "root_name ==";
}
entity VXDeviceFolder: VXFolder {
    attribute url_search: string;
    relationship smart: VXSmartDeviceFolder[] inverse deviceFolder;
    //
}
entity VXSmartDeviceFolder: VXFolder {
    relationship deviceFolder: VXDeviceFolder optional inverse smart;
}
entity VXMessage {
    attribute text: string optional;
    attribute url: string optional;
    attribute state: integer16 = 0;
    attribute pending: integer16 = 0;
    attribute date: date optional;
    attribute shown: string optional transient;
    relationship folder: VXFolder optional inverse messages;
}
)";

const QUrl phone(u"vxdevice://localhost/plugin/phone"_s);

} // namespace

class MessageDataConstantsTest : public VXHomeTest
{
protected:
    static VXPersistentStoreCoordinator::Ptr makeStore(const QByteArray &model)
    {
        QList<VXModelProblem> mistakes;
        const auto parsed = VXManagedObjectModel::modelWithDefinition(VXParseModel(model, &mistakes));
        EXPECT_TRUE(parsed);
        auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(parsed);
        EXPECT_TRUE(coordinator->addPersistentStore(VXStoreType::InMemory, {}));
        return coordinator;
    }

    Object root(const QString &name)
    {
        const Object folder = context.insertNewObject(u"VXRootFolder"_s);
        folder->setValueForKey(name, u"root_name"_s);
        return folder;
    }
    Object deviceFolder(const QUrl &url = phone)
    {
        const Object folder = context.insertNewObject(u"VXDeviceFolder"_s);
        folder->setValueForKey(url.toString(), u"url_search"_s);
        return folder;
    }
    Object message(const Object &folder, const QVariantMap &values = {})
    {
        const Object message = context.insertNewObject(u"VXMessage"_s);
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            message->setValueForKey(*value, value.key());
        message->setValueForKey(QVariant::fromValue(folder), u"folder"_s);
        return message;
    }
    /** "URL STATE PENDING", "-" for no URL. */
    static QString stateOf(const Object &message)
    {
        const QString url = message->valueForKey(u"url"_s).toString();
        return u"%1 %2 %3"_s.arg(url.isNull() ? u"-"_s : url)
            .arg(message->valueForKey(u"state"_s).toInt())
            .arg(message->valueForKey(u"pending"_s).toInt());
    }
    static Object objectIn(const QVariantMap &info, const QString &key) { return info.value(key).value<Object>(); }
    static Object folderOf(const Object &message) { return message->valueForKey(u"folder"_s).value<Object>(); }

    const VXPersistentStoreCoordinator::Ptr coordinator = makeStore(source);
    VXManagedObjectContext context{coordinator};
};

TEST_F(MessageDataConstantsTest, RootFoldersAreThereOnceOrFail)
{
    const Object inbox = root(VXInboxFolder);
    root(VXTrashFolder);
    root(VXTrashFolder);
    EXPECT_EQ(VXFetchRootFolder(VXInboxFolder, &context), inbox);
    const auto failure = [&](const QString &name) {
        return VXReasonOfAssertion([&] { static_cast<void>(VXFetchRootFolder(name, &context)); });
    };
    EXPECT_EQ(failure(VXTrashFolder), u"invalid count for root folder trash: 2"_s);
    EXPECT_EQ(failure(VXUserRootFolder), u"invalid count for root folder user: 0"_s);
    EXPECT_TRUE(failure(VXSentFolder).startsWith(u"error while fetching root folder sent: "_s)); // no template
    EXPECT_TRUE(failure(u"broken"_s).startsWith(u"error while fetching root folder broken: "_s));
    EXPECT_TRUE(failure({}).startsWith(u"error while fetching root folder (null): "_s));
}

TEST_F(MessageDataConstantsTest, DeviceFoldersAreFoundByAnyURLOfThePhone)
{
    const QByteArray withTemplate =
        QByteArray(source).replace("    //\n", "    fetch by_url = \"url_search == $URL_SEARCH\";\n");
    const QByteArray withOther =
        QByteArray(source).replace("    //\n", "    fetch by_url = \"url_search == $URL_SEARCH AND 1 == 2\";\n");
    const QByteArray withBroken = QByteArray(source).replace("    //\n", "    fetch by_url = \"url_search ==\";\n");
    for (const QByteArray &model : {source, withTemplate, withOther, withBroken}) {
        VXManagedObjectContext own(makeStore(model));
        const Object folder = own.insertNewObject(u"VXDeviceFolder"_s);
        folder->setValueForKey(phone.toString(), u"url_search"_s);
        Object found;
        const QString failure = VXReasonOfAssertion(
            [&] { found = VXFetchDeviceFolder(QUrl(phone.toString() + "/messages/7?x#y"_L1), &own); });
        EXPECT_EQ(found, model == source || model == withTemplate ? folder : Object());
        EXPECT_EQ(failure.startsWith("error while fetching device folder "_L1 + phone.toString() + ": "_L1),
                  model == withBroken);
        if (failure.isNull()) {
            EXPECT_FALSE(VXFetchDeviceFolder(QUrl(u"vxdevice://localhost/plugin/other"_s), &own));
        }
    }
    const auto failure = [](const QUrl &url, VXManagedObjectContext *asked) {
        return VXReasonOfAssertion([&] { static_cast<void>(VXFetchDeviceFolder(url, asked)); });
    };
    EXPECT_EQ(failure({}, nullptr), u"Invalid device URL: (null)"_s);
    EXPECT_EQ(failure(phone, nullptr), u"managedObjectContext can not be nil"_s);
}

TEST_F(MessageDataConstantsTest, OnlyUnreadMessagesBecomeReadAndPhonesAreTold)
{
    const Object inbox = root(VXInboxFolder);
    const struct
    {
        QVariantMap values;
        bool isRead;
        QString after;
    } cases[] = {
        {{{u"state"_s, 1}}, true, u"- 3 0"_s},
        {{{u"state"_s, 1}, {u"url"_s, u"u"_s}}, true, u"u 3 3"_s},
        {{{u"state"_s, 3}, {u"url"_s, u"u"_s}}, true, u"u 3 0"_s},
        {{{u"state"_s, 0}}, false, u"- 0 0"_s},
        {{{u"state"_s, 2}, {u"url"_s, u"u"_s}}, false, u"u 2 0"_s},
        {{{u"state"_s, 77}}, false, u"- 77 0"_s},
    };
    for (const auto &each : cases) {
        const Object one = message(inbox, each.values);
        EXPECT_EQ(VXMarkMessageAsRead(one), each.isRead);
        EXPECT_EQ(stateOf(one), each.after);
    }
    EXPECT_FALSE(VXMarkMessageAsRead({}));
}

TEST_F(MessageDataConstantsTest, MovesGoByWhereTheMessageLies)
{
    const Object inbox = root(VXInboxFolder);
    const Object trash = root(VXTrashFolder);
    const Object device = deviceFolder();
    const Object smart = context.insertNewObject(u"VXSmartDeviceFolder"_s);
    smart->setValueForKey(QVariant::fromValue(device), u"deviceFolder"_s);
    const struct
    {
        Object from;
        Object to;
        QString url;
        QString moved;    // the object that is then in the target
        QString original; // null: the same object
    } cases[] = {
        {inbox, trash, u"u"_s, u"- 1 2"_s, {}},
        {inbox, device, u"u"_s, u"- 1 3"_s, {}},
        {inbox, smart, {}, u"- 1 3"_s, {}},
        {trash, inbox, {}, u"- 1 0"_s, {}},
        {{}, inbox, {}, u"- 1 0"_s, {}},
        {device, inbox, u"u"_s, u"- 1 0"_s, u"u 1 1"_s},
        {device, trash, u"u"_s, u"- 1 2"_s, u"u 1 1"_s},
        {device, inbox, {}, u"- 1 0"_s, {}},
    };
    for (const auto &each : cases) {
        QVariantMap values{{u"state"_s, 1}, {u"pending"_s, 3}, {u"text"_s, u"hi"_s}, {u"shown"_s, u"x"_s}};
        if (!each.url.isNull())
            values.insert(u"url"_s, each.url);
        const Object one = message(each.from, values);
        QVariantMap info;
        EXPECT_TRUE(VXMoveMessageToFolder(one, each.to, false, &info));
        const Object moved = objectIn(info, u"message"_s);
        EXPECT_EQ(objectIn(info, u"folder"_s), each.from);
        EXPECT_EQ(info.contains(u"folder"_s), bool(each.from));
        EXPECT_FALSE(info.contains(u"duplicate"_s));
        EXPECT_EQ(stateOf(moved), each.moved);
        EXPECT_EQ(folderOf(moved), each.to == smart ? device : each.to);
        EXPECT_EQ(moved == one, each.original.isNull());
        if (!each.original.isNull()) {
            EXPECT_EQ(stateOf(one), each.original);
            EXPECT_EQ(folderOf(one), each.from);
            EXPECT_EQ(moved->valueForKey(u"text"_s), u"hi"_s);
            EXPECT_FALSE(moved->valueForKey(u"shown"_s).isValid()); // transient
        }
    }
    EXPECT_FALSE(VXMoveMessageToFolder({}, inbox, false));
    EXPECT_FALSE(VXMoveMessageToFolder(message(inbox), {}, true));
}

TEST_F(MessageDataConstantsTest, MovingToTheSameFolderChangesNothing)
{
    const Object device = deviceFolder();
    const Object smart = context.insertNewObject(u"VXSmartDeviceFolder"_s);
    smart->setValueForKey(QVariant::fromValue(device), u"deviceFolder"_s);
    const Object one = message(device, {{u"url"_s, u"u"_s}, {u"pending"_s, 3}});
    for (const Object &target : {device, smart}) {
        QVariantMap info;
        EXPECT_FALSE(VXMoveMessageToFolder(one, target, false, &info));
        EXPECT_EQ(info, (QVariantMap{{u"message"_s, QVariant::fromValue(one)}}));
        EXPECT_EQ(stateOf(one), u"u 0 3"_s);
    }
}

TEST_F(MessageDataConstantsTest, CopiesLeaveTheMessageAsItIs)
{
    const Object inbox = root(VXInboxFolder);
    const Object device = deviceFolder();
    const Object one = message(device, {{u"url"_s, u"u"_s}, {u"state"_s, 1}, {u"text"_s, u"hi"_s}});
    for (const Object &target : {inbox, device}) { // the same folder gets a second one
        QVariantMap info;
        EXPECT_TRUE(VXMoveMessageToFolder(one, target, true, &info));
        EXPECT_EQ(objectIn(info, u"message"_s), one);
        EXPECT_EQ(objectIn(info, u"folder"_s), target);
        const Object copy = objectIn(info, u"duplicate"_s);
        EXPECT_NE(copy, one);
        EXPECT_EQ(folderOf(copy), target);
        EXPECT_EQ(stateOf(copy), target == inbox ? u"- 1 0"_s : u"- 1 3"_s);
        EXPECT_EQ(stateOf(one), u"u 1 0"_s);
    }
}

TEST_F(MessageDataConstantsTest, MissingDatesAreFilledInOnlyWhenWanted)
{
    const Object inbox = root(VXInboxFolder);
    const Object user = root(VXUserRootFolder);
    const Object trash = root(VXTrashFolder);
    const Object device = deviceFolder();
    const QDateTime known = QDateTime::fromMSecsSinceEpoch(1000, Qt::UTC);
    for (const bool isWanted : {false, true}) {
        VXUserDefaults::standardUserDefaults().setObject(isWanted, u"messages.fix_date_when_moving"_s);
        for (const Object &target : {user, trash, device}) {
            const Object one = message(inbox);
            VXMoveMessageToFolder(one, target, false);
            EXPECT_EQ(one->valueForKey(u"date"_s).toDateTime().isValid(), isWanted && target == user);
            const Object dated = message(inbox, {{u"date"_s, known}});
            VXMoveMessageToFolder(dated, target, false);
            EXPECT_EQ(dated->valueForKey(u"date"_s).toDateTime(), known);
        }
    }
}
