#include "VXCallSync.h"

#include "VXBundle.h"
#include "VXConversationKey.h"
#include "VXCoreDataSaveError.h"

using namespace Qt::StringLiterals;

namespace {

QString localized(const QString &text)
{
    const VXBundle::Ptr bundle = VXBundle::bundleWithIdentifier(u"com.halvern.VNX2.plugin.calls"_s);
    return bundle ? bundle->localizedStringForKey(text) : text;
}

} // namespace

void VXCallSync::start()
{
    perform(u"read_calls"_s, {}, localized(u"Reading calls"_s), [this](const VXDeviceAction &part) { didRead(part); });
}

void VXCallSync::didRead(const VXDeviceAction &part)
{
    const QVariantMap result = part.result().toMap();
    VXError error = part.error();
    VXManagedObjectContext context(_store.coordinator());
    for (const QVariant &item : result.value(u"items"_s).toList()) { // also from a reading that ended early
        if (VXError failure; !add(item.toMap(), context, &failure))
            return finish(failure, {});
    }
    if (VXError failure; context.hasChanges() && !context.save(&failure)) {
        VXLogCoreDataSaveError(failure);
        _addedCount = 0;
        error = failure;
    }
    finish(error, result.value(u"problems"_s).toStringList());
}

// Some phones keep no times. Their calls are recognised by list and number, and by how many of the same there are. Such
// a call is dated when it is first seen.
bool VXCallSync::add(const QVariantMap &item, VXManagedObjectContext &context, VXError *error)
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
        return false;
    if (!*known) {
        VXCallStore::insert(record, context);
        ++_addedCount;
    }
    return true;
}

void VXCallSync::finish(const VXError &error, const QStringList &problems)
{
    whole()->setResult(QVariantMap{{u"added"_s, _addedCount}, {u"problems"_s, problems}});
    whole()->setError(error);
    if (!problems.isEmpty() && error.isNull())
        whole()->setErrorString(problems.first());
    end();
}
