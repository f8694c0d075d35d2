#pragma once

#include "VXPlugin.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <vector>

/**
 * Represents a plugin to the rest of the system, whether or not it is installed, enabled or loaded. The plugin manager
 * owns the proxies, each for the life of the process. A proxy stands for the plugin's single instance, if its kind has
 * one. Main thread only.
 */
class VX_EXPORT VXPluginProxy : public VXPlugin
{
    Q_OBJECT

public:
    /** An instance of a plugin. The proxy keeps it until it is unloaded; owners that keep it longer are named in the
     *  log then. */
    using Instance = std::shared_ptr<VXPlugin>;

    /** Loads an interface file with the instance as its owner; false when that fails. */
    using InterfaceFileLoader = std::function<bool(const QString &path, VXPlugin &owner)>;
    /** The loader for "NSMainNibFile", set by the part that shows windows; without a loader, loading such a file fails.
     *  */
    static void setInterfaceFileLoader(InterfaceFileLoader loader);

    /** A proxy without a bundle. */
    static std::unique_ptr<VXPluginProxy> proxyWithIdentifier(const QString &identifier);
    explicit VXPluginProxy(const QString &identifier);
    ~VXPluginProxy() override;

    QString identifier() const override { return _identifier; }
    /** Null while only the plugin's identifier is known. */
    VXBundle::Ptr bundle() const override { return _plugin_bundle; }
    /** Attaches a bundle, or none, registers its "defaults" and clears parent and children, which are not notified. */
    void setBundle(const VXBundle::Ptr &bundle);
    Q_INVOKABLE bool isInstalled() const { return _plugin_bundle != nullptr; }
    /** The instance's name, or else the bundle's, or else that from the update service. */
    QString name() const override;

    /** What the update service says about the plugin; its "name" is used for plugins that are not installed. */
    Q_INVOKABLE QVariantMap remoteInfo() const { return _remoteInfo; }
    Q_INVOKABLE void setRemoteInfo(const QVariantMap &info) { _remoteInfo = info; }

    /** The proxy of the plugin whose bundle contains this one; nullptr for a root plugin. */
    Q_INVOKABLE VXPluginProxy *parentProxy() const { return _parent_proxy; }
    void setParentProxy(VXPluginProxy *parent);
    /** The proxy itself if it has no parent, otherwise its parent's root. */
    Q_INVOKABLE VXPluginProxy *rootProxy();
    const QList<VXPluginProxy *> &childProxies() const { return _child_proxies; }
    void setChildProxies(const QList<VXPluginProxy *> &children) { _child_proxies = children; }

    /** Identifiers of the plugins that have to be loaded first, in order. */
    Q_INVOKABLE QStringList dependencies() const;
    /** The loaded plugins that depend on this one, in no particular order. */
    const QList<VXPluginProxy *> &dependantPlugins() const { return _dependantPlugins; }
    void addDependantPlugin(VXPluginProxy *plugin);
    void removeDependantPlugin(VXPluginProxy *plugin);

    /** A child plugin is enabled when its parent is, a built-in plugin always, any other when the user default
     *  "plugins" contains it. */
    Q_INVOKABLE bool isEnabled() const;
    /** Whether the plugin is in the framework, or is a root without a "VXPluginName". Determined once; false without a
     *  bundle. */
    Q_INVOKABLE bool isBuiltInPlugin() const;

    /** True from the start of `load` until `unload`. Functions marked invokable also count for `respondsToSelector`. */
    Q_INVOKABLE bool isLoaded() const { return _loaded; }
    /** Loads dependencies, the instance, and children. On failure, which is logged, returns false; then everything is
     *  unloaded again, including plugins that were loaded because they depend on this one. */
    Q_INVOKABLE bool load();
    /** Notifies and releases every instance. Children are unloaded by the manager. The code stays mapped. */
    Q_INVOKABLE void unload();
    Q_INVOKABLE bool loadDependencies();
    Q_INVOKABLE void removeFromDependencies();
    Q_INVOKABLE bool createsSingletonInstance() const;
    /** The class that the code names as principal, if it is derived from VXPlugin and from the base class of the
     *  plugin's kind; nullptr, logged, otherwise. Loads the code. */
    const QMetaObject *pluginClass();
    /** Why loading failed last, or what a load hook threw; null when nothing is wrong. */
    Q_INVOKABLE QString loadError() const { return _loadError; }
    void setLoadError(const QString &reason) { _loadError = reason; }

    /** The single instance; null while the plugin is not loaded, and for kinds with many instances. */
    Instance singleton() const { return _singleton; }
    const std::vector<Instance> &instances() const { return _instances; }
    /**
     * For kinds with many instances: makes one, and calls its invokable method `selector` with the object; the method
     * returns false when the instance is of no use. @return null, logged, on failure.
     */
    Instance instantiateWithSelector(const QByteArray &selector, const QVariant &object);
    void removeInstance(const VXPlugin *instance);
    /** The first VXUnloadReply other than Now that an instance gives; on-demand instances are asked first. */
    Q_INVOKABLE int pluginInstancesShouldUnload();

    /** Whether the instance, or the proxy itself, has an invokable method of that name and argument count. */
    bool respondsToSelector(const QByteArray &selector, qsizetype argumentCount = 0) const;
    /** Calls the method by name on the instance, or else on the proxy; fails an assertion if neither has it. @return
     *  the result; invalid for void, and when it threw, which is logged; `reason` then says what. */
    QVariant performSelector(const QByteArray &selector, const QVariantList &arguments = {}, QString *reason = nullptr);

    /**
     * The instance as a class that the caller knows, in order to call `selector`. Fails an assertion when the plugin is
     * not loaded, or not of class T.
     */
    template <class T>
    T &as(const char *selector) const
    {
        T *const typed = dynamic_cast<T *>(_singleton.get());
        if (typed == nullptr)
            doesNotRecognizeSelector(selector);
        return *typed;
    }

private:
    enum class Location { Unknown = 0, BuiltIn = 1, NotBuiltIn = 2 };

    Location findLocation() const;
    bool loadDependency(const QString &dependency);
    bool loadSingleton(int load);
    bool loadChildren();
    bool isStillLoading(int load) const { return _loaded && load == _loads; }
    void loadInterfaceFile(VXPlugin &owner);
    bool failLoading(const QString &problem);
    bool endLoading(int load);
    void reportLeftovers() const;
    [[noreturn]] void doesNotRecognizeSelector(const QByteArray &selector) const;

    bool _loaded = false;
    int _loads = 0; // how many times it was loaded
    mutable Location _location = Location::Unknown;
    const QString _identifier;
    QVariantMap _remoteInfo;
    VXBundle::Ptr _plugin_bundle;
    VXPluginProxy *_parent_proxy = nullptr;
    QList<VXPluginProxy *> _child_proxies;
    QList<VXPluginProxy *> _dependantPlugins;
    std::vector<Instance> _instances;
    Instance _singleton;
    QString _loadError;
};

Q_DECLARE_METATYPE(VXPluginProxy *)
