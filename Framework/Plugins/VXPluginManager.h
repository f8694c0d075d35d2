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

/** The result of `installBundleAtPath`. */
enum class VXPluginInstallResult { InstalledForNextStart = -1, Failed = 0, Installed = 1 };

/**
 * The registry of plugins: finds the newest copy of each in the plugin folders, loads the enabled ones in the order of
 * their dependencies, enables, disables and installs plugins while the program runs, and unloads them with consent. A
 * plugin that fails is logged and skipped; the others are not affected. Main thread only, except `sharedPluginManager`.
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
    /** Used instead of `startup` to find out which plugins there are: none is loaded unless its proxy's `load` is
     *  called. */
    void findPlugins();
    /** Whether the application may end, as a VXUnloadReply. */
    int shouldShutdown();
    /** Records the open windows and unloads everything. */
    void shutdown();
    /** The answer of a plugin that had answered VXUnloadLater. */
    void replyToPluginShouldUnload(bool flag, const QString &identifier);
    /** Identifiers of the plugins that answered VXUnloadLater and have not answered since. */
    QStringList pluginsAwaited() const;
    bool awaitsUnloadReply() const { return !pluginsAwaited().isEmpty(); }
    /** Who refused when plugins were to be unloaded last, in the user's language; null when nobody did. */
    QString lastRefusal() const { return _lastRefusal; }
    /** Which plugin failed, and why, when a URL was to be opened last, in the user's language; null when none did. */
    QString lastURLProblem() const { return _lastURLProblem; }

    // -- Changes
    /** Enables and loads a root plugin; false, and not enabled, when it cannot be loaded. */
    bool enablePluginProxy(VXPluginProxy *proxy);
    /** Unloads a plugin after the plugins that depend on it, with consent of the user and the plugins, and disables
     *  them. If that is going on already, it continues; if that waits for plugins, they are asked again. */
    void disablePluginProxy(VXPluginProxy *proxy);
    VXPluginInstallResult installBundleAtPath(const QString &path, VXError *error = nullptr);
    /** The new proxy; nullptr when the plugin is already there, or cannot be added, of which the user is told. */
    VXPluginProxy *addPluginForBundleAtPath(const QString &path);
    /** For instances that plugins make themselves. */
    void loadPluginInstance(VXPlugin *instance);
    void unloadPluginInstance(VXPlugin *instance);

    // -- Folders, determined on first use
    /** The searched folders: application, framework, those of VORNIX_PLUGIN_PATH, shared. */
    QStringList pluginFolderPaths() const;
    /** The folder for installed plugins. */
    QString pathToSharedPluginFolder() const;
    /** The folder in which plugins wait while the running copy cannot be replaced. */
    QString pathToInstallStagingFolder() const;

    // -- Containment
    /** To be called before `startup`: loads only the built-in plugins that come with the program. */
    void setSafeMode(bool flag) { _safeMode = flag; }
    bool isSafeMode() const { return _safeMode; }
    /** To be called before `startup`, by programs that look and change nothing: of the root plugins only these are
     *  loaded. Staged plugins stay staged, no plugin is blamed for crashes, and no windows are opened. */
    void setOnlyPlugins(const std::function<bool(const VXPluginProxy &root)> &isWanted) { _isWanted = isWanted; }
    bool loadsOnlySome() const { return bool(_isWanted); }
    /** Why a plugin was left out this time, or failed, in the user's language; null when nothing is wrong. */
    QString problemOfPlugin(const QString &identifier) const;
    /** Why the plugin is not to be loaded at this start; null when it may be. */
    QString reasonToLeaveOut(const QString &identifier) const { return _leftOut.value(identifier); }
    /** What `startup` found that the user should know, in the user's language: which plugins are to blame for earlier
     *  crashes, and the consequences. */
    const QStringList &startupNotices() const { return _startupNotices; }
    /** Loads a plugin that was left out, if it is enabled; if the program crashes in that, it is left out again. */
    bool retryPlugin(const QString &identifier);
    /** Why this copy was chosen at start-up, and which others were found; none when no scan found the plugin. */
    std::optional<VXPluginChoice> choiceForPlugin(const QString &identifier) const;

    // -- Descriptive classes: bundles that carry localized texts for classes (VXPluginManager+Descriptive.cpp)
    /** The bundles of the application, of the framework, and of enabled plugins with "VXDescriptiveClassList". */
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
    // Enabled plugins by kind: a cache. The flag is set on any thread that changes the user defaults.
    mutable QHash<QString, QList<VXPluginProxy *>> _pluginsByClass;
    mutable std::atomic<bool> _kindCacheIsStale = false;

    bool _holdsAnnouncements = false;         // while plugins are loaded at start-up
    QList<QPointer<VXPlugin>> _pluginsToLoad; // instances not yet announced as loaded
    std::vector<UnloadRun> _unloadRuns;       // in progress, oldest first
    QString _lastRefusal;
    QString _lastURLProblem;
    bool _isShutDown = false;
    bool _safeMode = false;
    std::function<bool(const VXPluginProxy &root)> _isWanted; // none: all
    bool _restoresWindows = false;

    std::unique_ptr<VXPluginScanner> _scanner;
    QHash<QString, QString> _leftOut; // plugins left out at this start, and why
    QStringList _startupNotices;

    QStringList _windowsAtStart;     // URLs of the windows that were open at the last quit
    QStringList _windowsNotRestored; // URLs: the plugin that may know them is not loaded, or failed
};
