#pragma once

#include "VXManagedObjectContext.h"
#include "VXTesting.h"

/** Two contexts over one store of the type given, with people, who have phones, calls, friends, groups and a passport. */
class VXContextTest : public VXHomeTest, public testing::WithParamInterface<VXStoreType>
{
protected:
    VXContextTest();

    using Object = VXManagedObjectPtr;

    const VXEntityDescription &entity(const QString &name) const { return *coordinator->model().entityForName(name); }
    static Object add(VXManagedObjectContext &context, const QString &entity, const QVariantMap &values = {});
    Object add(const QString &entity, const QVariantMap &values = {}) { return add(context, entity, values); }
    Object person(const QString &name, const QVariantMap &values = {});
    /** The same object in the other context. */
    Object there(const Object &object) { return other.objectWithID(object->objectID()); }
    void save(VXManagedObjectContext &saved);
    void save() { save(context); }

    VXFetchRequest request(const QString &entityName, const QString &format = QStringLiteral("TRUEPREDICATE"),
                           const QVariantList &arguments = {}, const QStringList &sortKeys = {}) const;
    QList<Object> fetch(const VXFetchRequest &request) { return fetch(context, request); }
    static QList<Object> fetch(VXManagedObjectContext &from, const VXFetchRequest &request);
    /** "name" of each, as one text: "Jane Zoë". */
    static QString names(const QList<Object> &objects);
    static QString sortedNames(const QVariant &objects);

    const VXPersistentStoreCoordinator::Ptr coordinator;
    const VXPersistentStoreCoordinator::StorePtr store;
    VXManagedObjectContext context;
    VXManagedObjectContext other;
    VXError error;
};

std::string VXStoreTypeName(const testing::TestParamInfo<VXStoreType> &each);

#define VX_INSTANTIATE_FOR_STORES(Suite)                                                                               \
    INSTANTIATE_TEST_SUITE_P(                                                                                          \
        Stores, Suite, testing::Values(VXStoreType::SQLite, VXStoreType::XML, VXStoreType::InMemory), VXStoreTypeName)
