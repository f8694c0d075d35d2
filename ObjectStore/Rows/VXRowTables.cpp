#include "VXRowTables.h"

#include "VXSaveReferences.h"

using namespace Qt::StringLiterals;

const VXFetchedRow *VXRowTables::find(const VXManagedObjectID &objectID) const
{
    const auto table = _tables.constFind(&objectID.entity().rootEntity());
    if (table == _tables.cend())
        return nullptr;
    const auto found = table->constFind(objectID.number());
    return found == table->cend() || found->objectID != objectID ? nullptr : &*found;
}

VXRowTables::Targets VXRowTables::targets(const VXManagedObjectID &source,
                                          const VXRelationshipDescription &relationship) const
{
    const auto links = _links.constFind(&relationship);
    return links == _links.cend() ? Targets() : links->value(source);
}

void VXRowTables::raiseHighestNumber(const VXEntityDescription &root, qint64 number)
{
    qint64 &highest = _highestNumbers[&root];
    highest = std::max(highest, number);
}

void VXRowTables::put(const VXFetchedRow &object)
{
    const VXEntityDescription &root = object.objectID.entity().rootEntity();
    VXFetchedRow &place = _tables[&root][object.objectID.number()];
    updateLinks(object.objectID, place.row.get(), object.row.get());
    place = object;
    raiseHighestNumber(root, object.objectID.number());
}

void VXRowTables::remove(const VXManagedObjectID &objectID)
{
    const VXFetchedRow removed = _tables[&objectID.entity().rootEntity()].take(objectID.number());
    if (!removed.row)
        return;
    updateLinks(removed.objectID, removed.row.get(), nullptr);
    for (const VXRelationshipDescription *const relationship : removed.objectID.entity().relationships()) {
        if (!relationship->isManyToMany())
            continue;
        for (const VXManagedObjectID &target : targets(removed.objectID, *relationship))
            unlink(removed.objectID, *relationship, target);
    }
}

void VXRowTables::link(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                       const VXManagedObjectID &target)
{
    add(source, relationship, target);
    add(target, *relationship.inverse(), source);
}

void VXRowTables::unlink(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                         const VXManagedObjectID &target)
{
    take(source, relationship, target);
    take(target, *relationship.inverse(), source);
}

void VXRowTables::add(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                      const VXManagedObjectID &target)
{
    _links[&relationship][source].insert(target);
}

void VXRowTables::take(const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                       const VXManagedObjectID &target)
{
    Links &links = _links[&relationship];
    const auto found = links.find(source);
    if (found == links.end())
        return;
    found->remove(target);
    if (found->isEmpty())
        links.erase(found);
}

// Updates to-many relationships with a to-one inverse from the rows of the other side.
void VXRowTables::updateLinks(const VXManagedObjectID &objectID, const VXStoreRow *before, const VXStoreRow *after)
{
    for (const VXRelationshipDescription *const relationship : objectID.entity().relationships()) {
        const VXRelationshipDescription *const inverse = relationship->inverse();
        if (relationship->isToMany() || inverse == nullptr || !inverse->isToMany())
            continue;
        const VXManagedObjectID *const from = before == nullptr ? nullptr : before->target(relationship->index());
        const VXManagedObjectID *const to = after == nullptr ? nullptr : after->target(relationship->index());
        if (from != nullptr && (to == nullptr || *from != *to))
            take(*from, *inverse, objectID);
        if (to != nullptr && (from == nullptr || *from != *to))
            add(*to, *inverse, objectID);
    }
}

QList<VXRowConflict> VXRowTables::changedRows(const QList<VXRowChange> &changes) const
{
    QList<VXRowConflict> result;
    for (const VXRowChange &change : changes) {
        if (!change.base || change.overwrites)
            continue;
        const VXFetchedRow *const stored = find(change.objectID);
        if (stored == nullptr || stored->row->version() != change.base->version())
            result.append({change.objectID, stored == nullptr ? nullptr : stored->row});
    }
    return result;
}

// The rows that refer to an object through the to-one inverse of its `relationship`.
QList<VXRowReference> VXRowTables::references(const VXManagedObjectID &objectID,
                                              const VXRelationshipDescription &relationship) const
{
    Targets sources = targets(objectID, relationship);
    if (const VXFetchedRow *const own = find(objectID); own != nullptr && !relationship.isToMany()) {
        if (const VXManagedObjectID *const other = own->row->target(relationship.index()); other != nullptr)
            sources.insert(*other);
    }
    QList<VXRowReference> found;
    for (const VXManagedObjectID &source : std::as_const(sources)) {
        const VXFetchedRow *const there = find(source);
        const VXManagedObjectID *const target =
            there == nullptr ? nullptr : there->row->target(relationship.inverse()->index());
        if (target != nullptr && *target == objectID)
            found.append({*there, relationship.inverse()});
    }
    return found;
}

QList<VXRowConflict> VXRowTables::conflicts(const VXSaveRequest &request) const
{
    QList<VXRowConflict> found = changedRows(request.changes);
    const VXSaveReferences concerned(request);
    if (!found.isEmpty() || (concerned.targets().isEmpty() && concerned.deleted().isEmpty() &&
                             concerned.paired().isEmpty() && concerned.denying().isEmpty()))
        return found;
    Changes changes;
    for (const VXRowChange &change : request.changes)
        changes.insert(change.objectID, &change);
    for (const VXManagedObjectID &target : concerned.targets()) {
        const VXRowChange *const change = changes.value(target);
        if (find(target) == nullptr || (change != nullptr && !change->row))
            found.append({target, nullptr, VXRowConflict::Kind::Missing});
    }
    for (auto each = concerned.deleted().cbegin(); each != concerned.deleted().cend(); ++each) {
        for (const VXManagedObjectID &objectID : *each) {
            QList<VXRowReference> references = this->references(objectID, *each.key());
            references.removeIf([&](const VXRowReference &reference) {
                const VXRowChange *const change = changes.value(reference.source.objectID);
                const VXManagedObjectID *const target =
                    change == nullptr || !change->row ? nullptr : change->row->target(reference.relationship->index());
                return change != nullptr && (target == nullptr || *target != objectID);
            });
            if (!references.isEmpty())
                found.append({objectID, changes.value(objectID)->base, VXRowConflict::Kind::Referenced, references});
        }
    }
    for (auto each = concerned.denying().cbegin(); each != concerned.denying().cend(); ++each) {
        for (const VXManagedObjectID &objectID : *each)
            found.append(denied(objectID, *each.key(), request, changes));
    }
    for (auto each = concerned.paired().cbegin(); each != concerned.paired().cend(); ++each) {
        for (const VXManagedObjectID &objectID : *each)
            found.append(oneSided(objectID, *each.key(), changes));
    }
    return found;
}

// Finds pairs that remain and so deny the deletion.
QList<VXRowConflict> VXRowTables::denied(const VXManagedObjectID &objectID,
                                         const VXRelationshipDescription &relationship, const VXSaveRequest &request,
                                         const Changes &changes) const
{
    Targets paired = targets(objectID, relationship);
    for (const VXLinkChange &link : request.links) {
        if (link.relationship == &relationship && link.source == objectID) {
            for (const VXManagedObjectID &removed : link.removed)
                paired.remove(removed);
        }
        if (link.relationship == relationship.inverse() && link.removed.contains(objectID))
            paired.remove(link.source);
    }
    QList<VXRowReference> references;
    for (const VXManagedObjectID &other : std::as_const(paired)) {
        const VXRowChange *const change = changes.value(other);
        const VXFetchedRow *const there = find(other);
        if (there != nullptr && (change == nullptr || change->row))
            references.append({*there, relationship.inverse()});
    }
    return references.isEmpty() ? QList<VXRowConflict>()
                                : QList<VXRowConflict>{{objectID, changes.value(objectID)->base,
                                                        VXRowConflict::Kind::Referenced, references}};
}

// Checks that the object's partner refers back, and nothing else refers to it.
QList<VXRowConflict> VXRowTables::oneSided(const VXManagedObjectID &objectID,
                                           const VXRelationshipDescription &relationship, const Changes &changes) const
{
    const auto rowToBe = [&](const VXManagedObjectID &each) {
        const auto change = changes.constFind(each);
        const VXFetchedRow *const stored = find(each);
        return change != changes.cend() ? (*change)->row : stored != nullptr ? stored->row : nullptr;
    };
    const auto leadsTo = [](const VXStoreRow &row, const VXRelationshipDescription &leading,
                            const VXManagedObjectID &target) {
        const VXManagedObjectID *const found = row.target(leading.index());
        return found != nullptr && *found == target;
    };
    const VXRelationshipDescription &inverse = *relationship.inverse();
    const VXStoreRow::Ptr row = rowToBe(objectID);
    QList<VXRowConflict> found;
    if (const VXManagedObjectID *const target = row->target(relationship.index()); target != nullptr) {
        const VXStoreRow::Ptr there = rowToBe(*target);
        if (there && !leadsTo(*there, inverse, objectID))
            found.append({*target, there, VXRowConflict::Kind::OneSided, {{{objectID, row}, &relationship}}});
    }
    const VXFetchedRow *const stored = find(objectID);
    const VXManagedObjectID *const former = stored == nullptr ? nullptr : stored->row->target(relationship.index());
    const VXStoreRow::Ptr there = former == nullptr ? nullptr : rowToBe(*former);
    if (there && leadsTo(*there, inverse, objectID) && !leadsTo(*row, relationship, *former))
        found.append({*former, there, VXRowConflict::Kind::OneSided, {{{*former, there}, &inverse}}});
    return found;
}

bool VXRowTables::hasInserted(const QList<VXRowChange> &changes) const
{
    return std::any_of(changes.cbegin(), changes.cend(), [this](const VXRowChange &change) {
        return change.row && !change.base && !change.overwrites && find(change.objectID) != nullptr;
    });
}

void VXRowTables::apply(const VXSaveRequest &request)
{
    for (const VXRowChange &change : request.changes) {
        if (!change.row)
            continue;
        // The version is above that of the overwritten row, so that whoever has read that notices.
        const VXFetchedRow *const stored = change.overwrites ? find(change.objectID) : nullptr;
        const bool isBelow = stored != nullptr && stored->row->version() >= change.row->version();
        put({change.objectID, isBelow ? change.row->copy(stored->row->version() + 1) : change.row});
    }
    for (const VXLinkChange &change : request.links) {
        for (const VXManagedObjectID &target : change.removed)
            unlink(change.source, *change.relationship, target);
        for (const VXManagedObjectID &target : change.added)
            link(change.source, *change.relationship, target);
    }
    for (const VXRowChange &change : request.changes) { // last, with all their links
        if (!change.row)
            remove(change.objectID);
    }
}

QList<VXBrokenReference> VXRowTables::brokenReferences() const
{
    QList<VXBrokenReference> found;
    const auto check = [&](const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                           const VXManagedObjectID &target) {
        const VXFetchedRow *const there = find(target);
        const VXRelationshipDescription &inverse = *relationship.inverse();
        const bool isOneToOne = !relationship.isToMany() && !inverse.isToMany();
        const VXManagedObjectID *const back =
            there != nullptr && isOneToOne ? there->row->target(inverse.index()) : &source;
        const bool isSound = there == nullptr ? !VXMustLeadSomewhere(relationship) : back != nullptr && *back == source;
        if (!isSound)
            found.append({source, &relationship, target, there != nullptr});
    };
    for (const Table &table : _tables) {
        for (const VXFetchedRow &object : table) {
            for (const VXRelationshipDescription *const relationship : object.objectID.entity().relationships()) {
                if (relationship->isTransient())
                    continue;
                if (const auto *const to = object.row->target(relationship->index()); to != nullptr)
                    check(object.objectID, *relationship, *to);
            }
        }
    }
    for (auto links = _links.cbegin(); links != _links.cend(); ++links) {
        if (!links.key()->isManyToMany())
            continue;
        for (auto link = links->cbegin(); link != links->cend(); ++link) {
            for (const VXManagedObjectID &target : *link) {
                if (find(link.key()) != nullptr) // otherwise it is reported at the other end
                    check(link.key(), *links.key(), target);
            }
        }
    }
    return found;
}
