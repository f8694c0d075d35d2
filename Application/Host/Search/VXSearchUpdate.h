#pragma once

#include "VXNotificationCenter.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <chrono>
#include <optional>

struct VXHostContext;

/**
 * At the end of a command: where it saved more than it could mirror itself, and nobody keeps the mirror, a process in the
 * background does it. Takes no longer than starting that.
 */
void VXStartSearchUpdateIfDue();

/** While it lives: what is saved in the stores of that folder by no plugin's coordinator is left to the next search. */
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

/** Starts this program once more, beside this process and beyond its end. What it says is heard by nobody: it may be personal. */
void VXStartBeside(const QStringList &arguments);

/** In the background, whether or not it is due: what another process does already is left to that. */
void VXStartSearchUpdate();

/** Whether something was saved that searching does not know of, or nobody has made a pass yet. */
[[nodiscard]] bool VXIsSearchUpdateDue();

/** What was mirrored for plugins that are gone, or are not to be used any more, goes: among the plugins, and for them. */
void VXRemoveUnsearched();

/** True, told, when the user wants no search; then what was mirrored before goes. */
[[nodiscard]] bool VXFailIfNothingIsSearched(VXHostContext &context);

/**
 * Makes a pass over each store that is searched, among the plugins; waits for other processes that do at most for that time,
 * none: until they are done. False, told, when there is none, or not all could be taken in.
 */
[[nodiscard]] bool VXUpdateSearch(VXHostContext &context, std::optional<std::chrono::milliseconds> longestWait = {});
