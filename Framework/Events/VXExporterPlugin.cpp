#include "VXExporterPlugin.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFramework.h"

using namespace Qt::StringLiterals;

const QString VXExporterOptionsFilePathKey = u"VXExporterOptionsFilePath"_s;

VXExporterPlugin::VXExporterPlugin() = default;

VXExporterPlugin::~VXExporterPlugin() = default;

QString VXExporterPlugin::reactorName() const
{
    return exporterTargetName();
}

QString VXExporterPlugin::exporterTargetName() const
{
    return localizedInfoText(u"VXExporterTargetName"_s);
}

VXSavePanel VXExporterPlugin::exportPanel() const
{
    VXSavePanel panel;
    panel.message = VXLocalizedString(u"Export to %1"_s).arg(VXDescription(exporterTargetName()));
    return panel;
}

std::optional<VXError> VXExporterPlugin::exportObjects(const QVariantList &, const QVariantMap &)
{
    VXFailAssertion(u"Subclasses of VXExporterPlugin must overload -exportObjects:"_s);
}

void VXExporterPlugin::reactToEventWithName(const QString &eventName, const QString &subtype, const QVariant &object,
                                            const QVariantMap &options)
{
    const bool isCall = eventName == "incoming_call"_L1 || eventName == "outgoing_call"_L1;
    if (isCall && subtype != "ended"_L1)
        return;
    if (const std::optional<VXError> error = exportObjects({object}, options))
        presentError(*error);
}
