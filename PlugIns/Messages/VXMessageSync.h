#pragma once

#include "VXDeviceWork.h"
#include "VXMessageFiling.h"

#include <deque>

/**
 * Synchronises a phone's folder of messages with the phone, as the action "sync_messages". What is on the phone is
 * filed (VXMessageFiling), complete messages only, while the rest is read. What was sent from here, or imported, moves
 * from its root folder to the phone's if the phone has it too. What was changed here is carried out on the phone and
 * then noted as done. Each step is saved before the next, so that the sync can be broken off anywhere and repeated; a
 * second one changes nothing. What was deleted on the phone stays here. Main thread, which waits for no store.
 */
class VXMessageSync : public VXDeviceWork
{
public:
    VXMessageSync(const VXDeviceAction::Ptr &action, const VXMessageStore &store, const QString &lockPath)
        : VXDeviceWork(action, lockPath), _store(store)
    {
    }

protected:
    void start() override { read(); }

private:
    using Change = VXMessageFiling::Change;
    /** Done one after the other on another thread. */
    using Step = std::function<VXError(VXMessageFiling &filing)>;

    void read();
    void readPhone(const VXError &problem);
    void didRead(const VXDeviceAction &part);
    void enqueue(const Step &step);
    void fileNext();
    void didFile(const VXError &error);
    void didFileAll();

    void carryOutNext();
    void didCarryOut(const Change &change, const VXDeviceAction &part);
    void didNote(const Change &change, const VXError &error, bool isWritten);
    void finish();

    const VXMessageStore _store;
    std::shared_ptr<VXMessageFiling> _filing; // of this reading; used by another thread while _isFiling
    std::deque<Step> _steps;                  // the rest of them
    std::function<void()> _readOn;            // called once nothing waits; null while the phone continues by itself
    bool _isFiling = false;
    bool _isRead = false;
    bool _hasReadAgain = false;
    std::deque<Change> _changes;
    QList<VXManagedObjectID> _written; // and not found on the phone yet
    int _addedCount = 0;
    int _changedCount = 0;
    int _addedThereCount = 0;
    int _changedThereCount = 0;
    int _deletedThereCount = 0;
    int _leftCount = 0;
    QStringList _problems;
};
