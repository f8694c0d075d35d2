#include "VXReactorPlugin.h"

#include "VXApplication.h"
#include "VXException.h"
#include "VXMainThread.h"
#include "VXReactionScope.h"
#include "VXReactorRegistry.h"

using namespace Qt::StringLiterals;

namespace {

std::optional<QStringList> textsFrom(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantList && value.typeId() != QMetaType::QStringList)
        return std::nullopt;
    return value.toStringList();
}

} // namespace

VXReactorPlugin::VXReactorPlugin()
{
    VXReactorRegistry::shared(); // makes the registry, so that it notices which plugins are loaded
}

VXReactorPlugin::~VXReactorPlugin() = default;

QString VXReactorPlugin::reactorName() const
{
    return localizedInfoText(u"VXReactorName"_s);
}

QString VXReactorPlugin::reactorCategory() const
{
    return localizedInfoText(u"VXReactorCategory"_s);
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
    return localizedInfoText(u"VXReactorOptionsNibFile"_s);
}

void VXReactorPlugin::reactToEventWithName(const QString &, const QString &, const QVariant &, const QVariantMap &)
{
    VXFailAssertion(u"subclasses of VXReactorPlugin must implement "
                    "-[VXReactorPlugin reactToEventWithName:subtype:object:options:]"_s);
}

VXReactorOptions VXReactorPlugin::reactorOptions() const
{
    return {};
}

QString VXReactorPlugin::problemOfOptions(const QVariantMap &) const
{
    return {};
}

VXReactorOptions VXReactorPlugin::describedOptions(VXReactorOptions options) const
{
    const QVariantMap defaults = reactorDefaults().value_or(QVariantMap());
    const VXBundle::Ptr found = bundle();
    for (VXReactorOption &option : options) {
        if (!option.standard.isValid())
            option.standard = defaults.value(option.key);
        if (found)
            option.meaning = found->localizedStringForKey(option.meaning);
    }
    return options;
}

VXReactionOutcome VXReactorPlugin::deferOutcome()
{
    return VXReactionScope::deferOutcome();
}

void VXReactorPlugin::remark(const QString &text)
{
    VXReactionScope::noteRemark(text);
}

void VXReactorPlugin::presentError(const VXError &error) const
{
    VXReactionScope::noteError(error);
    VXMainThread::perform([error] { VXApplication::sharedApplication().presentError(error); });
}

QVariant VXReactorPlugin::infoValue(const QString &key) const
{
    const VXBundle::Ptr found = bundle();
    return found ? found->objectForInfoDictionaryKey(key) : QVariant();
}

QString VXReactorPlugin::localizedInfoText(const QString &key) const
{
    return infoValue(key).toString();
}
