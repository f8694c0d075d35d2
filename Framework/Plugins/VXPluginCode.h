#pragma once

#include "VXPlugin.h"

#include <memory>

class VXPluginProxy;

/**
 * The code of an installed plugin: checks its principal class, and makes instances of it. Loading runs foreign code:
 * main thread only. Every failure is logged in the name of the proxy.
 */
class VXPluginCode
{
public:
    explicit VXPluginCode(const VXPluginProxy &proxy) : _proxy(proxy) {}

    /** The class that the code names as principal; it is in the bundle, and derived from the base class of the plugin's
     *  kind. Null, with the `reason`, on failure. Loads the code. */
    const QMetaObject *principalClass(QString *reason) const;

    /** An instance of that class, deleted by the event loop after its last owner is gone. Null on failure, as above. */
    std::shared_ptr<VXPlugin> makeInstance(QString *reason) const;

private:
    const QMetaObject *loadedClass(VXBundle &bundle, QString *reason) const;
    QString problemOfClass(const QMetaObject &type, const VXBundle &bundle) const;

    const VXPluginProxy &_proxy;
};
