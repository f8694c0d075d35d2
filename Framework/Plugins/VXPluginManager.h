#pragma once

#include "VXBundle.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXNotificationCenter.h"
#include "VXPluginChoice.h"
#include "VXPluginProxy.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QStringList>

#include <atomic>
#include <memory>
#include <optional>

class VXPluginLoadMarker;
class VXPluginScanner;

/** Posted when idle after plugins were added or installed; object: none. */
VX_EXPORT extern const VXNotificationName VXPluginsDidChangeNotification;
/** Posted when idle; object: the proxy. */
VX_EXPORT extern const VXNotificationName VXPluginDidEnableNotification;

/** What `installBundleAtPath` came to. */
enum class VXPluginInstallResult { InstalledForNextStart = -1, Failed = 0, Installed = 1 };

/**
 * The registry of plugins: finds the newest copy of each in the plugin folders, loads the enabled ones after those they
 * depend on, enables, disables and installs while the program runs, and unloads with consent. One bad plugin is
 * logged and skipped; the rest goes on. Main thread only, but for `sharedPluginManager`.
 */
class VX_EXPORT VXPluginManager : public QObject
{
    Q_OBJECT

public:
    /** Made on first use and never freed. */
    static VXPluginManager &sharedPluginManager();

    // -- Queries: lists of proxies that the manager owns.
    QList<VXPluginProxy *> allPlugins() const;
    QList<VXPluginProxy *> enabledPlugins() const;
    /** nullptr when no such plugin is known. */
    VXPluginProxy *pluginWithIdentifier(const QString &identifier) const;
    /** Enabled plugins whose information dictionary has the key, with that value unless it is invalid. */
    QList<VXPluginProxy *> pluginsWithInfoDictionaryKey(const QString &key, const QVariant &value = {}) const;
    /** Enabled plugins of a kind (VXPluginKind). */
    QList<VXPluginProxy *> pluginsWithClassName(const QString &kind) const;
    QList<VXPluginProxy *> dataPlugins() const;
    QList<VXPluginProxy *> exporterPlugins() const;
    QList<VXPluginProxy *> interfacePlugins() const;
    QList<VXPluginProxy *> phonebookPlugins() const;
    QList<VXPluginProxy *> reactorPlugins() const;
    /** Enabled plugins with the information key "VXPostsEvents". */
    QList<VXPluginProxy *> eventPostingPlugins() const;

    // -- Life cycle, called by the application once each.
    void startup();
    /** A VXUnloadReply: may the application end? */
    int shouldShutdown();
    /** Records the open windows and unloads everything. */
    void shutdown();
    /** A plugin that answered VXUnloadLater has made up its mind. */
    void replyToPluginShouldUnload(bool flag, const QString &identifier);
    /** True while plugins that answered VXUnloadLater have not made up their minds. */
    bool awaitsUnloadReply() const { return !_pluginsToUnload.isEmpty(); }

    // -- Changes
    /** Enables and loads a root plugin; false, and not enabled, when it cannot be loaded. */
    bool enablePluginProxy(VXPluginProxy *proxy);
    /** Unloads a plugin after what depends on it, with the user's and the plugins' consent, and disables them. */
    void disablePluginProxy(VXPluginProxy *proxy);
    VXPluginInstallResult installBundleAtPath(const QString &path, VXError *error = nullptr);
    /** The new proxy; nullptr when the plugin is there already, or cannot be added, which the user is told. */
    VXPluginProxy *addPluginForBundleAtPath(const QString &path);
    /** For instances that plugins make themselves. */
    void loadPluginInstance(VXPlugin *instance);
    void unloadPluginInstance(VXPlugin *instance);

    // -- Folders, fixed at first use
    /** The searched folders: application, framework, those of VORNIX_PLUGIN_PATH, shared. */
    QStringList pluginFolderPaths() const;
    /** Where installed plugins go. */
    QString pathToSharedPluginFolder() const;
    /** Where they wait when the running copy cannot be replaced. */
    QString pathToInstallStagingFolder() const;

    // -- Containment
    /** Before `startup`: load built-in plugins only. */
    void setSafeMode(bool flag) { _safeMode = flag; }
    bool isSafeMode() const { return _safeMode; }
    /** Why a plugin was left out this time, or failed: for people; null when nothing is wrong. */
    QString problemOfPlugin(const QString &identifier) const;
    /** Forgets that the program once ended while that plugin was loading, and loads it if it is enabled. */
    bool retryPlugin(const QString &identifier);
    /** Why this copy was chosen at start-up, and which others were found; none when no scan found the plugin. */
    std::optional<VXPluginChoice> choiceForPlugin(const QString &identifier) const;

    // -- Descriptive classes: bundles that carry localized texts for classes (VXPluginManager+Descriptive.cpp)
    /** The application's and the framework's bundle, and those of enabled plugins with "VXDescriptiveClassList". */
    QList<VXBundle::Ptr> descriptiveClassBundles() const;
    /** The first of those that lists the class; null for none. */
    VXBundle::Ptr bundleForDescriptiveClass(const QString &className) const;
    /** The class's texts, in the user's language; empty when no bundle lists it. */
    QVariantMap localizationInfoForDescriptiveClass(const QString &className) const;

    // -- For scripts
    QList<VXPluginProxy *> as_plugins() const { return enabledPlugins(); }

private:
    friend class VXPluginProxy; // tells when it runs the plugin's code to load it

    VXPluginManager();
    ~VXPluginManager() override;

    // For VXPluginProxy: around what runs the plugin's code while it loads, so that a crash there leaves its name.
    void willLoadPlugin(VXPluginProxy &proxy);
    void didLoadPlugin(VXPluginProxy &proxy);

    // VXPluginManager+Private.cpp
    struct BundleTree; // a bundle and the ones inside it, before anything is registered
    bool openBundle(const QString &path, BundleTree *tree, QSet<QString> &identifiers, VXError *error) const;
    VXPluginProxy *addTree(const BundleTree &tree);
    void registerPlugin(std::unique_ptr<VXPluginProxy> proxy);
    void dropKindCache() { _kindCacheIsStale = true; }
    static void announceChange();
    static void setPluginsEnabled(const QStringList &identifiers, bool flag);
    VXPluginLoadMarker &loadMarker();
    void leaveOutPlugins();
    void loadEnabledPlugins();
    void announceHeldPlugins();
    QVariant openURLString(const QString &url) const;

    // VXPluginManager+Install.cpp
    void installStagedPlugins();
    VXPluginInstallResult _installBundleAtPath(const QString &path, QString *pluginPath, VXError *error);
    bool mustWaitForNextStart(const QString &path, const QString &identifier) const;

    // VXPluginManager+Unload.cpp
    bool addPluginToUnloadStack(VXPluginProxy *proxy);
    bool addDependantsToUnloadStack(VXPluginProxy *proxy);
    bool addEveryPluginToUnloadStack();
    int shouldUnloadPluginStack() const;
    void unloadPluginStack();

    // VXPluginManager+Windows.cpp
    void restoreOpenWindows();
    void finalizeOpenWindowsForQuit();

    QHash<QString, VXPluginProxy *> _plugins;             // every proxy, by identifier
    std::vector<std::unique_ptr<VXPluginProxy>> _proxies; // owns them
    // Enabled ones, by kind: a cache. The mark is set on whatever thread changes the user defaults.
    mutable QHash<QString, QList<VXPluginProxy *>> _pluginsByClass;
    mutable std::atomic<bool> _kindCacheIsStale = false;

    bool _holdsAnnouncements = false;           // while start-up loads plugins
    QList<QPointer<VXPlugin>> _pluginsToLoad;   // instances whose loading is still to be announced
    QList<VXPluginProxy *> _pluginsToUnload;    // the unload stack, first to go first
    QSet<VXPluginProxy *> _pluginsBeingStacked; // whose dependants are being collected
    bool _isStarting = false;
    bool _isShutDown = false;
    bool _safeMode = false;

    std::unique_ptr<VXPluginScanner> _scanner;
    std::unique_ptr<VXPluginLoadMarker> _loadMarker;
    QHash<QString, QString> _leftOut; // plugins left out at this start, and why

    QStringList _windowsAtStart;     // their URLs, as the last quit left them
    QStringList _windowsNotRestored; // their URLs: a plugin that may know them is not loaded
};
