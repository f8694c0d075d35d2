#pragma once

#include "VXContactReconciler.h"
#include "VXDeviceWork.h"
#include "VXFileLock.h"

#include <QtCore/QMap>

#include <deque>

/**
 * Brings the contacts of a phone and the store "phonebook" into step, as the action "sync_contacts". Its object may say
 * `acceptsDeletions`, `isNewPhone` and `addsAll` (VXContactReconciler). What is on the phone is kept in a file as it is read, and comes here in
 * slices, from a new phone at once, else when all of it is known; then what changed here is carried out there, and each step is noted; what the phone refuses is a problem once, and tried
 * again each time: a sync that is broken off can be repeated, and a second one changes nothing. Main thread, which waits for no store.
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
    /** Done in turn on another thread; false with an error. */
    using Step = std::function<bool(VXContactReconciler &reconciler, VXError *error)>;
    /** What came of work on another thread. */
    struct Made
    {
        VXError error = {};
        std::deque<VXPhoneChange> changes = {};
    };
    struct Refusal
    {
        VXError error = {};
        bool isNews = false; // it happened for the first time
    };

    void readPhone();
    void take(const VXDeviceAction::Portion &portion, const std::function<void()> &next);
    void didRead(const VXDeviceAction &part);
    void work(const Step &step, const std::function<void()> &then = {});
    void workNext();
    void readOn();
    void didReconcile();
    void carryOutNext();
    void didCarryOut(const VXPhoneChange &change, const VXDeviceAction &part);
    void didFail(const VXPhoneChange &change, const VXError &why);
    void finish(const VXError &error = {});
    static Made make(const VXPersistentStoreCoordinator::Ptr &coordinator, VXPhoneContacts &contacts,
                     const std::deque<VXPhoneChange> &changes);
    static VXError note(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXPhoneChange &change,
                        const QVariantMap &result);
    static Refusal noteRefusal(const VXPersistentStoreCoordinator::Ptr &coordinator, const VXPhoneChange &change);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    std::shared_ptr<VXContactReconciler> _reconciler; // at work on another thread while there are steps
    std::deque<std::pair<Step, std::function<void()>>> _steps;
    std::function<void()> _readOn;          // called once few portions wait; null while the driver continues by itself
    std::deque<VXPhoneChange> _changes;     // left to be carried out
    std::deque<VXPhoneChange> _made;        // the next of them, made ready
    QMap<QString, QStringList> _carriedOut; // names, by what was done on the phone
    QStringList _refused;                   // names: refused again, as was already reported
    QStringList _problems;
};
