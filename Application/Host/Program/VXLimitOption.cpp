#include "VXLimitOption.h"

#include "VXHostHelp.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"

#include <limits>

using namespace Qt::StringLiterals;

std::optional<qsizetype> VXLimitOption(VXHostContext &context, qsizetype usual)
{
    const QString text = context.options.value(u"limit"_s);
    if (text.isNull())
        return usual;
    bool isNumber = false;
    const int limit = text.toInt(&isNumber);
    if (isNumber && limit >= 0)
        return limit == 0 ? std::numeric_limits<int>::max() : limit;
    context.output.failUsage(u"--limit takes a number; 0 is no limit"_s, VXHostUsage(context.options));
    return std::nullopt;
}
