#include "VXEventFields.h"

#include "VXDesktopText.h"

using namespace Qt::StringLiterals;

QList<VXFilterField> VXFieldsOfEvent(const QString &event)
{
    using Type = VXFilterField::Type;
    const bool isCall = event.endsWith("_call"_L1);
    const bool isMessage = event == "new_message"_L1;
    QList<VXFilterField> fields{{u"who"_s, VXText("Name"), Type::Text}};
    if (event != "outgoing_call"_L1)
        fields.append({u"from"_s, isCall ? VXText("Caller") : VXText("Sender"), Type::Text});
    if (event != "incoming_call"_L1 && !isMessage)
        fields.append({u"to"_s, isCall ? VXText("Called number") : VXText("Receiver"), Type::Text});
    if (!isCall)
        fields.append({u"text"_s, VXText("Text"), Type::Text});
    fields.append({u"contact.company"_s, VXText("Company"), Type::Text});
    if (isCall) {
        fields.append({u"duration"_s, VXText("Duration"), Type::Duration});
        fields.append({u"isMissed"_s, VXText("Was missed"), Type::Boolean});
    }
    fields.append({u"idle"_s, VXText("You were away for"), Type::Duration});
    fields.append({u"device_url"_s, VXText("Phone"), Type::Text});
    return fields;
}
