#include "VXFileLock.h"
#include "VXNone.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <array>
#include <cmath>
#include <csignal>
#include <limits>
#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

using Coordinator = VXPersistentStoreCoordinator;
using Code = VXObjectStoreErrorCode;

const QByteArray itemSource = R"(
entity Item {
    attribute small: integer16 optional;
    attribute whole: integer64 optional;
    attribute real: double optional;
    attribute truth: boolean optional;
    attribute text: string optional;
    attribute date: date optional;
    attribute data: binary optional;
    attribute list: property-list optional;
    attribute passing: string optional transient;
    relationship parent: Item optional inverse children;
    relationship children: Item[] optional inverse parent;
    relationship peers: Item[] optional inverse peers;
}
abstract entity Idea {}
)";

QString everyUnit()
{
    QString text;
    for (uint unit = 0; unit <= 0xffff; ++unit)
        text += QChar(ushort(unit == 0xd800 ? 0xdc00 : unit)); // so that no two make a pair by chance
    return text + u"\\u0041\\ \U0001F600"_s + QChar(0xd83d);
}

bool isSame(const QVariant &a, const QVariant &b)
{
    if (a.metaType() != b.metaType() || VXIsNone(a) != VXIsNone(b))
        return false;
    return a == b || (a.typeId() == QMetaType::Double && std::isnan(a.toDouble()) && std::isnan(b.toDouble()));
}

} // namespace

class VXXMLStoreTest : public VXHomeTest
{
protected:
    /** The store in a coordinator of its own: as another process sees it. */
    struct Opened
    {
        Coordinator::Ptr coordinator;
        Coordinator::StorePtr store;
        VXError error;
    };

    Opened open(const VXStoreOptions &options = {}, const QByteArray &source = itemSource) const
    {
        Opened opened{Coordinator::coordinatorWithModel(VXModelOf(source)), nullptr, {}};
        opened.store = opened.coordinator->addPersistentStore(VXStoreType::XML, file, options, &opened.error);
        return opened;
    }

    static QVariantList texts(VXPersistentStore &store)
    {
        return VXFetchValues(store, VXFetchRequest(*store.model().entityForName(u"Item"_s)), u"text"_s);
    }

    const QString file = path(u"items.xml"_s);
};

TEST_F(VXXMLStoreTest, EveryValueSurvives)
{
    using Limits = std::numeric_limits<qint64>;
    const QDateTime date(QDate(2026, 1, 2), QTime(3, 4, 5, 678), Qt::UTC);
    const QList<QVariantMap> rows = {
        {},
        {{u"small"_s, -32768}, {u"whole"_s, qlonglong(Limits::min())}, {u"real"_s, 0.1}, {u"truth"_s, false}},
        {{u"whole"_s, qlonglong(Limits::max())}, {u"real"_s, std::numeric_limits<double>::denorm_min()}},
        {{u"real"_s, std::numeric_limits<double>::infinity()}, {u"truth"_s, true}},
        {{u"real"_s, std::numeric_limits<double>::quiet_NaN()}},
        {{u"text"_s, everyUnit()}, {u"data"_s, QByteArray("\0\xff<", 3)}},
        {{u"text"_s, u""_s}, {u"data"_s, QByteArray("")}, {u"list"_s, QVariantMap()}},
        {{u"text"_s, u" \r\n\t]]>&amp; "_s}, {u"list"_s, QVariantList{u"x"_s, date, 1.5, QByteArray("y")}}},
        {{u"date"_s, date}},
        {{u"date"_s, QDateTime(QDate(-4000, 1, 1), QTime(0, 0), Qt::UTC)}},
        {{u"date"_s, QDateTime(QDate(200000, 1, 1), QTime(0, 0), Qt::UTC)}},
    };
    QList<QUrl> saved;
    {
        const Opened first = open();
        VXRowSaver saver(*first.store);
        for (const QVariantMap &row : rows)
            saved.append(saver.add(u"Item"_s, row).uriRepresentation());
        ASSERT_TRUE(saver.saveAndCommit()) << saver.error.description().toStdString();
    }
    const Opened again = open();
    ASSERT_TRUE(again.store) << again.error.description().toStdString();
    for (qsizetype index = 0; index < rows.size(); ++index) {
        const auto objectID = again.coordinator->objectIDForURIRepresentation(saved[index]);
        VXError error;
        const VXStoreRow::Ptr row = again.store->row(objectID, &error);
        ASSERT_TRUE(row);
        for (const VXPropertyDescription *const property : objectID.entity().properties()) {
            EXPECT_TRUE(isSame(row->value(property->index()), rows[index].value(property->name())))
                << index << property->name().toStdString() << testing::PrintToString(row->value(property->index()));
        }
    }
    EXPECT_EQ(QDir(path()).entryList(QDir::Files), (QStringList{u"items.xml"_s, u"items.xml.lock"_s}));
}

TEST_F(VXXMLStoreTest, DamagedFilesAreRefusedAndLeftAlone)
{
    {
        const Opened first = open();
        VXRowSaver saver(*first.store);
        const VXManagedObjectID one = saver.add(u"Item"_s, {{u"small"_s, 5}, {u"text"_s, u"a"_s}});
        const VXManagedObjectID two = saver.add(u"Item"_s, {{u"parent"_s, QVariant::fromValue(one)}});
        saver.link(two, u"peers"_s, {two});
        ASSERT_TRUE(saver.saveAndCommit());
    }
    const QByteArray sound = readFile(file);
    const struct
    {
        QByteArray before, after;
        const char *reason;
    } cases[] = {
        {sound, "", "Line 1: "},
        {sound, "bplist00", "Line 1: "},
        {sound, "<plist/>", "Line 1: It is no store."},
        {"version=\"1\"", "version=\"2\"", "It is of version \"2\", which is unknown."},
        {"</vxstore>", "", "Line "},
        {"</vxstore>", "</vxstore>x", "Line "},
        {"NSStoreUUID", "Other", "no identifier"},
        {"<object ", "stray<object ", "There is text between the elements."},
        {"<object ", "<thing ", "Line "},
        {"<object entity=\"Item\"", "<object entity=\"Nothing\"", "Entity \"Nothing\" is unknown."},
        {"<object entity=\"Item\"", "<object entity=\"Idea\"", "Entity \"Idea\" is abstract"},
        {"id=\"2\"", "id=\"1\"", "The object is there twice."},
        {"id=\"2\"", "id=\"-2\"", "\"id\" is missing"},
        {"id=\"2\"", "id=\"9223372036854775807\"", "\"id\" is missing"},
        {"version=\"1\">\n  <attribute", "version=\"x\">\n  <attribute", "\"version\" is missing"},
        {"name=\"small\"", "name=\"huge\"", "Entity \"Item\" stores no attribute \"huge\"."},
        {"name=\"small\"", "name=\"passing\"", "stores no attribute \"passing\""},
        {">5<", ">70000<", "The value of attribute \"small\" is no integer16."},
        {">a<", ">\\x<", "The value of attribute \"text\" is no string."},
        {">a<", ">\xff<", "Line "},
        {"name=\"text\"", "name=\"small\"", "Attribute \"small\" is there twice."},
        {"to=\"Item/1\"", "to=\"Item\"", "\"Item\" is no object of entity \"Item\"."},
        {"to=\"Item/1\"", "to=\"\"", "Relationship \"parent\" leads to one object."},
        {"name=\"parent\"", "name=\"children\"", "stores no relationship \"children\""},
    };
    for (const auto &each : cases) {
        QByteArray damaged = sound;
        damaged.replace(each.before, each.after);
        ASSERT_NE(damaged, sound) << each.reason;
        writeFile(u"items.xml"_s, damaged);
        const Opened opened = open();
        EXPECT_FALSE(opened.store) << each.reason << damaged.toStdString();
        EXPECT_THAT(opened.error.localizedRecoverySuggestion().toStdString(), HasSubstr(each.reason));
        EXPECT_EQ(opened.error.filePath(), file);
        EXPECT_EQ(readFile(file), damaged);
    }
    writeFile(u"items.xml"_s, sound);
    const Opened other = open({}, "entity Item { attribute small: integer16; } abstract entity Idea {}");
    EXPECT_EQ(other.error.code(), int(Code::StoreIncompatibleModel));
    EXPECT_EQ(other.error.localizedRecoverySuggestion(), u"Entity \"Item\" differs from the one in the model."_s);
}

TEST_F(VXXMLStoreTest, WhatAnotherSavedIsNeitherMissedNorLost)
{
    const Opened here = open();
    const Opened there = open();
    VXRowSaver mine(*here.store);
    VXRowSaver others(*there.store);
    const VXManagedObjectID shared = mine.add(u"Item"_s, {{u"text"_s, u"first"_s}});
    others.add(u"Item"_s, {{u"text"_s, u"second"_s}}); // neither was saved, and yet they differ
    ASSERT_TRUE(mine.saveAndCommit() && others.saveAndCommit());
    EXPECT_EQ(texts(*here.store), (QVariantList{u"first"_s, u"second"_s}));

    const auto sharedThere = there.coordinator->objectIDForURIRepresentation(shared.uriRepresentation());
    others.change(sharedThere, {{u"text"_s, u"theirs"_s}});
    mine.change(shared, {{u"text"_s, u"ours"_s}});
    there.store->setMetadata({{u"note"_s, u"\x01?"_s}});
    others.request.metadata = there.store->unsavedMetadata();
    ASSERT_TRUE(others.saveAndCommit());
    EXPECT_FALSE(there.store->unsavedMetadata());
    EXPECT_FALSE(mine.saveAndCommit());
    EXPECT_EQ(mine.conflicts.size(), 1);
    EXPECT_EQ(texts(*here.store), (QVariantList{u"theirs"_s, u"second"_s}));
    EXPECT_EQ(here.store->metadata().value(u"note"_s), u"\x01?"_s);
    EXPECT_EQ(Coordinator::metadataForPersistentStore(VXStoreType::XML, file), here.store->metadata());

    writeFile(u"items.xml"_s, "gone bad");
    VXError error;
    EXPECT_FALSE(here.store->row(shared, &error));
    EXPECT_EQ(error.code(), int(Code::FileCorrupt));
    EXPECT_FALSE(mine.saveAndCommit());
    EXPECT_EQ(readFile(file), "gone bad");
}

TEST_F(VXXMLStoreTest, ALockedStoreIsWaitedForSoLong)
{
    const Opened opened = open({false, std::chrono::milliseconds(5)});
    VXRowSaver saver(*opened.store);
    saver.add(u"Item"_s);
    {
        const VXFileLock lock(file + u".lock"_s);
        EXPECT_FALSE(saver.saveAndCommit());
        EXPECT_EQ(saver.error.code(), int(Code::StoreTimedOut));
    }
    EXPECT_TRUE(saver.saveAndCommit());
}

TEST_F(VXXMLStoreTest, AFailedSaveLeavesTheFile)
{
    const Opened opened = open();
    const QByteArray before = readFile(file);
    VXRowSaver saver(*opened.store);
    saver.request.metadata = QVariantMap{{u"bad"_s, QVariant::fromValue<void *>(nullptr)}};
    EXPECT_FALSE(saver.saveAndCommit());
    EXPECT_EQ(saver.error.localizedRecoverySuggestion(), u"The value of \"bad\" cannot be written."_s);
    EXPECT_EQ(readFile(file), before);

    const Opened reader = open({.isReadOnly = true});
    VXRowSaver forbidden(*reader.store);
    EXPECT_FALSE(forbidden.saveAndCommit());
    EXPECT_EQ(forbidden.error.code(), int(Code::FileWrite));
}

TEST_F(VXXMLStoreTest, EntitiesMayBeAddedToTheModel)
{
    open({}, "entity Item {}");
    const Opened grown = open({}, "entity Item {} entity Later {}");
    ASSERT_TRUE(grown.store) << grown.error.description().toStdString();
    VXRowSaver saver(*grown.store);
    saver.add(u"Later"_s);
    saver.request.metadata = grown.store->metadata();
    EXPECT_TRUE(saver.saveAndCommit());
    EXPECT_EQ(open({}, "entity Item {}").error.localizedRecoverySuggestion(), u"The model has no entity \"Later\"."_s);
}

// Two processes insert at once; a third is killed in the midst of its saves.
TEST_F(VXXMLStoreTest, ProcessesLoseNothing)
{
    constexpr int each = 15;
    open();
    const auto insert = [this](int count, const std::function<void()> &saved) {
        const Opened opened = open();
        VXRowSaver saver(*opened.store);
        for (int done = 0; done < count; ++done) {
            saver.add(u"Item"_s, {{u"text"_s, u"x"_s}});
            if (!saver.saveAndCommit())
                ::_exit(1);
            saved();
        }
        ::_exit(0);
    };
    const auto start = [](const std::function<void()> &run) {
        const pid_t child = ::fork();
        if (child == 0)
            run();
        return child;
    };
    std::array<int, 2> pipe = {};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const pid_t killed = start([&] { insert(1'000'000, [&] { EXPECT_EQ(::write(pipe[1], "x", 1), 1); }); });
    const pid_t children[] = {start([&] { insert(each, [] {}); }), start([&] { insert(each, [] {}); })};
    std::array<char, 1> told = {};
    for (int count = 0; count < each; ++count)
        EXPECT_EQ(::read(pipe[0], told.data(), 1), 1);
    ::kill(killed, SIGKILL);
    for (const pid_t child : children) {
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    ::waitpid(killed, nullptr, 0);
    ::close(pipe[1]);
    int fromKilled = each;
    while (::read(pipe[0], told.data(), 1) == 1)
        ++fromKilled;
    ::close(pipe[0]);
    const Opened opened = open();
    ASSERT_TRUE(opened.store) << opened.error.description().toStdString();
    const qsizetype found = texts(*opened.store).size();
    EXPECT_GE(found, 2 * each + fromKilled);
    EXPECT_LE(found, 2 * each + fromKilled + 1); // it may have died before it could tell
}
