#pragma once

#include <filesystem>
#include <system_error>

// Copies of files, folders and links, for moves to another file system. Private to the framework. Any thread.

/**
 * Copies an item with everything below it to a path where nothing is: contents (holes stay holes), symbolic links as
 * links, and, as far as the file system and the user's rights allow, owners, permissions, times and extended
 * attributes. The contents are on disk when it returns. After a failure part of the copy may exist.
 *
 * If the item itself is a folder, its permissions and times are left to VXFinishCopy: a folder without write permission
 * cannot be moved into another one.
 */
[[nodiscard]] std::error_code VXCopyItem(const std::filesystem::path &from, const std::filesystem::path &to);

/**
 * Sets what VXCopyItem has left out on the copy of a folder at its final place, and syncs the folder around it to disk.
 */
[[nodiscard]] std::error_code VXFinishCopy(const std::filesystem::path &from, const std::filesystem::path &to);

/** Whether the user may remove the item and everything below it, as far as that can be determined in advance. */
[[nodiscard]] std::error_code VXCheckRemovable(const std::filesystem::path &item);

/** Removes a copy with everything below it, including folders without write permission. */
void VXRemoveCopy(const std::filesystem::path &copy);
