#include "VXCall.h"
#include "VXCallRecorder.h"
#include "VXCallSync.h"
#include "VXEventManager.h"
#include "VXPrincipalClass.h"
#include "VXStorePlugin.h"
#include "VXStoreWorkLock.h"

using namespace Qt::StringLiterals;

/** Keeps the history of calls, in the store "calls". */
class CallsPlugin : public VXStorePlugin
{
    Q_OBJECT

public:
    Q_INVOKABLE CallsPlugin() : VXStorePlugin(VXCall::entityName, u"One call"_s, u"%1 calls"_s)
    {
        registerClass<VXCall>(VXCall::entityName);
    }

    void pluginDidLoad() override
    {
        const VXPersistentStoreCoordinator::Ptr coordinator = persistentStoreCoordinator();
        if (!coordinator)
            return;
        VXDeviceWork::offer(this, u"sync_calls"_s, u"read_calls"_s,
                            [coordinator, lockPath = dataStorePath() + u'/' +
                                                     VXStoreWorkLock::syncName](const VXDeviceAction::Ptr &action) {
                                return std::make_shared<VXCallSync>(action, VXCallStore(coordinator), lockPath);
                            });
        // Kept alive for a last call on another thread.
        const auto recorder = std::make_shared<VXCallRecorder>(coordinator);
        VXNotificationCenter::defaultCenter().addObserver(
            this, VXEventManagerWillPostEventNotification,
            [recorder](const VXNotification &notification) { recorder->eventWillBePosted(notification); });
        launchSearch(VXCall::changedDateKey);
    }
};

VX_PRINCIPAL_CLASS(CallsPlugin)

#include "CallsPlugin.moc"
