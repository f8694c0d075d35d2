#include "VXApplication.h"
#include "VXHostCommands.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"

#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// What stands for the opened thing; of an object its class and name.
QJsonValue jsonAnswer(const QVariant &answer)
{
    if (!answer.canConvert<QObject *>())
        return VXJSONFromVariant(answer);
    const QObject *const object = answer.value<QObject *>();
    return QJsonObject{{u"class"_s, QString::fromUtf8(object->metaObject()->className())},
                       {u"name"_s, object->objectName()}};
}

int runOpen(VXHostContext &context)
{
    return VXRunWithPlugins(context, [&context](VXPluginManager &manager) {
        const QString url = context.options.operand(0);
        const QVariant answer = VXApplication::sharedApplication().openURLString(url);
        if (!answer.isValid() && !manager.lastURLProblem().isNull())
            return context.output.fail(u"cannot open the URL %1: %2"_s.arg(url, manager.lastURLProblem()));
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
                "and devices, \"callto:555-0100\" needs one that makes calls. Fails when no plugin knows the URL, "
                "or the one that does fails."_s,
            .minimumOperands = 1,
            .maximumOperands = 1,
            .run = runOpen};
}
