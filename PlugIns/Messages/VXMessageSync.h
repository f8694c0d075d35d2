#pragma once

#include "MessageDataConstants.h"
#include "VXDeviceWork.h"
#include "VXMessageStore.h"

#include <QtCore/QHash>

#include <deque>

/**
 * Brings a phone's folder of messages and the phone into step, as the action "sync_messages": what is on the phone is filed,
 * whole messages only; what was sent from here, or imported, goes from its root folder to the phone's when that has it too; and what was changed here is carried out there and then noted as done. Each step is saved before the
 * next, so that it can be broken off anywhere and be repeated; a second one changes nothing. What was deleted on the phone
 * stays here. Main thread.
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
    struct Item // of the phone
    {
        QVariantMap map;
        VXMessageRecord record;
        bool isKept = true; // else it is left where it lies
    };
    struct Change // to be carried out there
    {
        VXManagedObjectID message;
        VXPendingChange kind = VXPendingChange::None;
        QVariantMap object = {}; // of the action
        bool isNew = false;      // on the phone
    };
    class Match;

    void read();
    void take(const QVariantMap &item);
    void didRead(const VXDeviceAction &part);
    bool fileAndSave(VXError *error);
    bool apply(VXManagedObjectContext &context, VXError *error);
    QString deviceURL() const;
    /** What was perhaps sent is where the phone has its copy: told to the outbox, and the draft is the message that it is. */
    void settleSent(QList<VXManagedObjectPtr> &messages, VXManagedObjectContext &context) const;
    void applyItem(const Item &item, const VXManagedObjectPtr &message, const VXManagedObjectPtr &folder);
    void applyAbsence(const VXManagedObjectPtr &message, VXManagedObjectContext &context);
    bool forgetTrash(VXManagedObjectContext &context, VXError *error);
    void noteChange(const VXManagedObjectPtr &message, const QVariantMap &item);

    void carryOutNext();
    void didCarryOut(const Change &change, const VXDeviceAction &part);
    void finish();

    const VXMessageStore _store;
    QList<Item> _items;
    bool _isAll = false;       // nothing on the phone is missing from the items
    bool _marksAsRead = false; // what is read from the phone is a read message there from then on
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
