#include "VXEventArguments.h"

#include "VXEventManager.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXJSON.h"
#include "VXNearestWord.h"
#include "VXReactionOutcome.h"
#include "VXSignalWatcher.h"
#include "VXTextArgument.h"

#include <csignal>

using namespace Qt::StringLiterals;

bool VXReadEventObject(const VXHostOptions &options, QVariant *object, QString *problem)
{
    if (!options.isSet(u"object"_s))
        return true;
    QString reason;
    const std::optional<QByteArray> text = VXTextOfArgument(options.value(u"object"_s), &reason);
    const auto json = text ? VXJSONFromText(*text, &reason) : std::nullopt;
    if (!json || !json->isObject()) {
        *problem = u"--object is no JSON object"_s + (reason.isNull() ? QString() : ": "_L1 + reason);
        return false;
    }
    *object = VXVariantFromJSON(*json);
    return true;
}

bool VXReadReactorOption(const QString &text, QVariantMap *options, QString *problem)
{
    const qsizetype equals = text.indexOf(u'=');
    if (equals < 1) {
        *problem = u"--option %1 is not of the form KEY=VALUE"_s.arg(text);
        return false;
    }
    const QString value = text.sliced(equals + 1);
    const bool mayBeJSON = value.startsWith(u'[') || value.startsWith(u'{'); // "{from} called" is not JSON
    const std::optional<QJsonValue> json = mayBeJSON ? VXJSONFromText(value.toUtf8()) : std::nullopt;
    options->insert(text.first(equals), json ? VXVariantFromJSON(*json) : QVariant(value));
    return true;
}

VXEventRecord VXPostAndAwait(const VXEvent &event)
{
    const VXSignalWatcher signalWatcher({SIGINT, SIGTERM}, [](int) { VXReactionOutcome::cancelAll(); });
    return VXEventManager::sharedEventManager().recordByPostingAndAwaitingEvent(event);
}

void VXNoteUnlistedEvent(VXHostContext &context, const QString &event)
{
    if (!VXEventManager::sharedEventManager().bundleForEventName(event))
        context.output.note(u"No plugin says that it posts \"%1\"%2; \"vornix events\" shows what they post."_s.arg(
            event, VXDidYouMean(event, VXEventManager::sharedEventManager().events().keys())));
}

void VXNoteUnlistedSubtype(VXHostContext &context, const QString &event, const QString &subtype)
{
    const VXBundle::Ptr bundle = VXEventManager::sharedEventManager().bundleForEventName(event);
    const QVariantMap events = bundle ? VXPostedEvents(*bundle) : QVariantMap();
    const QStringList known = events.value(event).toMap().value(u"subtypes"_s).toStringList();
    if (known.isEmpty() || known.contains(subtype))
        return;
    context.output.note(subtype.isNull() ? u"\"%1\" is understood by its subtype: %2"_s.arg(event, known.join(", "_L1))
                                         : u"\"%1\" is no subtype of \"%2\"%3; there are: %4"_s.arg(
                                               subtype, event, VXDidYouMean(subtype, known), known.join(", "_L1)));
}
