#include "VXMessageRecorder.h"

#include "MessageDataConstants.h"
#include "VXCoreDataSaveError.h"
#include "VXDataManager.h"
#include "VXEvent.h"
#include "VXKeyValueCoding.h"
#include "VXMethodLog.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

namespace {

const QString eventName = u"new_message"_s;
constexpr int mostParts = 255; // the header of a part has one byte for it

// Which part the object is; none for a complete message.
std::optional<VXMessagePartNews> partOf(const QVariant &object, const VXMessageRecord &record)
{
    const QVariant isComplete = VXValueForKeyPath(object, u"isComplete"_s);
    const int count = VXValueForKeyPath(object, u"partCount"_s).toInt();
    const int number = VXValueForKeyPath(object, u"partNumber"_s).toInt();
    if (!isComplete.isValid() || isComplete.toBool() || count < 2 || count > mostParts || number < 1 || number > count)
        return std::nullopt;
    const QString reference = VXValueForKeyPath(object, u"reference"_s).toString();
    const QStringList series{record.deviceURL, record.otherParty(), reference, QString::number(count)};
    return VXMessagePartNews{.series = series.join(u'\n'), .number = number, .count = count, .record = record.map()};
}

void announceSave()
{
    static const VXNotificationName didSave(VXDataStoreDidSaveNotification);
    VXNotificationCenter::defaultCenter().postNotificationName(didSave, {},
                                                               {{VXEventNameKey, eventName},
                                                                {VXEntityStoreKey, VXMessageStore::storeName},
                                                                {VXEntityNameKey, VXMessageStore::entityName}});
}

} // namespace

std::optional<VXMessageNews> VXMessageRecorder::newsOf(const VXNotification &notification) const
{
    if (VXEvent::fromNotification(notification).name != eventName || !VXMessageRecord::isMessage(notification.object))
        return std::nullopt;
    const auto object = notification.object.value<VXManagedObjectPtr>();
    const VXStoreIdentity *const store = object ? object->objectID().store() : nullptr;
    if (store != nullptr && _store.coordinator()->persistentStoreForIdentity(*store)) // it is already filed
        return std::nullopt;
    VXMessageRecord record(notification.object);
    if (!record.date.isValid())
        record.date = QDateTime::currentDateTimeUtc();
    return VXMessageNews{.record = record, .part = partOf(notification.object, record)};
}

void VXMessageRecorder::eventWillBePosted(const VXNotification &notification)
{
    const std::optional<VXMessageNews> heard = newsOf(notification);
    if (!heard)
        return;
    _news.add(*heard, [this](const VXMessageNews &news) {
        if (record(news))
            announceSave();
    });
}

bool VXMessageRecorder::record(const VXMessageNews &news)
{
    VXManagedObjectContext context(_store.coordinator());
    VXError error;
    VXMessageNews whole = news;
    // Other programs receive it too. If the lock cannot be had, the message is filed anyway: twice is better than not
    // at all.
    const VXStoreWorkLock saving(*_store.coordinator(), VXStoreWorkLock::savingName);
    if (news.part) {
        const std::optional<QVariantMap> joined = VXTakeMessagePart(*news.part, context, &error);
        if (joined)
            whole.record = VXMessageRecord(*joined);
        else if (error.isNull() && (!context.hasChanges() || context.save(&error)))
            return false;
    }
    if (error.isNull() && file(whole.record, saving, context, &error) && context.save(&error))
        return true;
    if (error.isNull()) // it is already there
        return false;
    VXLogMethod(VXLogError, "record:", "message not kept: "_L1 + error.description());
    VXLogCoreDataSaveError(error);
    return false;
}

// If a phone's folder cannot be made, the message is stored nevertheless: a sync will move it there.
VXManagedObjectPtr VXMessageRecorder::folderFor(const VXMessageRecord &record, const VXStoreWorkLock &saving,
                                                VXManagedObjectContext &context) const
{
    VXManagedObjectPtr folder;
    VXError error;
    if (!record.deviceURL.isNull())
        folder = _store.deviceFolder(QUrl(record.deviceURL), context, saving, &error);
    if (!error.isNull())
        VXLogMethod(VXLogWarning, "record:", "the phone's folder is missing: "_L1 + error.description());
    return folder ? folder : VXFetchRootFolder(VXMessageStore::rootFolderFor(record), &context);
}

// False without an error for a message that is already there.
bool VXMessageRecorder::file(const VXMessageRecord &record, const VXStoreWorkLock &saving,
                             VXManagedObjectContext &context, VXError *error) const
{
    const VXManagedObjectPtr folder = folderFor(record, saving, context);
    if (!folder)
        return false;
    const auto same = _store.findMessages(record, folder, context, error);
    if (!same || !same->isEmpty())
        return context.hasChanges() && same && context.save(error) && false; // its parts are no longer needed
    VXMessageStore::insertMessage(record, folder);
    return true;
}
