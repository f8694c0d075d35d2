#include "VXApplication.h"
#include "VXDesktopServices.h"
#include "VXDeviceAction.h"
#include "VXDeviceReport.h"
#include "VXErrorText.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXHotKeyManager.h"
#include "VXKeyCombination.h"
#include "VXPluginSession.h"
#include "VXTerminalUserInterface.h"
#include "VXTextTable.h"

#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;

namespace {

QString statusText(quint32 status)
{
    switch (status) {
    case VXHotKeyDone:
        return u"free, or ours"_s;
    case VXHotKeyTaken:
        return u"taken by a running vornix or another program"_s;
    case VXHotKeyNoSuchKey:
        return u"the keyboard has no such key"_s;
    default:
        return u"no service"_s;
    }
}

QString boundTo(const VXHotKeyManager &manager, const QString &identifier)
{
    QString display;
    return manager.getHotKeySettingsForIdentifier(identifier, nullptr, nullptr, &display) ? display : QString();
}

// Independent of the text for people.
std::optional<VXKeyCombination> combinationOf(const VXHotKeyManager &manager, const QString &identifier)
{
    int keyCode = 0;
    int modifiers = 0;
    if (!manager.getHotKeySettingsForIdentifier(identifier, &keyCode, &modifiers, nullptr))
        return std::nullopt;
    return VXKeyCombination{quint32(keyCode), quint32(modifiers)};
}

int listHotKeys(VXHostContext &context, VXHotKeyManager &manager)
{
    QList<QStringList> rows{{u"IDENTIFIER"_s, u"KEYS"_s, u"TITLE"_s}};
    QJsonArray json;
    for (const std::shared_ptr<VXHotKey> &hotKey : manager.hotKeys()) {
        const QString keys = boundTo(manager, hotKey->identifier());
        rows.append({hotKey->identifier(), keys.isNull() ? u"-"_s : keys, hotKey->title()});
        json.append(QJsonObject{{u"identifier"_s, hotKey->identifier()},
                                {u"title"_s, hotKey->title()},
                                {u"keys"_s, VXJSONFromVariant(keys)}});
    }
    context.output.answer(VXFittingTable(context.output, rows, {}, u"TITLE"_s), json);
    return VXHostOutput::Done;
}

// Finds the hot key that is meant; one that the user defines is made.
bool findHotKey(VXHostContext &context, VXHotKeyManager &manager, const QString &identifier)
{
    if (manager.hotKeys().contains(identifier) || (identifier.startsWith("event:"_L1) && identifier.size() > 6))
        return true;
    context.output.fail(u"there is no hot key \"%1\"; there are: %2, and event:NAME of your own"_s.arg(
        identifier, QStringList(manager.hotKeys().keys()).join(", "_L1)));
    return false;
}

int bindHotKey(VXHostContext &context, VXHotKeyManager &manager, const QString &identifier)
{
    QString reason;
    const auto combination = VXKeyCombination::fromText(context.options.operand(2), &reason);
    if (!combination)
        return context.output.failUsage(reason, VXHostUsage(context.options));
    for (const QString &other : manager.hotKeys().keys()) {
        if (other != identifier && combinationOf(manager, other) == combination)
            return context.output.fail(u"%1 is bound to \"%2\"; unbind that first"_s.arg(combination->text(), other));
    }
    if ((combination->modifiers & ~quint32(VXModifierShift | VXModifierCapsLock)) == 0)
        context.output.note(
            u"%1 cannot be typed in any program while this hot key is bound"_s.arg(combination->text()));
    manager.setHotKeySettingsForIdentifier(identifier, int(combination->keyCode), int(combination->modifiers),
                                           combination->text());
    if (const QString problem = VXMakeHotKeyService()->problem(); !problem.isNull())
        context.output.note(u"hot keys do not work here: %1"_s.arg(problem));
    const QString text = u"%1 runs \"%2\" while \"vornix run\" is running\n"_s.arg(combination->text(), identifier);
    context.output.answer(text, QJsonObject{{u"identifier"_s, identifier},
                                            {u"keys"_s, combination->text()},
                                            {u"keyCode"_s, int(combination->keyCode)},
                                            {u"modifiers"_s, int(combination->modifiers)}});
    return VXHostOutput::Done;
}

int unbindHotKey(VXHostContext &context, VXHotKeyManager &manager, const QString &identifier)
{
    if (boundTo(manager, identifier).isNull())
        return context.output.fail(u"\"%1\" is bound to no keys"_s.arg(identifier));
    const QString keys = boundTo(manager, identifier);
    manager.setHotKeySettingsForIdentifier(identifier, 0, 0, {});
    context.output.answer(u"%1 does not run \"%2\" any more\n"_s.arg(keys, identifier),
                          QJsonObject{{u"identifier"_s, identifier}});
    return VXHostOutput::Done;
}

/** Collects what is shown to the user, for the answer. */
class ErrorKeeper : public VXTerminalUserInterface
{
public:
    ErrorKeeper(Policy policy, QStringList &errors) : VXTerminalUserInterface(policy), _errors(errors) {}

protected:
    void showError(const VXError &error) override { _errors.append(VXErrorText(error)); }

private:
    QStringList &_errors;
};

// The action of a command continues only as long as the program runs.
void waitForAction(const VXDeviceAction::Ptr &action)
{
    QEventLoop loop;
    QObject::connect(action.get(), &VXDeviceAction::didConclude, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    if (action->isExecuting())
        loop.exec();
}

int pressHotKey(VXHostContext &context, VXHotKeyManager &manager, const QString &identifier)
{
    VXApplication &application = VXApplication::sharedApplication();
    application.workspace().setSelectedTextSource(VXReadSelectedText);
    // The policy of the host.
    const auto policy = static_cast<VXTerminalUserInterface &>(application.userInterface()).policy();
    QStringList errors;
    application.setUserInterface(std::make_unique<ErrorKeeper>(policy, errors));
    QVariant begun;
    const bool isPressed = manager.pressHotKeyWithIdentifier(identifier, &begun);
    if (const auto action = begun.value<VXDeviceAction::Ptr>())
        waitForAction(action);
    application.setUserInterface(std::make_unique<VXTerminalUserInterface>(policy));
    if (!isPressed)
        return context.output.fail(u"\"%1\" is bound to no keys: bind it first"_s.arg(identifier));
    return errors.isEmpty() ? static_cast<int>(VXHostOutput::Done) : context.output.fail(errors.join(u' '));
}

VXHotKeyServiceKind wantedKind(const VXHostOptions &options)
{
    const QString name = options.value(u"service"_s);
    if (name.isNull())
        return VXHotKeyServiceKind::Automatic;
    return name == "x11"_L1 ? VXHotKeyServiceKind::X11 : VXHotKeyServiceKind::Portal;
}

// Whether the service would accept what is bound. The portal would ask the user, so that is not tried there.
int showStatus(VXHostContext &context, VXHotKeyManager &manager)
{
    const std::unique_ptr<VXHotKeyService> service = VXMakeHotKeyService(wantedKind(context.options));
    const bool canTry = service->name() == "X11"_L1;
    QList<QStringList> rows;
    QJsonArray json;
    for (const std::shared_ptr<VXHotKey> &hotKey : manager.hotKeys()) {
        int keyCode = 0;
        int modifiers = 0;
        QString keys;
        if (!manager.getHotKeySettingsForIdentifier(hotKey->identifier(), &keyCode, &modifiers, &keys))
            continue;
        VXHotKeyRef ref = 0;
        const quint32 status =
            canTry ? service->registerHotKey({.hotKeyID = {1, 1},
                                              .keyCode = quint32(keyCode),
                                              .modifiers = VXHotKeyModifiersFromFlags(quint32(modifiers))},
                                             &ref)
                   : quint32(VXHotKeyNotConnected);
        const QString state = canTry ? statusText(status) : u"asked for when \"vornix run\" starts"_s;
        rows.append({keys, hotKey->identifier(), state});
        json.append(QJsonObject{{u"identifier"_s, hotKey->identifier()}, {u"keys"_s, keys}, {u"state"_s, state}});
    }
    const QString problem = service->problem();
    const QString headline = problem.isNull() ? u"Hot keys go through: %1\n"_s.arg(service->name())
                                              : u"Hot keys do not work here: %1\n"_s.arg(problem);
    context.output.answer(
        headline + (rows.isEmpty() ? u"No keys are bound.\n"_s : VXTextTable(rows)),
        QJsonObject{{u"service"_s, service->name()}, {u"problem"_s, VXJSONFromVariant(problem)}, {u"hotKeys"_s, json}});
    return VXHostOutput::Done;
}

struct Verb : VXHostVerb
{
    int (*run)(VXHostContext &context, VXHotKeyManager &manager);
    int (*runWithKey)(VXHostContext &context, VXHotKeyManager &manager, const QString &identifier);
};

const Verb verbs[] = {
    {{u"list"_s}, listHotKeys, nullptr},
    {{u"bind"_s, u"ID KEYS"_s, 2, 2}, nullptr, bindHotKey},
    {{u"unbind"_s, u"ID"_s, 1, 1}, nullptr, unbindHotKey},
    {{u"press"_s, u"ID"_s, 1, 1}, nullptr, pressHotKey},
    {{u"status"_s}, showStatus, nullptr},
};

int runHotKeys(VXHostContext &context)
{
    const Verb &verb = context.options.verbIn(verbs);
    return VXRunWithPlugins(context, [&](VXPluginManager &) {
        VXHotKeyManager &manager = VXHotKeyManager::sharedHotKeyManager();
        if (verb.run != nullptr)
            return verb.run(context, manager);
        const QString identifier = context.options.operand(1);
        return findHotKey(context, manager, identifier) ? verb.runWithKey(context, manager, identifier)
                                                        : static_cast<int>(VXHostOutput::Failed);
    });
}

} // namespace

VXHostCommand VXHotKeysCommand()
{
    return {.name = u"hotkeys"_s,
            .summary = u"Show and bind key combinations that work in every program"_s,
            .details = u"\"list\" shows the commands that keys can be bound to. \"bind ID KEYS\" binds one, as to "
                       "\"Ctrl+Alt+D\" or \"Super+F5\"; event:NAME as ID makes a hot key that posts the event "
                       "\"hot_key\" with the "
                       "subtype NAME, for triggers. \"unbind ID\" takes the keys away. \"press ID\" does what the keys "
                       "do, and waits for it. \"status\" "
                       "tells by which service of the desktop hot keys work here, or why they do not.\n"
                       "\"vornix run\" listens for the keys; it follows changes."_s,
            .options = {{u"service"_s, u"NAME"_s, u"The service to ask"_s, {u"x11"_s, u"portal"_s}, {u"status"_s}}},
            .verbs = VXHostVerbsOf(verbs),
            .run = runHotKeys};
}
