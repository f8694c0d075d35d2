#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"
#include "VXNotificationCenter.h"

#include <QtCore/QList>
#include <QtCore/QObject>

#include <functional>
#include <optional>

/** IDs of objects; empty when the save had none of the kind. */
using VXObjectIDList = std::optional<QList<VXManagedObjectID>>;

/** Is told which objects a save inserted, updated and deleted. Runs on the main thread. */
using VXContextSaveHandler =
    std::function<void(const VXObjectIDList &inserted, const VXObjectIDList &updated, const VXObjectIDList &deleted)>;

/**
 * For observers of VXManagedObjectContextDidSaveNotification, on whatever thread it is posted: passes the IDs of the
 * objects to the main thread, without waiting (on the main thread: immediately). Saves of the given context, which is
 * the observer's own, and saves in other stores are left out. Nothing is passed while the application terminates, or
 * once the observer is destroyed.
 */
VX_EXPORT void dispatchContextSaveNotificationToMainThread(QObject *observer, const VXNotification &notification,
                                                           const VXManagedObjectContext *context,
                                                           const VXContextSaveHandler &handler);

/** The object, read from the store if need be. Unlike a look-up by ID alone, returns null when it no longer exists. */
[[nodiscard]] VX_EXPORT VXManagedObjectPtr vx_fetchManagedObjectWithID(VXManagedObjectContext &context,
                                                                       const VXManagedObjectID &objectID);

/** The number of matching objects; empty on failure. */
[[nodiscard]] VX_EXPORT std::optional<qsizetype>
vx_countForFetchRequest(VXManagedObjectContext &context, const VXFetchRequest &request, VXError *error = nullptr);
