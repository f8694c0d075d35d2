#include "VXContextTest.h"
#include "VXException.h"
#include "VXManagedObjectClass.h"

#include <array>
#include <functional>

using namespace Qt::StringLiterals;

using VXManagedObjectTest = VXContextTest;
VX_INSTANTIATE_FOR_STORES(VXManagedObjectTest);

namespace {

QStringList hookCalls;

class TestPerson : public VXManagedObject
{
protected:
    void awakeFromInsert() override { hookCalls.append(u"insert"_s); }
    void awakeFromFetch() override { hookCalls.append(u"fetch"_s); }
    void willSave() override
    {
        hookCalls.append(u"willSave"_s);
        if (isInserted())
            setValueForKey(u"saved once"_s, u"mood"_s);
    }
    void didSave() override { hookCalls.append(u"didSave"_s); }
    void willTurnIntoFault() override { hookCalls.append(u"fault"_s); }
    bool validateForUpdate(VXError *error) const override
    {
        if (valueForKey(u"age"_s).toInt() < 0) {
            VXSetError(error, {u"test"_s, 1});
            return false;
        }
        return VXManagedObject::validateForUpdate(error);
    }
};

} // namespace

TEST_P(VXManagedObjectTest, ValuesAreOfTheTypesThatTheModelSays)
{
    const Object object = person(u"x"_s);
    EXPECT_EQ(object->valueForKey(u"age"_s), 18) << "the default value";
    EXPECT_THROW(object->setValueForKey(u"old"_s, u"age"_s), VXAssertionException);
    EXPECT_THROW(object->setValueForKey(1, u"shoe size"_s), VXAssertionException);
    EXPECT_THROW(object->setValueForKey(1, u"passport"_s), VXAssertionException);
    EXPECT_THROW(object->setValueForKey(QVariant::fromValue(object), u"passport"_s), VXAssertionException);
    const int age = object->entity().propertyForName(u"age"_s)->index();
    const int name = object->entity().propertyForName(u"name"_s)->index();
    EXPECT_THROW(object->setNumber(age, 1LL << 31), VXAssertionException);
    EXPECT_THROW(object->setNumber(name, 1), VXAssertionException);
    EXPECT_THROW(object->setText(age, u"old"), VXAssertionException);
    EXPECT_THROW(object->setReal(age, 0.5), VXAssertionException);
    EXPECT_THROW(object->setData(name, "x"), VXAssertionException);
    EXPECT_EQ(object->valueForKey(u"age"_s), 18);
}

TEST_P(VXManagedObjectTest, AttributesAreCopiedFromObjectsOfOtherContexts)
{
    const Object jane = person(u"Jane"_s, {{u"age"_s, 33}});
    save();
    const Object copy = add(other, u"Person"_s);
    const int name = jane->entity().propertyForName(u"name"_s)->index();
    const int age = jane->entity().propertyForName(u"age"_s)->index();
    copy->copyAttribute(name, *jane, name);
    copy->copyAttribute(age, *jane, age);
    EXPECT_EQ(copy->changedValues().value(u"name"_s), u"Jane"_s);
    EXPECT_EQ(copy->valueForKey(u"age"_s), 33);
    EXPECT_THROW(copy->copyAttribute(name, *jane, age), VXAssertionException);
    save(other);
    copy->copyAttribute(name, *jane, name); // what it is already
    EXPECT_FALSE(other.hasChanges());
    jane->setValueForKey({}, u"name"_s);
    copy->copyAttribute(name, *jane, name);
    EXPECT_TRUE(other.hasChanges());
    EXPECT_FALSE(copy->valueForKey(u"name"_s).isValid());
}

TEST_P(VXManagedObjectTest, AHookMaySave)
{
    class Saving : public VXManagedObject
    {
        void willSave() override
        {
            hookCalls.append(valueForKey(u"name"_s).toString());
            EXPECT_TRUE(managedObjectContext()->save());
        }
    };
    VXManagedObjectClass::registerClass<Saving>(u"TestPerson"_s);
    hookCalls.clear();
    const QList<Object> people{person(u"a"_s), person(u"b"_s), person(u"c"_s)};
    save();
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
    EXPECT_EQ(hookCalls, (QStringList{u"a"_s, u"b"_s, u"c"_s})) << "each once, by the innermost save";
    for (const Object &each : people)
        EXPECT_FALSE(each->hasChanges() || each->objectID().isTemporary());
}

TEST_P(VXManagedObjectTest, WhatValidatorsAndObserversChangeIsSavedToo)
{
    static std::function<void()> duringSave;
    class Validating : public VXManagedObject
    {
        bool validateForUpdate(VXError *) const override
        {
            if (duringSave)
                std::exchange(duringSave, {})();
            return valueForKey(u"name"_s) != u"refusing"_s; // without an error
        }
    };
    VXManagedObjectClass::registerClass<Validating>(u"TestPerson"_s);
    const auto changeMore = [this](const Object &changed, const Object &deleted) {
        changed->setValueForKey(u"changed"_s, u"name"_s);
        context.deleteObject(deleted);
        person(u"new"_s);
    };
    for (const bool isObserver : {false, true}) {
        const Object first = person(u"first"_s), second = person(u"second"_s), third = person(u"third"_s);
        save();
        QObject observer;
        duringSave = [&] { changeMore(second, third); };
        if (isObserver)
            VXNotificationCenter::defaultCenter().addObserver(
                &observer, VXManagedObjectContextWillSaveNotification,
                [change = std::exchange(duringSave, {})](const VXNotification &) mutable {
                    if (change)
                        std::exchange(change, {})();
                },
                QVariant::fromValue(&context));
        first->setValueForKey(1, u"age"_s);
        save();
        EXPECT_FALSE(context.hasChanges());
        other.reset();
        EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s}))),
                  u"changed first new"_s);
        second->setValueForKey(u"again"_s, u"name"_s);
        save();
        EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"name == 'again'"_s))), u"again"_s);
        for (const Object &each : fetch(request(u"Person"_s)))
            context.deleteObject(each);
        save();
    }
    const Object jane = person(u"Jane"_s);
    save();
    for (const auto &end :
         std::array<std::function<void()>, 2>{[this] { context.rollback(); }, [this] { context.reset(); }}) {
        const Object same = context.existingObjectWithID(jane->objectID());
        same->setValueForKey(2, u"age"_s);
        duringSave = end;
        save();
        EXPECT_EQ(context.existingObjectWithID(jane->objectID())->valueForKey(u"age"_s), 18);
    }
    const Object refused = context.existingObjectWithID(jane->objectID());
    refused->setValueForKey(u"refusing"_s, u"name"_s);
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::Validation));
    EXPECT_EQ(error.userInfo().value(VXValidationObjectKey).value<Object>(), refused);
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
}

TEST_P(VXManagedObjectTest, AnObserverOfASaveMaySaveItself)
{
    const Object changed = person(u"changed"_s), deleted = person(u"deleted"_s);
    save();
    person(u"new"_s);
    changed->setValueForKey(u"again"_s, u"name"_s);
    context.deleteObject(deleted);
    QObject observer;
    bool isAsked = false;
    VXNotificationCenter::defaultCenter().addObserver(
        &observer, VXManagedObjectContextWillSaveNotification,
        [&](const VXNotification &) { EXPECT_TRUE(std::exchange(isAsked, true) || context.save(&error)); },
        QVariant::fromValue(&context));
    save();
    EXPECT_TRUE(isAsked && !context.hasChanges());
    EXPECT_EQ(names(fetch(other, request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s}))), u"again new"_s);
    changed->setValueForKey(u"once more"_s, u"name"_s);
    save();
}

TEST_P(VXManagedObjectTest, WhatAnObserverOfASaveChangesIsAskedAndValidated)
{
    class Asked : public VXManagedObject
    {
        void willSave() override { hookCalls.append(valueForKey(u"name"_s).toString()); }
    };
    VXManagedObjectClass::registerClass<Asked>(u"TestPerson"_s);
    for (const VXNotificationName &heard :
         {VXManagedObjectContextWillSaveNotification, VXManagedObjectContextObjectsDidChangeNotification}) {
        hookCalls.clear();
        const Object jane = person(u"Jane"_s);
        save();
        jane->setValueForKey(1, u"age"_s);
        QObject observer;
        bool isChanged = false;
        const auto change = [&](const VXNotification &) {
            if (std::exchange(isChanged, true))
                return;
            person(u"late"_s);
            jane->setValueForKey({}, u"name"_s);
        };
        VXNotificationCenter::defaultCenter().addObserver(&observer, heard, change, QVariant::fromValue(&context));
        EXPECT_FALSE(context.save(&error));
        EXPECT_EQ(hookCalls, (QStringList{u"Jane"_s, u"Jane"_s, u"late"_s}));
        EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::MissingMandatoryProperty));
        context.rollback();
    }
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
}

TEST_P(VXManagedObjectTest, AHookThatReplacesObjectsWithoutEndFailsTheSave)
{
    class Replacing : public VXManagedObject
    {
        bool validateForInsert(VXError *) const override
        {
            managedObjectContext()->insertNewObject(entity());
            managedObjectContext()->deleteObject(VXManagedObjectPtr(const_cast<Replacing *>(this)));
            return true;
        }
    };
    VXManagedObjectClass::registerClass<Replacing>(u"TestPerson"_s);
    person(u"first"_s);
    EXPECT_FALSE(context.save(&error));
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
    EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::Validation));
    EXPECT_EQ(context.insertedObjects().size(), 1);
    EXPECT_TRUE(fetch(other, request(u"Person"_s)).isEmpty());
}

TEST_P(VXManagedObjectTest, AHookThatSetsAnotherValueEachTimeLetsTheSavePass)
{
    class Counting : public VXManagedObject
    {
        bool validateForInsert(VXError *) const override
        {
            const_cast<Counting *>(this)->setValueForKey(valueForKey(u"age"_s).toInt() + 1, u"age"_s);
            return true;
        }
    };
    VXManagedObjectClass::registerClass<Counting>(u"TestPerson"_s);
    const Object jane = person(u"Jane"_s);
    save();
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
    EXPECT_FALSE(context.hasChanges());
    EXPECT_EQ(fetch(other, request(u"Person"_s)).first()->valueForKey(u"age"_s), jane->valueForKey(u"age"_s));
}

TEST_P(VXManagedObjectTest, AHookIsNotAskedOfWhatAnotherOneDeleted)
{
    class Deleting : public VXManagedObject
    {
        void willSave() override
        {
            for (const Object &each : managedObjectContext()->insertedObjects()) {
                if (each.get() != this)
                    managedObjectContext()->deleteObject(each);
            }
        }
    };
    VXManagedObjectClass::registerClass<Deleting>(u"TestPerson"_s);
    const Object first = person(u"a"_s), second = person(u"b"_s);
    save();
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
    EXPECT_EQ(names(fetch(other, request(u"Person"_s))), u"a"_s);
}

TEST_P(VXManagedObjectTest, BothEndsOfRelationshipsAreKeptInStep)
{
    const Object jane = person(u"Jane"_s);
    const Object zoe = person(u"Zoe"_s);
    const Object phone = add(u"Phone"_s, {{u"name"_s, u"555"_s}, {u"owner"_s, QVariant::fromValue(jane)}});
    const Object pass = add(u"Passport"_s, {{u"name"_s, u"P1"_s}, {u"holder"_s, QVariant::fromValue(jane)}});
    const Object club = add(u"Group"_s, {{u"name"_s, u"Club"_s}});
    club->setValueForKey(QVariant::fromValue(QList{zoe}), u"members"_s);
    club->setValueForKey(QVariant::fromValue(QList{jane, zoe}), u"members"_s);
    zoe->setValueForKey(QVariant::fromValue(QList{jane, zoe}), u"friends"_s);

    const auto check = [&](const Object &a, const Object &b, const QString &step) {
        const auto one = [](const Object &object, const QString &key) {
            const auto target = object->valueForKey(key).value<Object>();
            return target ? target->valueForKey(u"name"_s).toString() : u"none"_s;
        };
        const auto many = [](const Object &object, const QString &key) {
            return sortedNames(object->valueForKey(key));
        };
        return u"%1: %2 %3 %4 %5 [%6] [%7] [%8] [%9]"_s.arg(
            step, one(a, u"passport"_s), one(b, u"passport"_s), many(a, u"phones"_s), many(b, u"phones"_s),
            many(a, u"groups"_s), many(b, u"groups"_s), many(a, u"friends"_s), many(b, u"friends"_s));
    };
    EXPECT_EQ(check(jane, zoe, u"new"_s), u"new: P1 none 555  [Club] [Club] [Zoe] [Jane Zoe]"_s);
    save();
    EXPECT_EQ(check(jane, zoe, u"saved"_s), u"saved: P1 none 555  [Club] [Club] [Zoe] [Jane Zoe]"_s);
    EXPECT_EQ(check(there(jane), there(zoe), u"read"_s), u"read: P1 none 555  [Club] [Club] [Zoe] [Jane Zoe]"_s);

    phone->setValueForKey(QVariant::fromValue(zoe), u"owner"_s);
    zoe->setValueForKey(QVariant::fromValue(pass), u"passport"_s);
    club->setValueForKey(QVariant::fromValue(QList{zoe}), u"members"_s);
    jane->setValueForKey(QVariant(), u"friends"_s);
    EXPECT_EQ(check(jane, zoe, u"moved"_s), u"moved: none P1  555 [] [Club] [] [Zoe]"_s);
    context.rollback();
    EXPECT_EQ(check(jane, zoe, u"back"_s), u"back: P1 none 555  [Club] [Club] [Zoe] [Jane Zoe]"_s);
    EXPECT_FALSE(context.hasChanges());

    const Object fault = there(phone); // set before either end was read
    fault->setValueForKey(QVariant::fromValue(there(zoe)), u"owner"_s);
    there(club)->removeRelated(entity(u"Group"_s).relationshipForName(u"members"_s)->index(), there(jane));
    save(other);
    EXPECT_EQ(check(there(jane), there(zoe), u"there"_s), u"there: P1 none  555 [] [Club] [Zoe] [Jane Zoe]"_s);
    context.reset();
    const auto again = fetch(request(u"Person"_s, u"TRUEPREDICATE"_s, {}, {u"name"_s}));
    ASSERT_EQ(again.size(), 2);
    EXPECT_EQ(check(again[0], again[1], u"again"_s), u"again: P1 none  555 [] [Club] [Zoe] [Jane Zoe]"_s);
}

TEST_P(VXManagedObjectTest, ChangesAreKnownUntilTheyAreSaved)
{
    const Object jane = person(u"Jane"_s, {{u"mood"_s, u"good"_s}});
    EXPECT_TRUE(jane->isInserted());
    EXPECT_TRUE(jane->objectID().isTemporary());
    save();
    EXPECT_FALSE(jane->hasChanges() || jane->objectID().isTemporary());
    EXPECT_EQ(context.objectWithID(jane->objectID()), jane);
    EXPECT_EQ(jane->valueForKey(u"mood"_s), u"good"_s) << "transient values stay with the object";
    const Object same = there(jane);
    EXPECT_FALSE(same->valueForKey(u"mood"_s).isValid());

    jane->setValueForKey(18, u"age"_s);
    jane->setValueForKey(u"bad"_s, u"mood"_s);
    EXPECT_FALSE(context.hasChanges()) << "the same value, and a transient one";
    jane->setValueForKey(19, u"age"_s);
    EXPECT_TRUE(jane->isUpdated());
    EXPECT_EQ(jane->changedValues(), (QVariantMap{{u"age"_s, 19}}));
    EXPECT_EQ(jane->committedValues({u"age"_s}), (QVariantMap{{u"age"_s, 18}}));
    save();
    EXPECT_TRUE(jane->changedValues().isEmpty());
    EXPECT_EQ(same->valueForKey(u"age"_s), 18) << "read before";
    other.refreshObject(same, false);
    EXPECT_EQ(same->valueForKey(u"age"_s), 19);
}

TEST_P(VXManagedObjectTest, PropertyListsAreAsTheStoreGivesThemBack)
{
    const auto list = [](int number) {
        const QDateTime local(QDate(2026, 3, 1), QTime(12, 0), Qt::LocalTime);
        return QVariantMap{{u"a"_s, number}, {u"b"_s, QVariantList{1.5F, local}}, {u"c"_s, QStringList{u"x"_s}}};
    };
    const Object jane = person(u"Jane"_s, {{u"extra"_s, list(1)}});
    save();
    jane->setValueForKey(list(1), u"extra"_s);
    EXPECT_FALSE(context.hasChanges()) << "the same value";
    const Object same = there(jane);
    same->setValueForKey(30, u"age"_s);
    ASSERT_TRUE(other.save());
    context.setMergePolicy(VXMergePolicy::MergeByPropertyStoreTrumps);
    jane->setValueForKey(list(2), u"extra"_s);
    save();
    other.refreshObject(same, false);
    EXPECT_EQ(same->valueForKey(u"extra"_s).toMap()[u"a"_s], 2);
}

TEST_P(VXManagedObjectTest, RegisteredClassesAreUsedAndTheirHooksCalled)
{
    VXManagedObjectClass::registerClass<TestPerson>(u"TestPerson"_s);
    hookCalls.clear();
    const Object jane = person(u"Jane"_s);
    ASSERT_NE(dynamic_cast<TestPerson *>(jane.get()), nullptr);
    EXPECT_EQ(dynamic_cast<TestPerson *>(add(u"Group"_s, {{u"name"_s, u"g"_s}}).get()), nullptr);
    save();
    EXPECT_EQ(jane->valueForKey(u"mood"_s), u"saved once"_s);
    jane->setValueForKey(-1, u"age"_s);
    EXPECT_FALSE(context.save(&error));
    EXPECT_EQ(error.domain(), u"test"_s);
    context.refreshObject(jane, false);
    EXPECT_EQ(jane->valueForKey(u"age"_s), 18);
    EXPECT_EQ(hookCalls.join(u' '), u"insert willSave didSave willSave fault fetch"_s);
    VXManagedObjectClass::removeClass(u"TestPerson"_s);
    EXPECT_EQ(dynamic_cast<TestPerson *>(person(u"Zoe"_s).get()), nullptr);
}
