#include "VXRowTables.h"

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

const VXManagedObjectID *VXRowTables::target(const VXStoreRow &row, const VXRelationshipDescription &relationship)
{
    const QVariant &value = row.value(relationship.index());
    return value.metaType() == QMetaType::fromType<VXManagedObjectID>()
               ? static_cast<const VXManagedObjectID *>(value.constData())
               : nullptr;
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

// A to-many relationship with a to-one inverse follows the rows of the other side.
void VXRowTables::updateLinks(const VXManagedObjectID &objectID, const VXStoreRow *before, const VXStoreRow *after)
{
    for (const VXRelationshipDescription *const relationship : objectID.entity().relationships()) {
        const VXRelationshipDescription *const inverse = relationship->inverse();
        if (relationship->isToMany() || inverse == nullptr || !inverse->isToMany())
            continue;
        const VXManagedObjectID *const from = before == nullptr ? nullptr : target(*before, *relationship);
        const VXManagedObjectID *const to = after == nullptr ? nullptr : target(*after, *relationship);
        if (from != nullptr && (to == nullptr || *from != *to))
            take(*from, *inverse, objectID);
        if (to != nullptr && (from == nullptr || *from != *to))
            add(*to, *inverse, objectID);
    }
}

QList<VXRowConflict> VXRowTables::conflicts(const QList<VXRowChange> &changes) const
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

bool VXRowTables::hasInserted(const QList<VXRowChange> &changes) const
{
    return std::any_of(changes.cbegin(), changes.cend(), [this](const VXRowChange &change) {
        return change.row && !change.base && !change.overwrites && find(change.objectID) != nullptr;
    });
}

void VXRowTables::apply(const VXSaveRequest &request)
{
    for (const VXRowChange &change : request.changes) {
        if (change.row)
            put({change.objectID, change.row});
    }
    for (const VXLinkChange &change : request.links) {
        for (const VXManagedObjectID &target : change.removed)
            unlink(change.source, *change.relationship, target);
        for (const VXManagedObjectID &target : change.added)
            link(change.source, *change.relationship, target);
    }
    for (const VXRowChange &change : request.changes) { // last, and with all links
        if (!change.row)
            remove(change.objectID);
    }
}

QStringList VXRowTables::findBrokenReferences() const
{
    QStringList found;
    const auto check = [&](const VXManagedObjectID &source, const VXRelationshipDescription &relationship,
                           const VXManagedObjectID &target) {
        const VXFetchedRow *const there = find(target);
        const VXRelationshipDescription &inverse = *relationship.inverse();
        const bool isOneToOne = !relationship.isToMany() && !inverse.isToMany();
        const VXManagedObjectID *const back =
            there != nullptr && isOneToOne ? VXRowTables::target(*there->row, inverse) : &source;
        const bool mayDangle = !relationship.isToMany() && inverse.deleteRule() == VXDeleteRule::NoAction;
        if (there == nullptr ? mayDangle : back != nullptr && *back == source)
            return;
        found.append(u"\"%1\" of %2 leads to %3, which %4."_s.arg(
            relationship.name(), source.uriRepresentation().toString(), target.uriRepresentation().toString(),
            there == nullptr ? u"is not there"_s : u"does not lead back"_s));
    };
    for (const Table &table : _tables) {
        for (const VXFetchedRow &object : table) {
            for (const VXRelationshipDescription *const relationship : object.objectID.entity().relationships()) {
                if (relationship->isTransient())
                    continue;
                if (const VXManagedObjectID *const to = target(*object.row, *relationship); to != nullptr)
                    check(object.objectID, *relationship, *to);
            }
        }
    }
    for (auto links = _links.cbegin(); links != _links.cend(); ++links) {
        if (!links.key()->isManyToMany())
            continue;
        for (auto link = links->cbegin(); link != links->cend(); ++link) {
            for (const VXManagedObjectID &target : *link)
                check(link.key(), *links.key(), target);
        }
    }
    return found;
}
