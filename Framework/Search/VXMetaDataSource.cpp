#include "VXMetaDataSource.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1String generation("_MD2."); // of the format, and the point of the extension

}

VXMetaDataSource::~VXMetaDataSource() = default;

std::optional<QVariantMap> metaDataPlist(const VXManagedObject &object)
{
    const auto *const source = dynamic_cast<const VXMetaDataSource *>(&object);
    return source == nullptr ? std::nullopt : source->metaDataPlist();
}

QString metaDataFilename(const VXManagedObjectID &objectID)
{
    // As the last part of its URI.
    return VXMetaDataFilename((objectID.isTemporary() ? u't' : u'p') + QString::number(objectID.number()),
                              objectID.entity().name());
}

QString VXMetaDataFilename(const QString &name, const QString &entityName)
{
    return name + generation + entityName.toLower();
}

QSet<QString> VXMetaDataFileEndings(const VXEntityDescription &entity)
{
    QSet<QString> endings;
    for (const VXEntityDescription *const each : entity.family())
        endings.insert(each->name().toLower());
    return endings;
}

QString VXEndingOfMetaDataFilename(const QString &name)
{
    return name.section(u'.', 1);
}

// "p" NUMBER "_MD2." ENTITY, as it is made above.
std::optional<qint64> VXNumberInMetaDataFilename(QStringView name)
{
    const qsizetype end = name.indexOf(generation);
    if (!name.startsWith(u'p') || end < 0)
        return std::nullopt;
    bool isNumber = false;
    const QStringView digits = name.sliced(1, end - 1);
    const qint64 number = digits.toLongLong(&isNumber);
    return isNumber && number > 0 && digits.front().isDigit() ? std::optional(number) : std::nullopt;
}
