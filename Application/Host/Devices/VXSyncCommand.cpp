#include "VXApplication.h"
#include "VXDeviceAction.h"
#include "VXDeviceActionRun.h"
#include "VXDeviceNamed.h"
#include "VXDevicePlugin.h"
#include "VXDeviceReport.h"
#include "VXDeviceURL.h"
#include "VXHostCommands.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPluginManager.h"
#include "VXPluginSession.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

const QString deletionsKey = u"acceptsDeletions"_s; // for contacts
const QString newPhoneKey = u"isNewPhone"_s;

struct Kind
{
    QString name; // of the option, and in the answer
    QString action;
};

// Those that were requested; all, if none was.
QList<Kind> kindsOf(const VXHostOptions &options)
{
    const QList<Kind> all{
        {u"contacts"_s, u"sync_contacts"_s}, {u"messages"_s, u"sync_messages"_s}, {u"calls"_s, u"sync_calls"_s}};
    QList<Kind> chosen = all;
    chosen.removeIf([&](const Kind &kind) { return !options.isSet(kind.name); });
    return chosen.isEmpty() ? all : chosen;
}

VXDeviceAction::Ptr run(VXHostContext &context, const Kind &kind, const VXDevicePlugin::Ptr &device,
                        const QVariantMap &object, QString *failure)
{
    const auto action = VXDeviceAction::actionWithName(kind.action);
    action->setObject(object);
    *failure = VXDeviceActionRun(context, action).runQuietly(device);
    return action;
}

// What has to be set for the sync to continue; null for nothing.
QString answerTo(const QString &question)
{
    VXAlert alert;
    alert.message = question;
    alert.informativeText = u"Shall they be deleted on the other side too? A phone that was reset or replaced is a new "
                            "one: nothing is deleted then."_s;
    alert.defaultButton = u"Delete"_s;
    alert.alternateButton = u"Cancel"_s;
    alert.otherButton = u"New Phone"_s;
    switch (VXApplication::sharedApplication().userInterface().runAlert(alert).button) {
    case VXAlertButton::Default:
        return deletionsKey;
    case VXAlertButton::Other:
        return newPhoneKey;
    default:
        return {};
    }
}

constexpr qsizetype mostNames = 10;

// "3 added (Jane, Joe, Zoe)"; null if there are none.
QString textOfOutcome(const QJsonObject &result, const QString &key, const QString &words)
{
    const int count = result.value(key).toInt();
    if (count == 0)
        return {};
    QStringList names = result.value(u"names"_s)[key].toVariant().toStringList();
    const qsizetype omitted = names.size() - mostNames;
    if (omitted > 0)
        names = names.mid(0, mostNames) + QStringList(u"%1 more"_s.arg(omitted));
    return words.arg(count) + (names.isEmpty() ? QString() : u" (%1)"_s.arg(names.join(", "_L1)));
}

// For people: what was taken over here and what was sent to the phone, then what could not be settled, one line each.
QString textOfResults(const QJsonObject &results)
{
    QString text;
    for (auto kind = results.begin(); kind != results.end(); ++kind) {
        const QJsonObject result = kind->toObject();
        QStringList parts{textOfOutcome(result, u"added"_s, u"%1 added here"_s),
                          textOfOutcome(result, u"changed"_s, u"%1 changed here"_s),
                          textOfOutcome(result, u"removed"_s, u"%1 removed here"_s),
                          textOfOutcome(result, u"addedThere"_s, u"%1 added on the phone"_s),
                          textOfOutcome(result, u"changedThere"_s, u"%1 changed on the phone"_s),
                          textOfOutcome(result, u"deletedThere"_s, u"%1 deleted on the phone"_s),
                          textOfOutcome(result, u"refused"_s, u"%1 still refused by the phone"_s)};
        parts.removeAll(QString());
        if (parts.isEmpty() && !result.contains(u"error"_s))
            parts.append(u"nothing to do"_s);
        if (!parts.isEmpty())
            text += kind.key() + ": "_L1 + parts.join(", "_L1) + u'\n';
        for (const QString &key : {u"conflicts"_s, u"notices"_s, u"problems"_s}) {
            for (const auto &each : result.value(key).toArray())
                text += "  "_L1 + each.toString() + u'\n';
        }
    }
    return text;
}

// One after the other, continuing if one fails.
int sync(VXHostContext &context, const VXDevicePlugin::Ptr &device)
{
    QJsonObject results;
    QStringList failures;
    for (const Kind &kind : kindsOf(context.options)) {
        if (!device->actionNames().contains(kind.action)) {
            if (!context.options.isSet(kind.name))
                continue;
            const QString failure = u"the phone does not give them, or the plugin of their store is off"_s;
            results.insert(kind.name, QJsonObject{{u"error"_s, failure}});
            failures.append(kind.name + ": "_L1 + failure);
            continue;
        }
        QVariantMap object{{deletionsKey, context.options.isSet(u"yes"_s)},
                           {newPhoneKey, context.options.isSet(u"new-phone"_s)},
                           {u"addsAll"_s, context.options.isSet(u"add"_s)}};
        QString failure;
        VXDeviceAction::Ptr action = run(context, kind, device, object, &failure);
        const QString question = action->result().toMap().value(u"question"_s).toString();
        if (const QString key = question.isEmpty() ? QString() : answerTo(question); !key.isNull()) {
            object.insert(key, true);
            action = run(context, kind, device, object, &failure);
        } else if (!question.isEmpty()) {
            context.output.note(u"nothing was deleted; --yes agrees beforehand"_s);
        }
        QJsonObject result = VXJSONFromVariant(action->result()).toObject();
        if (!failure.isNull())
            result.insert(u"error"_s, failure);
        results.insert(kind.name, result);
        if (!failure.isNull())
            failures.append(kind.name + ": "_L1 + failure);
        if (action->isCancelled())
            break;
    }
    const QString text = textOfResults(results);
    if (!failures.isEmpty())
        results.insert(u"error"_s, failures.join("; "_L1));
    context.output.answer(text, results);
    context.output.flush(); // before failures are reported
    for (const QString &failure : std::as_const(failures))
        context.output.fail(failure);
    return failures.isEmpty() ? VXHostOutput::Done : VXHostOutput::Failed;
}

int runSync(VXHostContext &context)
{
    return VXRunWithPlugins(context, [&](VXPluginManager &manager) {
        const QUrl url = VXDeviceNamed(context, context.options.operand(0));
        if (url.isEmpty())
            return static_cast<int>(VXHostOutput::Failed);
        const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url);
        return device ? sync(context, device)
                      : context.output.fail(u"%1 cannot be used: %2"_s.arg(VXAbsoluteString(url),
                                                                           VXDeviceReport(manager, url).state()));
    });
}

} // namespace

VXHostCommand VXSyncCommand()
{
    return {
        .name = u"sync"_s,
        .summary = u"Bring a phone and the stores into step"_s,
        .synopsis = u"DEVICE"_s,
        .details =
            u"Contacts, messages and calls of the phone go into the stores, and what was changed here goes to the "
            u"phone: "
            "contacts that it has and that were changed or deleted, messages that were read, moved away or are to be "
            "written. Without options all that the phone has. It may be interrupted at any time, and run again; when "
            "nothing has changed it changes nothing.\n"
            "DEVICE is its URL, identifier or name. A contact that was changed here and there keeps both values. One "
            "that was deleted on one side is deleted "
            "on the other, unless it was changed there; \"vornix phonebook undo-import\" takes back what a sync did "
            "here. When more than half of the contacts are gone on one side you are asked first: a phone that was "
            "reset or "
            "replaced gets back what it had with --new-phone."_s,
        .options = {{.name = u"contacts"_s, .placeholder = {}, .summary = u"Only contacts, and what else is named"_s},
                    {.name = u"messages"_s, .placeholder = {}, .summary = u"Only messages, and what else is named"_s},
                    {.name = u"calls"_s, .placeholder = {}, .summary = u"Only calls, and what else is named"_s},
                    {.name = u"add"_s,
                     .placeholder = {},
                     .summary = u"Also put contacts on the phone that were never there"_s},
                    {.name = u"new-phone"_s,
                     .placeholder = {},
                     .summary = u"The phone was reset or replaced: delete nothing, and put there what it had"_s},
                    {.name = u"yes"_s,
                     .placeholder = {},
                     .summary = u"Delete contacts also when more than half of them are gone on one side"_s}},
        .minimumOperands = 1,
        .maximumOperands = 1,
        .operandKinds = {u"devices"_s},
        .run = runSync};
}
