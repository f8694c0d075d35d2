#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QString>

/** Kinds of well-known folders, by four-character code. */
enum class VXFolderType : quint32 {
    Applications = 0x61707073,       // 'apps': desktop entries of installed applications
    ApplicationSupport = 0x61737570, // 'asup': data home
    Desktop = 0x6465736b,            // 'desk'
    Caches = 0x63616368,             // 'cach'
    Trash = 0x74727368,              // 'trsh': where trashed items lie
    Logs = 0x6c6f6773,               // 'logs': state home
    Preferences = 0x70726566,        // 'pref': configuration home
};

/** Whose folder: the machine's or the user's. */
enum class VXFolderDomain : qint16 { Local = -32765, User = -32763 };

/** Results of VXFindFolder. */
enum : int { VXFolderFound = 0, VXFolderNotFound = -43, VXFolderPathTooLong = -2110 };

/**
 * The path of a well-known folder by the XDG Base Directory Specification, the XDG user directories and the
 * freedesktop.org Trash specification. Nothing is created. Any thread, as long as the environment is not changed.
 * @return the absolute path; null when there is no such folder (a kind the domain does not have, or no home)
 *         or when its path does not fit into 1024 bytes; `status`, if given, tells which.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXFindFolder(VXFolderType type, VXFolderDomain domain, int *status = nullptr);

/**
 * Makes a folder for the user's personal data, and missing folders above it, accessible for nobody else (0700). An
 * existing folder that belongs to the user is closed to others as well. Files in it are made with 0600. @return false
 * when there is no such folder afterwards; `reason`, if given, says why.
 */
VX_PLATFORM_EXPORT bool VXMakePrivateFolder(const QString &path, QString *reason = nullptr);

/** Whether anything is at the path, including a dangling link. */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXExistsAtPath(const QString &path);

/** The absolute path without ".", ".." and double slashes; links are not resolved. The path need not exist. */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXStandardizedPath(const QString &path);

/**
 * Replaces "~" or "~NAME" at the start of a path by the home folder of the user, or of that user; unchanged if there is
 * no such user.
 */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXExpandTilde(const QString &path);

/**
 * Moves every per-user folder below `path`, for this process and the programs it starts, by setting HOME and the XDG
 * variables. To be called before any thread starts and before the first look-up.
 */
VX_PLATFORM_EXPORT void VXSetHomeFolder(const QString &path);
