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
 * Makes a folder for the user's personal data, and those above it that are missing, which nobody else may enter (0700).
 * One that is there already and belongs to the user is closed to others too. Files in it are made with 0600.
 * @return false when there is no such folder afterwards; `reason`, if given, tells why.
 */
VX_PLATFORM_EXPORT bool VXMakePrivateFolder(const QString &path, QString *reason = nullptr);

/** True for what lies at the path, a link that leads nowhere included. */
[[nodiscard]] VX_PLATFORM_EXPORT bool VXExistsAtPath(const QString &path);

/** The path with "~" or "~NAME" at its start replaced by the user's, or that user's, home folder; as it is when there is no
 *  such user. */
[[nodiscard]] VX_PLATFORM_EXPORT QString VXExpandTilde(const QString &path);

/**
 * Puts every per-user folder below `path`, for this process and the programs it starts, by setting HOME and the
 * XDG variables. Call it before any thread starts and before the first look-up.
 */
VX_PLATFORM_EXPORT void VXSetHomeFolder(const QString &path);
