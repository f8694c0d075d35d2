#pragma once

#include "VXPluginMarker.h"

#include <QtCore/QList>
#include <QtCore/QSet>

/** A plugin that was at work when the program ended: how often in a row, as `plugin` was last. */
struct VXPluginSuspect
{
    VXPluginAtWork plugin;
    int ends = 0;
};

/**
 * Remembers, from run to run, which plugins were at work at how many sudden ends of the program in a row. A single one may
 * have come from outside (a signal, a power cut); what was at work in two is to blame. The row ends with an orderly end of
 * a program that the plugin was at work in. Kept in a file that all processes of the user share; failing to write it is
 * logged, and forgets.
 */
class VXPluginSuspects
{
public:
    /** From this many ends on, a plugin is to be left out. */
    static constexpr int endsToBlame = 2;

    /** Counts what processes that are no more have left behind; those of one look count once. @return all suspects. */
    static QList<VXPluginSuspect> collect();

    /** After an orderly end: what these plugins did before does not count any more. */
    static void forget(const QSet<QString> &identifiers);

    /** The user wants the plugin tried once more: one further end will do. */
    static void giveAnotherChance(const QString &identifier);

    VXPluginSuspects() = delete;
};
