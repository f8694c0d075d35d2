#include "MessageDataConstants.h"
#include "VXDeviceNamed.h"
#include "VXDevicePlugin.h"
#include "VXDeviceTransformer.h"
#include "VXFetchOptions.h"
#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMessageDesk.h"
#include "VXSmartFilter.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>

using namespace Qt::StringLiterals;

using Folder = VXManagedObjectPtr;

namespace {

const QString smartEntity = u"VXSmartDeviceFolder"_s;

// The kind of folder, in one word.
QString kindOf(const Folder &folder)
{
    const QString entity = folder->entity().name();
    return entity == "VXUserFolder"_L1     ? u"own"_s
           : entity == smartEntity         ? u"smart"_s
           : entity == "VXDeviceFolder"_L1 ? u"phone"_s
                                           : u"root"_s;
}

// What a smart folder shows: the condition, and whose messages.
QString conditionOf(const Folder &smart)
{
    const auto filter = smart->valueForKey(u"filter"_s).value<VXManagedObjectPtr>();
    const auto *const conditions = dynamic_cast<const VXSmartFilter *>(filter.get());
    const auto predicate = conditions != nullptr ? conditions->predicate() : std::nullopt;
    return predicate ? predicate->predicateFormat() : QString();
}

// A phone's folder is shown with the phone's name: people ignore its URL.
QString shownTitle(const Folder &folder)
{
    const QString title = VXMessageStore::folderTitle(folder);
    return folder->entity().name() == "VXDeviceFolder"_L1 ? VXDeviceNameAtURL().transformedValue(QUrl(title)).toString()
                                                          : title;
}

QJsonObject jsonOf(const Folder &folder)
{
    QJsonObject json{{u"title"_s, VXMessageStore::folderTitle(folder)},
                     {u"kind"_s, kindOf(folder)},
                     {u"uri"_s, VXURIOfObject(folder)}};
    if (folder->entity().name() == smartEntity) {
        const auto phone = folder->valueForKey(u"deviceFolder"_s).value<Folder>();
        json.insert(u"device"_s, VXMessageStore::folderTitle(phone));
        json.insert(u"where"_s, conditionOf(folder));
    }
    return json;
}

int saveAndShow(const VXMessageDesk &desk, const QString &text, const Folder &folder)
{
    VXError error;
    if (!desk.context.save(&error)) // before it is shown: saving gives a new one its URI
        return desk.fail(error);
    desk.host.output.answer(text.arg(VXMessageStore::folderTitle(folder)), jsonOf(folder));
    return VXHostOutput::Done;
}

std::optional<qsizetype> countOf(const VXMessageDesk &desk, const Folder &folder, VXError *error)
{
    const auto request = desk.store.messagesOfFolder(folder, error);
    return request ? desk.context.countForFetchRequest(*request, error) : std::nullopt;
}

// The phone whose messages a smart folder shows: that of --device, or the only one. Null, with a message to the user,
// if there is none.
QUrl phoneToShow(const VXMessageDesk &desk)
{
    if (const QString named = desk.host.options.value(u"device"_s); !named.isNull())
        return VXDeviceNamed(desk.host, named);
    const QList<QUrl> known = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    if (known.size() == 1)
        return known.first();
    desk.fail(known.isEmpty() ? u"a smart folder shows messages of a phone, and there is none; "
                                "\"vornix devices add\" adds one"_s
                              : u"--device tells whose messages it is to show"_s);
    return {};
}

int addSmartFolder(const VXMessageDesk &desk)
{
    VXFetchRequest messages(*desk.store.coordinator()->model().entityForName(VXMessageStore::entityName));
    const QString condition = desk.host.options.value(u"where"_s);
    if (const QString problem = VXReadPredicate(condition, messages); !problem.isNull())
        return desk.fail("--where: "_L1 + problem);
    const QUrl phone = phoneToShow(desk);
    if (phone.isEmpty())
        return VXHostOutput::Failed;
    VXError error;
    const Folder shown = desk.store.deviceFolder(phone, desk.context, &error);
    const Folder folder =
        shown ? desk.store.insertSmartFolder(desk.operand(1), shown, messages.predicate, &error) : Folder();
    return folder ? saveAndShow(desk, u"Made the smart folder \"%1\".\n"_s, folder) : desk.fail(error);
}

} // namespace

int VXShowMessageFolders(const VXMessageDesk &desk)
{
    VXError error;
    const auto all = desk.store.folders(desk.context, &error);
    if (!all)
        return desk.fail(error);
    QJsonArray json;
    QList<QStringList> rows{{u"FOLDER"_s, u"MESSAGES"_s, u"KIND"_s, u"SHOWS"_s, u"URI"_s}};
    for (const Folder &folder : *all) {
        const auto count = countOf(desk, folder, &error);
        if (!count)
            return desk.fail(error);
        QJsonObject shown = jsonOf(folder);
        shown.insert(u"count"_s, *count);
        json.append(shown);
        rows.append({shownTitle(folder), QString::number(*count), shown[u"kind"_s].toString(),
                     shown[u"where"_s].toString(), shown[u"uri"_s].toString()});
    }
    desk.host.output.answer(VXFittingTable(desk.host.output, rows, {u"URI"_s, u"SHOWS"_s, u"KIND"_s}), json);
    return VXHostOutput::Done;
}

int VXAddMessageFolder(const VXMessageDesk &desk)
{
    if (desk.host.options.isSet(u"where"_s))
        return addSmartFolder(desk);
    if (desk.host.options.isSet(u"device"_s))
        return desk.host.output.failUsage(
            u"--device goes with --where: only a smart folder shows messages of a phone"_s,
            VXHostUsage(desk.host.options));
    VXError error;
    const Folder folder = desk.store.insertFolder(desk.operand(1), desk.context, &error);
    return folder ? saveAndShow(desk, u"Made the folder \"%1\".\n"_s, folder) : desk.fail(error);
}

int VXRenameMessageFolder(const VXMessageDesk &desk)
{
    const Folder folder = desk.folderNamed(desk.operand(1));
    if (!folder)
        return VXHostOutput::Failed;
    VXError error;
    return desk.store.renameFolder(folder, desk.operand(2), &error)
               ? saveAndShow(desk, u"The folder is called \"%1\" now.\n"_s, folder)
               : desk.fail(error);
}

int VXRemoveMessageFolder(const VXMessageDesk &desk)
{
    const Folder folder = desk.folderNamed(desk.operand(1));
    if (!folder)
        return VXHostOutput::Failed;
    const QString title = VXMessageStore::folderTitle(folder);
    if (VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()).contains(QUrl(title)))
        return desk.fail(
            u"%1 is the folder of a phone that is known; \"vornix devices remove\" comes first"_s.arg(title));
    const bool isSmart = folder->entity().name() == smartEntity;
    VXError error;
    const auto count = isSmart ? std::optional<qsizetype>(0) : countOf(desk, folder, &error);
    const QJsonObject json = jsonOf(folder);
    if (!count || !desk.store.removeFolder(folder, &error))
        return desk.fail(error);
    QJsonObject removed = json;
    removed.insert(u"trashed"_s, *count);
    const QString text =
        isSmart ? u"Removed the smart folder \"%1\"; its messages stay where they are.\n"_s.arg(title)
                : u"Removed the folder \"%1\"; %2 of its messages went to the trash.\n"_s.arg(title).arg(*count);
    return desk.saveAndAnswer(text, removed);
}

int VXDeleteMessages(const VXMessageDesk &desk)
{
    const QList<VXManagedObjectPtr> messages = desk.messagesNamed(desk.host.options.operands().sliced(1));
    if (messages.isEmpty())
        return VXHostOutput::Failed;
    const bool isForGood = desk.host.options.isSet(u"for-good"_s);
    const Folder trash = VXFetchRootFolder(VXTrashFolder, &desk.context);
    QList<VXManagedObjectPtr> trashed;
    for (const VXManagedObjectPtr &message : messages) {
        QVariantMap info;
        if (isForGood) {
            VXMessageStore::deleteMessage(message);
        } else if (VXMoveMessageToFolder(message, trash, false, &info)) {
            trashed.append(info.value(u"message"_s).value<VXManagedObjectPtr>());
        } else {
            return desk.fail(u"p%1 is in the trash already; --for-good deletes it, or \"vornix messages empty-trash\" "
                             "all that is there"_s.arg(message->objectID().number()));
        }
    }
    VXError error;
    if (!desk.context.save(&error))
        return desk.fail(error);
    QStringList names; // a message on a phone has a copy in the trash with its own ID
    for (const VXManagedObjectPtr &message : std::as_const(trashed))
        names.append(u'p' + QString::number(message->objectID().number()));
    const QString text =
        isForGood
            ? u"Deleted for good: %1.\n"_s.arg(messages.size())
            : u"In the trash: %1; \"vornix messages move ID inbox\" brings one back.\n"_s.arg(names.join(", "_L1));
    desk.host.output.answer(
        text, QJsonObject{{u"deleted"_s, messages.size()}, {u"trash"_s, QJsonArray::fromStringList(names)}});
    return VXHostOutput::Done;
}

int VXEmptyMessageTrash(const VXMessageDesk &desk)
{
    VXError error;
    const std::optional<qsizetype> count = desk.store.emptyTrash(&error);
    if (!count)
        return desk.fail(error);
    desk.host.output.answer(*count == 0 ? u"There is nothing in the trash.\n"_s
                                        : u"Deleted for good: %1.\n"_s.arg(*count),
                            QJsonObject{{u"deleted"_s, *count}});
    return VXHostOutput::Done;
}
