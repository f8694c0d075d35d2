#pragma once

#include "VXPersistentStore.h"

#include <QtCore/QHash>
#include <QtCore/QSet>

/**
 * Whether the relationship is stored and must refer to existing objects; not if its inverse has the delete rule
 * "no-action", which may leave references behind.
 */
bool VXMustLeadSomewhere(const VXRelationshipDescription &relationship);

/** Whether the relationship is stored and to-one at both ends, which then have to refer to each other. */
bool VXIsPair(const VXRelationshipDescription &relationship);

/**
 * What a save has to do with objects that it does not write: those that it newly refers to, and those that refer to
 * what it deletes. Stores check these once for each save; without relationships there is nothing to check.
 */
class VXSaveReferences
{
public:
    using ByRelationship = QHash<const VXRelationshipDescription *, QList<VXManagedObjectID>>;

    explicit VXSaveReferences(const VXSaveRequest &request);
    /** For a request whose changes are added one by one, while each is at hand, and completed at the end. */
    VXSaveReferences() = default;
    void add(const VXRowChange &change);
    void complete(const VXSaveRequest &request);

    /** Objects that must exist, other than those that the save inserts. */
    const QSet<VXManagedObjectID> &targets() const { return _targets; }
    /** The deleted objects, by those of their relationships whose inverse is to-one, and must not refer to them any
     *  more. */
    const ByRelationship &deleted() const { return _deleted; }
    /** The deleted objects, by those of their many-to-many relationships that have to be empty by then. */
    const ByRelationship &denying() const { return _denying; }
    /** The objects that get another partner, by the relationship that is to-one at both ends. */
    const ByRelationship &paired() const { return _paired; }

private:
    void lookAt(const VXEntityDescription &entity);
    void addTargets(const VXRowChange &change);
    void addDeleted(const VXManagedObjectID &objectID);
    void removeWritten(const QList<VXRowChange> &changes);

    QSet<VXManagedObjectID> _targets;
    ByRelationship _deleted;
    ByRelationship _denying;
    ByRelationship _paired;
    const VXEntityDescription *_entity = nullptr; // the one looked at last
    QList<int> _toOne; // of that entity: indexes of relationships that must refer to existing objects
    QList<const VXRelationshipDescription *> _pairs; // of that entity
};
