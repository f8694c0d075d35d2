#include "VXDesktopInstance.h"

#include "VXDesktopProgram.h"

#include <QtCore/QVariantMap>
#include <QtDBus/QDBusAbstractAdaptor>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>

using namespace Qt::StringLiterals;

const QString VXDesktopInstance::busName = VXDesktopProgram::busName();

namespace {

const QString objectPath = VXDesktopProgram::objectPath();
const QString interfaceName = u"org.freedesktop.Application"_s;
constexpr int longestAnswer = 3000; // milliseconds

QDBusConnection bus()
{
    return QDBusConnection::sessionBus();
}

} // namespace

/** The interface through which desktops start and call applications. */
class VXApplicationAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit VXApplicationAdaptor(VXDesktopInstance &instance) : QDBusAbstractAdaptor(&instance), _instance(instance) {}

public Q_SLOTS:
    void Activate(const QVariantMap &) { Q_EMIT _instance.wantsActivation(); }
    void Open(const QStringList &uris, const QVariantMap &) { Q_EMIT _instance.wantsOpen(uris); }
    void ActivateAction(const QString &name, const QVariantList &, const QVariantMap &)
    {
        Q_EMIT _instance.wantsAction(name);
    }

private:
    VXDesktopInstance &_instance;
};

bool VXDesktopInstance::handOver(const QStringList &uris)
{
    if (!bus().isConnected() || !bus().interface()->isServiceRegistered(busName))
        return false;
    QDBusMessage call =
        QDBusMessage::createMethodCall(busName, objectPath, interfaceName, uris.isEmpty() ? u"Activate"_s : u"Open"_s);
    if (!uris.isEmpty())
        call << uris;
    call << QVariantMap();
    return bus().call(call, QDBus::Block, longestAnswer).type() == QDBusMessage::ReplyMessage;
}

bool VXDesktopInstance::take()
{
    if (!bus().isConnected())
        return true;
    new VXApplicationAdaptor(*this);
    bus().registerObject(objectPath, this);
    return bus().registerService(busName);
}

#include "VXDesktopInstance.moc"
