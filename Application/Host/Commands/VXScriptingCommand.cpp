#include "VXAppleScriptBridge.h"
#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXJSON.h"
#include "VXPluginSession.h"
#include "VXReadableText.h"
#include "VXScriptingDictionaries.h"
#include "VXScriptingTransport.h"
#include "VXTextTable.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString accessText(const VXScriptingProperty &property)
{
    return property.isReadable ? property.isWritable ? u"read, write"_s : u"read"_s : u"write"_s;
}

QString codeText(const VXScriptingEvent &event)
{
    return VXStringFromCode(event.eventClass) + u'/' + VXStringFromCode(event.eventID);
}

QJsonObject jsonOf(const VXScriptingProperty &property)
{
    return {{u"code"_s, VXStringFromCode(property.code)},
            {u"name"_s, property.name},
            {u"type"_s, QString::fromLatin1(property.signature)},
            {u"readable"_s, property.isReadable},
            {u"writable"_s, property.isWritable},
            {u"summary"_s, property.summary}};
}

QJsonObject jsonOf(const VXScriptingEvent &event)
{
    QJsonArray parameters;
    for (const VXScriptingParameter &parameter : event.parameters) {
        if (parameter.keyword != 0)
            parameters.append(QJsonObject{{u"keyword"_s, VXStringFromCode(parameter.keyword)},
                                          {u"name"_s, parameter.name},
                                          {u"type"_s, QString::fromLatin1(parameter.signature)},
                                          {u"needed"_s, parameter.isNeeded}});
    }
    return {{u"class"_s, VXStringFromCode(event.eventClass)},
            {u"id"_s, VXStringFromCode(event.eventID)},
            {u"name"_s, event.name},
            {u"parameters"_s, parameters},
            {u"summary"_s, event.summary}};
}

// -- What there is

int listTargets(VXHostContext &context)
{
    const QString prefix = context.options.operand(1);
    QStringList found = VXScriptingTransport::sharedTransport()->runningIdentifiers(prefix.isNull() ? u""_s : prefix);
    if (prefix.isNull()) // of everything that runs, the targets of which something is known
        found.removeIf([](const QString &name) {
            return std::ranges::all_of(VXScriptingDictionaries::shared().dictionariesForTarget(name),
                                       &VXScriptingDictionary::isFallback);
        });
    context.output.answer(found.isEmpty() ? u"No such program runs.\n"_s : found.join(u'\n') + u'\n',
                          QJsonArray::fromStringList(found));
    return VXHostOutput::Done;
}

int listDictionaries(VXHostContext &context)
{
    QList<QStringList> rows{{u"TARGET"_s, u"PROPERTIES"_s, u"EVENTS"_s, u"SUMMARY"_s, u"FILE"_s}};
    QJsonArray json;
    for (const VXScriptingDictionary &dictionary : VXScriptingDictionaries::shared().all()) {
        rows.append({dictionary.target, QString::number(dictionary.properties.size()),
                     QString::number(dictionary.events.size()), dictionary.summary, dictionary.source});
        json.append(QJsonObject{{u"target"_s, dictionary.target},
                                {u"summary"_s, dictionary.summary},
                                {u"fallback"_s, dictionary.isFallback},
                                {u"file"_s, dictionary.source}});
    }
    context.output.answer(VXTextTable(rows), json);
    return VXHostOutput::Done;
}

int showDictionary(VXHostContext &context)
{
    QList<QStringList> rows{{u"CODE"_s, u"NAME"_s, u"TYPE"_s, u"MEANING"_s}};
    QJsonArray properties;
    QJsonArray events;
    for (const auto &dictionary : VXScriptingDictionaries::shared().dictionariesForTarget(context.options.operand(1))) {
        for (const VXScriptingProperty &property : dictionary.properties) {
            rows.append({VXStringFromCode(property.code), property.name,
                         QString::fromLatin1(property.signature) + ", "_L1 + accessText(property), property.summary});
            properties.append(jsonOf(property));
        }
        for (const VXScriptingEvent &event : dictionary.events) {
            QStringList parameters;
            for (const VXScriptingParameter &parameter : event.parameters) {
                if (parameter.keyword != 0)
                    parameters.append(VXStringFromCode(parameter.keyword) + u'=' +
                                      QString::fromLatin1(parameter.signature));
            }
            rows.append({codeText(event), event.name, parameters.isEmpty() ? u"event"_s : parameters.join(u' '),
                         event.summary});
            events.append(jsonOf(event));
        }
    }
    context.output.answer(VXTextTable(rows), QJsonObject{{u"properties"_s, properties}, {u"events"_s, events}});
    return VXHostOutput::Done;
}

// -- Sending

// By its name or its code.
std::optional<VXScriptingProperty> propertyArgument(VXHostContext &context)
{
    const VXScriptingDictionaries &dictionaries = VXScriptingDictionaries::shared();
    const QString target = context.options.operand(1);
    const QString name = context.options.operand(2);
    auto property = dictionaries.propertyNamed(target, name);
    if (!property && name.size() == 4)
        property = dictionaries.property(target, VXCodeFromString(name));
    if (!property)
        context.output.fail(
            u"no scripting dictionary of %1 has the property \"%2\"; \"vornix scripting dictionary %1\" "
            "shows what there is"_s.arg(target, name));
    return property;
}

std::optional<VXScriptingEvent> eventArgument(VXHostContext &context)
{
    const VXScriptingDictionaries &dictionaries = VXScriptingDictionaries::shared();
    const QString target = context.options.operand(1);
    const QString name = context.options.operand(2);
    auto event = dictionaries.eventNamed(target, name);
    if (!event && name.size() == 9 && name[4] == u'/') {
        const QList<VXScriptingEvent> found =
            dictionaries.events(target, VXCodeFromString(name.first(4)), VXCodeFromString(name.sliced(5)));
        if (!found.isEmpty())
            event = found.first();
    }
    if (!event)
        context.output.fail(u"no scripting dictionary of %1 has the event \"%2\"; \"vornix scripting dictionary %1\" "
                            "shows what there is"_s.arg(target, name));
    return event;
}

// A JSON list or object is used as such; anything else is text, which is coerced to what the target wants.
VXEventDescriptor valueArgument(const QString &text)
{
    const bool mayBeJSON = text.startsWith(u'[') || text.startsWith(u'{');
    const std::optional<QJsonValue> json = mayBeJSON ? VXJSONFromText(text.toUtf8()) : std::nullopt;
    return VXEventDescriptor::fromValue(json ? VXVariantFromJSON(*json) : QVariant(text));
}

int answerValue(VXHostContext &context, const std::optional<VXEventDescriptor> &value)
{
    const QJsonValue json = value ? VXJSONFromVariant(value->value()) : QJsonValue();
    context.output.answer(value ? VXReadableText(json) : QString(), json);
    return VXHostOutput::Done;
}

int getProperty(VXHostContext &context, VXAppleScriptBridge &bridge)
{
    const auto property = propertyArgument(context);
    if (!property)
        return VXHostOutput::Failed;
    if (!property->isReadable)
        return context.output.fail(u"%1 can only be set"_s.arg(property->name));
    VXError error;
    const auto value = bridge.getAppleScriptPropertyForKeyword(property->code, &error);
    return value ? answerValue(context, value) : context.output.fail(error.localizedDescription());
}

int setProperty(VXHostContext &context, VXAppleScriptBridge &bridge)
{
    const auto property = propertyArgument(context);
    if (!property)
        return VXHostOutput::Failed;
    if (!property->isWritable)
        return context.output.fail(u"%1 can only be read"_s.arg(property->name));
    VXError error;
    if (!bridge.setAppleScriptProperty(valueArgument(context.options.operand(3)), property->code, &error))
        return context.output.fail(error.localizedDescription());
    return VXHostOutput::Done;
}

int callEvent(VXHostContext &context, VXAppleScriptBridge &bridge)
{
    const auto known = eventArgument(context);
    if (!known)
        return VXHostOutput::Failed;
    VXEventDescriptor event = bridge.eventForTarget(known->eventClass, known->eventID);
    const QStringList values = context.options.operands().sliced(3);
    qsizetype next = 0;
    for (const VXScriptingParameter &parameter : known->parameters) {
        if (parameter.keyword != 0 && next < values.size())
            event.setDescriptor(valueArgument(values[next++]), parameter.keyword);
    }
    if (next < values.size())
        return context.output.fail(u"%1 takes %2 values"_s.arg(known->name).arg(next));
    VXError error;
    VXEventDescriptor reply;
    if (!bridge.sendAppleEvent(event, &reply, &error))
        return context.output.fail(error.localizedDescription());
    return answerValue(context, reply.descriptorAtIndex(1));
}

int quitTarget(VXHostContext &context, VXAppleScriptBridge &bridge)
{
    VXError error;
    const VXEventDescriptor quit = bridge.eventForTarget(VXEventCode::RequiredSuite, VXEventCode::Quit);
    if (bridge.sendAppleEvent(quit, nullptr, &error) || !bridge.processIsRunning()) // some end before they answer
        return VXHostOutput::Done;
    return context.output.fail(error.localizedDescription());
}

// -- The command

// People try "one" for org.mpris.MediaPlayer2.one.
int failForWhatDoesNotRun(VXHostContext &context, const QString &target)
{
    const QStringList running = VXScriptingTransport::sharedTransport()->runningIdentifiers(u""_s);
    const auto meant = std::ranges::find_if(
        running, [end = u'.' + target](const QString &name) { return name.endsWith(end, Qt::CaseInsensitive); });
    return context.output.fail(target + (meant == running.end()
                                             ? u" is not running; \"vornix scripting targets\" shows what is"_s
                                             : u" is not running; did you mean \"%1\"?"_s.arg(*meant)));
}

struct Verb : VXHostVerb
{
    bool needsOthers; // needs other programs, reached by a transport
    int (*run)(VXHostContext &context);
    int (*runWithBridge)(VXHostContext &context, VXAppleScriptBridge &bridge);
};

constexpr bool valueMayBeEmpty = true;

const Verb verbs[] = {
    {{u"targets"_s, u"[PREFIX]"_s, 0, 1}, true, listTargets, nullptr},
    {{u"dictionaries"_s}, false, listDictionaries, nullptr},
    {{u"dictionary"_s, u"TARGET"_s, 1, 1}, false, showDictionary, nullptr},
    {{u"get"_s, u"TARGET PROPERTY"_s, 2, 2}, true, nullptr, getProperty},
    {{u"set"_s, u"TARGET PROPERTY VALUE"_s, 3, 3, {}, valueMayBeEmpty}, true, nullptr, setProperty},
    {{u"call"_s, u"TARGET EVENT [VALUE...]"_s, 2, VXHostVerb::unlimited}, true, nullptr, callEvent},
    {{u"quit"_s, u"TARGET"_s, 1, 1}, true, nullptr, quitTarget},
};

int runScripting(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const Verb &verb = options.verbIn(verbs);
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        const QString problem = verb.needsOthers ? VXScriptingTransport::sharedTransport()->problem() : QString();
        if (!problem.isNull())
            return context.output.fail(problem);
        if (verb.run != nullptr)
            return verb.run(context);
        VXAppleScriptBridge bridge(options.operand(1));
        return bridge.processIsRunning() ? verb.runWithBridge(context, bridge)
                                         : failForWhatDoesNotRun(context, bridge.processIdentifier());
    });
}

} // namespace

VXHostCommand VXScriptingCommand()
{
    return {.name = u"scripting"_s,
            .summary = u"Drive other programs, as plugins do"_s,
            .details =
                u"\"targets\" shows the programs that run and are known, or those that begin with a prefix. TARGET "
                "is a name on the D-Bus session bus, as org.mpris.MediaPlayer2.vlc. \"get TARGET PROPERTY\" and "
                "\"set TARGET PROPERTY VALUE\" read and write a property, \"call TARGET EVENT VALUE...\" sends an "
                "event with its parameters in order, and \"quit TARGET\" asks the program to quit. A VALUE that is a "
                "list or an object in JSON is taken as such, any other as text.\n"
                "What a program understands is told by scripting dictionaries: \"dictionaries\" shows which there "
                "are, and \"dictionary TARGET\" what they say about one. Your own go into the folder \"Scripting\" "
                "in application support.\n"
                "The other way, \"vornix run\" can be scripted over D-Bus by the name com.halvern.VNX2."_s,
            .verbs = VXHostVerbsOf(verbs),
            .run = runScripting};
}
