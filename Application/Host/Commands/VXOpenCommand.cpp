#include "VXApplication.h"
#include "VXCallRecord.h"
#include "VXContactRecord.h"
#include "VXContactReport.h"
#include "VXHostCommands.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXMessageRecord.h"
#include "VXObjectJSON.h"
#include "VXObjectNames.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"
#include "VXReadableText.h"
#include "VXSearchIndex.h"

#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// What represents the opened thing; for an object, its class and name.
QJsonValue jsonAnswer(const QVariant &answer)
{
    if (!answer.canConvert<QObject *>())
        return VXJSONFromVariant(answer);
    const QObject *const object = answer.value<QObject *>();
    return QJsonObject{{u"class"_s, QString::fromUtf8(object->metaObject()->className())},
                       {u"name"_s, object->objectName()}};
}

// In the form used by lists and events.
QJsonObject recordOf(const VXManagedObjectPtr &object)
{
    const QVariant value = QVariant::fromValue(object);
    const QString entity = object->entity().name();
    return entity == "VXPerson"_L1    ? VXJSONFromVariant(VXContactRecord(value).map()).toObject()
           : entity == "VXMessage"_L1 ? VXJSONFromVariant(VXMessageRecord(value).map()).toObject()
           : entity == "VXCall"_L1    ? VXJSONFromVariant(VXCallRecord(value).map()).toObject()
                                      : VXJSONFromObject(*object, true);
}

// A record found by searching, for which no plugin has a window, is shown here. None for any other URL.
std::optional<int> showFoundObject(VXHostContext &context, const QString &url)
{
    const QUrl uri = VXFoundObject::uriForURL(QUrl(url));
    QString problem;
    const VXPluginObject stored = uri.isEmpty() ? VXPluginObject() : VXPluginObject::named(uri.toString(), &problem);
    if (!stored.object)
        return problem.isNull() ? std::nullopt : std::optional(context.output.fail(problem));
    const QJsonObject record = recordOf(stored.object);
    const bool isContact = stored.object->entity().name() == "VXPerson"_L1;
    context.output.answer(isContact ? VXShownContact(stored.object).text() : VXReadableText(record),
                          QJsonObject{{u"url"_s, url}, {u"answer"_s, record}});
    return VXHostOutput::Done;
}

int runOpen(VXHostContext &context)
{
    return VXRunWithPlugins(context, [&context](VXPluginManager &manager) {
        const QString url = context.options.operand(0);
        const QVariant answer = VXApplication::sharedApplication().openURLString(url);
        if (!answer.isValid() && !manager.lastURLProblem().isNull())
            return context.output.fail(u"cannot open the URL %1: %2"_s.arg(url, manager.lastURLProblem()));
        if (const auto status = answer.isValid() ? std::nullopt : showFoundObject(context, url))
            return *status;
        if (!answer.isValid())
            return context.output.fail(u"no plugin knows the URL %1"_s.arg(url));
        const QJsonValue json = jsonAnswer(answer);
        const QString text = json.isString() ? json.toString() : QString::fromUtf8(VXJSONText(json));
        context.output.answer(text + u'\n', QJsonObject{{u"url"_s, url}, {u"answer"_s, json}});
        return static_cast<int>(VXHostOutput::Done);
    });
}

} // namespace

VXHostCommand VXOpenCommand()
{
    return {.name = u"open"_s,
            .summary = u"Have a plugin open a URL"_s,
            .synopsis = u"URL"_s,
            .details =
                u"Starts the plugins, offers them the URL, and shows what stands for the opened thing. Which URLs are "
                "known is up to the plugins that are enabled: those that ship know only objects of their stores "
                "and devices, \"callto:555-0100\" needs one that makes calls. What \"vornix search\" found is shown "
                "here where "
                "no plugin has a window for it. Fails when no plugin knows the URL, "
                "or the one that does fails."_s,
            .minimumOperands = 1,
            .maximumOperands = 1,
            .run = runOpen};
}
