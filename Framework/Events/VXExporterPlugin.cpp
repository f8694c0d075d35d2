#include "VXExporterPlugin.h"

#include "VXCallRecord.h"
#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXFramework.h"

using namespace Qt::StringLiterals;

const QString VXExporterOptionsFilePathKey = u"VXExporterOptionsFilePath"_s;

namespace {

// A call that ended has begun, even if the poster of the event gave no date: then the start is computed as in the call
// history (VXCallRecord::start), from the present time if there is no event date.
QVariant withDate(const QVariant &object)
{
    if (object.typeId() != QMetaType::QVariantMap)
        return object;
    VXCallRecord call(object);
    if (call.date.isValid())
        return object;
    if (!call.eventDate.isValid())
        call.eventDate = QDateTime::currentDateTimeUtc();
    QVariantMap dated = object.toMap();
    dated.insert(u"date"_s, call.start());
    return dated;
}

} // namespace

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
        return remark(VXLocalizedString(u"It writes when the call has ended."_s));
    if (const std::optional<VXError> error = exportObjects({isCall ? withDate(object) : object}, options))
        presentError(*error);
}
