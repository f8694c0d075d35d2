#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>

class VXPlugin;

/** Phases in which a plugin's code could crash the program. */
enum class VXPluginWork { Loading, Unloading, RestoringWindows };

/** A plugin in such a phase, as remembered from run to run; `version` is null for none. */
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
 * Leaves a note, in case the program crashes, that names the plugin whose code was running. The note is a file of this
 * process in a folder shared by all processes of the user; the kernel releases its lock when the process ends. One
 * object per process; main thread only, except `lastWords`.
 */
class VX_EXPORT VXPluginMarker
{
public:
    /** Marks the plugin as being at work during its lifetime. Scopes nest: the innermost plugin is named. */
    class VX_EXPORT Scope
    {
    public:
        Scope(const VXPlugin &plugin, VXPluginWork work);
        /** Names no plugin; keeps the file open for all scopes inside this one. */
        Scope();
        ~Scope();
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;
    };

    static VXPluginMarker &shared();

    /** The folder of the files; created when needed. */
    static QString folder();

    /** The plugins that were at work in processes that crashed; each crash is reported once. */
    static QList<VXPluginAtWork> takeLeftBehind();

    /** The identifiers of the plugins that were at work in this process. */
    const QSet<QString> &workers() const { return _workers; }

    /** "IDENTIFIER was loading", for the plugin at work now; empty for none. Async-signal-safe. */
    static const char *lastWords();
    /** Removes the note when the program is being ended on request, so that it does not count as a crash.
     *  Async-signal-safe. */
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

    QString _path; // of the file; null if there is none
    int _descriptor = -1;
    qsizetype _size = 0;           // of the file, in bytes
    bool _hasFailed = false;       // a failure was logged
    QList<VXPluginAtWork> _atWork; // innermost last; an entry without identifier names nobody
    QSet<QString> _workers;
};
