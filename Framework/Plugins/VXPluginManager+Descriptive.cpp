#include "VXPluginManager.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFramework.h"
#include "VXStringsTable.h"

using namespace Qt::StringLiterals;

namespace {

const QString listKey = u"VXDescriptiveClassList"_s;

QVariantMap descriptiveClasses(const VXBundle &bundle)
{
    return bundle.infoDictionary().value(listKey).toMap();
}

} // namespace

QList<VXBundle::Ptr> VXPluginManager::_descriptiveClassBundles() const
{
    QList<VXBundle::Ptr> bundles{VXBundle::mainBundle(), VXFrameworkBundle()};
    for (const VXPluginProxy *const proxy : pluginsWithInfoDictionaryKey(listKey))
        bundles.append(proxy->bundle());
    return bundles;
}

VXBundle::Ptr VXPluginManager::bundleForDescriptiveClass(const QString &className) const
{
    for (const VXBundle::Ptr &bundle : _descriptiveClassBundles()) {
        if (descriptiveClasses(*bundle).contains(className))
            return bundle;
    }
    return nullptr;
}

QVariantMap VXPluginManager::localizationInfoForDescriptiveClass(const QString &className) const
{
    const VXBundle::Ptr bundle = bundleForDescriptiveClass(className);
    if (!bundle)
        return {};
    const QVariantMap description = descriptiveClasses(*bundle).value(className).toMap();
    const QString file = description.value(u"VXStringsFile"_s).toString();
    const QString path = file.isEmpty() ? QString() : bundle->pathForResource(file, u"strings"_s);
    VXAssert(!path.isNull(), "Missing strings file: "_L1 + VXDescription(file));
    const auto table = VXStringsTable::fromFile(path);
    VXAssert(table.has_value(), "Invalid strings file: "_L1 + path);
    QVariantMap texts;
    for (auto text = table->cbegin(); text != table->cend(); ++text)
        texts.insert(text.key(), text.value());
    return texts;
}
