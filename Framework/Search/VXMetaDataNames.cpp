#include "VXMetaDataNames.h"

#include "VXMetaDataSource.h"

#include <QtCore/QFile>

#include <algorithm>
#include <charconv>
#include <limits>

namespace {

constexpr qsizetype longestNumber = std::numeric_limits<qint64>::digits10 + 1;

}

VXMetaDataNames::VXMetaDataNames(const VXEntityDescription &entity)
{
    qsizetype longest = 0;
    for (const VXEntityDescription *const each : entity.family()) {
        _endings.push_back({each, QFile::encodeName(VXMetaDataFilename({}, each->name()))});
        longest = std::max(longest, _endings.back().text.size());
    }
    _name.fill('p', 1 + longestNumber + longest);
}

const char *VXMetaDataNames::nameOf(const VXManagedObjectID &objectID)
{
    const auto ending = std::ranges::find(_endings, &objectID.entity(), &Ending::entity);
    char *const digits = _name.data() + 1;
    char *const end = std::to_chars(digits, digits + longestNumber, objectID.number()).ptr;
    *std::ranges::copy(ending->text, end).out = '\0';
    return _name.constData();
}

std::optional<qint64> VXMetaDataNames::numberIn(QByteArrayView name) const
{
    if (!name.startsWith('p') || name.startsWith("p0"))
        return std::nullopt;
    qint64 number = 0;
    const auto [end, problem] = std::from_chars(name.data() + 1, name.data() + name.size(), number);
    const QByteArrayView rest = name.sliced(end - name.data());
    const bool isOurs = problem == std::errc() && number > 0 &&
                        std::ranges::any_of(_endings, [rest](const Ending &ending) { return ending.text == rest; });
    return isOurs ? std::optional(number) : std::nullopt;
}
