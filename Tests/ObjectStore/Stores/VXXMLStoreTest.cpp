#include "VXFileLock.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

using Coordinator = VXPersistentStoreCoordinator;
using Code = VXObjectStoreErrorCode;

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

    Opened open(const VXStoreOptions &options = {},
                const QByteArray &source = VXItemSource + "abstract entity Idea {}") const
    {
        Opened opened{Coordinator::coordinatorWithModel(VXModelOf(source)), nullptr, {}};
        opened.store = opened.coordinator->addPersistentStore(VXStoreType::XML, file, options, &opened.error);
        return opened;
    }

    const QString file = path(u"items.xml"_s);
};

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

TEST_F(VXXMLStoreTest, WhatGoesBadMeanwhileIsToldAndNotReplaced)
{
    const Opened here = open();
    VXRowSaver mine(*here.store);
    const VXManagedObjectID item = mine.add(u"Item"_s);
    ASSERT_TRUE(mine.saveAndCommit());
    mine.change(item, {{u"text"_s, u"ours"_s}});
    writeFile(u"items.xml"_s, "gone bad");
    VXError error;
    EXPECT_FALSE(here.store->row(item, &error));
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
    EXPECT_TRUE(saver.saveAndCommit());
    EXPECT_EQ(open({}, "entity Item {}").error.localizedRecoverySuggestion(), u"The model has no entity \"Later\"."_s);
}
