#pragma once

#include "VXErrorText.h"
#include "VXManagedObjectModel.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QString>

/**
 * A model from a file: compiled (.mom) or source (.vxmodel). @return null on failure, with every mistake in `problem`.
 */
[[nodiscard]] VXManagedObjectModel::Ptr VXModelFromFile(const QString &path, QString *problem);

/** What stores are opened for: reading changes nothing. */
enum class VXStoreUse { Read, Change };

/**
 * The stores at a path: a store folder, or one data file (.sqlite or .xml). The model is `modelPath`, if given, else
 * the compiled models found there. Makes nothing. @return null with a problem on failure.
 */
[[nodiscard]] VXPersistentStoreCoordinator::Ptr VXOpenStores(const QString &path, const QString &modelPath,
                                                             VXStoreUse use, QString *problem);

/**
 * Makes a new store folder with the compiled model and an empty data file of the type ("sqlite" or "xml"). Replaces
 * nothing; on failure nothing is left behind.
 */
[[nodiscard]] bool VXMakeStoreFolder(const QString &path, const QString &modelPath, const QString &type,
                                     QString *problem);
