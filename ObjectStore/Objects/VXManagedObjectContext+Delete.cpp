#include "VXManagedObjectContext.h"

#include "VXException.h"

using namespace Qt::StringLiterals;

namespace {

bool isCascade(const VXRelationshipDescription &relationship)
{
    return relationship.deleteRule() == VXDeleteRule::Cascade;
}

// Whether a deletion changes or deletes objects that the relationship leads to.
bool concernsOthers(const VXManagedObject &deleted, const VXRelationshipDescription &relationship)
{
    const VXRelationshipDescription *const inverse = relationship.inverse();
    if (isCascade(relationship) || inverse == nullptr)
        return isCascade(relationship);
    // Objects that no store knows leave no trace. Links of many-to-many relationships never outlive their objects.
    const bool isLeft = relationship.deleteRule() == VXDeleteRule::Deny ||
                        (relationship.deleteRule() == VXDeleteRule::NoAction && !inverse->isToMany());
    return deleted.isInserted() || !isLeft;
}

} // namespace

// Iterative, since chains of cascades may be long.
void VXManagedObjectContext::deleteObject(const VXManagedObjectPtr &object)
{
    VXAssert(object && object->_context == this, u"an object can be deleted in its own context only"_s);
    QList<ObjectPtr> doomed{object};
    while (!doomed.isEmpty()) {
        const ObjectPtr next = doomed.takeLast();
        if (next->_context == nullptr || next->isDeleted())
            continue;
        VXError error;
        if (next->isFault() && !readFault(*next, &error)) {
            if (error)
                noteLostChange(*next, error);
            else // it is gone already
                forget(next);
            continue;
        }
        const std::optional<std::vector<Led>> led = readLed(next);
        if (!led)
            continue;
        const bool isNew = next->isInserted();
        if (!isNew)
            setState(*next, State::Deleted);
        for (const Led &each : *led)
            applyDeleteRule(next, each, doomed);
        if (isNew) {
            noteForObservers(*next);
            forget(next);
        }
    }
}

std::optional<std::vector<VXManagedObjectContext::Led>> VXManagedObjectContext::readLed(const ObjectPtr &object)
{
    std::vector<Led> all;
    for (const Relationship *const relationship : object->entity().relationships()) {
        if (!concernsOthers(*object, *relationship))
            continue;
        if (!object->canReadRelated(*relationship))
            return std::nullopt;
        const int index = relationship->index();
        const Led led{*relationship,
                      relationship->isToMany() ? object->relatedObjects(index) : QList{object->related(index)}};
        const bool areChanged = isCascade(*relationship) || !relationship->inverse()->isToMany();
        if (areChanged && !canReadToChange(led.others, *object))
            return std::nullopt;
        all.push_back(led);
    }
    return all;
}

void VXManagedObjectContext::applyDeleteRule(const ObjectPtr &object, const Led &led, QList<ObjectPtr> &doomed)
{
    const Relationship &relationship = led.relationship;
    DeleteEffects *const effects = object->isInserted() ? nullptr : &_deleteEffects[object.get()];
    for (const ObjectPtr &other : led.others) {
        if (!other)
            continue;
        if (effects != nullptr && !isCascade(relationship))
            effects->nullified.append({other, relationship.inverse()});
        else if (effects != nullptr && !other->isDeleted())
            effects->deleted.append(other);
        if (isCascade(relationship))
            doomed.append(other);
        else if (relationship.isToMany())
            object->removeRelated(relationship.index(), other);
        else
            object->setRelated(relationship.index(), nullptr);
    }
}
