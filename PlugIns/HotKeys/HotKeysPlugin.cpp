#include "VXApplication.h"
#include "VXDeviceAction.h"
#include "VXDeviceRegistry.h"
#include "VXDeviceURL.h"
#include "VXErrorDomain.h"
#include "VXEventManager.h"
#include "VXHotKeyManager.h"
#include "VXInterfacePlugin.h"
#include "VXMethodLog.h"
#include "VXPrincipalClass.h"
#include "VXSelectedNumber.h"
#include "VXURLStrings.h"
#include "VXUserDefaults.h"

using namespace Qt::StringLiterals;

namespace {

const QString dialIdentifier = u"dial-selection"_s;
const QString hangUpIdentifier = u"hang-up"_s;
const QString phonebookIdentifier = u"open-phonebook"_s;
// A hot key that the user has defined: it only posts the event, for triggers.
const QString eventPrefix = u"event:"_s;

} // namespace

/** The application's own hot keys, and the event "hot_key" of every press. */
class HotKeysPlugin : public VXInterfacePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE HotKeysPlugin() = default;

    void pluginDidLoad() override
    {
        add(dialIdentifier, "dialSelection");
        add(hangUpIdentifier, "hangUp");
        add(phonebookIdentifier, "openPhonebook");
        addEventHotKeys();
        VXNotificationCenter &center = VXNotificationCenter::defaultCenter();
        center.addObserver(this, VXHotKeyWasPressedNotification, [](const VXNotification &notification) {
            const QString identifier = notification.object.toString();
            const std::shared_ptr<VXHotKey> hotKey = VXHotKeyManager::sharedHotKeyManager().hotKeys().value(identifier);
            VXEventManager::sharedEventManager().postEventWithName(
                u"hot_key"_s, identifier.startsWith(eventPrefix) ? identifier.sliced(eventPrefix.size()) : identifier,
                QVariantMap{{u"identifier"_s, identifier},
                            {u"title"_s, hotKey ? hotKey->title() : identifier},
                            {u"event_date"_s, QDateTime::currentDateTimeUtc()}});
        });
        center.addObserver(
            this, VXUserDefaultsDidChangeNotification,
            [this](const VXNotification &) {
                QMetaObject::invokeMethod(
                    this, [this] { addEventHotKeys(); }, Qt::QueuedConnection);
            },
            u"hot-keys"_s);
    }

    void pluginWillUnload() override
    {
        VXNotificationCenter::defaultCenter().removeObserver(this);
        for (const QString &identifier : std::as_const(_identifiers))
            VXHotKeyManager::sharedHotKeyManager().unregisterHotKeyWithIdentifier(identifier);
        _identifiers.clear();
    }

    // A method that begins an action returns it.
    Q_INVOKABLE QVariant dialSelection(const QString &)
    {
        QString reason;
        const QString text = VXApplication::sharedApplication().workspace().selectedText(&reason);
        const QString number = VXNumberInText(text);
        if (!number.isNull())
            return run(u"dial"_s, QVariantMap{{u"number"_s, number}});
        refuse(text.isNull() ? reason : localized("There is no phone number in what is selected."));
        return {};
    }

    Q_INVOKABLE QVariant hangUp(const QString &) { return run(u"hang_up"_s, {}); }

    Q_INVOKABLE void openPhonebook(const QString &)
    {
        const QString url = VXAbsoluteString(VXMakePhonebookURL());
        if (!VXApplication::sharedApplication().openURLString(url).isValid())
            refuse(localized("No plugin shows the phonebook."));
    }

    Q_INVOKABLE void doNothing(const QString &) {} // only the event matters

private:
    QString localized(const char *key) const { return bundle()->localizedStringForKey(QString::fromLatin1(key)); }

    void add(const QString &identifier, const QByteArray &selector)
    {
        const QString title = identifier.startsWith(eventPrefix) ? identifier.sliced(eventPrefix.size())
                                                                 : bundle()->localizedStringForKey(identifier);
        VXHotKeyManager::sharedHotKeyManager().registerHotKeyWithIdentifier(identifier, title, this, selector);
        _identifiers.insert(identifier);
    }

    void addEventHotKeys()
    {
        const QVariantMap settings = VXUserDefaults::standardUserDefaults().dictionaryForKey(u"hot-keys"_s);
        for (auto entry = settings.cbegin(); entry != settings.cend(); ++entry) {
            if (entry.key().startsWith(eventPrefix) && !_identifiers.contains(entry.key()))
                add(entry.key(), "doNothing");
        }
    }

    QVariant run(const QString &name, const QVariant &object)
    {
        const VXDevicePlugin::Ptr device = VXDeviceRegistry::shared().defaultDevice(u"hot-keys.device"_s);
        if (!device) {
            refuse(localized("There is no phone to do it with."), localized("Add one: vornix devices add."));
            return {};
        }
        const VXDeviceAction::Ptr action = VXDeviceAction::actionWithName(name);
        action->setObject(object);
        action->executeWithDevice(device, [](VXDeviceAction *done) {
            if (const VXError error = done->error())
                VXApplication::sharedApplication().presentError(error);
        });
        return QVariant::fromValue(action);
    }

    static void refuse(const QString &reason, const QString &advice = {})
    {
        VXApplication::sharedApplication().presentError(
            advice.isNull() ? VXMakeError(reason) : VXMakeError(reason, "%s", qUtf8Printable(advice)));
    }

    QSet<QString> _identifiers;
};

VX_PRINCIPAL_CLASS(HotKeysPlugin)

#include "HotKeysPlugin.moc"
