#include "VXDataManager.h"
#include "VXDataPlugin.h"
#include "VXDataPluginTesting.h"
#include "VXExportSheetController.h"

#include <QtCore/QCoreApplication>

#include <thread>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::SizeIs;

class VXDataManagerTest : public VXDataPluginHomeTest
{
protected:
    static VXDataManager &stores() { return VXDataManager::sharedDataManager(); }
};

TEST_F(VXDataManagerTest, NamesThatAreNotOfOnePluginFailAnAssertion)
{
    writePlugin(u"notes"_s, u"memory"_s);
    writePlugin(u"notes"_s, u"memory"_s, {}, u"org.example.other"_s);
    startWith({});
    EXPECT_EQ(VXReasonOfAssertion([] { stores().pluginForDataStore(u"pages"_s); }),
              u"Missing plugin for store: pages"_s);
    const QString reason = VXReasonOfAssertion([] { stores().sharedCoordinatorForDataStore(u"notes"_s); });
    EXPECT_TRUE(reason.startsWith("2 plugins with identical data store names: "_L1)) << reason.toStdString();
    EXPECT_TRUE(reason.contains("org.example.notes"_L1) && reason.contains("org.example.other"_L1));
}

TEST_F(VXDataManagerTest, StoreIsFoundOnceItsPluginIsLoadedAndKept)
{
    writePlugin(u"notes"_s);
    startWith({});
    VXPluginProxy &proxy = *plugin(u"org.example.notes"_s);
    proxy.unload();
    EXPECT_FALSE(stores().sharedCoordinatorForDataStore(u"notes"_s));
    EXPECT_EQ(log.count(u"sharedCoordinatorForDataStore:] plugin is not loaded for store: notes"_s), 1);
    ASSERT_TRUE(proxy.load());
    const auto store = stores().sharedCoordinatorForDataStore(u"notes"_s);
    ASSERT_TRUE(store);
    proxy.unload();
    EXPECT_EQ(stores().sharedCoordinatorForDataStore(u"notes"_s), store);
}

TEST_F(VXDataManagerTest, ThreadsGetTheStoreFromTheMainThread)
{
    writePlugin(u"notes"_s);
    startWith({});
    VXPersistentStoreCoordinator::Ptr found;
    std::atomic<bool> isDone = false;
    std::thread asking([&] {
        found = stores().sharedCoordinatorForDataStore(u"notes"_s);
        isDone = true;
    });
    EXPECT_TRUE(VXRunUntil([&] { return isDone.load(); }));
    asking.join();
    EXPECT_TRUE(found);
    EXPECT_EQ(found, stores().sharedCoordinatorForDataStore(u"notes"_s));
}

TEST_F(VXDataManagerTest, OpenStoresAreFoundOnAnyThreadWhileTheMainThreadWaits)
{
    writePlugin(u"notes"_s, u"sqlite"_s, {{u"FixtureValidation"_s, u"looks itself up"_s}});
    EXPECT_FALSE(stores().openCoordinatorForDataStore(u"notes"_s));
    startWith({});
    VXDataPlugin &notesPlugin = plugin(u"org.example.notes"_s)->as<VXDataPlugin>("persistentStoreCoordinator");
    EXPECT_EQ(notesPlugin.property("found"), false); // it was not open yet
    EXPECT_EQ(log.count(u"the store is being opened: notes"_s), 1);
    VXPersistentStoreCoordinator::Ptr found;
    std::thread([&] { found = stores().openCoordinatorForDataStore(u"notes"_s); }).join();
    ASSERT_TRUE(found);
    EXPECT_EQ(found, stores().sharedCoordinatorForDataStore(u"notes"_s));
    EXPECT_FALSE(stores().openCoordinatorForDataStore(u"pages"_s));
    EXPECT_EQ(stores().findPluginForDataStore(u"notes"_s), plugin(u"org.example.notes"_s));
    EXPECT_EQ(stores().findPluginForDataStore(u"pages"_s), nullptr);
}

// -- Export

class ExportDelegate : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void exportDidEnd(QObject *window, int returnCode, const QVariant &userInfo)
    {
        windows.append(window);
        returnCodes.append(returnCode);
        userInfos.append(userInfo);
    }

    QList<QObject *> windows;
    QList<int> returnCodes;
    QVariantList userInfos;
};

class VXDataManagerExportTest : public VXDataManagerTest
{
protected:
    // Sheets are shown by keeping them for the test to end.
    void SetUp() override
    {
        VXDataPluginHomeTest::SetUp();
        if (IsSkipped())
            return;
        writeExporter(u"org.example.good"_s, {});
        writeExporter(u"org.example.bad"_s, {{u"FixtureExportError"_s, u"failed as told"_s}});
        startWith({u"org.example.good"_s, u"org.example.bad"_s});
        stores().setExportSheetPresenter([this](const QVariantList &objects, const QString &name, QObject *) {
            auto made = std::make_unique<VXExportSheetController>(objects, name);
            sheet = made.get();
            return made;
        });
    }
    void TearDown() override
    {
        stores().setExportSheetPresenter({});
        stores().setExportRunner({});
    }

    void writeExporter(const QString &identifier, const QVariantMap &info) const
    {
        VXPluginFixture{.identifier = identifier,
                        .name = identifier,
                        .kind = u"VXExporterPlugin"_s,
                        .info = info,
                        .code = u"WritingExporter.so"_s}
            .write(shared());
    }

    void open() { stores().exportObjects({1, 2}, u"Call"_s, &window, &delegate, "exportDidEnd", u"why"_s); }

    VXExportSheetController *sheet = nullptr;
    QObject window;
    ExportDelegate delegate;
};

TEST_F(VXDataManagerExportTest, TellsTheDelegateWhatCameOfIt)
{
    const struct
    {
        QString exporter;
        bool isOk;
        int expected;
        size_t errors; // shown so far
    } cases[] = {
        {u"org.example.good"_s, true, 1, 0}, {u"org.example.good"_s, false, 0, 0}, {u"org.example.bad"_s, true, 0, 1}};
    for (const auto &each : cases) {
        QCoreApplication::instance()->setProperty("VXExportedObjects", QVariant());
        open();
        ASSERT_TRUE(sheet->selectItemWithIdentifier(each.exporter));
        each.isOk ? sheet->OKAction() : sheet->cancelAction();
        EXPECT_EQ(delegate.returnCodes.takeLast(), each.expected) << each.exporter.toStdString();
        EXPECT_EQ(delegate.windows.takeLast(), &window);
        EXPECT_EQ(delegate.userInfos.takeLast(), u"why"_s);
        EXPECT_THAT(user->errors(), SizeIs(each.errors));
        EXPECT_EQ(QCoreApplication::instance()->property("VXExportedObjects"),
                  each.isOk ? QVariant(QVariantList{1, 2}) : QVariant());
    }
    EXPECT_EQ(user->errors().front().localizedDescription(), u"failed as told"_s);
}

TEST_F(VXDataManagerExportTest, TellsOfWorkThatIsDoneMeanwhileOnceItIsOver)
{
    VXDataManager::ExportWork work;
    std::function<void(const std::optional<VXError> &)> done;
    stores().setExportRunner([&](const auto &given, const auto &whenDone) {
        work = given;
        done = whenDone;
    });
    open();
    ASSERT_TRUE(sheet->selectItemWithIdentifier(u"org.example.bad"_s));
    sheet->OKAction();
    EXPECT_THAT(delegate.returnCodes, SizeIs(0));
    done(work());
    EXPECT_THAT(delegate.returnCodes, ElementsAre(0));
    EXPECT_THAT(user->errors(), SizeIs(1));
}

TEST_F(VXDataManagerExportTest, WithoutWindowsItIsCancelled)
{
    stores().setExportSheetPresenter({});
    open();
    EXPECT_THAT(delegate.returnCodes, ElementsAre(0));
}

#include "VXDataManagerTest.moc"
