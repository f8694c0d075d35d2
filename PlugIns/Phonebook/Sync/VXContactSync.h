#pragma once

#include "VXContactReconciler.h"
#include "VXDeviceWork.h"
#include "VXFileLock.h"

#include <QtCore/QMap>

#include <deque>

/**
 * Synchronises the contacts of a phone with the store "phonebook", as the action "sync_contacts". Its object may
 * contain `acceptsDeletions`, `isNewPhone` and `addsAll` (VXContactReconciler). First, what is on the phone is taken
 * over here, in one save. Then what changed here is carried out there, and each step is noted. What the phone refuses
 * is reported as a problem once, but tried again each time. A sync that is broken off can be repeated, and a second one
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
    /** The outcome of work on another thread. */
    struct Reconciled
    {
        VXError error = {};
        VXContactReconciler::Outcome outcome = {};
    };
    struct Refusal
    {
        VXError error = {};
        bool isNews = false; // it happened for the first time
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
    QStringList _refused;                   // names: refused again, as was already reported
    QStringList _problems;
};
