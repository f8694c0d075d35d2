#pragma once

#include "VXCallRecord.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"

/**
 * The store "calls" of the plugin that ships with the program, for adding calls that have ended. Any thread; contexts
 * on their own.
 */
class VX_EXPORT VXCallStore
{
public:
    static const QString storeName;  // "calls"
    static const QString entityName; // "VXCall"

    explicit VXCallStore(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}
    const VXPersistentStoreCoordinator::Ptr &coordinator() const { return _coordinator; }

    /** Finds the same call as the record's: with the same phone (any, if one of them names none), direction and party,
     *  begun within two minutes of it, since the clocks of phones differ. Null for none; no value on failure. */
    [[nodiscard]] std::optional<VXManagedObjectPtr> find(const VXCallRecord &record, VXManagedObjectContext &context,
                                                         VXError *error = nullptr) const;
    /** Finds the call by the phone's own ID of it. Null for none; no value on failure. */
    [[nodiscard]] std::optional<VXManagedObjectPtr> find(const QString &deviceURL, const QString &callID,
                                                         VXManagedObjectContext &context,
                                                         VXError *error = nullptr) const;
    /** Adds a call that has ended; unsaved. */
    static VXManagedObjectPtr insert(const VXCallRecord &record, VXManagedObjectContext &context);

private:
    VXPersistentStoreCoordinator::Ptr _coordinator;
};
