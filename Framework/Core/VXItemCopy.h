#pragma once

#include <filesystem>
#include <system_error>

// Copies of files, folders and links, for moves to another file system. Private to the framework. Any thread.

/**
 * Copies an item with all below it to a path that is free: contents (holes stay holes), links as they are, and, as far as
 * the file system and the user's rights allow, owners, permissions, times and extended attributes. The contents are on the
 * disk when it returns. After a failure part of the copy may be there.
 *
 * Permissions and times of the item itself, when it is a folder, are left to VXFinishCopy: a folder without the permission
 * to write cannot be moved into another one.
 */
[[nodiscard]] std::error_code VXCopyItem(const std::filesystem::path &from, const std::filesystem::path &to);

/** Gives the copy of a folder, at its last place, what VXCopyItem left out, and writes the folder around it to the disk. */
[[nodiscard]] std::error_code VXFinishCopy(const std::filesystem::path &from, const std::filesystem::path &to);

/** Whether the user may remove the item and all below it, as far as that can be told before. */
[[nodiscard]] std::error_code VXCheckRemovable(const std::filesystem::path &item);

/** Removes a copy with all below it, also folders without the permission to write. */
void VXRemoveCopy(const std::filesystem::path &copy);
