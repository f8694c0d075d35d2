#include "VXCallFiling.h"

#include "VXConversationKey.h"
#include "VXStoreWorkLock.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype sliceSize = 256; // others who note a call wait for one slice

} // namespace

bool VXCallFiling::file(const QVariantList &items, VXError *error)
{
    for (qsizetype start = 0; start < items.size() && !_isOver(); start += sliceSize) {
        if (!fileSlice(items.sliced(start, std::min(sliceSize, items.size() - start)), error))
            return false;
    }
    return true;
}

// Others note calls too, as events tell of them, and sync the same lists.
bool VXCallFiling::fileSlice(const QVariantList &items, VXError *error)
{
    const VXStoreWorkLock saving(*_store.coordinator(), VXStoreWorkLock::savingName);
    if (!saving.isHeld(error))
        return false;
    VXManagedObjectContext context(_store.coordinator());
    int added = 0;
    for (const QVariant &item : items) {
        const std::optional<bool> isNew = add(item.toMap(), context, error);
        if (!isNew)
            return false;
        added += *isNew ? 1 : 0;
    }
    if (context.hasChanges() && !context.save(error))
        return false;
    _addedCount += added;
    return true;
}

// Some phones keep no times: of these a call is known by its list and number, and by how many such there are. It is dated when it
// is first seen. None, with an error, when the store cannot be read.
std::optional<bool> VXCallFiling::add(const QVariantMap &item, VXManagedObjectContext &context, VXError *error)
{
    VXCallRecord record(item);
    std::optional<VXManagedObjectPtr> known;
    if (record.date.isValid()) {
        known = _store.find(record, context, error);
    } else {
        const QString list = u"%1 %2"_s.arg(item.value(u"memory"_s).toString(), VXConversationKey(record.otherParty()));
        record.identifier = u"list %1 %2"_s.arg(list).arg(++_undated[list]);
        record.date = QDateTime::currentDateTimeUtc();
        known = _store.find(record.deviceURL, record.identifier, context, error);
    }
    if (!known)
        return std::nullopt;
    if (!*known)
        VXCallStore::insert(record, context);
    return !*known;
}
