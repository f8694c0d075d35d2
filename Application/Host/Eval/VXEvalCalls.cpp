#include "VXEvalCalls.h"

#include "VXComparison.h"
#include "VXEvalRegistry.h"
#include "VXLog.h"

using namespace Qt::StringLiterals;

namespace {

QVariant compareWithArray(const QVariantList &oldList, const QVariantList &newList)
{
    const QVariantMap difference = vx_compareWithArray(oldList, newList);
    return difference.isEmpty() ? QVariant() : QVariant(difference);
}

VXEvalAnswer formatForLog(unsigned level, const std::optional<QString> &message)
{
    const VXLog *log = VXLog::logWithFilePath({});
    if (log == nullptr)
        return {{}, {}, u"formatForLog: there is no logger"_s};
    return {log->formatForLog(level, message.value_or(QString())), {}, {}};
}

} // namespace

void VXAddCoreCalls(VXEvalRegistry &registry)
{
    registry.add(u"compareWithArray"_s, {u"old"_s, u"new"_s}, compareWithArray);
    registry.add(u"logLevelString"_s, {u"level"_s}, VXLog::logLevelString);
    registry.add(u"formatForLog"_s, {u"level"_s, u"message"_s}, formatForLog);
}
