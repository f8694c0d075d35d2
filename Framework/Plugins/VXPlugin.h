#pragma once

#include "VXBundle.h"
#include "VXFrameworkExport.h"
#include "VXMutex.h"
#include "VXNotificationCenter.h"
#include "VXWorkspace.h"

#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

/** Posted on the main thread; object: the plugin instance (VXPlugin *), not its proxy. */
VX_EXPORT extern const VXNotificationName VXPluginDidLoadNotification;
VX_EXPORT extern const VXNotificationName VXPluginWillUnloadNotification;

/** Answers to "may this plugin be unloaded?". */
enum VXUnloadReply : int {
    VXUnloadCancel = 0,
    VXUnloadNow = 1,
    VXUnloadLater = 2, // the plugin answers through replyToPluginShouldUnload
};

/**
 * What every plugin is: an object whose class lies in a plugin bundle. Plugin authors derive from it, or from the base
 * class of their plugin's kind, and give the class an invokable constructor without arguments. Main thread only.
 */
class VX_EXPORT VXPlugin : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString as_identifier READ as_identifier)
    Q_PROPERTY(QString as_name READ as_name)
    Q_PROPERTY(QString as_version READ as_version)

public:
    Q_INVOKABLE VXPlugin();
    ~VXPlugin() override;

    /** The bundle that holds the code of the object's class; null when that lies in none. Any thread. */
    virtual VXBundle::Ptr bundle() const;
    /** The bundle's identifier; null without one. */
    Q_INVOKABLE virtual QString identifier() const;
    /** The bundle's "VXPluginName"; null without one. */
    Q_INVOKABLE virtual QString name() const;
    /** The name, or the identifier when there is none. */
    Q_INVOKABLE virtual QString description() const;
    /** The bundle's own icon, else one it names by file type or application, else that of a folder. */
    VXIcon icon() const;
    /** The kind: the bundle's "VXPluginClass". */
    Q_INVOKABLE QString pluginClassType() const;
    /** The text of a key of the bundle's Info.plist, not translated; null where there is none. */
    QString infoText(const QString &key) const;

    /** For subclasses: once the plugin is loaded, just before that is announced; and before it goes. */
    Q_INVOKABLE virtual void pluginDidLoad();
    Q_INVOKABLE virtual void pluginWillUnload();
    /** A VXUnloadReply: may the plugin be unloaded? Now, unless overridden. */
    Q_INVOKABLE virtual int pluginShouldUnload();
    /** The late answer after VXUnloadLater; inside `pluginShouldUnload` it takes the place of what that answers. */
    Q_INVOKABLE void replyToPluginShouldUnload(bool flag);

    /** What scripts see: identifier, name, and "SHORT VERSION (VERSION)". */
    QString as_identifier() const { return identifier(); }
    QString as_name() const { return name(); }
    QString as_version() const;

    // -- For the plugin manager, which calls them in this order. What they throw goes no further than the log.
    /** Runs `_pluginWillLoad`. @return what that threw; null when all went well. */
    QString callPluginWillLoad();
    /** Runs `pluginDidLoad`, then announces the plugin. @return what the former threw, which is not announced; or null. */
    QString _pluginDidLoad();
    int _pluginShouldUnload();
    void _pluginWillUnload();

    /** Every object of the class and its subclasses, proxies included. */
    static const QSet<VXPlugin *> &livingObjects();
    /** True for an instance that is kept on purpose after its plugin was unloaded: not to be reported as left over. */
    virtual bool isKeptAfterUnload() const;

protected:
    /** For the base classes of kinds: before the instance counts as loaded. Call the base class's. */
    virtual void _pluginWillLoad();

private:
    void post(VXNotificationName notification);

    mutable VXMutex _lock;
    mutable VXBundle::Ptr _codeBundle VX_GUARDED_BY(_lock); // found on first use
    bool _isUnloaded = false;
};
