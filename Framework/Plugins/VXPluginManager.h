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
#include <QtCore/QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

class VXPluginScanner;
class VXPluginUnloadRun;
enum class VXUnloadPurpose;

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
    /** In place of `startup`, for who asks what plugins there are: none is loaded, but by its proxy's `load`. */
    void findPlugins();
    /** A VXUnloadReply: may the application end? */
    int shouldShutdown();
    /** Records the open windows and unloads everything. */
    void shutdown();
    /** A plugin that answered VXUnloadLater has made up its mind. */
    void replyToPluginShouldUnload(bool flag, const QString &identifier);
    /** The plugins that answered VXUnloadLater and have not made up their minds, by identifier; empty for none. */
    QStringList pluginsAwaited() const;
    bool awaitsUnloadReply() const { return !pluginsAwaited().isEmpty(); }
    /** Who refused when plugins were last to be unloaded, for people; null when nobody did. */
    QString lastRefusal() const { return _lastRefusal; }
    /** Which plugin failed, and why, when a URL was last to be opened, for people; null when none did. */
    QString lastURLProblem() const { return _lastURLProblem; }

    // -- Changes
    /** Enables and loads a root plugin; false, and not enabled, when it cannot be loaded. */
    bool enablePluginProxy(VXPluginProxy *proxy);
    /** Unloads a plugin after what depends on it, with the user's and the plugins' consent, and disables them. Where it
     * is being disabled already, that goes on; where that waits for a plugin, they are asked again. */
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
    /** Before `startup`: load only the built-in plugins that ship with the program. */
    void setSafeMode(bool flag) { _safeMode = flag; }
    bool isSafeMode() const { return _safeMode; }
    /** Before `startup`: of the root plugins only these are loaded, for who has a look and changes nothing. What waits to be
     * installed goes on waiting, nothing is blamed on plugins, and no windows are opened. */
    void setOnlyPlugins(const std::function<bool(const VXPluginProxy &root)> &isWanted) { _isWanted = isWanted; }
    bool loadsOnlySome() const { return bool(_isWanted); }
    /** Why a plugin was left out this time, or failed: for people; null when nothing is wrong. */
    QString problemOfPlugin(const QString &identifier) const;
    /** Why the plugin is not to be loaded at this start; null when it may be. */
    QString reasonToLeaveOut(const QString &identifier) const { return _leftOut.value(identifier); }
    /** What `startup` found that the user should know now, for people: which plugins earlier ends of the program are to
     * be blamed on, and what follows. */
    const QStringList &startupNotices() const { return _startupNotices; }
    /** Loads a plugin that was left out, if it is enabled; should the program end at that, it is left out again. */
    bool retryPlugin(const QString &identifier);
    /** Why this copy was chosen at start-up, and which others were found; none when no scan found the plugin. */
    std::optional<VXPluginChoice> choiceForPlugin(const QString &identifier) const;

    // -- Descriptive classes: bundles that carry localized texts for classes (VXPluginManager+Descriptive.cpp)
    /** The application's and the framework's bundle, and those of enabled plugins with "VXDescriptiveClassList". */
    QList<VXBundle::Ptr> _descriptiveClassBundles() const;
    /** The first of those that lists the class; null for none. */
    VXBundle::Ptr bundleForDescriptiveClass(const QString &className) const;
    /** The class's texts, in the user's language; empty when no bundle lists it. */
    QVariantMap localizationInfoForDescriptiveClass(const QString &className) const;

    // -- For scripts
    QList<VXPluginProxy *> as_plugins() const { return enabledPlugins(); }

private:
    using UnloadRun = std::shared_ptr<VXPluginUnloadRun>;

    VXPluginManager();
    ~VXPluginManager() override;

    // VXPluginManager+Private.cpp
    struct BundleTree; // a bundle and the ones inside it, before anything is registered
    bool openBundle(const QString &path, BundleTree *tree, QHash<QString, QString> &paths, VXError *error) const;
    VXPluginProxy *addTree(const BundleTree &tree);
    void registerPlugin(std::unique_ptr<VXPluginProxy> proxy);
    void dropKindCache() { _kindCacheIsStale = true; }
    static void announceChange();
    static void setPluginsEnabled(const QStringList &identifiers, bool flag);
    void leaveOutSuspects();
    void leaveOutForSafeMode();
    void loadEnabledPlugins();
    void announceHeldPlugins();
    QVariant openURLString(const QString &url);

    // VXPluginManager+Unload.cpp
    UnloadRun beginRun(VXUnloadPurpose purpose, VXPluginProxy *subject = nullptr);
    UnloadRun runOfDisabling(const VXPluginProxy &proxy) const;
    UnloadRun runOfQuitting() const;
    void carryOn(const UnloadRun &run);
    void finishRun(const UnloadRun &run);
    void answerQuit(bool flag);
    void collectEveryPlugin(VXPluginUnloadRun &run) const;

    // VXPluginManager+Windows.cpp
    void restoreOpenWindows();
    void finalizeOpenWindowsForQuit();

    QHash<QString, VXPluginProxy *> _plugins;             // every proxy, by identifier
    std::vector<std::unique_ptr<VXPluginProxy>> _proxies; // owns them
    // Enabled ones, by kind: a cache. The mark is set on whatever thread changes the user defaults.
    mutable QHash<QString, QList<VXPluginProxy *>> _pluginsByClass;
    mutable std::atomic<bool> _kindCacheIsStale = false;

    bool _holdsAnnouncements = false;         // while start-up loads plugins
    QList<QPointer<VXPlugin>> _pluginsToLoad; // instances whose loading is still to be announced
    std::vector<UnloadRun> _unloadRuns;       // those under way, oldest first
    QString _lastRefusal;
    QString _lastURLProblem;
    bool _isShutDown = false;
    bool _safeMode = false;
    std::function<bool(const VXPluginProxy &root)> _isWanted; // none: all
    bool _restoresWindows = false;

    std::unique_ptr<VXPluginScanner> _scanner;
    QHash<QString, QString> _leftOut; // plugins left out at this start, and why
    QStringList _startupNotices;

    QStringList _windowsAtStart;     // their URLs, as the last quit left them
    QStringList _windowsNotRestored; // their URLs: a plugin that may know them is not loaded, or failed
};
