#pragma once

#include "VXManagedObjectContext.h"
#include "VXTesting.h"

#include <functional>
#include <sys/types.h>

/**
 * A test that breaks what stores lie on. What may crash or is killed runs in a process of its own. Environment variables make
 * these tests longer than the usual run has time for: VORNIX_FAULT_ROUNDS, VORNIX_FAULT_SECONDS, VORNIX_FAULT_MUTATIONS
 * (and VORNIX_FAULT_FIRST_MUTATION, to have a certain one).
 */
class VXFaultTest : public VXHomeTest
{
protected:
    using Coordinator = VXPersistentStoreCoordinator;
    using Object = VXManagedObjectPtr;

    /** A store in a coordinator of its own, as another process has it. */
    struct Opened
    {
        Coordinator::Ptr coordinator;
        Coordinator::StorePtr store; // null when it was refused
        std::unique_ptr<VXManagedObjectContext> context;
        VXError error;

        const VXEntityDescription &entity(const QString &name) const
        {
            return *coordinator->model().entityForName(name);
        }
        /** The objects of an entity that match; fails the test when they cannot be fetched. */
        QList<Object> fetch(const QString &entityName, const QString &format = QStringLiteral("TRUEPREDICATE"),
                            const QVariantList &arguments = {}) const;
    };
    Opened open(VXStoreType type, const QString &file, const VXStoreOptions &options = {}) const;
    /** Adds a tree of objects with a value of every type and saves it; fails the test when that fails. */
    static void addItems(const Opened &opened, int count);

    /** The process runs the function and ends: with status 0, or 1 when a check failed in it. */
    static pid_t start(const std::function<void()> &run);
    /** Waits for the end. @return 0, the status, or 128 plus the signal. */
    static int outcomeOf(pid_t process);
    /** The number that the environment variable has, else the usual one. */
    static int configured(const char *variable, int usual);
    /** A new folder in memory where there is such, else below the home folder. */
    QString fastFolder();

    const VXManagedObjectModel::Ptr model;

    VXFaultTest();

private:
    std::unique_ptr<QTemporaryDir> _fastFolder;
};
