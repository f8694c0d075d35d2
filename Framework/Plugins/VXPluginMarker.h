#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

class VXPlugin;

/** What a plugin's code is doing while it could take the program with it. */
enum class VXPluginWork { Loading, Unloading, RestoringWindows };

/** A plugin at work, as it is remembered from run to run; `version` is null for none. */
struct VXPluginAtWork
{
    QString identifier;
    QString version;
    QString path;
    VXPluginWork work = VXPluginWork::Loading;
};

/** "loading", "unloading", "restoring windows" */
VX_EXPORT QString VXNameOfPluginWork(VXPluginWork work);

/**
 * Leaves word, should the program come to a sudden end, of the plugin whose code was at work. The word is a file of this
 * process in a folder that all processes of the user share; the kernel's lock on it ends with the process. One for the
 * process, and main thread only, but for `lastWords`.
 */
class VX_EXPORT VXPluginMarker
{
public:
    /** While it lives, the plugin is at work. Scopes nest: the innermost is the one named. */
    class VX_EXPORT Scope
    {
    public:
        Scope(const VXPlugin &plugin, VXPluginWork work);
        /** Names nobody; the file serves all scopes inside this one. */
        Scope();
        ~Scope();
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;
    };

    static VXPluginMarker &shared();

    /** The folder of the files; it is made when it is needed. */
    static QString folder();

    /** The plugins that were at work in processes that are no more; each end is told once. */
    static QList<VXPluginAtWork> takeLeftBehind();

    /** The identifiers of those that have been at work in this process. */
    const QSet<QString> &workers() const { return _workers; }

    /** "IDENTIFIER was loading", of the one at work now; empty for none. May be called inside a signal handler. */
    static const char *lastWords();
    /** Takes the word back, for who ends the program on request: nobody crashed. May be called inside a signal handler. */
    static void takeBack();

    VXPluginMarker(const VXPluginMarker &) = delete;
    VXPluginMarker &operator=(const VXPluginMarker &) = delete;

private:
    VXPluginMarker() = default;

    void begin(const VXPluginAtWork &plugin);
    void end();
    void removeFile();
    bool open();
    bool fail(const QString &reason);
    void write();

    QString _path; // of the file; null while there is none
    int _descriptor = -1;
    bool _hasFailed = false;       // and was logged
    QList<VXPluginAtWork> _atWork; // innermost last; without identifier: nobody
    QSet<QString> _workers;
};
