#pragma once

#include "VXApplication.h"
#include "VXLogRecorder.h"
#include "VXPluginFixtures.h"
#include "VXPluginManager.h"
#include "VXPluginProxy.h"
#include "VXScriptedUserInterface.h"
#include "VXTesting.h"
#include "VXUserDefaults.h"

/** A test of proxies, none of which starts the manager. */
class VXPluginProxyHomeTest : public VXHomeTest
{
protected:
    VXPluginProxyHomeTest()
    {
        auto scripted = std::make_unique<VXScriptedUserInterface>();
        user = scripted.get();
        VXApplication::sharedApplication().setUserInterface(std::move(scripted));
        enable({});
        VXClearPluginEvents();
    }
    ~VXPluginProxyHomeTest() override
    {
        for (VXPluginProxy *const proxy : manager.allPlugins())
            proxy->unload();
        VXFlushDeferredDeletions();
        VXPluginProxy::setInterfaceFileLoader({});
    }

    static void enable(const QStringList &identifiers)
    {
        VXUserDefaults::standardUserDefaults().setObject(identifiers, QStringLiteral("plugins"));
    }

    /** The proxy of a plugin written into the home folder; nullptr when it cannot be added. */
    VXPluginProxy *add(const VXPluginFixture &fixture) const
    {
        return manager.addPluginForBundleAtPath(fixture.write(path(QStringLiteral("PlugIns"))));
    }
    /** A bundle with such resources, and no code. */
    VXBundle::Ptr bundleWith(const VXPluginFixture &fixture, const QString &resource = {}, const QByteArray &data = {})
    {
        if (!resource.isNull())
            writeFile(QStringLiteral("PlugIns/") + fixture.identifier +
                          QStringLiteral(".vxplugin/Contents/Resources/") + resource,
                      data);
        return VXBundle::bundleWithPath(fixture.write(path(QStringLiteral("PlugIns"))));
    }

    VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    VXScriptedUserInterface *user;
    VXLogRecorder log;
};
