#include "VXMetaDataSettings.h"

#include "VXFileManager.h"
#include "VXMakeWay.h"
#include "VXMetaDataOrigin.h"
#include "VXMetaDataSource.h"
#include "VXPropertyList.h"
#include "VXUserDefaults.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1String suffix(".settings");

QString folder()
{
    return VXFileManager::defaultManager().pathToUserMetadataFolder();
}

// As texts; a setting that is not set counts as well.
QVariantMap valuesOf(const QStringList &keys)
{
    QVariantMap values;
    for (const QString &key : keys) {
        const QString text = VXUserDefaults::standardUserDefaults().objectForKey(key).toString();
        values.insert(key, text.isNull() ? u""_s : text);
    }
    return values;
}

QVariantMap withGeneration(QVariantMap values)
{
    values.insert(VXMetaDataGenerationKey, QString::number(VXMetaDataGeneration));
    return values;
}

} // namespace

VXMetaDataSettings::VXMetaDataSettings(const QString &identifier, const QStringList &keys)
    : _path(folder() + u'/' + identifier + suffix), _keys(keys)
{
}

QVariantMap VXMetaDataSettings::present() const
{
    return valuesOf(_keys);
}

QVariantMap VXMetaDataSettings::noted() const
{
    return VXPropertyList::fromFile(_path).toMap();
}

bool VXMetaDataSettings::areNoted(const QVariantMap &settings) const
{
    QVariantMap known = noted();
    known.remove(VXMetaDataGenerationKey);
    return known == settings;
}

bool VXMetaDataSettings::isGenerationNoted() const
{
    return noted().value(VXMetaDataGenerationKey) == QString::number(VXMetaDataGeneration);
}

bool VXMetaDataSettings::note(const QVariantMap &settings) const
{
    const QVariantMap all = withGeneration(settings);
    return noted() == all ||
           (VXMakeWayForFile(_path) &&
            VXPropertyList::toFile(all, _path, VXPropertyList::Format::Binary, nullptr, VXFileAccess::Private));
}

void VXMetaDataSettings::forget() const
{
    QFile::remove(_path);
}

bool VXMetaDataSettings::areAllPresent()
{
    const QDir all(folder());
    QStringList names = VXAllMarksOfStores().keys(); // only files of known syncs
    std::ranges::for_each(names, [](QString &name) { name += suffix; });
    return std::ranges::all_of(names, [&all](const QString &name) {
        const QVariantMap noted = VXPropertyList::fromFile(all.filePath(name)).toMap();
        QStringList keys = noted.keys();
        keys.removeAll(VXMetaDataGenerationKey);
        return noted == withGeneration(valuesOf(keys));
    });
}
