#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <utility>

/**
 * Brings bundles to the places they are installed at. One that lies there already changes places with the new one in one
 * step, so that whatever fails or is killed one of them is there whole (where the file system knows no such step, the old
 * one goes first), and then goes to the trash. Meanwhile the other lies in a hidden folder in the staging folder, where
 * the next start finds what a killed process left. Main thread only.
 */
class VXPluginPlacer
{
public:
    /** The folder exists when the others are called. */
    explicit VXPluginPlacer(QString stagingFolder) : _stagingFolder(std::move(stagingFolder)) {}

    /** Moves a bundle from anywhere into the staging folder. @return no error, or why it is where it was; the log tells
     *  where it is when it is not. The same holds for the next. */
    VXError bringToStaging(const QString &bundle) const;
    /** Moves a bundle in the staging folder to its place. */
    VXError place(const QString &bundle, const QString &target) const;

    /** Of what killed processes left, bundles that were not in place yet go on to wait in the staging folder, those whose
     *  place another has taken to the trash. */
    void finishInterrupted() const;

private:
    VXError replace(const QString &bundle, const QString &target) const;
    void finish(const QString &bundle, const QString &folder) const;

    const QString _stagingFolder;
};
