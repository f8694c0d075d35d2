#include "HostProgram.h"
#include "VXHostJSON.h"
#include "VXTesting.h"
#include "VXTestSQL.h"
#include "VXUpgradeTesting.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

/** With the store of calls that ships. */
class HostStoreTransferTest : public VXHomeTest
{
protected:
    static HostOutcome run(const VXWords &arguments)
    {
        return runHost(VXWords{"--answer", "cancel", "store"} + arguments);
    }
    static QJsonObject jsonOf(const VXWords &arguments)
    {
        const HostOutcome outcome = run(arguments + QStringList{u"--json"_s});
        EXPECT_EQ(outcome.status, 0) << arguments.join(u' ').toStdString() << outcome.errors;
        return outcome.json().toObject();
    }
    static void addCall(const char *from)
    {
        const QString json = u"{\"from\": \"%1\", \"date\": \"2026-01-02T03:04:05Z\"}"_s.arg(QString::fromUtf8(from));
        EXPECT_EQ(run({"insert", "calls", "VXCall", json}).status, 0);
    }
    static void makeOld(const QString &database) // nobody's, and so older than any
    {
        VXRunSQL(database, "DELETE FROM Z_METADATA WHERE Z_KEY LIKE '$$%'");
    }
    static int callsIn(const QString &store)
    {
        return run({"list", store, "VXCall", "--count"}).output.trimmed().toInt();
    }
};

} // namespace

// The words that are looked for are made anew while contacts are saved: those of a number that nobody has any more go.
TEST_F(HostStoreTransferTest, WhatSavingTakesOutIsNotMissed)
{
    EXPECT_EQ(runHost("phonebook add 'Jane Doe' --number '+1 555 0100'").status, 0);
    EXPECT_EQ(runHost("phonebook add 'Joe Hill' --number '+1 555 0199'").status, 0);
    VXRunSQL(VXDataManager::sharedDataFolderPath() + "/phonebook.vxdatastore/phonebook.sqlite"_L1,
             "UPDATE VX_VXPhoneNumber SET person = 999 WHERE Z_PK = 2");
    const HostOutcome exported = run({"export", "phonebook", path(u"copy.vxdatastore"_s), "--validate"});
    EXPECT_EQ(exported.status, 0) << exported.errors;
    EXPECT_EQ(run({"list", path(u"copy.vxdatastore"_s), "VXPerson", "--count"}).output.trimmed(), "2");
}

TEST_F(HostStoreTransferTest, ExportsImportsReplacesAndRollsBack)
{
    addCall("Jane <+1 555 0100>");
    const QString plain = path(u"plain.vxdatastore"_s);
    const QString validated = path(u"validated.vxdatastore"_s);
    EXPECT_EQ(jsonOf({"export", "calls", path(u"plain"_s)}).value(u"path"_s), plain);
    const QJsonObject exported = jsonOf({"export", "calls", validated, "--validate"});
    EXPECT_EQ(exported.value(u"entities"_s).toArray().at(0).toObject().value(u"copied"_s), 1);
    EXPECT_EQ(callsIn(plain), 1);
    EXPECT_EQ(callsIn(validated), 1);
    EXPECT_EQ(run({"export", "calls", plain}).status, 1); // there is something, and nobody agrees
    EXPECT_EQ(run({"export", "calls", plain, "--yes"}).status, 0);

    const QJsonObject rehearsed = jsonOf({"import", "calls", plain, "--dry-run"});
    EXPECT_EQ(rehearsed.value(u"action"_s), u"rehearsed"_s);
    EXPECT_EQ(rehearsed.value(u"entities"_s).toArray().at(0).toObject().value(u"found"_s), 1);
    EXPECT_EQ(callsIn(u"calls"_s), 1);
    EXPECT_EQ(run({"import", "calls", plain}).status, 1); // nobody to ask
    const QJsonObject merged = jsonOf({"import", "calls", plain, "--merge", "--backup", path(u"b"_s)});
    EXPECT_EQ(merged.value(u"action"_s), u"merged"_s);
    EXPECT_EQ(merged.value(u"backup"_s), path(u"b.vxdatastore"_s));
    EXPECT_EQ(callsIn(u"calls"_s), 2);
    EXPECT_EQ(callsIn(path(u"b.vxdatastore"_s)), 1);
    EXPECT_EQ(jsonOf("rollback calls --yes").value(u"action"_s), u"taken back"_s);
    EXPECT_EQ(callsIn(u"calls"_s), 1); // as before the merge
    EXPECT_EQ(jsonOf("rollback calls --yes").value(u"action"_s), u"taken back"_s);
    EXPECT_EQ(callsIn(u"calls"_s), 2);

    EXPECT_EQ(jsonOf({"import", "calls", path(u"validated"_s), "--replace"}).value(u"from"_s), validated);
    EXPECT_EQ(callsIn(u"calls"_s), 1);
    const HostOutcome past = run("rollback calls --dry-run");
    EXPECT_THAT(past.output, HasSubstr("replaced"));
    EXPECT_EQ(run("rollback calls").status, 1); // nobody agrees
    EXPECT_EQ(jsonOf("rollback calls --yes").value(u"action"_s), u"taken back"_s);
    EXPECT_EQ(callsIn(u"calls"_s), 2);
    EXPECT_EQ(jsonOf("rollback calls --yes").value(u"action"_s), u"taken back"_s); // the rollback too
    EXPECT_EQ(callsIn(u"calls"_s), 1);
    EXPECT_EQ(run({"rollback", "calls", path(u"b.vxdatastore"_s), "--yes"}).status, 0);
    EXPECT_EQ(callsIn(u"calls"_s), 1);
    EXPECT_EQ(jsonOf("upgrade calls").value(u"action"_s), u"none"_s);
}

// What a killed upgrade left, where backups and exports go, and what is taken back first.
TEST_F(HostStoreTransferTest, SaysWhatIsTrueOfStoresThatWaitOrWereLeft)
{
    addCall("Jane <+1 555 0100>");
    const QString live = path(u".local/share/Vornix 2/Data/calls.vxdatastore"_s);
    const QString old = live + ".upgrading"_L1;
    makeOld(live + "/calls.sqlite"_L1);
    ASSERT_TRUE(QDir().rename(live, old));
    EXPECT_EQ(jsonOf("upgrade calls --dry-run").value(u"action"_s), u"rehearsed"_s);
    EXPECT_TRUE(QFileInfo::exists(old)); // nothing was touched
    writeFile(u"folder/thesis"_s, "precious");
    writeFile(u"taken.vxdatastore"_s, "taken");
    for (const QString &place : {path(u"taken.vxdatastore"_s), path(u"folder/thesis/x.vxdatastore"_s), old})
        EXPECT_EQ(run({"upgrade", "calls", "--backup", place}).status, 1) << place.toStdString();
    EXPECT_TRUE(QFileInfo::exists(old));
    EXPECT_EQ(jsonOf({"upgrade", "calls", "--backup", path(u"folder"_s)}).value(u"old"_s),
              path(u"folder/calls.vxdatastore"_s));
    EXPECT_EQ(readFile(path(u"folder/thesis"_s)), "precious");
    EXPECT_EQ(callsIn(u"calls"_s), 1);

    // An upgrade that is not settled is so by the next, and can be taken back.
    ASSERT_TRUE(QDir().rename(path(u"folder/calls.vxdatastore"_s), old));
    EXPECT_THAT(run("rollback calls --dry-run").output, HasSubstr(old.toStdString()));
    EXPECT_EQ(jsonOf("upgrade calls --yes").value(u"action"_s), u"settled"_s);
    EXPECT_FALSE(QFileInfo::exists(old));

    const QString exported = path(u"folder/calls.vxdatastore"_s);
    EXPECT_EQ(run({"export", "calls", path(u"folder"_s), "--yes"}).status, 0);
    EXPECT_EQ(callsIn(exported), 1);
    addCall("Joe <+1 555 0101>");
    EXPECT_EQ(run({"import", "calls", exported, "--replace"}).status, 0);
    EXPECT_EQ(jsonOf("rollback calls --yes").value(u"action"_s), u"withdrawn"_s);
    EXPECT_EQ(callsIn(u"calls"_s), 2);

    EXPECT_THAT(run({"import", "calls", exported, "--merge", "--backup", exported, "--yes"}).errors,
                HasSubstr("the backup would take the place of what is to be imported"));
    EXPECT_EQ(jsonOf({"rollback", "calls", exported, "--dry-run"}).value(u"from"_s), exported);
    EXPECT_EQ(run({"export", "calls", path(u"named"_s)}).status, 0);
    EXPECT_EQ(callsIn(path(u"named.vxdatastore"_s)), 1 + 1);

    const QString others = path(u"outbox.vxdatastore"_s);
    EXPECT_EQ(run({"export", "outbox", others}).status, 0);
    EXPECT_THAT(
        run({"rollback", "calls", others, "--yes"}).errors,
        HasSubstr("not belong to this plugin. It is that of com.halvern.VNX2.plugin.outbox, whose store is called"));
    EXPECT_EQ(callsIn(u"calls"_s), 2);
}

namespace {

// All that lies in a folder, but for caches and logs.
QStringList everythingIn(const QString &folder)
{
    QStringList found;
    QDirIterator items(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (items.hasNext()) {
        const QString path = items.next();
        const QString name = path.sliced(folder.size());
        if (name.startsWith("/.cache"_L1) || name.startsWith("/.local/state"_L1))
            continue;
        QFile file(path);
        const bool isFile = items.fileInfo().isFile() && file.open(QIODevice::ReadOnly);
        const QByteArray data = isFile ? file.readAll() : QByteArray();
        found.append(name + u' ' +
                     QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex()));
    }
    found.sort();
    return found;
}

} // namespace

// Neither in the store that they are about, nor in those of other plugins, whatever waits to be done with these.
TEST_F(HostStoreTransferTest, DryRunsTouchNothing)
{
    addCall("Jane <+1 555 0100>");
    const QString plain = path(u"plain.vxdatastore"_s);
    const QString folders = path(u".local/share/Vornix 2/"_s);
    EXPECT_EQ(run({"export", "calls", plain}).status, 0);
    const QString exported = path(u"phonebook.vxdatastore"_s);
    EXPECT_EQ(run({"export", "phonebook", exported}).status, 0);
    for (const QString &store : {u"calls"_s, u"messages"_s})
        makeOld(folders + u"Data/%1.vxdatastore/%1.sqlite"_s.arg(store));
    ASSERT_TRUE(QDir().mkpath(folders + "Data (Install)"_L1));
    ASSERT_TRUE(QDir().rename(exported, folders + "Data (Install)/phonebook.vxdatastore"_L1));
    ASSERT_TRUE(QDir(folders + "Data/outbox.vxdatastore"_L1).removeRecursively()); // would be made anew
    const QStringList before = everythingIn(path());
    const QList<QStringList> commands{{u"upgrade"_s, u"calls"_s},
                                      {u"import"_s, u"calls"_s, plain},
                                      {u"import"_s, u"calls"_s, plain, u"--replace"_s},
                                      {u"upgrade"_s, u"phonebook"_s},
                                      {u"rollback"_s, u"calls"_s},
                                      {u"rollback"_s, u"phonebook"_s},
                                      {u"rollback"_s, u"calls"_s, plain}};
    for (const QStringList &command : commands) {
        const HostOutcome outcome = run(command + QStringList{u"--dry-run"_s});
        EXPECT_EQ(outcome.status, 0) << command.join(u' ').toStdString() << outcome.errors;
        EXPECT_EQ(everythingIn(path()), before) << command.join(u' ').toStdString();
    }
}

// What a merge leaves out, and what is told of it.
TEST_F(HostStoreTransferTest, MergesAndTheirRehearsalsSayTheSame)
{
    const QString cards = writeFile(u"cards.vcf"_s, "BEGIN:VCARD\r\nVERSION:3.0\r\nFN:Jane Doe\r\nN:Doe;Jane;;;\r\n"
                                                    "TEL:+1 555 0100\r\nEND:VCARD\r\n");
    ASSERT_EQ(runHost({"phonebook", "import", cards}).status, 0);
    const QString exported = path(u"p.vxdatastore"_s);
    ASSERT_EQ(run({"export", "phonebook", exported}).status, 0);
    const QJsonObject rehearsed = jsonOf({"import", "phonebook", exported, "--dry-run"});
    const QJsonObject merged = jsonOf({"import", "phonebook", exported, "--merge"});
    EXPECT_EQ(rehearsed.value(u"entities"_s), merged.value(u"entities"_s));
    const QJsonArray entities = merged.value(u"entities"_s).toArray();
    const auto changeSets = std::ranges::find_if(
        entities, [](const QJsonValue &each) { return each.toObject().value(u"entity"_s) == u"VXContactChangeSet"_s; });
    ASSERT_NE(changeSets, entities.end());
    EXPECT_EQ(changeSets->toObject().value(u"copied"_s), 0);
}

TEST_F(HostStoreTransferTest, MergesAndReplacementsCanBeTakenBackWithoutATrash)
{
    addCall("Jane <+1 555 0100>");
    const QString plain = path(u"plain.vxdatastore"_s);
    EXPECT_EQ(run({"export", "calls", plain}).status, 0);
    writeFile(u".local/share/Trash"_s, "in the way");
    const QString kept = path(u".local/share/Vornix 2/Data/calls.vxdatastore.merged"_s);
    EXPECT_THAT(run({"import", "calls", plain, "--merge"}).output,
                HasSubstr("What that was before lies in " + kept.toStdString()));
    EXPECT_EQ(callsIn(u"calls"_s), 2);
    for (const int calls : {1, 2, 1, 2}) { // that, too, and so on
        EXPECT_EQ(jsonOf("rollback calls --yes").value(u"action"_s), u"taken back"_s);
        EXPECT_EQ(callsIn(u"calls"_s), calls);
    }
    // Nobody loses the store in use to what waits; to withdraw that is always possible.
    const QString waiting = path(u".local/share/Vornix 2/Data (Install)/calls.vxdatastore"_s);
    EXPECT_EQ(run({"import", "calls", plain, "--replace"}).status, 0);
    const HostOutcome refused = run("list calls VXCall");
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("\"vornix store rollback calls\" withdraws that."));
    EXPECT_EQ(jsonOf("rollback calls --yes").value(u"from"_s), waiting + ".withdrawn"_L1);
    EXPECT_EQ(callsIn(u"calls"_s), 2);
}

TEST_F(HostStoreTransferTest, MistakesAreTold)
{
    const QString live = path(u".local/share/Vornix 2/Data/calls.vxdatastore"_s);
    const std::tuple<VXWords, int, const char *> rows[] = {
        {"upgrade calls x", 2, "upgrade takes no \"x\"; several words"},
        {"import calls x --merge --replace", 2, "exclude each other"},
        {"upgrade nothing", 1, "there is no store \"nothing\""},
        {{"import", "calls", path(u"none.vxdatastore"_s)}, 1, "none.vxdatastore is not there"},
        {{"import", "calls", path()}, 1, "Not a recognized data file: /"},
        {"rollback calls", 1, "no earlier store of calls is known"},
        {{"rollback", "calls", path(u"none"_s), "--yes"}, 1, "none is not there"},
        {{"rollback", "calls", live, "--yes"}, 1, "It is the store itself: /"},
        {{"import", "calls", live, "--merge"}, 1, "It is the store itself: /"},
        {"rollback calls ''", 2, "the name of the folder is empty"},
        {"import calls x --model y", 2, "--model goes with a PATH"},
        {{"upgrade", path(u"x.vxdatastore"_s)}, 2, "upgrade takes the NAME of a plugin's store, and no PATH"},
        {{"export", "calls", live, "--yes"}, 1, "The data file that is in use lies there: /"},
    };
    for (const auto &[arguments, status, text] : rows) {
        const HostOutcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, status) << arguments.join(u' ').toStdString();
        EXPECT_THAT(outcome.errors, HasSubstr(text));
    }
}

namespace {

/** With the store of a plugin whose hooks are told what to do. */
using HostStoreOfPluginTest = VXUpgradeHomeTest;

} // namespace

// Who changes the model has to raise the version, and learns it where that is asked for, not before every command.
TEST_F(HostStoreOfPluginTest, ModelThatChangedWithoutItsVersionIsTold)
{
    writeOldStore(data(u"notes.vxdatastore"_s), 4, u"1.2"_s);
    writeNotesPlugin();
    for (const VXWords &more : {VXWords{"--dry-run"}, VXWords{}}) {
        const HostOutcome outcome = runHost(VXWords{"store", "upgrade", "notes"} + more);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.output, HasSubstr("raise VXDataStoreVersion in the Info.plist of org.example"));
    }
    EXPECT_EQ(runHost("store list notes Note --count").errors, "");
}

// Hooks that want nothing saved have it so, and nobody takes that for a copy.
TEST_F(HostStoreOfPluginTest, UpgradeThatSavesNothingSaysSo)
{
    writeOldStore(data(u"notes.vxdatastore"_s), 4);
    writeNotesPlugin(u"ignores"_s);
    const HostOutcome outcome = runHost("store upgrade notes --yes");
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("But nothing was copied: the new store is empty."));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("Tag +2 +0 +2"));
}

// The same beforehand, and of all other copies; a replacement asks no hooks.
TEST_F(HostStoreOfPluginTest, CopiesThatWouldSaveNothingSaySo)
{
    const QString live = data(u"notes.vxdatastore"_s);
    const QString file = path(u"file.vxdatastore"_s);
    const QString out = path(u"out.vxdatastore"_s);
    writeOldStore(live, 4);
    writeNotesPlugin(u"ignores"_s, {{u"FixtureDescription"_s, u"Some notes"_s}});
    const auto expect = [](const VXWords &arguments, const char *pattern, bool copiesNothing) {
        const HostOutcome outcome = runHost(VXWords{"store"} + arguments + QStringList{u"--json"_s});
        EXPECT_EQ(outcome.status, 0) << arguments.join(u' ').toStdString() << outcome.errors;
        const QJsonObject json = outcome.json().toObject();
        EXPECT_EQ(json.value(u"copiesNothing"_s), copiesNothing) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(json.value(u"old"_s).isNull() || json.value(u"old"_s).isUndefined());
        EXPECT_THAT(runHost(VXWords{"store"} + arguments).output, testing::ContainsRegex(pattern));
    };
    expect("upgrade notes --dry-run", "Tag +2 +0 +2", true);
    expect("upgrade notes --dry-run", "Author +1 +0 +1", true);
    QDir(live).removeRecursively();
    writeOldStore(live, 4, u"1.2"_s, u"org.example.notes"_s, newSource());
    writeOldStore(file, 2, u"1.2"_s, u"org.example.notes"_s, newSource());
    expect({"export", "notes", out, "--validate", "--yes"}, "Nothing was copied: the exported store", true);
    expect({"import", "notes", file, "--merge"}, "Nothing of .* was merged", true);
    expect({"import", "notes", file, "--dry-run"}, "nothing would be copied", true);
    expect({"import", "notes", file, "--replace", "--dry-run"}, "as it is. It holds:\n.*\nNote +2 +2 +0", false);
    for (const VXWords &how : {VXWords{"--dry-run"}, VXWords{"--replace", "--dry-run"}, VXWords{"--merge"}})
        expect(VXWords{"import", "notes", out} + how, "It holds no objects.", true);
}

TEST_F(HostStoreOfPluginTest, RehearsalThatFailsTellsOfEachEntity)
{
    writeOldStore(data(u"notes.vxdatastore"_s), 4);
    writeNotesPlugin(u"refuses"_s);
    const QStringList arguments{u"store"_s, u"upgrade"_s, u"notes"_s, u"--dry-run"_s};
    const HostOutcome outcome = runHost(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, testing::ContainsRegex("Tag +2 "));
    EXPECT_THAT(outcome.errors, HasSubstr("refused as told"));
    const QJsonObject json = runHost(arguments + QStringList{u"--json"_s}).json().toObject();
    EXPECT_THAT(json.value(u"error"_s).toString().toStdString(), HasSubstr("refused as told"));
    EXPECT_EQ(json.value(u"entities"_s).toArray().size(), 4);
}

// What is upgraded because it took the store's place is no step of its own; one that was in use before is.
TEST_F(HostStoreOfPluginTest, RollbackAfterAnOlderReplacementBringsBackWhatTheUserHad)
{
    const QString old = path(u"old.vxdatastore"_s);
    QVariantMap info{{u"FixtureDescription"_s, u"Some notes"_s}};
    writeOldStore(data(u"notes.vxdatastore"_s), 4, u"1.2"_s, u"org.example.notes"_s, newSource());
    writeOldStore(old, 2);
    writeNotesPlugin({}, info);
    const auto outputOf = [](const VXWords &arguments) {
        const HostOutcome outcome = runHost(VXWords{"store"} + arguments);
        EXPECT_EQ(outcome.status, 0) << arguments.join(u' ').toStdString() << outcome.errors;
        return outcome.output;
    };
    const auto notes = [&] { return outputOf("list notes Note --count").trimmed().toInt(); };
    const auto rollBack = [&] { outputOf("rollback notes --yes"); };
    const auto reasons = [&] {
        QStringList found;
        const QByteArray json = outputOf("rollback notes --dry-run --json");
        for (const QJsonValue &each : VXJSONFromText(json).value_or(QJsonValue()).toArray())
            found.append(each.toObject().value(u"reason"_s).toString());
        return found;
    };
    outputOf({"import", "notes", old, "--replace"});
    EXPECT_EQ(notes(), 2);
    EXPECT_EQ(reasons(), (QStringList{u"replaced"_s, u"upgraded"_s}));
    rollBack();
    EXPECT_EQ(notes(), 4);

    info.insert(u"VXDataStoreVersion"_s, u"1.3"_s);
    writeNotesPlugin({}, info);
    outputOf("insert notes Note '{\"text\": \"of 1.3\"}'");
    EXPECT_EQ(reasons(), (QStringList{u"upgraded"_s, u"replaced"_s, u"replaced"_s, u"upgraded"_s}));
    for (const int count : {4, 5, 4, 5}) { // an upgrade, that again, and so on
        rollBack();
        EXPECT_EQ(notes(), count);
    }
}
