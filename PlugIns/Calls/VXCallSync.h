#pragma once

#include "VXCallStore.h"
#include "VXDeviceWork.h"

/**
 * Takes the calls of a phone's lists into the store, as the action "sync_calls". Those that are there already, from an earlier
 * time or because an event told of them, are left as they are (VXCallFiling). Main thread, which waits for no store.
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
    void finish(const VXError &error, const QStringList &problems);

    const VXCallStore _store;
    int _addedCount = 0;
};
