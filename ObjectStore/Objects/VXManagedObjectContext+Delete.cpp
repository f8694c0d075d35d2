#include "VXManagedObjectContext.h"

#include "VXException.h"

#include <unordered_map>

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

QList<VXManagedObjectPtr> ledBy(const VXManagedObject &object, const VXRelationshipDescription &relationship)
{
    const int index = relationship.index();
    return relationship.isToMany() ? object.relatedObjects(index) : QList{object.related(index)};
}

} // namespace

// Whole or not at all: whatever the delete rules are about is read, and held, before the first of them is applied. Iterative,
// since chains of cascades may be long.
void VXManagedObjectContext::deleteObject(const VXManagedObjectPtr &object)
{
    VXAssert(object && object->_context == this, u"an object can be deleted in its own context only"_s);
    std::unordered_map<const VXManagedObject *, std::vector<Led>> read;
    QList<ObjectPtr> doomed{object};
    while (!doomed.isEmpty()) {
        const ObjectPtr next = doomed.takeLast();
        if (!next || next->_context == nullptr || next->isDeleted() || read.contains(next.get()))
            continue;
        VXError error;
        if (next->isFault() && !readFault(*next, &error)) {
            if (error)
                return noteLostChange(*next, error);
            forget(next); // it is gone already
            continue;
        }
        std::optional<std::vector<Led>> led = readLed(next);
        if (!led)
            return;
        for (const Led &each : *led) {
            if (isCascade(each.relationship))
                doomed.append(each.others);
        }
        read.emplace(next.get(), *std::move(led));
    }
    doomed = {object};
    while (!doomed.isEmpty()) {
        const ObjectPtr next = doomed.takeLast();
        const auto led = read.find(next.get());
        if (led == read.end() || next->_context == nullptr || next->isDeleted())
            continue;
        const bool isNew = next->isInserted();
        if (!isNew)
            setState(*next, State::Deleted);
        for (const Led &each : led->second) // what it leads to by now: others may be deleted already
            applyDeleteRule(next, {each.relationship, ledBy(*next, each.relationship)}, doomed);
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
        const Led led{*relationship, ledBy(*object, *relationship)};
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
