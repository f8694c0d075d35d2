#pragma once

#include "VXPluginMarker.h"

#include <QtCore/QList>
#include <QtCore/QSet>

/** A plugin that was at work when the program crashed: how many times in a row, and which copy it was the last time. */
struct VXPluginSuspect
{
    VXPluginAtWork plugin;
    int ends = 0;
};

/**
 * Remembers, from run to run, which plugins were at work in how many successive crashes. A single crash may have an
 * outside cause (a signal, a power cut); a plugin that was at work in two is to blame. An orderly end of a program in
 * which the plugin was at work resets the count. Kept in a file that all processes of the user share; a failure to
 * write it is logged, and the counts are lost.
 */
class VXPluginSuspects
{
public:
    /** With this many crashes a plugin is left out. */
    static constexpr int endsToBlame = 2;

    /** Counts the crashes that ended processes have left notes of; several notes found at a time count once. @return
     *  all suspects. */
    static QList<VXPluginSuspect> collect();

    /** To be called after an orderly end: earlier crashes of these plugins no longer count. */
    static void forget(const QSet<QString> &identifiers);

    /** The user wants the plugin tried once more: it is left out again after one further crash. */
    static void giveAnotherChance(const QString &identifier);

    VXPluginSuspects() = delete;
};
