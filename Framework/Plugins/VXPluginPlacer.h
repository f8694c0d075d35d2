#pragma once

#include "VXError.h"

#include <QtCore/QString>

#include <utility>

/**
 * Moves bundles to where they are installed. A bundle that is already there is exchanged with the new one atomically,
 * so that one of them is there whole whatever fails or is killed (where the file system has no such operation, the old
 * one is moved away first), and then goes to the trash. Meanwhile the other bundle is in a hidden folder in the staging
 * folder, where the next start finds what a killed process left. Main thread only.
 */
class VXPluginPlacer
{
public:
    /** The staging folder must exist when the other functions are called. */
    explicit VXPluginPlacer(QString stagingFolder) : _stagingFolder(std::move(stagingFolder)) {}

    /** Moves a bundle from anywhere into the staging folder. @return no error, or why the bundle is where it was; if it
     *  is not, the log says where it is. The same holds for place(). */
    VXError bringToStaging(const QString &bundle) const;
    /** Moves a bundle in the staging folder to its place. */
    VXError place(const QString &bundle, const QString &target) const;

    /** Cleans up after killed processes: bundles that were not yet installed are staged again; those that were replaced
     *  go to the trash. */
    void finishInterrupted() const;

private:
    VXError replace(const QString &bundle, const QString &target) const;
    void finish(const QString &bundle, const QString &folder) const;

    const QString _stagingFolder;
};
