#include "VXDeviceAction.h"
#include "VXDeviceFinding.h"
#include "VXDevicePlugin.h"
#include "VXException.h"
#include "VXPrincipalClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QTimer>

using namespace Qt::StringLiterals;

/**
 * A phone that is not there. Its name, and whether it is connected, are its preferences "name" and "connected"; with
 * "slow" it is being connected for a turn of the event loop, and has its property "signal" then. It records "DEVICE-IDENTIFIER OPERATION" in the property "VXPluginEvents" of the application, refuses to be the device
 * "refused". It finds the phones of the list of maps "VXFoundDevices" of the application, or of the environment as JSON; it never answers when that has the
 * text "never". It knows the actions
 *     echo    answers the action's object
 *     fail    reports the action's object as an error
 *     throw   throws it: a text as an exception, any other as a number
 *     count   counts in three steps, one a turn of the event loop
 *     hang_up the same, and reports that there is no call
 *     wait    shows progress 1 of 4, until it is aborted: then it answers 1
 */
class DeviceFixture : public VXDevicePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE DeviceFixture() = default;
    ~DeviceFixture() override { record("destructor"_L1); }

    void findDevices(const std::shared_ptr<VXDeviceFinding> &finding) override
    {
        QVariantList found = QCoreApplication::instance()->property("VXFoundDevices").toList();
        found += QJsonDocument::fromJson(qgetenv("VXFoundDevices")).array().toVariantList();
        if (found.contains(u"never"_s)) {
            _finding = finding;
            return;
        }
        for (const QVariant &each : std::as_const(found)) {
            const QVariantMap map = each.toMap();
            const auto text = [&map](const QString &key) {
                const QString value = map.value(key).toString();
                return value.isEmpty() ? QString() : value;
            };
            finding->add({.name = text(u"name"_s),
                          .identifier = text(u"identifier"_s),
                          .preferences = map.value(u"preferences"_s).toMap(),
                          .place = text(u"place"_s),
                          .ports = map.value(u"ports"_s).toStringList(),
                          .holder = text(u"holder"_s)});
        }
        finding->conclude();
    }

    Q_INVOKABLE bool initWithURL(const QUrl &theURL) override
    {
        if (!VXDevicePlugin::initWithURL(theURL) || theURL.fileName() == "refused"_L1)
            return false;
        registerActionHandler(u"echo"_s, this, "echo");
        registerActionHandler(u"fail"_s, this, &DeviceFixture::fail);
        registerActionHandler(u"throw"_s, this, &DeviceFixture::throwAsTold);
        registerActionHandler(u"count"_s, this, &DeviceFixture::count);
        registerActionHandler(u"hang_up"_s, this, &DeviceFixture::count);
        registerActionHandler(u"wait"_s, this, &DeviceFixture::wait);
        setDeviceProperty(VXLocalizedProperty(80, u"Battery"_s), u"battery"_s);
        setDeviceProperty(u"3310"_s, u"model"_s);
        if (const QVariant problem = preferenceForKey(u"problem"_s); problem.isValid())
            setDeviceProperty(VXLocalizedProperty(problem, u"Problem"_s), u"problem"_s);
        if (const QVariant missing = preferenceForKey(u"notAllowed"_s); missing.isValid())
            setDeviceProperty(missing, u"notAllowed"_s);
        if (preferenceForKey(u"slow"_s).toBool()) {
            _isConnecting = true;
            QTimer::singleShot(0, this, &DeviceFixture::didConnect);
        }
        return true;
    }

    QString name() const override { return text(u"name"_s, VXDevicePlugin::name()); }
    QString phoneNumber() const override { return u"+15550100"_s; }
    Q_INVOKABLE bool isConnected() const { return preferenceForKey(u"connected"_s).toBool(); }

    Q_INVOKABLE bool isConnecting() const { return _isConnecting; }

    void pluginDidLoad() override { record("pluginDidLoad"_L1); }
    void pluginWillUnload() override { record("pluginWillUnload"_L1); }

    Q_INVOKABLE void echo(VXDeviceAction *action)
    {
        action->setResult(action->object());
        action->conclude();
    }

private:
    void didConnect()
    {
        setDeviceProperty(VXLocalizedProperty(3, u"Signal"_s, 1), u"signal"_s);
        Q_EMIT willChangeValueForKey(u"isConnecting"_s);
        _isConnecting = false;
        Q_EMIT didChangeValueForKey(u"isConnecting"_s);
    }

    QString text(const QString &key, const QString &value) const
    {
        const QVariant preference = preferenceForKey(key);
        return preference.isValid() ? preference.toString() : value;
    }

    void record(QLatin1StringView operation) const
    {
        QCoreApplication *const application = QCoreApplication::instance();
        if (application == nullptr)
            return;
        QStringList events = application->property("VXPluginEvents").toStringList();
        events.append(url().fileName() + u' ' + operation);
        application->setProperty("VXPluginEvents", events);
    }

    void fail(VXDeviceAction *action)
    {
        action->setErrorString(action->object().toString());
        action->conclude();
    }

    void throwAsTold(VXDeviceAction *action)
    {
        if (action->object().typeId() != QMetaType::QString)
            throw action->object().toInt();
        throw VXException(u"FixtureException"_s, action->object().toString());
    }

    void count(VXDeviceAction *action)
    {
        action->setProgressMaxValue(3);
        QTimer::singleShot(0, this, [this, action] { countOn(action); });
    }

    void countOn(VXDeviceAction *action)
    {
        action->incrementProgress();
        if (action->progressValue() < 3)
            return QTimer::singleShot(0, this, [this, action] { countOn(action); });
        action->setResult(action->progressValue());
        if (action->actionName() == "hang_up"_L1)
            action->setErrorString(u"There is no call."_s);
        action->conclude();
    }

    void wait(VXDeviceAction *action)
    {
        action->setStatusText(u"waiting"_s);
        action->setProgressMaxValue(4);
        action->setProgressValue(1);
        connect(action, &VXDeviceAction::cancelRequested, this, [action] {
            action->setResult(1);
            action->setErrorString(u"a later error"_s);
            action->conclude();
        });
    }

    std::shared_ptr<VXDeviceFinding> _finding;
    bool _isConnecting = false;
};

VX_PRINCIPAL_CLASS(DeviceFixture)

#include "DeviceFixture.moc"
