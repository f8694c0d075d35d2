#include "VXHotKeyManager.h"

#include "VXException.h"
#include "VXKeyCombination.h"
#include "VXLogRecorder.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {

/** Keeps what is registered, each combination once; presses are the test's. */
class RecordingService : public VXHotKeyService
{
public:
    QMap<VXHotKeyRef, VXHotKeyRequest> registered;
    quint32 status = VXHotKeyDone; // of the next registrations
    quint32 endStatus = VXHotKeyDone;
    bool listens = true;
    QString trouble;

    QString name() const override { return u"recording"_s; }
    QString problem() const override { return trouble; }
    quint32 installListener() override { return listens ? VXHotKeyDone : VXHotKeyNotConnected; }
    quint32 registerHotKey(const VXHotKeyRequest &request, VXHotKeyRef *ref) override
    {
        if (status != VXHotKeyDone)
            return status;
        for (const VXHotKeyRequest &other : std::as_const(registered)) {
            if (other.keyCode == request.keyCode && other.modifiers == request.modifiers)
                return VXHotKeyTaken;
        }
        registered.insert(*ref = ++_last, request);
        return VXHotKeyDone;
    }
    quint32 unregisterHotKey(VXHotKeyRef ref) override
    {
        registered.remove(ref);
        return endStatus;
    }

private:
    VXHotKeyRef _last = 0;
};

class Target : public QObject
{
    Q_OBJECT

public:
    QStringList pressed;

    Q_INVOKABLE int press(const QString &identifier)
    {
        pressed.append(identifier);
        return int(pressed.size());
    }
    Q_INVOKABLE void fail(const QString &) { throw std::runtime_error("no dial tone"); }
    Q_INVOKABLE void removeItself(const QString &identifier)
    {
        pressed.append(identifier);
        manager->unregisterHotKeyWithIdentifier(identifier);
    }
    VXHotKeyManager *manager = nullptr;
};

} // namespace

class VXHotKeyManagerTest : public VXHomeTest
{
protected:
    VXLogRecorder log;
    VXHotKeyManager manager;
    RecordingService *service = nullptr;
    Target target;

    VXHotKeyManagerTest()
    {
        auto made = std::make_unique<RecordingService>();
        service = made.get();
        manager.setService(std::move(made));
        target.manager = &manager;
    }

    static void store(const QString &identifier, const QString &text)
    {
        VXUserDefaults::standardUserDefaults().setObject(QVariantMap{{identifier, text}}, u"hot-keys"_s);
    }
    static QVariantMap stored() { return VXUserDefaults::standardUserDefaults().dictionaryForKey(u"hot-keys"_s); }
    void add(const QString &identifier, const QByteArray &selector = "press")
    {
        manager.registerHotKeyWithIdentifier(identifier, u"Dial"_s, &target, selector);
    }
    VXHotKeyID idOf(const QString &identifier) { return manager.hotKeys().value(identifier)->hotKeyID(); }
};

TEST_F(VXHotKeyManagerTest, RegistersWhatTheUserBoundAndCallsTheTarget)
{
    store(u"dial"_s, u"32 1179648 Shift+Super+D"_s); // 0x120000
    add(u"dial"_s);
    add(u"unbound"_s);
    ASSERT_EQ(service->registered.size(), 1);
    const VXHotKeyRequest request = service->registered.first();
    EXPECT_EQ(request.keyCode, 32U);
    EXPECT_EQ(request.modifiers, 0x300U);
    EXPECT_EQ(request.title, u"Dial"_s);
    EXPECT_EQ(request.hotKeyID.signature, request.hotKeyID.id);
    EXPECT_EQ(manager.hotKeys().value(u"dial"_s)->displayString(), u"Shift+Super+D"_s);
    EXPECT_TRUE(manager.hotKeys().value(u"unbound"_s)->displayString().isNull());

    Q_EMIT service->hotKeyPressed({0, request.hotKeyID.id}); // the signature is not compared
    EXPECT_EQ(target.pressed, QStringList{u"dial"_s});

    const quint32 before = request.hotKeyID.id;
    add(u"dial"_s); // in place of the first
    EXPECT_EQ(manager.hotKeys().size(), 2);
    EXPECT_EQ(service->registered.size(), 1);
    EXPECT_GT(idOf(u"dial"_s).id, before);
}

TEST_F(VXHotKeyManagerTest, SettingsAreTextsOfThreeParts)
{
    const struct
    {
        QString text;
        bool isBinding;
        QString displayString;
    } rows[] = {{u"32 786432 Ctrl+Alt+D"_s, true, u"Ctrl+Alt+D"_s},
                {u"32 786432"_s, false, {}},
                {u"32 786432 Ctrl Alt D"_s, true, u"Ctrl"_s},
                {u""_s, false, {}}};
    for (const auto &row : rows) {
        store(u"dial"_s, row.text);
        int keyCode = -1;
        QString displayString;
        EXPECT_EQ(manager.getHotKeySettingsForIdentifier(u"dial"_s, &keyCode, nullptr, &displayString), row.isBinding);
        EXPECT_EQ(keyCode, row.isBinding ? 32 : -1);
        EXPECT_EQ(displayString, row.displayString);
    }
    EXPECT_FALSE(manager.getHotKeySettingsForIdentifier(u"other"_s, nullptr, nullptr, nullptr));
    const int highest = int(0xffff0000U); // numbers without a sign
    manager.setHotKeySettingsForIdentifier(u"dial"_s, 32, highest, u"D"_s);
    EXPECT_EQ(stored().value(u"dial"_s), u"32 4294901760 D"_s);
    int modifiers = 0;
    EXPECT_TRUE(manager.getHotKeySettingsForIdentifier(u"dial"_s, nullptr, &modifiers, nullptr));
    EXPECT_EQ(modifiers, highest);
}

TEST_F(VXHotKeyManagerTest, UpdatingBindsAnewAndStores)
{
    EXPECT_FALSE(manager.updateHotKeyWithIdentifier(u"dial"_s, 32, 0, u"D"_s));
    EXPECT_EQ(log.count(u"Missing hotkey: dial"_s), 1);
    add(u"dial"_s);
    ASSERT_TRUE(manager.updateHotKeyWithIdentifier(u"dial"_s, 32, VXModifierOption, u"Alt+D"_s));
    EXPECT_EQ(stored(), (QVariantMap{{u"dial"_s, u"32 524288 Alt+D"_s}}));
    EXPECT_EQ(service->registered.size(), 1);

    service->status = VXHotKeyTaken;
    EXPECT_FALSE(manager.updateHotKeyWithIdentifier(u"dial"_s, 33, 0, u"F"_s));
    EXPECT_EQ(log.count(u"Unable to register hotkey dial: 2"_s), 1);
    EXPECT_EQ(stored(), (QVariantMap{{u"dial"_s, u"32 524288 Alt+D"_s}})); // as it was
    EXPECT_TRUE(service->registered.isEmpty());
    EXPECT_EQ(manager.hotKeys().value(u"dial"_s)->status(), VXHotKeyTaken);

    EXPECT_TRUE(manager.updateHotKeyWithIdentifier(u"dial"_s, 0, 0, {}));
    EXPECT_TRUE(stored().isEmpty());
}

TEST_F(VXHotKeyManagerTest, WhatAnUpdateLeavesUnboundStaysSoWhenOthersAreStored)
{
    add(u"dial"_s);
    add(u"other"_s);
    EXPECT_TRUE(manager.updateHotKeyWithIdentifier(u"dial"_s, 0, 0, u"none"_s)); // unbound, with a text
    manager.setHotKeySettingsForIdentifier(u"other"_s, 33, 0, u"F"_s);
    ASSERT_TRUE(VXRunUntil([this] { return !service->registered.isEmpty(); }));
    EXPECT_FALSE(manager.hotKeys().value(u"dial"_s)->isRegistered());

    ASSERT_TRUE(manager.updateHotKeyWithIdentifier(u"dial"_s, 32, 0, u"D"_s));
    service->status = VXHotKeyTaken;
    EXPECT_FALSE(manager.updateHotKeyWithIdentifier(u"dial"_s, 34, 0, u"G"_s));
    service->status = VXHotKeyDone;
    const quint32 id = idOf(u"other"_s).id;
    manager.setHotKeySettingsForIdentifier(u"other"_s, 35, 0, u"H"_s);
    ASSERT_TRUE(VXRunUntil([&] { return idOf(u"other"_s).id != id; }));
    EXPECT_FALSE(manager.hotKeys().value(u"dial"_s)->isRegistered());
}

TEST_F(VXHotKeyManagerTest, FollowsBindingsThatAreStoredElsewhere)
{
    add(u"dial"_s);
    store(u"dial"_s, u"32 524288 Alt+D"_s);
    ASSERT_TRUE(VXRunUntil([this] { return service->registered.size() == 1; }));
    const quint32 id = idOf(u"dial"_s).id;
    store(u"other"_s, u"33 0 F"_s); // replaces the dictionary
    ASSERT_TRUE(VXRunUntil([this] { return service->registered.isEmpty(); }));
    store(u"dial"_s, u"33 0 F"_s);
    ASSERT_TRUE(VXRunUntil([this] { return service->registered.size() == 1; }));
    EXPECT_GT(idOf(u"dial"_s).id, id);
}

TEST_F(VXHotKeyManagerTest, CombinationsMayChangeHands)
{
    const auto keyCodes = [this] {
        QMap<QString, quint32> codes;
        for (const VXHotKeyRequest &request : std::as_const(service->registered))
            codes.insert(request.identifier, request.keyCode);
        return codes;
    };
    VXUserDefaults &defaults = VXUserDefaults::standardUserDefaults();
    defaults.setObject(QVariantMap{{u"a"_s, u"32 0 D"_s}, {u"b"_s, u"33 0 F"_s}}, u"hot-keys"_s);
    add(u"a"_s);
    add(u"b"_s);
    defaults.setObject(QVariantMap{{u"a"_s, u"33 0 F"_s}, {u"b"_s, u"32 0 D"_s}}, u"hot-keys"_s);
    ASSERT_TRUE(VXRunUntil([&] { return keyCodes() == QMap<QString, quint32>{{u"a"_s, 33}, {u"b"_s, 32}}; }));
    defaults.setObject(QVariantMap{{u"a"_s, u"32 0 D"_s}}, u"hot-keys"_s);
    ASSERT_TRUE(VXRunUntil([&] { return keyCodes() == QMap<QString, quint32>{{u"a"_s, 32}}; }));
    EXPECT_TRUE(log.lines(u"ERROR"_s).isEmpty());
}

TEST_F(VXHotKeyManagerTest, APressThatIsOnItsWayFindsWhatIsUnboundMeanwhile)
{
    store(u"dial"_s, u"32 0 D"_s);
    add(u"dial"_s);
    const VXHotKeyID id = idOf(u"dial"_s);
    EXPECT_TRUE(manager.updateHotKeyWithIdentifier(u"dial"_s, 0, 0, {}));
    Q_EMIT service->hotKeyPressed(id);
    EXPECT_EQ(target.pressed, QStringList{u"dial"_s});
    EXPECT_TRUE(manager.updateHotKeyWithIdentifier(u"dial"_s, 33, 0, u"F"_s));
    Q_EMIT service->hotKeyPressed(id); // of a registration before the latest
    manager.unregisterHotKeyWithIdentifier(u"dial"_s);
    Q_EMIT service->hotKeyPressed(id);
    EXPECT_EQ(target.pressed.size(), 1);
    EXPECT_EQ(log.count(u"Missing hotkey for id: %1"_s.arg(id.id)), 2);
}

TEST_F(VXHotKeyManagerTest, WhatHappensToTheServiceIsToldAndFollowed)
{
    store(u"dial"_s, u"32 0 D"_s);
    service->status = VXHotKeyNotConnected;
    add(u"dial"_s);
    service->trouble = u"the desktop portal ended"_s;
    Q_EMIT service->problemChanged();
    EXPECT_EQ(log.count(u"Hot keys do not work: the desktop portal ended"_s), 1);
    service->status = VXHotKeyDone;
    service->trouble = QString();
    Q_EMIT service->problemChanged();
    EXPECT_EQ(service->registered.size(), 1); // what was asked for meanwhile
}

TEST_F(VXHotKeyManagerTest, PressesWithoutACommandAreLogged)
{
    QStringList told;
    VXNotificationCenter::defaultCenter().addObserver(
        &target, VXHotKeyWasPressedNotification,
        [&told](const VXNotification &notification) { told.append(notification.object.toString()); });
    store(u"dial"_s, u"32 0 D"_s);
    add(u"dial"_s, "noSuchMethod");
    const quint32 id = idOf(u"dial"_s).id;
    Q_EMIT service->hotKeyPressed({id, id});
    EXPECT_EQ(log.count(u"Missing callback for hotkey %1: dial"_s.arg(id)), 1);
    Q_EMIT service->hotKeyPressed({4711, 4711});
    EXPECT_EQ(log.count(u"Missing hotkey for id: 4711"_s), 1);
    EXPECT_TRUE(told.isEmpty());

    add(u"dial"_s, "fail");
    Q_EMIT service->hotKeyPressed(idOf(u"dial"_s));
    EXPECT_EQ(log.count(u"no dial tone"_s), 1);
    add(u"dial"_s, "removeItself");
    Q_EMIT service->hotKeyPressed(idOf(u"dial"_s));
    EXPECT_EQ(target.pressed, QStringList{u"dial"_s});
    EXPECT_TRUE(manager.hotKeys().isEmpty());
    EXPECT_EQ(told, (QStringList{u"dial"_s, u"dial"_s}));

    add(u"dial"_s);
    QVariant result;
    EXPECT_TRUE(manager.pressHotKeyWithIdentifier(u"dial"_s, &result));
    EXPECT_EQ(result, QVariant(2));
    EXPECT_FALSE(manager.pressHotKeyWithIdentifier(u"other"_s));
}

TEST_F(VXHotKeyManagerTest, WhatTheServiceRefusesLaterIsUnbound)
{
    store(u"dial"_s, u"32 0 D"_s);
    add(u"dial"_s);
    const VXHotKeyRef ref = service->registered.firstKey();
    Q_EMIT service->registrationRefused(ref, u"the user refused it"_s);
    EXPECT_EQ(log.count(u"Unable to register hotkey dial: 2 (the user refused it)"_s), 1);
    EXPECT_FALSE(manager.hotKeys().value(u"dial"_s)->isRegistered());
    EXPECT_EQ(stored().size(), 1); // the wish stays
}

TEST_F(VXHotKeyManagerTest, ServicesAreReplacedWithAllThatIsBound)
{
    store(u"dial"_s, u"32 0 D"_s);
    add(u"dial"_s);
    service->endStatus = VXHotKeyUnknownRef;
    auto made = std::make_unique<RecordingService>();
    made->listens = false;
    service = made.get();
    manager.setService(std::move(made));
    EXPECT_EQ(log.count(u"Unable to unregister hotkey dial: 4"_s), 1);
    EXPECT_EQ(log.count(u"Unable to register for hotkey events: 1"_s), 1);
    EXPECT_EQ(service->registered.size(), 1);
}

TEST_F(VXHotKeyManagerTest, AKeyIsRegisteredOnce)
{
    VXHotKey hotKey(u"dial"_s, *service);
    ASSERT_TRUE(hotKey.registerWithKeyCode(32, 0, u"D"_s));
    EXPECT_THROW(hotKey.registerWithKeyCode(32, 0, u"D"_s), VXAssertionException);
    for (int time = 0; time < 2; ++time) { // registered, and not
        hotKey.setDisplayString(u"D"_s);
        hotKey.unregister();
        EXPECT_TRUE(hotKey.displayString().isNull());
    }
}

#include "VXHotKeyManagerTest.moc"
