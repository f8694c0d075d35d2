#include "VXSearchReport.h"

#include "VXHostJSON.h"
#include "VXHostOutput.h"
#include "VXShownDate.h"
#include "VXShownWidth.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestText = 60;

QString cell(const QString &text)
{
    if (text.isEmpty())
        return u"-"_s;
    return VXCutToWidth(text, longestText);
}

// As "vornix calls" has them: "missed", "in 1:01".
QString textOf(const VXFoundCall &call)
{
    using Way = VXFoundCall::Way;
    const QString way = call.way == Way::Missed ? u"missed"_s : call.way == Way::In ? u"in"_s : u"out"_s;
    return call.seconds == 0 ? way : way + u' ' + VXShownDuration(double(call.seconds));
}

} // namespace

void VXAnswerFoundObjects(VXHostOutput &output, const QList<VXFoundObject> &found)
{
    QJsonArray json;
    QList<QStringList> rows{{u"KIND"_s, u"DATE"_s, u"WHO"_s, u"TEXT"_s, u"ID"_s}};
    for (const VXFoundObject &object : found) {
        QVariantMap values{
            {u"uri"_s, object.uri().toString()}, {u"url"_s, object.url().toString()}, {u"kind"_s, object.kind}};
        for (const auto &[key, text] : {std::pair(u"title"_s, object.title), {u"description"_s, object.detail}}) {
            if (!text.isNull())
                values.insert(key, text);
        }
        if (object.date.isValid())
            values.insert(u"date"_s, object.date);
        if (object.call) {
            values.insert(u"direction"_s, object.call->way == VXFoundCall::Way::Out ? 0 : 1);
            values.insert(u"isMissed"_s, object.call->way == VXFoundCall::Way::Missed);
            values.insert(u"duration"_s, object.call->seconds);
        }
        if (object.isInTrash)
            values.insert(u"trash"_s, true);
        json.append(VXJSONFromVariant(values));
        const QString date = object.date.isValid() ? object.date.toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s) : u"-"_s;
        const QString kind = object.isInTrash ? object.kind + " (trash)"_L1 : object.kind;
        rows.append({kind, date, cell(object.title), cell(object.call ? textOf(*object.call) : object.detail),
                     object.place.section(u'/', 1)});
    }
    output.answer(found.isEmpty() ? QString() : VXFittingTable(output, rows, {u"ID"_s, u"DATE"_s}, u"TEXT"_s), json);
    if (found.isEmpty())
        output.note(u"nothing was found"_s);
}
