#pragma once

#include "VXNotificationCenter.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <chrono>
#include <optional>

struct VXHostContext;

/**
 * To be called at the end of a command: if it saved more than it could mirror itself, and nobody else maintains the
 * mirror, a process in the background does so. Takes no longer than starting that process.
 */
void VXStartSearchUpdateIfDue();

/**
 * As long as it lives, saves in the stores of that folder by coordinators that belong to no plugin are left to the next
 * search.
 */
class VXSavesLeftToSearch
{
public:
    explicit VXSavesLeftToSearch(const QString &folder);
    ~VXSavesLeftToSearch();
    VXSavesLeftToSearch(const VXSavesLeftToSearch &) = delete;
    VXSavesLeftToSearch &operator=(const VXSavesLeftToSearch &) = delete;

private:
    QList<VXNotificationCenter::ObserverID> _observers;
};

/**
 * Starts this program once more, in parallel to this process and beyond its end. Its output is discarded, because it
 * may be personal.
 */
void VXStartBeside(const QStringList &arguments);

/** In the background, whether it is due or not; what another process is already doing is left to it. */
void VXStartSearchUpdate();

/** The lock of whoever does so, one process at a time. */
[[nodiscard]] QString VXSearchUpdateLockPath();
[[nodiscard]] bool VXIsSearchBeingUpdated();

/** Whether something was saved that search does not know about, or there has been no pass yet. */
[[nodiscard]] bool VXIsSearchUpdateDue();

/** What was mirrored for plugins that are gone, or are not to be used any more, goes: among the plugins, and for them. */
void VXRemoveUnsearched();

/** True, with a message to the user, if the user does not want search; then what was mirrored before is removed. */
[[nodiscard]] bool VXFailIfNothingIsSearched(VXHostContext &context);

/**
 * Makes a pass over each store that is searched; needs loaded plugins. Waits for other processes that are doing the
 * same, at most for that time, or, if there is none, until they are done. False, with a message to the user, if there
 * is no such store, or not everything could be indexed.
 */
[[nodiscard]] bool VXUpdateSearch(VXHostContext &context, std::optional<std::chrono::milliseconds> longestWait = {});
