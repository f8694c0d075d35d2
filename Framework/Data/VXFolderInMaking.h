#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <memory>

class VXScratchFolder;

/**
 * A folder that appears at its place whole or not at all. It is filled in ".vornix-new.XXXXXX" beside the place,
 * readable for this user only, and then moved. Removes what killed processes have left under such names, but nothing
 * with another name or still in the making.
 */
class VX_EXPORT VXFolderInMaking
{
public:
    /** Makes the surrounding temporary folder, and the folders above the place. */
    explicit VXFolderInMaking(const QString &place);
    /** Removes the folder if it was not moved. */
    ~VXFolderInMaking();
    VXFolderInMaking(const VXFolderInMaking &) = delete;
    VXFolderInMaking &operator=(const VXFolderInMaking &) = delete;

    /** Why the folder cannot be made; none when it can. */
    const VXError &problem() const { return _problem; }
    /** Where to make the folder; its last part is the final name. */
    const QString &path() const { return _path; }
    /** Moves the folder to its place. False when that fails, or (`isTaken`) when something other than an empty folder
     *  is there, which stays. */
    bool moveIntoPlace(bool *isTaken, VXError *error);

    /** Rewrites an error about the temporary folder to speak of the original instead: what it is a copy of, or will
     *  become. That is what users know. */
    VXError errorAbout(const VXError &error, const QString &original) const;

    /** Removes what killed processes have left in a folder where others were made. */
    static void removeLeftovers(const QString &folder);

private:
    const QString _place;
    std::unique_ptr<VXScratchFolder> _around;
    QString _path;
    VXError _problem;
};
