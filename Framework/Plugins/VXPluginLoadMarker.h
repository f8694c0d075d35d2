#pragma once

#include <QtCore/QList>
#include <QtCore/QString>

/**
 * Leaves word, should the program come to a sudden end, of the plugin whose code was running to load it. The word is a
 * file of this process in a folder that all processes of the user share; the kernel's lock on it ends with the process.
 */
class VXPluginLoadMarker
{
public:
    /** A plugin; `version` is null for none. */
    struct Plugin
    {
        QString identifier;
        QString version;
        QString path;
    };

    /** The folder is made when it is needed. */
    explicit VXPluginLoadMarker(const QString &folder);
    ~VXPluginLoadMarker();
    VXPluginLoadMarker(const VXPluginLoadMarker &) = delete;
    VXPluginLoadMarker &operator=(const VXPluginLoadMarker &) = delete;

    /** The plugins that were loading in processes that are no more; each is told once. */
    QList<Plugin> takeSuspects() const;

    /** Pairs of calls, which nest: the innermost plugin is the one named. A marker that cannot be written is logged. */
    void willLoad(const Plugin &plugin);
    void didLoad();
    /** Removes the file, unless a plugin is loading. */
    void removeWhenDone();

private:
    bool open();
    bool fail(const QString &reason);
    void write();

    const QString _folder;
    QString _path; // of the file; null while there is none
    int _descriptor = -1;
    bool _hasFailed = false; // and was logged
    QList<Plugin> _loading;  // innermost last
};
