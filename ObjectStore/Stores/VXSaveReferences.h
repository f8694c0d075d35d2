#pragma once

#include "VXObjectShelves.h"
#include "VXPersistentStore.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

/** True for a relationship that is stored and must lead to objects that are there: where the other end has the delete rule
 * "no-action", a reference may be left behind. */
bool VXMustLeadSomewhere(const VXRelationshipDescription &relationship);

/** True for a relationship that is stored and to-one at both ends: these lead to each other. */
bool VXIsPair(const VXRelationshipDescription &relationship);

/**
 * What of a save has to do with objects beside those it writes: those that it leads to anew, and those that it takes from under
 * others. Stores look at these once for each save; without relationships there is nothing to look at.
 */
class VXSaveReferences
{
public:
    using ByRelationship = QHash<const VXRelationshipDescription *, QList<VXManagedObjectID>>;

    explicit VXSaveReferences(const VXSaveRequest &request);

    /** Objects that must be there, other than those that the save inserts. */
    const QSet<VXManagedObjectID> &targets() const { return _targets; }
    /** The deleted objects, by those of their relationships whose inverse is to-one and must not lead to them any more. */
    const ByRelationship &deleted() const { return _deleted; }
    /** The deleted objects, by those of their relationships that are to-many at both ends and must be empty by then. */
    const ByRelationship &denying() const { return _denying; }
    /** The objects that get another partner, by their relationship whose both ends are to-one. */
    const ByRelationship &paired() const { return _paired; }

private:
    using Rows = VXObjectShelves<const VXStoreRow *>;

    void addTargets(const VXRowChange &change, const Rows &whole);
    void addTarget(const VXManagedObjectID &target, const Rows &whole);
    void lookAt(const VXEntityDescription &entity);
    void addDeleted(const VXManagedObjectID &objectID);

    QSet<VXManagedObjectID> _targets;
    ByRelationship _deleted;
    ByRelationship _denying;
    ByRelationship _paired;
    const VXEntityDescription *_entity = nullptr;    // looked at last
    QList<int> _toOne;                               // of that: indexes of relationships that must lead somewhere
    QList<const VXRelationshipDescription *> _pairs; // of that
};
