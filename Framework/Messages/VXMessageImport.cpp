#include "VXMessageImport.h"

#include "MessageDataConstants.h"
#include "VXConversationKey.h"
#include "VXErrorDomain.h"
#include "VXFramework.h"
#include "VXMessageFiles.h"

#include <QtCore/QFile>
#include <QtCore/QSet>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype portion = 1000;                  // messages that are saved at once
constexpr qint64 largestFile = 1024LL * 1024 * 1024; // bytes

QString rootNameFor(const VXMessageRecord &record)
{
    return record.isIncoming()                              ? VXInboxFolder
           : record.state == VXMessageRecord::State::Unsent ? VXDraftsFolder
                                                            : VXSentFolder;
}

} // namespace

bool VXMessageImport::run(const QString &path, VXError *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > largestFile) {
        const QString reason = file.isOpen() ? VXLocalizedString(u"It is too large."_s) : file.errorString();
        VXSetError(error, VXMakeError(VXLocalizedString(u"%1 can not be read: %2"_s).arg(path, reason)));
        return false;
    }
    const QByteArray bytes = file.readAll();
    std::optional<VXMessageFile> contents = VXReadGammuBackup(bytes);
    if (!contents)
        contents = VXReadAndroidMessages(bytes);
    if (!contents) {
        VXSetError(error, VXMakeError(VXLocalizedString(u"%1 holds no messages of a known form."_s).arg(path)));
        return false;
    }
    _problems = contents->problems;
    for (qsizetype at = 0; at < contents->messages.size(); at += portion) {
        if (!add(contents->messages.mid(at, portion), error))
            return false;
    }
    return true;
}

bool VXMessageImport::add(const QList<VXMessageRecord> &records, VXError *error)
{
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
