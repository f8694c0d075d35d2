#include "VXLimitOption.h"

#include "VXHostOptions.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

qsizetype VXLimitOption(const VXHostOptions &options, qsizetype usual)
{
    if (!options.isSet(u"limit"_s))
        return usual;
    constexpr qlonglong most = std::numeric_limits<int>::max();
    const qlonglong limit = options.value(u"limit"_s).toLongLong();
    return limit == 0 ? most : std::min(limit, most);
}
