#include "VXMetaDataSource.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1String generation("_MD2."); // the format's generation, and the dot of the extension

}

const QString VXMetaDataGenerationKey = u"VXGeneration"_s;

VXMetaDataSource::~VXMetaDataSource() = default;
VXMetaDataPart::~VXMetaDataPart() = default;

std::optional<QVariantMap> metaDataPlist(const VXManagedObject &object)
{
    const auto *const source = dynamic_cast<const VXMetaDataSource *>(&object);
    return source == nullptr ? std::nullopt : source->metaDataPlist();
}

QString metaDataFilename(const VXManagedObjectID &objectID)
{
    // The same as the last part of the object's URI.
    return VXMetaDataFilename((objectID.isTemporary() ? u't' : u'p') + QString::number(objectID.number()),
                              objectID.entity().name());
}

QString VXMetaDataFilename(const QString &name, const QString &entityName)
{
    return name + generation + entityName.toLower();
}

// Parses "p" NUMBER "_MD2." ENTITY, the format above.
std::optional<qint64> VXNumberInMetaDataFilename(QStringView name)
{
    if (!name.startsWith(u'p') || name.startsWith("p0"_L1))
        return std::nullopt;
    const auto isDigit = [](QChar each) { return each >= u'0' && each <= u'9'; };
    const auto end = std::find_if_not(name.begin() + 1, name.end(), isDigit) - name.begin();
    if (!name.sliced(end).startsWith(generation))
        return std::nullopt;
    // 0 if there are no digits, or not the number of a stored object
    const qint64 number = name.sliced(1, end - 1).toLongLong();
    return number > 0 ? std::optional(number) : std::nullopt;
}
