#pragma once

#include "RawCallStore.h"

#include "VXManagedObjectContext.h"

#include <QtCore/QTemporaryDir>

/** A store of its own in a fresh file, with people and folders, and as many calls as asked for. */
class CallStore
{
public:
    explicit CallStore(qint64 count = 0);
    /** One of usualCount calls, which nobody changes. */
    static const CallStore &full();

    static constexpr qint64 usualCount = 100'000;

    QString path() const { return _folder.filePath(QStringLiteral("calls.sqlite")); }
    /** Those that calls lead to, held by the caller. */
    QList<VXManagedObjectPtr> others(VXManagedObjectContext &context, const QString &entity) const;
    void insert(VXManagedObjectContext &context, qint64 count, const QList<VXManagedObjectPtr> &people,
                const QList<VXManagedObjectPtr> &folders) const;

    int indexOf(const char *name) const;
    VXFetchRequest request(const QString &format = QStringLiteral("TRUEPREDICATE"),
                           const QVariantList &arguments = {}) const;

    /** Reads every attribute as it lies in the row. */
    qint64 read(const VXFetchResult &result) const;
    /** Makes a value of every attribute. */
    qint64 readValues(const VXFetchResult &result) const;
    /** Three of them, without values of their own. */
    qint64 readThree(const VXFetchResult &result) const;

    VXManagedObjectModel::Ptr model;
    VXPersistentStoreCoordinator::Ptr coordinator;
    VXPersistentStoreCoordinator::StorePtr store;
    const VXEntityDescription *call = nullptr;

private:
    QTemporaryDir _folder;
};
