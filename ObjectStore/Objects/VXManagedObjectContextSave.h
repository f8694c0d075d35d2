#pragma once

#include "VXManagedObjectContext.h"

#include <vector>

/** One save of a context: what is written, to which store, and what becomes of the objects then. Used once. */
class VXManagedObjectContext::Save
{
public:
    explicit Save(VXManagedObjectContext &context) : _context(context) {}

    /** On failure objects are as they were before. */
    bool run(VXError *error);

private:
    /** What goes to one store. */
    struct Part
    {
        VXPersistentStoreCoordinator::StorePtr store;
        VXSaveRequest request;
        std::vector<VXManagedObject *> objects; // of the request's changes, in their order
    };
    /** An object that is not written after all: somebody else has changed it, and that stays. */
    struct Yielding
    {
        VXManagedObject *object;
        VXStoreRow::Ptr stored; // null: it is gone
    };

    // -- Preparing
    void callWillSave() const;
    bool validate(VXError *error) const;
    bool build(VXError *error);
    Part *partFor(const ObjectID &objectID, VXError *error);
    static VXStoreRow::Ptr rowOf(const VXManagedObject &object);
    bool addChange(VXManagedObject &object, const VXStoreRow::Ptr &row, const QList<int> &changed, VXError *error);
    bool addUpdated(VXManagedObject &object, VXError *error);
    bool addLinks(const VXManagedObject &object, VXError *error);
    void addMetadata();

    // -- Writing (VXManagedObjectContext+Conflicts.cpp)
    bool write(VXError *error);
    bool resolve(const QList<VXRowConflict> &conflicts);
    bool resolve(Part &part, qsizetype place, const VXStoreRow::Ptr &stored, bool *isDropped);
    VXError conflictError(const QList<VXRowConflict> &conflicts) const;

    // -- Afterwards
    void undo();
    void finish();
    void takeOverRows();
    void callDidSave() const;

    VXManagedObjectContext &_context;
    QList<ObjectPtr> _inserted;
    QList<ObjectPtr> _updated;
    QList<ObjectPtr> _deleted;
    QList<Renamed> _renamed; // objects that were given permanent IDs
    std::vector<Part> _parts;
    std::vector<Yielding> _yielding;
};
