#include "VXCall.h"
#include "VXCallRecorder.h"
#include "VXCallSync.h"
#include "VXDataPlugin.h"
#include "VXEventManager.h"
#include "VXManagedObjectClass.h"
#include "VXMetaDataSync.h"
#include "VXPrincipalClass.h"

using namespace Qt::StringLiterals;

/** Keeps the history of calls, in the store "calls". */
class CallsPlugin : public VXDataPlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE CallsPlugin() { VXManagedObjectClass::registerClass<VXCall>(VXCall::entityName); }

    // Since the first version nothing is derived from other values that was not before.
    bool copiesRows(int version) const override { return version >= 1; }
    QString importDescriptionFromStore(VXCoreDataStore &store) override
    {
        const qsizetype count = countInStore(store, VXCall::entityName);
        if (count == 0)
            return {};
        return bundle()
            ->localizedStringForKey(count == 1 ? u"One call"_s : u"%1 calls"_s)
            .replace("%1"_L1, QString::number(count));
    }

    void pluginDidLoad() override
    {
        const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
        if (!coordinator)
            return;
        VXDeviceWork::offer(this, u"sync_calls"_s, u"read_calls"_s, [coordinator](const VXDeviceAction::Ptr &action) {
            return std::make_shared<VXCallSync>(action, VXCallStore(coordinator));
        });
        const auto recorder = std::make_shared<VXCallRecorder>(coordinator); // outlives a last call on another thread
        VXNotificationCenter::defaultCenter().addObserver(
            this, VXEventManagerWillPostEventNotification,
            [recorder](const VXNotification &notification) { recorder->eventWillBePosted(notification); });
        _search = VXMetaDataSync::launchMetaDataSyncWithIdentifier(identifier(), coordinator, VXCall::entityName,
                                                                   VXCall::changedDateKey);
    }

    void pluginWillUnload() override
    {
        if (_search)
            _search->terminate();
        VXNotificationCenter::defaultCenter().removeObserver(this);
        VXManagedObjectClass::removeClass(VXCall::entityName);
    }

private:
    VXMetaDataSync::Ptr _search; // null when the user wants none
};

VX_PRINCIPAL_CLASS(CallsPlugin)

#include "CallsPlugin.moc"
