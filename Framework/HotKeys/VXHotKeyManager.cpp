#include "VXHotKeyManager.h"

#include "VXKeyCombination.h"
#include "VXMainThread.h"
#include "VXMethodLog.h"
#include "VXUserDefaults.h"

#include <QtCore/QStringList>

#include <optional>

using namespace Qt::StringLiterals;

const VXNotificationName VXHotKeyWasPressedNotification(u"VXHotKeyWasPressedNotification"_s);

namespace {

const QString settingsKey = u"hot-keys"_s;

// The format "%u %u %@"; a display string is cut at the first blank.
std::optional<VXHotKeySettings> settingsFromText(const QString &text)
{
    const QStringList parts = text.split(u' ');
    if (parts.size() < 3)
        return std::nullopt;
    return VXHotKeySettings{int(parts[0].toUInt()), int(parts[1].toUInt()), parts[2]};
}

QVariantMap storedSettings()
{
    return VXUserDefaults::standardUserDefaults().dictionaryForKey(settingsKey);
}

std::optional<VXHotKeySettings> settingsIn(const QVariantMap &stored, const QString &identifier)
{
    const auto found = stored.constFind(identifier);
    return found == stored.cend() ? std::nullopt : settingsFromText(found->toString());
}

} // namespace

VXHotKeyManager &VXHotKeyManager::sharedHotKeyManager()
{
    static auto *const manager = new VXHotKeyManager;
    return *manager;
}

VXHotKeyManager::VXHotKeyManager() : _service(VXHotKeyService::unattendedService())
{
    addCarbonHotKeyListener();
    // The notification is posted on the thread that changed the defaults.
    VXNotificationCenter::defaultCenter().addObserver(
        this, VXUserDefaultsDidChangeNotification,
        [this](const VXNotification &) {
            QMetaObject::invokeMethod(
                this, [this] { followSettings(); }, Qt::QueuedConnection);
        },
        settingsKey);
}

VXHotKeyManager::~VXHotKeyManager()
{
    VXNotificationCenter::defaultCenter().removeObserver(this);
    _hotKeysByID.clear();
    _hotKeys.clear(); // each unregisters itself
}

void VXHotKeyManager::addCarbonHotKeyListener()
{
    connect(_service.get(), &VXHotKeyService::hotKeyPressed, this, &VXHotKeyManager::carbonHotKeyWasPressed,
            Qt::DirectConnection); // the service belongs to the main thread as well
    connect(_service.get(), &VXHotKeyService::registrationRefused, this, &VXHotKeyManager::registrationWasRefused);
    connect(_service.get(), &VXHotKeyService::problemChanged, this, &VXHotKeyManager::serviceChanged);
    const quint32 status = _service->installListener();
    if (status != VXHotKeyDone)
        VXLogMethod(VXLogError, "addCarbonHotKeyListener",
                    "Unable to register for hotkey events: "_L1 + VXHotKey::textOfStatus(status));
}

void VXHotKeyManager::setService(std::unique_ptr<VXHotKeyService> service)
{
    for (const HotKeyPtr &hotKey : std::as_const(_hotKeys)) {
        unregister(*hotKey);
        hotKey->setService(*service);
    }
    _service = std::move(service);
    addCarbonHotKeyListener();
    for (const HotKeyPtr &hotKey : std::as_const(_hotKeys))
        registerBinding(hotKey);
}

void VXHotKeyManager::registerHotKeyWithIdentifier(const QString &identifier, const QString &title, QObject *target,
                                                   const QByteArray &selector)
{
    unregisterHotKeyWithIdentifier(identifier);
    const auto hotKey = std::make_shared<VXHotKey>(identifier, *_service);
    hotKey->setTitle(title);
    hotKey->setCallbackInvocation(VXInvocation::withMethod(target, selector, {identifier}));
    _hotKeys.insert(identifier, hotKey);
    registerBinding(hotKey);
}

void VXHotKeyManager::unregisterHotKeyWithIdentifier(const QString &identifier)
{
    if (const HotKeyPtr hotKey = _hotKeys.take(identifier)) {
        unregister(*hotKey);
        _hotKeysByID.remove(hotKey->hotKeyID().id);
    }
}

void VXHotKeyManager::registerBinding(const HotKeyPtr &hotKey)
{
    const std::optional<VXHotKeySettings> settings = settingsIn(storedSettings(), hotKey->identifier());
    if (!settings)
        return;
    _followed.insert(hotKey->identifier(), *settings); // including refused ones: they are tried again when they change
    registerKey(hotKey, settings->keyCode, settings->modifiers, settings->displayString);
}

bool VXHotKeyManager::registerKey(const HotKeyPtr &hotKey, int keyCode, int modifiers, const QString &displayString)
{
    _hotKeysByID.remove(hotKey->hotKeyID().id);
    const bool isRegistered = hotKey->registerWithKeyCode(quint32(keyCode), quint32(modifiers), displayString);
    _hotKeysByID.insert(hotKey->hotKeyID().id, hotKey);
    return isRegistered;
}

// Keeps its number, so that a press that is under way still finds it.
void VXHotKeyManager::unregister(VXHotKey &hotKey)
{
    _followed.remove(hotKey.identifier());
    hotKey.unregister();
}

bool VXHotKeyManager::getHotKeySettingsForIdentifier(const QString &identifier, int *keyCode, int *modifiers,
                                                     QString *displayString) const
{
    const std::optional<VXHotKeySettings> settings = settingsIn(storedSettings(), identifier);
    if (!settings)
        return false;
    if (keyCode != nullptr)
        *keyCode = settings->keyCode;
    if (modifiers != nullptr)
        *modifiers = settings->modifiers;
    if (displayString != nullptr)
        *displayString = settings->displayString;
    return true;
}

void VXHotKeyManager::setHotKeySettingsForIdentifier(const QString &identifier, int keyCode, int modifiers,
                                                     const QString &displayString)
{
    const QString text = displayString.isNull()
                             ? QString()
                             : u"%1 %2 %3"_s.arg(quint32(keyCode)).arg(quint32(modifiers)).arg(displayString);
    VXUserDefaults::standardUserDefaults().updateObject(settingsKey, [identifier, text](const QVariant &current) {
        QVariantMap settings = current.toMap();
        if (text.isNull())
            settings.remove(identifier);
        else
            settings.insert(identifier, text);
        return settings;
    });
}

bool VXHotKeyManager::updateHotKeyWithIdentifier(const QString &identifier, int keyCode, int modifiers,
                                                 const QString &displayString)
{
    const HotKeyPtr hotKey = _hotKeys.value(identifier);
    if (!hotKey) {
        VXLogMethod(VXLogWarning,
                    "updateHotKeyWithIdentifier:keyCode:modifiers:displayString:", "Missing hotkey: "_L1 + identifier);
        return false;
    }
    unregister(*hotKey);
    const bool isDone = keyCode == 0 || registerKey(hotKey, keyCode, modifiers, displayString);
    if (isDone)
        setHotKeySettingsForIdentifier(identifier, keyCode, modifiers, displayString);
    // Ignores what is stored now: the hot key is as the user just set it, even if that is unbound.
    if (const std::optional<VXHotKeySettings> settings = settingsIn(storedSettings(), identifier))
        _followed.insert(identifier, *settings);
    return isDone;
}

// Applies bindings that this or another process has changed in the defaults since they were last seen. All changed hot
// keys are unregistered before any is registered again, since they may have exchanged combinations.
void VXHotKeyManager::followSettings()
{
    const QVariantMap stored = storedSettings();
    QList<HotKeyPtr> changed;
    for (const HotKeyPtr &hotKey : std::as_const(_hotKeys)) {
        const std::optional<VXHotKeySettings> wanted = settingsIn(stored, hotKey->identifier());
        const auto followed = _followed.constFind(hotKey->identifier());
        const bool wasStored = followed != _followed.cend();
        if (wanted ? wasStored && *followed == *wanted : !wasStored)
            continue;
        unregister(*hotKey);
        changed.append(hotKey);
    }
    for (const HotKeyPtr &hotKey : std::as_const(changed))
        registerBinding(hotKey);
}

// The desktop's service has gone away, or come back.
void VXHotKeyManager::serviceChanged()
{
    if (const QString problem = _service->problem(); !problem.isNull()) {
        VXLogMethod(VXLogError, "serviceChanged", "Hot keys do not work: "_L1 + problem);
        return;
    }
    VXLogMethod(VXLogNotice, "serviceChanged", "Hot keys work again: "_L1 + _service->name());
    for (const HotKeyPtr &hotKey : std::as_const(_hotKeys)) {
        if (hotKey->status() == VXHotKeyNotConnected) // registered while the service was away
            registerBinding(hotKey);
    }
}

void VXHotKeyManager::registrationWasRefused(VXHotKeyRef ref, const QString &reason)
{
    for (const HotKeyPtr &hotKey : std::as_const(_hotKeys)) {
        if (hotKey->hotKeyRef() != ref)
            continue;
        VXLogMethod(VXLogError, "registrationWasRefused",
                    u"Unable to register hotkey %1: %2 (%3)"_s.arg(hotKey->identifier(),
                                                                   VXHotKey::textOfStatus(VXHotKeyTaken), reason));
        hotKey->forgetRegistration(VXHotKeyTaken);
        return;
    }
}

void VXHotKeyManager::carbonHotKeyWasPressed(VXHotKeyID hotKeyID)
{
    const auto found = _hotKeysByID.constFind(hotKeyID.id);
    if (found == _hotKeysByID.cend()) {
        VXLogMethod(VXLogError, "carbonHotKeyWasPressed:", u"Missing hotkey for id: %1"_s.arg(hotKeyID.id));
        return;
    }
    const HotKeyPtr hotKey = *found; // held, as the callback may unregister it
    run(*hotKey);
}

// Exceptions of the command are caught, so that the desktop's events are still processed.
void VXHotKeyManager::run(const VXHotKey &hotKey, QVariant *result)
{
    const VXInvocation &invocation = hotKey.callbackInvocation(); // the caller keeps the hot key alive
    if (invocation.isNull()) {
        VXLogMethod(VXLogError, "carbonHotKeyWasPressed:",
                    u"Missing callback for hotkey %1: %2"_s.arg(hotKey.hotKeyID().id).arg(hotKey.identifier()));
        return;
    }
    try {
        const std::optional<QVariant> returned = invocation.invoke();
        if (result != nullptr)
            *result = returned.value_or(QVariant());
    } catch (const std::exception &exception) {
        reportThrown(hotKey, QString::fromUtf8(exception.what()));
    } catch (...) {
        reportThrown(hotKey, u"an unknown exception"_s);
    }
    VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
    if (center.hasObservers(VXHotKeyWasPressedNotification))
        center.postNotification({VXHotKeyWasPressedNotification, hotKey.identifier(), {}});
}

void VXHotKeyManager::reportThrown(const VXHotKey &hotKey, const QString &problem)
{
    VXLogMethod(VXLogError,
                "carbonHotKeyWasPressed:", u"the command of hotkey %1 threw: %2"_s.arg(hotKey.identifier(), problem));
}

bool VXHotKeyManager::pressHotKeyWithIdentifier(const QString &identifier, QVariant *result)
{
    const HotKeyPtr hotKey = _hotKeys.value(identifier); // held, as the callback may unregister it
    if (!hotKey)
        return false;
    run(*hotKey, result);
    return true;
}
