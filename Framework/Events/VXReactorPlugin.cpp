#include "VXReactorPlugin.h"

#include "VXApplication.h"
#include "VXException.h"
#include "VXReactionScope.h"

using namespace Qt::StringLiterals;

namespace {

std::optional<QStringList> textsFrom(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantList && value.typeId() != QMetaType::QStringList)
        return std::nullopt;
    return value.toStringList();
}

} // namespace

VXReactorPlugin::VXReactorPlugin() = default;

VXReactorPlugin::~VXReactorPlugin() = default;

QString VXReactorPlugin::reactorName() const
{
    return infoText(u"VXReactorName"_s);
}

QString VXReactorPlugin::reactorCategory() const
{
    return infoText(u"VXReactorCategory"_s);
}

std::optional<QStringList> VXReactorPlugin::reactorEventNameList() const
{
    return textsFrom(infoValue(u"VXReactorEventNameList"_s));
}

std::optional<QStringList> VXReactorPlugin::reactorClassList() const
{
    return textsFrom(infoValue(u"VXReactorClassList"_s));
}

std::optional<QVariantMap> VXReactorPlugin::reactorDefaults() const
{
    const QVariant defaults = infoValue(u"VXReactorDefaults"_s);
    return defaults.typeId() == QMetaType::QVariantMap ? std::optional(defaults.toMap()) : std::nullopt;
}

QString VXReactorPlugin::reactorOptionsNibNameForEventName(const QString &) const
{
    return infoText(u"VXReactorOptionsNibFile"_s);
}

void VXReactorPlugin::reactToEventWithName(const QString &, const QString &, const QVariant &, const QVariantMap &)
{
    VXFailAssertion(u"subclasses of VXReactorPlugin must implement "
                    "-[VXReactorPlugin reactToEventWithName:subtype:object:options:]"_s);
}

void VXReactorPlugin::presentError(const VXError &error) const
{
    VXReactionScope::noteError(error);
    VXApplication::sharedApplication().presentError(error);
}

QVariant VXReactorPlugin::infoValue(const QString &key) const
{
    const VXBundle::Ptr found = bundle();
    return found ? found->objectForInfoDictionaryKey(key) : QVariant();
}

QString VXReactorPlugin::infoText(const QString &key) const
{
    return infoValue(key).toString();
}
