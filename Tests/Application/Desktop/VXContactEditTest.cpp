#include "VXContactEdit.h"

#include "DesktopTestsPaths.h"
#include "VXContactWriter.h"
#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXTesting.h"

#include <QtCore/QFile>
#include <QtGui/QUndoStack>

using namespace Qt::StringLiterals;

/** The store of contacts as its plugin has it. */
class VXContactEditTest : public VXHomeTest
{
protected:
    VXContactEditTest()
    {
        QFile file(QStringLiteral(VORNIX_PHONEBOOK_MODEL));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        QList<VXModelProblem> problems;
        const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(file.readAll(), &problems));
        coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
        store = coordinator->addPersistentStore(VXStoreType::SQLite, path(u"contacts"_s));
        EXPECT_TRUE(store);
    }

    /** "NAME: NUMBERS" of all there are. */
    QStringList contacts() const
    {
        VXManagedObjectContext context(coordinator);
        const VXFetchRequest request(*coordinator->model().entityForName(u"VXPerson"_s));
        const auto found = context.executeFetchRequest(request);
        QStringList lines;
        for (const VXManagedObjectPtr &person : *found) {
            const VXContactRecord contact(QVariant::fromValue(person));
            QStringList numbers;
            for (const VXContactRecord::Address &number : contact.numbers)
                numbers.append(number.value);
            lines.append(contact.displayName() + ": "_L1 + numbers.join(u','));
        }
        return lines;
    }
    VXContactRecord read() const
    {
        VXManagedObjectContext context(coordinator);
        return VXContactRecord(QVariant::fromValue(context.existingObjectWithID(shown)));
    }
    VXContactEdit *edit(const std::optional<VXContactRecord> &before, const std::optional<VXContactRecord> &after)
    {
        return new VXContactEdit(coordinator, shown, before, after,
                                 [this](const VXManagedObjectID &person, const VXError &problem) {
                                     shown = person;
                                     error = problem;
                                 });
    }

    VXPersistentStoreCoordinator::Ptr coordinator;
    VXPersistentStoreCoordinator::StorePtr store;
    VXManagedObjectID shown;
    VXError error;
    QUndoStack stack;
};

TEST_F(VXContactEditTest, eachStepIsUndoneAndDoneAgain)
{
    VXContactRecord jane;
    jane.firstName = u"Jane"_s;
    jane.numbers = {{u"+1 555 0100"_s, 0, {}}};
    stack.push(edit(std::nullopt, jane));
    EXPECT_EQ(contacts(), QStringList{u"Jane: +1 555 0100"_s});
    jane = read();
    VXContactRecord moved = jane;
    moved.numbers.append({u"+1 555 0101"_s, 0, {}});
    stack.push(edit(jane, moved));
    EXPECT_EQ(contacts(), QStringList{u"Jane: +1 555 0100,+1 555 0101"_s});
    stack.push(edit(moved, std::nullopt));
    EXPECT_EQ(contacts(), QStringList());
    stack.undo();
    EXPECT_EQ(contacts(), QStringList{u"Jane: +1 555 0100,+1 555 0101"_s});
    EXPECT_FALSE(shown.isNull());
    stack.undo();
    EXPECT_EQ(contacts(), QStringList{u"Jane: +1 555 0100"_s});
    stack.undo();
    EXPECT_EQ(contacts(), QStringList());
    stack.redo();
    EXPECT_EQ(contacts(), QStringList{u"Jane: +1 555 0100"_s});
    EXPECT_TRUE(error.isNull());
}

TEST_F(VXContactEditTest, whatCannotBeSavedIsTold)
{
    VXContactRecord jane;
    jane.firstName = u"Jane"_s;
    ASSERT_TRUE(coordinator->removePersistentStore(store));
    stack.push(edit(std::nullopt, jane));
    EXPECT_FALSE(error.isNull());
    EXPECT_EQ(stack.count(), 0); // nothing was done that could be undone
}
