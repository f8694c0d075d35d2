// The desktop is played by fake_desktop.py on a bus of the test's own.

#include "VXDesktopAppearance.h"

#include "ServicesTestsPaths.h"
#include "VXPortalTest.h"

using Scheme = VXDesktopAppearance::ColorScheme;

using VXPortalAppearanceTest = VXPortalTest;

TEST_F(VXPortalAppearanceTest, ThePortalIsAskedAtOnceAndFollowed)
{
    startPortal(QStringLiteral(VORNIX_FAKE_DESKTOP));
    const auto appearance = VXDesktopAppearance::sessionAppearance();
    EXPECT_EQ(appearance->colorScheme(), Scheme::Dark);
    QList<Scheme> seen;
    QObject::connect(appearance.get(), &VXDesktopAppearance::colorSchemeDidChange, appearance.get(),
                     [&] { seen.append(appearance->colorScheme()); });
    play(u"Change"_s, {2U});
    ASSERT_TRUE(VXRunUntil([&] { return !seen.isEmpty(); }));
    play(u"Change"_s, {7U}); // of a later portal
    ASSERT_TRUE(VXRunUntil([&] { return seen.size() > 1; }));
    EXPECT_EQ(seen, (QList<Scheme>{Scheme::Light, Scheme::NoPreference}));
}

TEST_F(VXPortalAppearanceTest, WithoutAPortalThereIsNoPreference)
{
    EXPECT_EQ(VXDesktopAppearance::sessionAppearance()->colorScheme(), Scheme::NoPreference);
}
