#pragma once

#include "VXPlugin.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

/** The base of plugins that have windows and open URLs of the application (VXURLStrings.h). Main thread only. */
class VX_EXPORT VXInterfacePlugin : public VXPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE VXInterfacePlugin();
    ~VXInterfacePlugin() override;

    /** Opens what the URL names. @return a value that represents it; invalid for URLs that are not the plugin's own. */
    Q_INVOKABLE virtual QVariant openURLString(const QString &url);
    /** The URLs of the plugin's open windows, in the order they are to be opened again; none by default. */
    Q_INVOKABLE virtual QStringList urlStringsForOpenWindows() const;

    /** True when the plugin has to be set up (by `runModalSetup`) before it can be used. False by default. */
    Q_INVOKABLE virtual bool needsSetup() const;
    Q_INVOKABLE virtual void runModalSetup();
};
