#include "VXMessageImport.h"

#include "MessageDataConstants.h"
#include "VXConversationKey.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMessageFiles.h"
#include "VXMessageMatch.h"
#include "VXRegularFile.h"
#include "VXStoreWorkLock.h"

#include <QtCore/QSet>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype portion = 1000; // messages per save

QString keyOf(const VXMessageRecord &record)
{
    const QStringList parts{VXConversationKey(record.otherParty()), QString::number(int(record.direction)),
                            record.date.toString(Qt::ISODateWithMs), record.text};
    return parts.join(QChar(u'\n'));
}

bool fail(const QString &path, const QString &reason, VXError *error)
{
    VXSetError(error, VXMakeError(VXLocalizedString(u"%1 cannot be read: %2"_s).arg(path, reason)));
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
    const std::optional<QList<VXManagedObjectPtr>> known = findKnown(records, context, error);
    if (!known)
        return false;
    QSet<QString> keys; // of this portion, since fetches do not find what is not saved
    QList<std::pair<VXManagedObjectPtr, QDateTime>> added;
    for (qsizetype index = 0; index < records.size(); ++index) {
        const VXMessageRecord &record = records[index];
        const QString key = keyOf(record);
        if (known->at(index) || keys.contains(key)) {
            ++_knownCount;
            continue;
        }
        keys.insert(key);
        const VXManagedObjectPtr folder = VXFetchRootFolder(VXMessageStore::rootFolderFor(record), &context);
        added.emplace_back(VXMessageStore::insertMessage(record, folder), record.date);
    }
    if (context.hasChanges() && !context.save(error))
        return false;
    for (const auto &[message, date] : std::as_const(added))
        _met.insert(message->objectID(), date);
    _addedCount += added.size();
    return true;
}

std::optional<QList<VXManagedObjectPtr>> VXMessageImport::findKnown(const QList<VXMessageRecord> &records,
                                                                    VXManagedObjectContext &context, VXError *error)
{
    const VXMessageMatch match(_store, context);
    QList<VXManagedObjectPtr> known(records.size());
    for (const VXMessageMatch::Rule rule : {VXMessageMatch::Rule::SameDate, VXMessageMatch::Rule::SentHere}) {
        for (qsizetype index = 0; index < records.size(); ++index) {
            if (known[index])
                continue;
            const QDateTime date = records[index].date;
            const auto isFree = [&](const VXManagedObjectPtr &message) {
                const auto met = _met.constFind(message->objectID());
                return met == _met.constEnd() || *met == date; // a repeated record is the same message
            };
            const auto found = match.find(records[index], rule, isFree, error);
            if (!found)
                return std::nullopt;
            known[index] = *found;
            if (*found)
                _met.insert((*found)->objectID(), date);
        }
    }
    return known;
}
