#include "VXCallSync.h"

#include "VXBundle.h"
#include "VXCallFiling.h"
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
    const auto isOver = [whole = whole()] { return whole->isCancelled() || VXMainThread::hasEnded(); };
    const auto file = [filing = VXCallFiling(_store, isOver), items = result.value(u"items"_s).toList()]() mutable {
        VXError error;
        static_cast<void>(filing.file(items, &error)); // also of a reading that ended early
        return std::pair(filing.addedCount(), error);
    };
    compute(file, [this, error = part.error(), result](const std::pair<int, VXError> &filed) {
        _addedCount = filed.first;
        if (!filed.second.isNull())
            VXLogCoreDataSaveError(filed.second);
        finish(filed.second.isNull() ? error : filed.second, result.value(u"problems"_s).toStringList());
    });
}

void VXCallSync::finish(const VXError &error, const QStringList &problems)
{
    whole()->setResult(QVariantMap{{u"added"_s, _addedCount}, {u"problems"_s, problems}});
    whole()->setError(error);
    if (!problems.isEmpty() && error.isNull())
        whole()->setErrorString(problems.first());
    end();
}
