#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

#include <memory>

class VXScratchFolder;

/**
 * A folder that comes to its place whole or not at all: it is filled in ".vornix-new.XXXXXX" beside the place, for this user
 * only, and then moved. What processes left behind that were killed meanwhile is removed; what bears another name, or is being
 * made, stays.
 */
class VX_EXPORT VXFolderInMaking
{
public:
    /** Makes the folder around it, and those above the place. */
    explicit VXFolderInMaking(const QString &place);
    /** Removes what was not moved. */
    ~VXFolderInMaking();
    VXFolderInMaking(const VXFolderInMaking &) = delete;
    VXFolderInMaking &operator=(const VXFolderInMaking &) = delete;

    /** Why it cannot be made; none when it can. */
    const VXError &problem() const { return _problem; }
    /** Where it is to be made, under the name that it will have. */
    const QString &path() const { return _path; }
    /** Moves it. False when that fails, or `isTaken`: there is something else than an empty folder, which stays. */
    bool moveIntoPlace(bool *isTaken, VXError *error);

    /** An error of what lies in the folder, told of what that is a copy of, or is to become: it is that which users know. */
    VXError errorAbout(const VXError &error, const QString &original) const;

    /** Removes what killed processes left in a folder where others were made. */
    static void removeLeftovers(const QString &folder);

private:
    const QString _place;
    std::unique_ptr<VXScratchFolder> _around;
    QString _path;
    VXError _problem;
};
