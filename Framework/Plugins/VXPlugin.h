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
    VXUnloadLater = 2, // the plugin will call replyToPluginShouldUnload
};

/**
 * The base of all plugins: an object whose class is in a plugin bundle. Plugin authors derive from it, or from the base
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

    /** The bundle that contains the code of the object's class; null when none does. Any thread. */
    virtual VXBundle::Ptr bundle() const;
    /** The bundle's identifier; null without one. */
    Q_INVOKABLE virtual QString identifier() const;
    /** The bundle's "VXPluginName"; null without one. */
    Q_INVOKABLE virtual QString name() const;
    /** The name, or else the identifier. */
    Q_INVOKABLE virtual QString description() const;
    /** The bundle's own icon, or else that of a file type or application it names, or else that of a folder. */
    VXIcon icon() const;
    /** The kind: the bundle's "VXPluginClass". */
    Q_INVOKABLE QString pluginClassType() const;
    /** The untranslated text of a key in the bundle's Info.plist; null if there is none. */
    QString infoText(const QString &key) const;

    /** For subclasses: called when the plugin is loaded, just before that is announced; and before it is unloaded. */
    Q_INVOKABLE virtual void pluginDidLoad();
    Q_INVOKABLE virtual void pluginWillUnload();
    /** Whether the plugin may be unloaded, as a VXUnloadReply. VXUnloadNow unless overridden. */
    Q_INVOKABLE virtual int pluginShouldUnload();
    /** The answer after VXUnloadLater; if called within `pluginShouldUnload`, it replaces that function's result. */
    Q_INVOKABLE void replyToPluginShouldUnload(bool flag);

    /** What scripts see: identifier, name, and "SHORT VERSION (VERSION)". */
    QString as_identifier() const { return identifier(); }
    QString as_name() const { return name(); }
    QString as_version() const;

    // -- For the plugin manager, which calls these in this order. Exceptions are logged and go no further.
    /** Runs `_pluginWillLoad`. @return what it threw; null for nothing. */
    QString callPluginWillLoad();
    /** Runs `pluginDidLoad`, then announces the plugin. @return what `pluginDidLoad` threw, in which case nothing is
     *  announced; otherwise null. */
    QString _pluginDidLoad();
    int _pluginShouldUnload();
    void _pluginWillUnload();

    /** All objects of this class and its subclasses, including proxies. */
    static const QSet<VXPlugin *> &livingObjects();
    /** True for an instance that is kept on purpose after its plugin was unloaded, and is not to be reported as left
     *  over. */
    virtual bool isKeptAfterUnload() const;

protected:
    /** For the base classes of plugin kinds: called before the instance counts as loaded. Overrides must call the base
     *  class. */
    virtual void _pluginWillLoad();

private:
    void post(VXNotificationName notification);

    mutable VXMutex _lock;
    mutable VXBundle::Ptr _codeBundle VX_GUARDED_BY(_lock); // found on first use
    bool _isUnloaded = false;
};
