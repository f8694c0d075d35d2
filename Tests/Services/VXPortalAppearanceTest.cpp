// The desktop is played by fake_desktop.py on a bus of the test's own.

#include "VXDesktopAppearance.h"

#include "ServicesTestsPaths.h"
#include "VXTesting.h"
#include "VXTestProcess.h"

#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>

#include <optional>

using namespace Qt::StringLiterals;

using Scheme = VXDesktopAppearance::ColorScheme;

namespace {

class VXPortalAppearanceTest : public VXHomeTest
{
protected:
    const QString portalName = u"org.freedesktop.portal.Desktop"_s;
    std::optional<VXTestBus> bus;
    std::optional<VXTestProcess> desktop;

    void SetUp() override
    {
        bus.emplace(path(u"bus"_s));
        ASSERT_FALSE(bus->address().isEmpty()) << "the package dbus is missing";
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus->address());
    }

    void startDesktop()
    {
        desktop.emplace(
            u"/usr/bin/python3 -m dbusmock --session --template '%1'"_s.arg(QStringLiteral(VORNIX_FAKE_DESKTOP)));
        ASSERT_TRUE(VXRunUntil([this] {
            return QDBusConnection::sessionBus().interface()->isServiceRegistered(portalName).value();
        })) << "the package python3-dbusmock is missing";
    }

    void change(uint scheme) const
    {
        QDBusMessage call = QDBusMessage::createMethodCall(portalName, u"/org/freedesktop/portal/desktop"_s,
                                                           u"org.freedesktop.DBus.Mock"_s, u"Change"_s);
        call.setArguments({scheme});
        ASSERT_EQ(QDBusConnection::sessionBus().call(call).type(), QDBusMessage::ReplyMessage);
    }
};

} // namespace

TEST_F(VXPortalAppearanceTest, ThePortalIsAskedAtOnceAndFollowed)
{
    startDesktop();
    const auto appearance = VXDesktopAppearance::sessionAppearance();
    EXPECT_EQ(appearance->colorScheme(), Scheme::Dark);
    QList<Scheme> seen;
    QObject::connect(appearance.get(), &VXDesktopAppearance::colorSchemeDidChange, appearance.get(),
                     [&] { seen.append(appearance->colorScheme()); });
    change(2);
    ASSERT_TRUE(VXRunUntil([&] { return !seen.isEmpty(); }));
    change(7); // of a later portal
    ASSERT_TRUE(VXRunUntil([&] { return seen.size() > 1; }));
    EXPECT_EQ(seen, (QList<Scheme>{Scheme::Light, Scheme::NoPreference}));
}

TEST_F(VXPortalAppearanceTest, WithoutAPortalThereIsNoPreference)
{
    EXPECT_EQ(VXDesktopAppearance::sessionAppearance()->colorScheme(), Scheme::NoPreference);
}
