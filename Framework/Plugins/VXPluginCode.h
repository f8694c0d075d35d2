#pragma once

#include "VXPlugin.h"

#include <memory>

class VXPluginProxy;

/**
 * The code of an installed plugin: its principal class, looked at before it is used, and instances of that. Loading runs
 * foreign code: main thread only. Every failure is logged in the name of the proxy.
 */
class VXPluginCode
{
public:
    explicit VXPluginCode(const VXPluginProxy &proxy) : _proxy(proxy) {}

    /** The class that the code names as principal; it lies in the bundle and descends from the base of its kind. Null
     * on failure: `reason` tells why. Loads the code. */
    const QMetaObject *principalClass(QString *reason) const;

    /** An instance of it, deleted by the event loop after the last holder. Null on failure, as above. */
    std::shared_ptr<VXPlugin> makeInstance(QString *reason) const;

private:
    const QMetaObject *loadedClass(VXBundle &bundle, QString *reason) const;
    QString problemOfClass(const QMetaObject &type, const VXBundle &bundle) const;

    const VXPluginProxy &_proxy;
};
