#pragma once

#include "VXDeviceWork.h"
#include "VXMessageFiling.h"

#include <deque>

/**
 * Brings a phone's folder of messages and the phone into step, as the action "sync_messages": what is on the phone is filed
 * (VXMessageFiling), whole messages only, while the rest is read; what was sent from here, or imported, goes from its root folder to the
 * phone's when that has it too; and what was changed here is carried out there and then noted as done. Each step is saved before the
 * next, so that it can be broken off anywhere and be repeated; a second one changes nothing. What was deleted on the phone
 * stays here. Main thread, which waits for no store.
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
    /** Done in turn on another thread. */
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
    std::shared_ptr<VXMessageFiling> _filing; // of this reading; at work on another thread while _isFiling
    std::deque<Step> _steps;                  // left of it
    std::function<void()> _readOn;            // once nothing waits; null while the phone goes on by itself
    bool _isFiling = false;
    bool _isRead = false;
    bool _hasReadAgain = false;
    std::deque<Change> _changes;
    QList<VXManagedObjectID> _written; // and not met on the phone yet
    int _addedCount = 0;
    int _changedCount = 0;
    int _addedThereCount = 0;
    int _changedThereCount = 0;
    int _deletedThereCount = 0;
    int _leftCount = 0;
    QStringList _problems;
};
