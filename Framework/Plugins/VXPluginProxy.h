#pragma once

#include "VXPlugin.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <vector>

/**
 * A plugin as the rest of the system refers to it, whether or not it is installed, enabled or loaded. The plugin
 * manager owns the proxies, each for the life of the process. A proxy stands in for the plugin's one instance, where
 * its kind has one. Main thread only.
 */
class VX_EXPORT VXPluginProxy : public VXPlugin
{
    Q_OBJECT

public:
    /** An instance of a plugin. The proxy holds it until it unloads; who holds it longer is named in the log then. */
    using Instance = std::shared_ptr<VXPlugin>;

    /** Loads an interface file with the instance as its owner; false when that fails. */
    using InterfaceFileLoader = std::function<bool(const QString &path, VXPlugin &owner)>;
    /** The loader of "NSMainNibFile", given by whoever shows windows; without one, loading such a file fails. */
    static void setInterfaceFileLoader(InterfaceFileLoader loader);

    /** A proxy without a bundle. */
    static std::unique_ptr<VXPluginProxy> proxyWithIdentifier(const QString &identifier);
    explicit VXPluginProxy(const QString &identifier);
    ~VXPluginProxy() override;

    QString identifier() const override { return _identifier; }
    /** Null while the plugin is known only by name. */
    VXBundle::Ptr bundle() const override { return _plugin_bundle; }
    /** Attaches a bundle, or none, registers its "defaults" and forgets parent and children, which are not told. */
    void setBundle(const VXBundle::Ptr &bundle);
    Q_INVOKABLE bool isInstalled() const { return _plugin_bundle != nullptr; }
    /** The instance's name, else the bundle's, else what the update service calls it. */
    QString name() const override;

    /** What the update service says about the plugin; its "name" names one that is not installed. */
    Q_INVOKABLE QVariantMap remoteInfo() const { return _remoteInfo; }
    Q_INVOKABLE void setRemoteInfo(const QVariantMap &info) { _remoteInfo = info; }

    /** The proxy of the plugin whose bundle holds this one; nullptr for a root. */
    Q_INVOKABLE VXPluginProxy *parentProxy() const { return _parent_proxy; }
    void setParentProxy(VXPluginProxy *parent);
    /** The proxy itself, or its parent's root. */
    Q_INVOKABLE VXPluginProxy *rootProxy();
    const QList<VXPluginProxy *> &childProxies() const { return _child_proxies; }
    void setChildProxies(const QList<VXPluginProxy *> &children) { _child_proxies = children; }

    /** Identifiers of the plugins that must be loaded first, in order. */
    Q_INVOKABLE QStringList dependencies() const;
    /** The loaded plugins that depend on this one, in no particular order. */
    const QList<VXPluginProxy *> &dependantPlugins() const { return _dependantPlugins; }
    void addDependantPlugin(VXPluginProxy *plugin);
    void removeDependantPlugin(VXPluginProxy *plugin);

    /** A child is when its parent is, a built-in plugin always, any other when the user default "plugins" has it. */
    Q_INVOKABLE bool isEnabled() const;
    /** Lies in the framework, or is a root without a "VXPluginName". Found once; false without a bundle. */
    Q_INVOKABLE bool isBuiltInPlugin() const;

    /** True from the start of `load` until `unload`. Operations marked invokable answer to `respondsToSelector` too. */
    Q_INVOKABLE bool isLoaded() const { return _loaded; }
    /** Loads dependencies, the instance, children. False, logged, and unloaded again on any failure; so are those that
     * were loaded because they depend on it. */
    Q_INVOKABLE bool load();
    /** Tells and lets go of every instance. Children stay: the manager unloads them. Code stays mapped. */
    Q_INVOKABLE void unload();
    Q_INVOKABLE bool loadDependencies();
    Q_INVOKABLE void removeFromDependencies();
    Q_INVOKABLE bool createsSingletonInstance() const;
    /** The class that the code names as principal, if it descends from VXPlugin and from the base class of the plugin's
     * kind; nullptr, logged, otherwise. Loads the code. */
    const QMetaObject *pluginClass();
    /** Why loading failed last, or what a load hook threw; null when nothing is wrong. */
    Q_INVOKABLE QString loadError() const { return _loadError; }
    void setLoadError(const QString &reason) { _loadError = reason; }

    /** The one instance; null while the plugin is not loaded, and for kinds with many. */
    Instance singleton() const { return _singleton; }
    const std::vector<Instance> &instances() const { return _instances; }
    /**
     * For kinds with many instances: makes one, and calls its invokable `selector` with the object; that answers
     * false when the instance is of no use. @return null, logged, on failure.
     */
    Instance instantiateWithSelector(const QByteArray &selector, const QVariant &object);
    void removeInstance(const VXPlugin *instance);
    /** A VXUnloadReply: the first other than Now that an instance gives, on-demand ones first. */
    Q_INVOKABLE int pluginInstancesShouldUnload();

    /** True when the instance, or the proxy itself, has an invokable method of that name and argument count. */
    bool respondsToSelector(const QByteArray &selector, qsizetype argumentCount = 0) const;
    /** Calls the method by name on the instance, else on the proxy; what neither has fails an assertion.
     * @return what the call returned; invalid for void, and when it threw, which is logged and told by `reason`. */
    QVariant performSelector(const QByteArray &selector, const QVariantList &arguments = {}, QString *reason = nullptr);

    /**
     * The instance as a class the caller knows, to call `selector` of. Fails an assertion when the plugin is not
     * loaded, or is no T.
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
    int _loads = 0; // how often it was loaded
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
