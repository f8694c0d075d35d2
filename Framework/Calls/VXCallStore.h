#pragma once

#include "VXCallRecord.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObjectContext.h"

/** The store "calls" of the plugin that ships, for those that bring calls which have ended. Any thread; contexts on theirs. */
class VX_EXPORT VXCallStore
{
public:
    static const QString storeName;  // "calls"
    static const QString entityName; // "VXCall"

    explicit VXCallStore(const VXPersistentStoreCoordinator::Ptr &coordinator) : _coordinator(coordinator) {}
    const VXPersistentStoreCoordinator::Ptr &coordinator() const { return _coordinator; }

    /** The same call as the record's: of the same phone (of any, when either does not tell), way and party, which began within two
     *  minutes of it: phones' clocks and ours differ. Null for none; none when it cannot be told. */
    [[nodiscard]] std::optional<VXManagedObjectPtr> find(const VXCallRecord &record, VXManagedObjectContext &context,
                                                         VXError *error = nullptr) const;
    /** The call that a phone calls by that name. Null for none; none when it cannot be told. */
    [[nodiscard]] std::optional<VXManagedObjectPtr> find(const QString &deviceURL, const QString &callID,
                                                         VXManagedObjectContext &context,
                                                         VXError *error = nullptr) const;
    /** A new call that has ended; unsaved. */
    static VXManagedObjectPtr insert(const VXCallRecord &record, VXManagedObjectContext &context);

private:
    VXPersistentStoreCoordinator::Ptr _coordinator;
};
