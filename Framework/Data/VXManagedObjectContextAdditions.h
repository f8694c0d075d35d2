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

/** Told which objects a save inserted, updated and deleted. Runs on the main thread. */
using VXContextSaveHandler =
    std::function<void(const VXObjectIDList &inserted, const VXObjectIDList &updated, const VXObjectIDList &deleted)>;

/**
 * For observers of VXManagedObjectContextDidSaveNotification, on whatever thread it is posted: hands over the IDs of the objects
 * to the main thread, without waiting; on the main thread at once. Given a context of the observer's own, saves by it and
 * saves in other stores are left out. Nothing is handed over while the application terminates, or once the observer is gone.
 */
VX_EXPORT void dispatchContextSaveNotificationToMainThread(QObject *observer, const VXNotification &notification,
                                                           const VXManagedObjectContext *context,
                                                           const VXContextSaveHandler &handler);

/** The object, read from the store if need be; null when it is not there any more, unlike a look-up by ID alone. */
[[nodiscard]] VX_EXPORT VXManagedObjectPtr vx_fetchManagedObjectWithID(VXManagedObjectContext &context,
                                                                       const VXManagedObjectID &objectID);

/** How many objects match; empty on failure. */
[[nodiscard]] VX_EXPORT std::optional<qsizetype>
vx_countForFetchRequest(VXManagedObjectContext &context, const VXFetchRequest &request, VXError *error = nullptr);
