#include "DesktopTestsPaths.h"
#include "VXContactRow.h"
#include "VXDataManager.h"
#include "VXModelParser.h"
#include "VXStoreListModel.h"
#include "VXTesting.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>

using namespace Qt::StringLiterals;

/** The list of contacts over the store that the command line writes. */
class VXContactsListTest : public VXHomeTest
{
protected:
    void runProgram(const QStringList &arguments) const
    {
        QProcess process;
        process.start(QStringLiteral(VORNIX_PROGRAM), QStringList{u"--home"_s, path()} + arguments);
        ASSERT_TRUE(process.waitForFinished(30000));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }

    VXPersistentStoreCoordinator::Ptr openStore() const
    {
        QFile file(QStringLiteral(VORNIX_PHONEBOOK_MODEL));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        QList<VXModelProblem> problems;
        const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(file.readAll(), &problems));
        const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
        const QString folder = VXDataManager::sharedDataFolderPath() + "/phonebook.vxdatastore"_L1;
        EXPECT_TRUE(coordinator->addPersistentStore(VXStoreType::SQLite, folder + "/phonebook.sqlite"_L1));
        return coordinator;
    }

    QStringList rows() const
    {
        QStringList texts;
        for (int row = 0; row < list.rowCount(); ++row)
            texts.append(list.index(row).data().toString());
        return texts;
    }
    [[nodiscard]] bool shows(const QStringList &expected)
    {
        return VXRunUntil([&] { return rows() == expected; });
    }

    VXStoreListModel list;
};

TEST_F(VXContactsListTest, followsAnotherProcessAndFindsWhatIsTyped)
{
    runProgram({u"phonebook"_s, u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0100/m"_s});
    const auto store = openStore();
    list.setQuery(VXContactsQuery(store, {}, {}));
    EXPECT_TRUE(shows({u"Jane Doe, +1 555 0100"_s})) << rows().join(u'|').toStdString();
    runProgram({u"phonebook"_s, u"add"_s, u"Amélie Abel"_s, u"--number"_s, u"+1 555 0101/m"_s});
    EXPECT_TRUE(shows({u"Amélie Abel, +1 555 0101"_s, u"Jane Doe, +1 555 0100"_s})) << rows().join(u'|').toStdString();
    runProgram({u"phonebook"_s, u"edit"_s, u"Jane Doe"_s, u"--nickname"_s, u"Janie"_s});
    for (const QString &typed : {u"amel"_s, u"ab AM"_s, u"15550101"_s}) {
        list.setQuery(VXContactsQuery(store, {}, typed));
        EXPECT_TRUE(shows({u"Amélie Abel, +1 555 0101"_s}))
            << typed.toStdString() << ": " << rows().join(u'|').toStdString();
    }
    list.setQuery(VXContactsQuery(store, {}, u"jani"_s));
    EXPECT_TRUE(shows({u"Jane Doe, +1 555 0100"_s})) << rows().join(u'|').toStdString();
    runProgram({u"phonebook"_s, u"delete"_s, u"Jane Doe"_s});
    EXPECT_TRUE(shows({}));
}
