#pragma once

#include "VXCallStore.h"
#include "VXDeviceWork.h"

#include <QtCore/QHash>

/**
 * Takes the calls of a phone's lists into the store, as the action "sync_calls". Calls that are already there, from an
 * earlier sync or because an event reported them, are left as they are. Main thread.
 */
class VXCallSync : public VXDeviceWork
{
public:
    VXCallSync(const VXDeviceAction::Ptr &action, const VXCallStore &store, const QString &lockPath)
        : VXDeviceWork(action, lockPath), _store(store)
    {
    }

protected:
    void start() override;

private:
    void didRead(const VXDeviceAction &part);
    bool add(const QVariantMap &item, VXManagedObjectContext &context, VXError *error);
    void finish(const VXError &error, const QStringList &problems);

    const VXCallStore _store;
    QHash<QString, int> _undated; // how many were found, by list and number
    int _addedCount = 0;
};
