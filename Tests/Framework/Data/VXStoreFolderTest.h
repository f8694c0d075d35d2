#pragma once

#include "VXLogRecorder.h"
#include "VXManagedObjectContext.h"
#include "VXTesting.h"

/** People with groups, in store folders and in memory. */
class VXStoreFolderTest : public VXHomeTest
{
protected:
    static VXManagedObjectModel::Ptr modelOf(const QByteArray &source);
    static VXManagedObjectModel::Ptr peopleModel();

    /** A folder with that model under the given name. */
    QString makeFolder(const QString &modelName) const;
    /** A data file in it: a store with one person. */
    static void makeDataFile(const QString &folder, const QString &name, const QVariantMap &metadata = {});
    static VXManagedObjectPtr addPerson(VXManagedObjectContext &context, const QString &name);
    static qsizetype personCount(const VXPersistentStoreCoordinator::Ptr &coordinator);
    /** The lines logged so far, from the level on, without addresses; the log begins anew. */
    QStringList takeLog();

private:
    std::unique_ptr<VXLogRecorder> _log = std::make_unique<VXLogRecorder>();
};
