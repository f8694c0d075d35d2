#include "VXManagedObject.h"

#include "VXDiagnostics.h"
#include "VXException.h"
#include "VXManagedObjectContext.h"
#include "VXRelatedSet.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QList<VXManagedObjectPtr> without(const QList<VXManagedObjectPtr> &objects, const QList<VXManagedObjectPtr> &others)
{
    if (others.isEmpty())
        return objects;
    const QSet<VXManagedObjectPtr> leftOut(others.cbegin(), others.cend());
    QList<VXManagedObjectPtr> left;
    for (const VXManagedObjectPtr &object : objects) {
        if (!leftOut.contains(object))
            left.append(object);
    }
    return left;
}

} // namespace

const VXRelationshipDescription &VXManagedObject::relationship(int index, bool isToMany) const
{
    const VXRelationshipDescription *const found = property(index).asRelationship();
    VXAssert(found != nullptr && found->isToMany() == isToMany,
             u"\"%1\" of entity \"%2\" is no to-%3 relationship"_s.arg(property(index).name(), entity().name(),
                                                                       isToMany ? u"many"_s : u"one"_s));
    return *found;
}

// -- To-one

VXManagedObjectPtr VXManagedObject::target(const VXStoreRow &row, const VXRelationshipDescription &relationship) const
{
    const VXManagedObjectID *const objectID = row.target(relationship.index());
    if (objectID == nullptr || _context == nullptr)
        return {};
    return objectID->isTemporary() ? _context->objectRegisteredForID(*objectID) : _context->objectWithID(*objectID);
}

VXManagedObjectPtr VXManagedObject::related(int index) const
{
    const VXRelationshipDescription &asked = relationship(index, false);
    const VXStoreRow *const row = values();
    return row == nullptr ? VXManagedObjectPtr() : target(*row, asked);
}

void VXManagedObject::setRelated(int index, const VXManagedObjectPtr &object)
{
    const VXRelationshipDescription &changed = relationship(index, false);
    assertFits(changed, object);
    if (!canBeChanged(changed))
        return;
    const VXManagedObjectPtr before = related(index);
    if (before == object)
        return;
    const VXManagedObjectPtr own(this);
    const VXRelationshipDescription *const inverse = changed.inverse();
    if (inverse != nullptr && !inverse->isToMany()) { // up to three others change, or nothing does
        if (!_context->canReadToChange({before, object}, *this) ||
            (object && !_context->canReadToChange({object->related(inverse->index())}, *this)))
            return;
    }
    if (inverse != nullptr) {
        if (before)
            before->detach(*inverse, own);
        if (object && inverse->isToMany()) {
            object->relatedSet(*inverse).addNew(own);
            _context->noteChange(*object);
        } else if (object) {
            object->attach(*inverse, own);
        }
    }
    setTarget(changed, object ? object->objectID() : VXManagedObjectID());
}

// -- To-many

VXRelatedSet *VXManagedObject::findRelatedSet(const VXRelationshipDescription &relationship) const
{
    if (!_relatedSets)
        return nullptr;
    const auto found = std::find_if(_relatedSets->begin(), _relatedSets->end(),
                                    [&](const VXRelatedSet &set) { return &set.relationship() == &relationship; });
    return found == _relatedSets->end() ? nullptr : &*found;
}

VXRelatedSet &VXManagedObject::relatedSet(const VXRelationshipDescription &relationship)
{
    if (VXRelatedSet *const found = findRelatedSet(relationship); found != nullptr)
        return *found;
    if (!_relatedSets)
        _relatedSets = std::make_unique<std::vector<VXRelatedSet>>();
    VXRelatedSet &made = _relatedSets->emplace_back(relationship);
    if (relationship.isTransient())
        made.setRead();
    return made;
}

bool VXManagedObject::canReadRelated(const VXRelationshipDescription &relationship)
{
    if (!relationship.isToMany())
        return canBeChanged(relationship);
    VXAssert(_context != nullptr, u"an object cannot be changed when its context is gone or has forgotten it"_s);
    VXError problem;
    if (_context->readRelated({VXManagedObjectPtr(this)}, relationship, &problem))
        return true;
    _context->noteLostChange(*this, problem);
    return false;
}

VXRelatedSet &VXManagedObject::readRelatedSet(const VXRelationshipDescription &relationship) const
{
    VXRelatedSet &set = self().relatedSet(relationship);
    VXError error;
    if (!set.isRead() && _context != nullptr &&
        !_context->readRelated({VXManagedObjectPtr(&self())}, relationship, &error))
        VXReportDiagnostic(3, u"\"%1\" of %2 cannot be read: %3"_s.arg(
                                  relationship.name(), _objectID.uriRepresentation().toString(), error.description()));
    return set;
}

QList<VXManagedObjectPtr> VXManagedObject::relatedObjects(int index) const
{
    const VXRelatedSet &set = readRelatedSet(relationship(index, true));
    if (_context == nullptr)
        return {};
    QList<VXManagedObjectPtr> objects = _context->objectsWithIDs(set.keptIDs());
    const QList<VXManagedObjectPtr> added = set.added();
    for (const VXManagedObjectPtr &object : added) {
        if (object->_context != nullptr) // it may have been deleted before it was ever saved
            objects.append(object);
    }
    return objects;
}

const VXManagedObjectID *VXManagedObject::relatedID(int index) const
{
    const VXRelationshipDescription &asked = relationship(index, false);
    const VXStoreRow *const row = values();
    return row == nullptr ? nullptr : row->target(asked.index());
}

qsizetype VXManagedObject::relatedCount(int index) const
{
    return readRelatedSet(relationship(index, true)).count();
}

QList<VXManagedObjectID> VXManagedObject::relatedIDs(int index) const
{
    if (const VXRelationshipDescription *const asked = property(index).asRelationship(); asked && !asked->isToMany()) {
        const VXManagedObjectID *const led = relatedID(index);
        return led == nullptr ? QList<VXManagedObjectID>() : QList{*led};
    }
    const VXRelatedSet &set = readRelatedSet(relationship(index, true));
    QList<VXManagedObjectID> objectIDs = set.keptIDs();
    const QList<VXManagedObjectPtr> added = set.added();
    for (const VXManagedObjectPtr &object : added) {
        if (object->_context != nullptr)
            objectIDs.append(object->_objectID);
    }
    return objectIDs;
}

void VXManagedObject::addRelated(int index, const VXManagedObjectPtr &object)
{
    const VXRelationshipDescription &changed = relationship(index, true);
    VXAssert(object, u"\"%1\" of entity \"%2\" cannot lead to none"_s.arg(changed.name(), entity().name()));
    assertFits(changed, object);
    const VXRelationshipDescription *const inverse = changed.inverse();
    const VXManagedObjectPtr own(this);
    if (inverse != nullptr && !inverse->isToMany()) {
        object->setRelated(inverse->index(), own);
        return;
    }
    attach(changed, object);
    if (inverse != nullptr)
        object->attach(*inverse, own);
}

void VXManagedObject::removeRelated(int index, const VXManagedObjectPtr &object)
{
    const VXRelationshipDescription &changed = relationship(index, true);
    if (!object)
        return;
    assertFits(changed, object);
    const VXRelationshipDescription *const inverse = changed.inverse();
    const VXManagedObjectPtr own(this);
    if (inverse != nullptr && !inverse->isToMany()) {
        if (object->canBeChanged(*inverse) && object->related(inverse->index()) == own)
            object->setRelated(inverse->index(), nullptr);
        return;
    }
    detach(changed, object);
    if (inverse != nullptr)
        object->detach(*inverse, own);
}

void VXManagedObject::setRelatedObjects(int index, const QList<VXManagedObjectPtr> &objects)
{
    const VXRelationshipDescription &changed = relationship(index, true);
    if (!canReadRelated(changed))
        return;
    const QList<VXManagedObjectPtr> before = relatedObjects(index);
    if (before.size() == 1 && objects == before)
        return;
    const QList<VXManagedObjectPtr> gone = without(before, objects);
    const QList<VXManagedObjectPtr> added = without(objects, before);
    if (const VXRelationshipDescription *const inverse = changed.inverse();
        inverse != nullptr && !inverse->isToMany()) {
        for (const VXManagedObjectPtr &object : added)
            assertFits(changed, object);
        if (!_context->canReadToChange(gone + added, *this)) // all or none
            return;
    }
    for (const VXManagedObjectPtr &object : gone)
        removeRelated(index, object);
    for (const VXManagedObjectPtr &object : added)
        addRelated(index, object);
}

// -- One end

void VXManagedObject::assertFits(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object) const
{
    VXAssert(_context != nullptr, u"an object cannot be changed when its context is gone or has forgotten it"_s);
    VXAssert(!object || object->_context == _context,
             u"\"%1\" of entity \"%2\" cannot lead to an object of another context"_s.arg(relationship.name(),
                                                                                          entity().name()));
    VXAssert(!object || object->entity().isKindOfEntity(relationship.destination()),
             u"\"%1\" of entity \"%2\" cannot lead to an object of entity \"%3\""_s.arg(
                 relationship.name(), entity().name(), object->entity().name()));
}

void VXManagedObject::attach(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object)
{
    if (relationship.isToMany()) {
        if (relatedSet(relationship).add(object))
            _context->noteChange(*this);
        return;
    }
    const VXManagedObjectPtr before = related(relationship.index());
    if (before && before != object)
        before->detach(*relationship.inverse(), VXManagedObjectPtr(this));
    setTarget(relationship, object->objectID());
}

void VXManagedObject::detach(const VXRelationshipDescription &relationship, const VXManagedObjectPtr &object)
{
    if (relationship.isToMany()) {
        if (relatedSet(relationship).remove(object))
            _context->noteChange(*this);
    } else if (related(relationship.index()) == object) {
        setTarget(relationship, {});
    }
}

bool VXManagedObject::hasRelationshipChanges() const
{
    return _relatedSets && std::any_of(_relatedSets->cbegin(), _relatedSets->cend(),
                                       [](const VXRelatedSet &set) { return set.hasChanges(); });
}
