#include "VXManagedObjectContext.h"

#include "VXDiagnostics.h"
#include "VXException.h"

using namespace Qt::StringLiterals;

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
        const bool isNew = next->isInserted();
        if (!isNew)
            setState(*next, State::Deleted);
        for (const Relationship *const relationship : next->entity().relationships())
            applyDeleteRule(next, *relationship, doomed);
        if (isNew) {
            noteForObservers(*next);
            forget(next);
        }
    }
}

void VXManagedObjectContext::applyDeleteRule(const ObjectPtr &object, const Relationship &relationship,
                                             QList<ObjectPtr> &doomed)
{
    const int index = relationship.index();
    const Relationship *const inverse = relationship.inverse();
    const bool isCascade = relationship.deleteRule() == VXDeleteRule::Cascade;
    if (inverse == nullptr && !isCascade)
        return;
    // Objects that no store knows leave no trace. Links of many-to-many relationships never outlive their objects.
    if (!object->isInserted() && (relationship.deleteRule() == VXDeleteRule::Deny ||
                                  (relationship.deleteRule() == VXDeleteRule::NoAction && !inverse->isToMany())))
        return;
    const QList<ObjectPtr> others =
        relationship.isToMany() ? object->relatedObjects(index) : QList{object->related(index)};
    if (VXError error; (isCascade || !inverse->isToMany()) && !fulfillFaults(others, &error))
        VXReportDiagnostic(
            3, u"\"%1\" of %2 cannot be read: %3"_s.arg(
                   relationship.name(), object->objectID().uriRepresentation().toString(), error.description()));
    DeleteEffects *const effects = object->isInserted() ? nullptr : &_deleteEffects[object.get()];
    for (const ObjectPtr &other : others) {
        if (!other)
            continue;
        if (effects != nullptr && !isCascade)
            effects->nullified.append({other, inverse});
        else if (effects != nullptr && !other->isDeleted())
            effects->deleted.append(other);
        if (isCascade)
            doomed.append(other);
        else if (relationship.isToMany())
            object->removeRelated(index, other);
        else
            object->setRelated(index, nullptr);
    }
}
