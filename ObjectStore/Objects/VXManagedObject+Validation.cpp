#include "VXManagedObject.h"
#include "VXObjectStoreError.h"

using namespace Qt::StringLiterals;

namespace {

VXError problemOf(const VXManagedObject &object, VXObjectStoreErrorCode code, const VXPropertyDescription &property,
                  const QString &reason)
{
    QVariantMap userInfo = VXObjectStoreError(code, u"The object cannot be saved."_s, reason).userInfo();
    userInfo.insert(VXValidationObjectKey,
                    QVariant::fromValue(VXManagedObjectPtr(const_cast<VXManagedObject *>(&object))));
    userInfo.insert(VXValidationKeyKey, property.name());
    return {VXCocoaErrorDomain, int(code), userInfo};
}

} // namespace

bool VXManagedObject::hasMandatoryValues(VXError *error) const
{
    if (!_values) // unchanged since it was read
        return true;
    for (const VXPropertyDescription *const each : entity().mandatoryProperties()) {
        if (_values->hasValue(each->index()))
            continue;
        VXSetError(error, problemOf(*this, VXObjectStoreErrorCode::MissingMandatoryProperty, *each,
                                    u"\"%1\" of \"%2\" needs a value."_s.arg(each->name(), entity().name())));
        return false;
    }
    return true;
}

bool VXManagedObject::validateForInsert(VXError *error) const
{
    return hasMandatoryValues(error);
}

bool VXManagedObject::validateForUpdate(VXError *error) const
{
    return hasMandatoryValues(error);
}

bool VXManagedObject::validateForDelete(VXError *error) const
{
    for (const VXRelationshipDescription *const relationship : entity().relationships()) {
        if (relationship->deleteRule() != VXDeleteRule::Deny)
            continue;
        const QList<VXManagedObjectPtr> others =
            relationship->isToMany() ? relatedObjects(relationship->index()) : QList{related(relationship->index())};
        const auto stays = [](const VXManagedObjectPtr &other) { return other && !other->isDeleted(); };
        const qsizetype count = std::count_if(others.cbegin(), others.cend(), stays);
        if (count == 0)
            continue;
        VXSetError(error, problemOf(*this, VXObjectStoreErrorCode::RelationshipDeniedDelete, *relationship,
                                    u"\"%1\" of \"%2\" still leads to %3."_s.arg(
                                        relationship->name(), entity().name(),
                                        count == 1 ? u"an object"_s : u"%1 objects"_s.arg(count))));
        return false;
    }
    return true;
}
