#pragma once

#include "VXItemSource.h"
#include "VXPersistentStore.h"

#include <QtCore/QStringList>

/** A model as written by people; fails the test when it is none. */
VXManagedObjectModel::Ptr VXModelOf(const QByteArray &source);

/** Gathers changes of rows, given by property name, and saves them to a store. */
class VXRowSaver
{
public:
    explicit VXRowSaver(VXPersistentStore &store) : _store(store) {}

    VXManagedObjectID add(const QString &entity, const QVariantMap &values = {});
    /** On the base of what the store holds now; returns the change, to make it another one. */
    VXRowChange &change(const VXManagedObjectID &objectID, const QVariantMap &values);
    VXRowChange &remove(const VXManagedObjectID &objectID);
    void link(const VXManagedObjectID &source, const QString &relationship, const QList<VXManagedObjectID> &added,
              const QList<VXManagedObjectID> &removed = {});

    VXSaveRequest request;
    QList<VXRowConflict> conflicts; // of the last save
    VXError error;

    std::unique_ptr<VXStoreTransaction> save();
    bool saveAndCommit();

private:
    VXPersistentStore &_store;
};

/** The rows that a fetch finds; on failure those until then, with an error. `isExact` may be nullptr. */
QList<VXFetchedRow> VXFetchRows(VXPersistentStore &store, const VXFetchRequest &request, VXError *error,
                                bool *isExact = nullptr);

/** What the attribute is of the objects that a fetch finds, in order; a fetch that fails or is not exact fails the test. */
QVariantList VXFetchValues(VXPersistentStore &store, const VXFetchRequest &request, const QString &attribute);
