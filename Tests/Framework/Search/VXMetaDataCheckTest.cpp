#include "VXLogRecorder.h"
#include "VXMetaDataTesting.h"
#include "VXSQLiteConnection.h"

#include <QtCore/QMap>
#include <QtCore/QProcess>

using namespace Qt::StringLiterals;
using testing::IsEmpty;

namespace {

class VXMetaDataCheckTest : public VXMetaDataTest
{
protected:
    static void spoil(const QString &sql)
    {
        VXError error;
        const auto index = VXSQLiteConnection::open(VXSearchIndex::path(), VXSQLiteConnection::Access::Write,
                                                    std::chrono::seconds(1), nullptr, &error);
        EXPECT_TRUE(index && index->execute(sql, &error)) << error.description().toStdString();
    }
};

TEST_F(VXMetaDataCheckTest, AnIndexThatSaysOtherWordsIsMadeAnew)
{
    add(u"Jane"_s);
    pass();
    spoil(u"INSERT INTO words (words) VALUES ('delete-all')"_s);
    EXPECT_THAT(find(u"jane"_s), IsEmpty());
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isClean());
    EXPECT_TRUE(sync->checkMetaDataFiles(true)->isRepaired());
    EXPECT_EQ(find(u"jane"_s).size(), 1);
    spoil(u"INSERT INTO entry (folder, name) VALUES (999, 'p1_MD2.person')"_s);
    EXPECT_FALSE(sync->checkMetaDataFiles(true)->isIndexWhole);
    EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean());
    // One that could not be told of a change, as something was in its place that cannot be moved away.
    QFile::remove(VXSearchIndex::path());
    QDir().mkpath(VXSearchIndex::path());
    writeFile(QDir(path()).relativeFilePath(VXFileManager::defaultManager().pathToUserTrashFolder()), "no folder");
    const VXLogRecorder log;
    add(u"Joe"_s);
    pass();
    EXPECT_GE(log.count(u"What is no file lies in its place"_s), 1);
    EXPECT_TRUE(VXMetaDataDebt::isAnyOfAll());
    QDir().rmdir(VXSearchIndex::path());
    pass();
    EXPECT_EQ(find(u"j"_s).size(), 2);
    EXPECT_FALSE(VXMetaDataDebt::isAnyOfAll());
}

TEST_F(VXMetaDataCheckTest, AnIndexThatSaysAnotherThingIsMadeAnew)
{
    add(u"+1 555 0100"_s);
    pass();
    const auto isFound = [] {
        const QList<VXFoundObject> found = find(u"5550100"_s);
        return found.size() == 1 && found.first().title != "Joe"_L1;
    };
    for (const QString &change : {u"UPDATE entry SET title = 'Joe'"_s, u"UPDATE entry SET date = 1"_s,
                                  u"UPDATE entry SET addresses = NULL"_s, u"UPDATE entry SET hidden = 1"_s,
                                  u"DELETE FROM address"_s, u"INSERT INTO address SELECT '7', id FROM entry"_s}) {
        EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean());
        spoil(change);
        EXPECT_FALSE(sync->checkMetaDataFiles(true)->isIndexWhole) << change.toStdString();
        EXPECT_TRUE(isFound()) << change.toStdString();
    }
}

TEST_F(VXMetaDataCheckTest, AnOlderCopyOfTheIndexIsSeen)
{
    add(u"Jane"_s);
    pass();
    const QString index = VXSearchIndex::path();
    const QString copy = path(u"copy"_s);
    ASSERT_TRUE(QFile::copy(index, copy));
    add(u"Joe"_s);
    pass();
    const auto isAsLeft = [] { return VXMetaDataSync::isAllTakenIn(*VXSearchIndex::openExisting()); };
    const auto settle = [] { EXPECT_TRUE(VXSearchIndex::openExisting()->settleAll({u"people"_s}, nullptr)); };
    settle();
    EXPECT_TRUE(isAsLeft());
    QProcess::execute(u"cp"_s, {copy, index}); // the same file, with what it was
    settle();
    EXPECT_FALSE(isAsLeft());
    EXPECT_TRUE(sync->isMirrorGone());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2}));
    EXPECT_EQ(find(u"j"_s).size(), 2);
    EXPECT_TRUE(isAsLeft());
    EXPECT_FALSE(sync->isMirrorGone());
}

TEST_F(VXMetaDataCheckTest, WhatAPassIsDueForIsNoFault)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    const VXManagedObjectPtr joe = add(u"Joe"_s);
    pass();
    jane->setValueForKey(u"Janet"_s, u"name"_s);
    context.deleteObject(joe);
    add(u"Jim"_s);
    ASSERT_TRUE(QFile::resize(fileOf(jane), 9));
    const VXMetaDataReport report = sync->checkMetaDataFiles(false).value();
    EXPECT_FALSE(report.isTakenIn);
    ASSERT_EQ(report.findings.size(), 1);
    EXPECT_EQ(report.findings.first().kind, VXMetaDataFinding::Kind::Damaged);
    pass();
    EXPECT_TRUE(sync->checkMetaDataFiles(false)->isTakenIn);
    // The files of another store.
    const auto other = VXPersistentStoreCoordinator::coordinatorWithModel(model());
    ASSERT_TRUE(other->addPersistentStore(VXStoreType::InMemory, {}));
    sync->terminate();
    sync = VXMetaDataSync::initWithIdentifier(u"people"_s, other, u"Person"_s, u"changed"_s);
    EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean());
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isTakenIn);
}

TEST_F(VXMetaDataCheckTest, WhatAnEarlierProgramWroteIsDueAndNoFault)
{
    const VXManagedObjectPtr jane = add(u"Jane"_s);
    const VXManagedObjectPtr joe = add(u"Joe"_s);
    pass();
    for (const bool repairs : {false, true}) {
        SCOPED_TRACE(repairs);
        for (const QString &path : {fileOf(jane), folder() + ".settings"_L1}) {
            QVariantMap values = VXPropertyList::fromFile(path).toMap();
            values.remove(VXMetaDataGenerationKey);
            ASSERT_TRUE(VXPropertyList::toFile(values, path, VXPropertyList::Format::Binary));
        }
        EXPECT_FALSE(VXMetaDataSettings::areAllPresent());
        VXMetaDataReport report = sync->checkMetaDataFiles(false).value();
        EXPECT_FALSE(report.isTakenIn);
        EXPECT_TRUE(report.isClean());
        if (repairs) {
            ASSERT_TRUE(QFile::resize(fileOf(joe), 9)); // that is one
            report = sync->checkMetaDataFiles(true).value();
            ASSERT_EQ(report.findings.size(), 2);
            EXPECT_EQ(report.findings[0].kind, VXMetaDataFinding::Kind::Outdated);
            EXPECT_EQ(report.findings[1].kind, VXMetaDataFinding::Kind::Damaged);
            EXPECT_TRUE(report.isRepaired());
        } else {
            joe->setValueForKey(QDateTime::currentDateTimeUtc().addSecs(3600), u"changed"_s); // and nothing else
            ASSERT_TRUE(context.save());
            VXMetaDataDebt(u"people"_s).forget();
            EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 2}));
        }
        EXPECT_TRUE(VXMetaDataSettings::areAllPresent());
        EXPECT_TRUE(sync->checkMetaDataFiles(false)->isTakenIn);
        EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2}));
    }
    // After the pass of this one, with an index of its own.
    ASSERT_TRUE(VXPropertyList::toFile(QVariantMap{{VXMetaDataGenerationKey, VXMetaDataGeneration - 1}}, fileOf(jane),
                                       VXPropertyList::Format::Binary));
    ASSERT_TRUE(QFile::remove(VXSearchIndex::path()));
    EXPECT_EQ(pass(), (VXMetaDataCounts{.unchanged = 2}));
    EXPECT_TRUE(sync->needsUpdate() && VXMetaDataDebt::isAnyOfAll());
    EXPECT_EQ(pass(), (VXMetaDataCounts{.updated = 1, .unchanged = 1}));
    EXPECT_EQ(titleIn(fileOf(jane)), u"Jane"_s);
    EXPECT_FALSE(sync->needsUpdate() || VXMetaDataDebt::isAnyOfAll());
}

TEST_F(VXMetaDataCheckTest, NothingIsWrongBeforeTheFirstPass)
{
    add(u"Jane"_s);
    VXMetaDataReport report = sync->checkMetaDataFiles(false).value();
    EXPECT_TRUE(report.isClean());
    EXPECT_FALSE(report.isTakenIn);
    writeFile(QDir(path()).relativeFilePath(folder() + "/p7_MD2.person"_L1), "mine");
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isClean()); // that is
    pass();
    report = sync->checkMetaDataFiles(false).value();
    EXPECT_TRUE(report.isClean());
    EXPECT_TRUE(report.isTakenIn);
    ASSERT_TRUE(QFile::remove(VXSearchIndex::path()));
    EXPECT_FALSE(sync->checkMetaDataFiles(false)->isClean());
}

TEST_F(VXMetaDataCheckTest, ChecksEveryFileWhateverItsDate)
{
    for (const VXStoreType type : {VXStoreType::SQLite, VXStoreType::XML, VXStoreType::InMemory}) {
        SCOPED_TRACE(int(type));
        const auto own = VXPersistentStoreCoordinator::coordinatorWithModel(model());
        ASSERT_TRUE(own->addPersistentStore(
            type, type == VXStoreType::InMemory ? QString() : path("store%1"_L1.arg(QString::number(int(type))))));
        VXManagedObjectContext people(own);
        QList<VXManagedObjectPtr> all;
        for (int i = 0; i < 1200; ++i) // more than are read at a time
            all.append(addPerson(people, "Jane %1"_L1.arg(QString::number(i))));
        ASSERT_TRUE(people.save());
        sync->terminate();
        sync = VXMetaDataSync::initWithIdentifier(u"people"_s, own, u"Person"_s, u"changed"_s);
        pass();
        VXMetaDataReport report = sync->checkMetaDataFiles(false).value();
        EXPECT_TRUE(report.isClean());
        EXPECT_EQ(report.objectCount, 1200);
        EXPECT_EQ(report.fileCount, 1200);
        ASSERT_TRUE(QFile::remove(fileOf(all[0])));
        ASSERT_TRUE(QFile::copy(fileOf(all[600]), fileOf(all[0])));
        ASSERT_TRUE(QFile::remove(fileOf(all[1199])));
        ASSERT_TRUE(QFile::copy(fileOf(all[600]), folder() + "/p7777_MD2.person"_L1));
        ASSERT_TRUE(QFile(fileOf(all[2])).resize(9));
        using Kind = VXMetaDataFinding::Kind;
        for (const bool repairs : {false, true}) {
            report = sync->checkMetaDataFiles(repairs).value();
            QMap<Kind, QString> found;
            for (const VXMetaDataFinding &finding : std::as_const(report.findings))
                found.insert(finding.kind, finding.name);
            EXPECT_EQ(report.findings.size(), 4);
            EXPECT_EQ(found, (QMap<Kind, QString>{{Kind::Stale, metaDataFilename(all[0]->objectID())},
                                                  {Kind::Missing, metaDataFilename(all[1199]->objectID())},
                                                  {Kind::Orphaned, u"p7777_MD2.person"_s},
                                                  {Kind::Damaged, metaDataFilename(all[2]->objectID())}}));
            EXPECT_EQ(report.unrepaired, 0);
        }
        EXPECT_TRUE(sync->checkMetaDataFiles(false)->isClean());
        EXPECT_EQ(pass().unchanged, 1200);
        ASSERT_TRUE(QDir(folder()).removeRecursively());
    }
}

} // namespace
