#include "VXPortalAppearance.h"

#include "VXSessionBus.h"

#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusVariant>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.portal.Desktop"_s;
const QString path = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QString group = u"org.freedesktop.appearance"_s;
const QString key = u"color-scheme"_s;
constexpr int startWaits = 250; // ms: a portal that has to be started first answers later

QDBusMessage question()
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, u"Read"_s);
    message.setArguments({group, key});
    return message;
}

} // namespace

VXDesktopAppearance::~VXDesktopAppearance() = default;

std::unique_ptr<VXDesktopAppearance> VXDesktopAppearance::sessionAppearance()
{
    return std::make_unique<VXPortalAppearance>(VXProblemOfSessionBus().isNull() ? QDBusConnection::sessionBus()
                                                                                 : QDBusConnection(QString()));
}

VXPortalAppearance::VXPortalAppearance(const QDBusConnection &bus) : _bus(bus)
{
    if (!_bus.isConnected())
        return;
    _bus.connect(service, path, interface, u"SettingChanged"_s, this, SLOT(settingChanged(QDBusMessage)));
    const QDBusMessage answer = _bus.call(question(), QDBus::Block, startWaits);
    if (answer.type() == QDBusMessage::ReplyMessage)
        takeOverAnswer(answer);
    else if (answer.errorName() == "org.freedesktop.DBus.Error.NoReply"_L1)
        readAgain();
}

void VXPortalAppearance::readAgain()
{
    auto *const watcher = new QDBusPendingCallWatcher(_bus.asyncCall(question()), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        takeOverAnswer(watcher->reply());
    });
}

void VXPortalAppearance::takeOverAnswer(const QDBusMessage &answer)
{
    if (answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty())
        takeOver(answer.arguments().first());
}

void VXPortalAppearance::settingChanged(const QDBusMessage &signal)
{
    const QVariantList arguments = signal.arguments();
    if (arguments.size() == 3 && arguments[0] == group && arguments[1] == key)
        takeOver(arguments[2]);
}

// The answer wraps the value once more than the signal does.
void VXPortalAppearance::takeOver(const QVariant &value)
{
    QVariant inner = value;
    while (inner.metaType() == QMetaType::fromType<QDBusVariant>())
        inner = inner.value<QDBusVariant>().variant();
    const uint number = inner.toUInt();
    const auto scheme = number <= 2 ? static_cast<ColorScheme>(number) : ColorScheme::NoPreference;
    if (std::exchange(_scheme, scheme) != scheme)
        Q_EMIT colorSchemeDidChange();
}
