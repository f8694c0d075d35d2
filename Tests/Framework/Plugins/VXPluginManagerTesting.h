#pragma once

#include "VXApplication.h"
#include "VXLogRecorder.h"
#include "VXPluginFixtures.h"
#include "VXPluginManager.h"
#include "VXScriptedUserInterface.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

#include <QtCore/QCoreApplication>

#include <utility>

/**
 * A test of the plugin manager, with a scripted user. The manager is a singleton that is fresh in the process which ctest
 * gives to each test; of several tests in one process those after the first are skipped.
 */
class VXPluginManagerHomeTest : public VXHomeTest
{
protected:
    VXPluginManagerHomeTest()
    {
        auto scripted = std::make_unique<VXScriptedUserInterface>();
        user = scripted.get();
        VXApplication::sharedApplication().setUserInterface(std::move(scripted));
    }

    void SetUp() override
    {
        static bool isUsed = false;
        if (std::exchange(isUsed, true))
            GTEST_SKIP() << "needs a process of its own";
    }

    QString shared() const { return path(QStringLiteral(".local/share/Vornix 2/PlugIns")); }
    QString staging() const { return shared() + QStringLiteral(" (Install)"); }
    QString trash(const QString &name) const { return path(QStringLiteral(".local/share/Trash/files/")) + name; }

    /** Writes plugins, each named "identifier" or "identifier: dependency dependency". */
    void write(const QStringList &descriptions) const
    {
        for (const QString &description : descriptions)
            VXPluginFixture{.identifier = description.section(QLatin1Char(':'), 0, 0),
                            .name = description.section(QLatin1Char(':'), 0, 0).toUpper(),
                            .dependencies =
                                description.section(QLatin1Char(':'), 1).split(QLatin1Char(' '), Qt::SkipEmptyParts)}
                .write(shared());
    }

    static VXPluginManager &manager() { return VXPluginManager::sharedPluginManager(); }
    static VXPluginProxy *plugin(const QString &identifier) { return manager().pluginWithIdentifier(identifier); }
    static bool isLoaded(const QString &identifier)
    {
        return plugin(identifier) != nullptr && plugin(identifier)->isLoaded();
    }
    static QStringList enabled()
    {
        return VXUserDefaults::standardUserDefaults().stringArrayForKey(QStringLiteral("plugins"));
    }
    static void startWith(const QStringList &enabledPlugins)
    {
        VXUserDefaults::standardUserDefaults().setObject(enabledPlugins, QStringLiteral("plugins"));
        manager().startup();
    }
    static void idle() { QCoreApplication::processEvents(); }

    VXScriptedUserInterface *user;
    VXLogRecorder log;
};
