#pragma once

#include "VXContactReconciler.h"
#include "VXDeviceWork.h"
#include "VXFileLock.h"

#include <QtCore/QMap>

#include <deque>

/**
 * Brings the contacts of a phone and the store "phonebook" into step, as the action "sync_contacts". Its object may say
 * `acceptsDeletions`, `isNewPhone` and `addsAll` (VXContactReconciler). First what is on the phone comes here, in one save; then what
 * changed here is carried out there, and each step is noted; what the phone refuses is a problem once, and tried
 * again each time: a sync that is broken off can be repeated, and a second one
 * changes nothing. Main thread, which waits for no store.
 */
class VXContactSync : public VXDeviceWork
{
public:
    VXContactSync(const VXDeviceAction::Ptr &action, const VXPersistentStoreCoordinator::Ptr &coordinator,
                  const QString &lockPath)
        : VXDeviceWork(action, lockPath), _coordinator(coordinator)
    {
    }

protected:
    void start() override;

private:
    /** What came of work on another thread. */
    struct Reconciled
    {
        VXError error = {};
        VXContactReconciler::Outcome outcome = {};
    };
    struct Refusal
    {
        VXError error = {};
        bool isNews = false; // it is the first time
    };

    void didRead(const VXDeviceAction &part);
    void didReconcile(const Reconciled &reconciled);
    void carryOutNext();
    void didCarryOut(const VXPhoneChange &change, const VXDeviceAction &part);
    void didFail(const VXPhoneChange &change, const VXError &why);
    void finish(const VXError &error = {});
    static Reconciled reconcile(VXContactReconciler &reconciler, const QVariantMap &result);
    static VXError note(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXPhoneChange &change,
                        const QVariantMap &result);
    static Refusal noteRefusal(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXPhoneChange &change);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    VXContactReconciler::Outcome _outcome;  // once the phone was read
    std::deque<VXPhoneChange> _changes;     // left to be carried out
    QMap<QString, QStringList> _carriedOut; // names, by what was done on the phone
    QStringList _refused;                   // names: again, as was told before
    QStringList _problems;
};
