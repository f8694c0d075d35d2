#include "VXMessageImport.h"

#include "MessageDataConstants.h"
#include "VXConversationKey.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMessageFiles.h"
#include "VXRegularFile.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QSet>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype portion = 1000; // messages that are saved at once

QString rootNameFor(const VXMessageRecord &record)
{
    return record.isIncoming()                              ? VXInboxFolder
           : record.state == VXMessageRecord::State::Unsent ? VXDraftsFolder
                                                            : VXSentFolder;
}

bool fail(const QString &path, const QString &reason, VXError *error)
{
    VXSetError(error, VXMakeError(VXLocalizedString(u"%1 can not be read: %2"_s).arg(path, reason)));
    return false;
}

} // namespace

bool VXMessageImport::run(const QString &path, VXError *error)
{
    QFile file(path);
    QString reason;
    return VXRegularFile::open(file, &reason) ? run(file, path, error) : fail(path, reason, error);
}

bool VXMessageImport::run(QFile &file, const QString &name, VXError *error)
{
    const std::unique_ptr<VXMessageFile> messages = VXMessageFile::open(file);
    if (file.error() != QFile::NoError)
        return fail(name, file.errorString(), error);
    if (!messages) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"%1 holds no messages of a known form."_s).arg(name)));
        return false;
    }
    QList<VXMessageRecord> records;
    bool isLast = false;
    while (!isLast) {
        const std::optional<VXMessageRecord> record = messages->next();
        isLast = !record;
        if (record)
            records.append(*record);
        if (!isLast && records.size() < portion)
            continue;
        if (!add(records, error))
            return false;
        records.clear();
    }
    _problems = messages->problems();
    return file.error() == QFile::NoError || fail(name, file.errorString(), error);
}

bool VXMessageImport::add(const QList<VXMessageRecord> &records, VXError *error)
{
    if (records.isEmpty())
        return true;
    const VXStoreWorkLock lock(*_store.coordinator(), VXStoreWorkLock::savingName);
    if (!lock.isHeld(error))
        return false;
    VXManagedObjectContext context(_store.coordinator());
    QSet<QString> added; // of this portion: the search texts of what is not saved are not there yet
    for (const VXMessageRecord &record : records) {
        const QStringList parts{VXConversationKey(record.otherParty()), QString::number(int(record.direction)),
                                record.date.toString(Qt::ISODateWithMs), record.text};
        const QString key = parts.join(QChar(u'\n'));
        const auto same = _store.findMessages(record, {}, context, error);
        if (!same)
            return false;
        if (!same->isEmpty() || added.contains(key)) {
            ++_knownCount;
            continue;
        }
        added.insert(key);
        VXMessageStore::insertMessage(record, VXFetchRootFolder(rootNameFor(record), &context));
    }
    _addedCount += added.size();
    return !context.hasChanges() || context.save(error);
}
