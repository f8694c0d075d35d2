#include "VXContextTest.h"
#include "VXNotificationCenter.h"

using namespace Qt::StringLiterals;

/** One context deletes what another one lets something lead to, between reading and saving. */
class VXContextReferencesTest : public VXContextTest
{
protected:
    static constexpr VXMergePolicy policies[] = {VXMergePolicy::Error, VXMergePolicy::MergeByPropertyObjectTrumps,
                                                 VXMergePolicy::MergeByPropertyStoreTrumps, VXMergePolicy::Overwrite,
                                                 VXMergePolicy::Rollback};

    /** A person that the other context has deleted meanwhile. */
    Object goneMeanwhile()
    {
        const Object gone = person(u"gone"_s);
        save();
        other.deleteObject(there(gone));
        save(other);
        return gone;
    }

    QVariantMap onlyConflict() const
    {
        const QVariantList conflicts = error.userInfo().value(VXConflictListKey).toList();
        EXPECT_EQ(error.code(), int(VXObjectStoreErrorCode::MergeConflict)) << error.description().toStdString();
        EXPECT_EQ(conflicts.size(), 1);
        return conflicts.value(0).toMap();
    }

    bool saveWith(VXMergePolicy policy)
    {
        context.setMergePolicy(policy);
        error = {};
        heard.clear();
        return context.save(&error);
    }

    /** In which lists of the notification of the last save that object is: "updated deleted". */
    QString heardOf(const Object &object) const
    {
        QStringList keys;
        for (const QString &key : {VXInsertedObjectsKey, VXUpdatedObjectsKey, VXDeletedObjectsKey}) {
            for (const QVariant &each : heard.value(key).toList())
                keys += each.value<Object>() == object ? QStringList{key} : QStringList();
        }
        return keys.join(u' ');
    }

    void listen()
    {
        VXNotificationCenter::defaultCenter().addObserver(
            &observer, VXManagedObjectContextDidSaveNotification,
            [this](const VXNotification &notification) { heard = notification.userInfo; },
            QVariant::fromValue(&context));
    }

    QVariantMap heard;
    QObject observer;
};
VX_INSTANTIATE_FOR_STORES(VXContextReferencesTest);

TEST_P(VXContextReferencesTest, LinksToWhatIsGoneFallAway)
{
    listen();
    for (const VXMergePolicy policy : policies) {
        SCOPED_TRACE(int(policy));
        const Object gone = goneMeanwhile();
        const Object owned = add(u"Phone"_s, {{u"name"_s, u"p"_s}, {u"owner"_s, QVariant::fromValue(gone)}});
        const Object friendly = person(u"friend"_s, {{u"friends"_s, QVariantList{QVariant::fromValue(gone)}}});
        const bool isSaved = saveWith(policy);
        ASSERT_EQ(isSaved, policy != VXMergePolicy::Error) << error.description().toStdString();
        if (!isSaved) {
            const QVariantMap conflict = onlyConflict();
            EXPECT_EQ(conflict[u"object"_s].value<Object>(), gone);
            EXPECT_EQ(conflict[u"snapshot"_s].toMap()[u"name"_s], u"gone"_s);
            EXPECT_FALSE(conflict[u"cachedRow"_s].isValid());
            EXPECT_EQ(owned->valueForKey(u"owner"_s).value<Object>(), gone) << "nothing is lost";
            context.reset();
            continue;
        }
        EXPECT_FALSE(context.hasChanges());
        EXPECT_EQ(heardOf(gone), VXDeletedObjectsKey) << "and not as updated too";
        EXPECT_EQ(heardOf(friendly), VXInsertedObjectsKey);
        EXPECT_EQ(gone->managedObjectContext(), nullptr);
        EXPECT_FALSE(owned->valueForKey(u"owner"_s).isValid());
        EXPECT_EQ(friendly->valueForKey(u"friends"_s).toList().size(), 0);
        other.reset();
        EXPECT_FALSE(there(owned)->valueForKey(u"owner"_s).isValid());
        EXPECT_EQ(store->check(), QStringList());
        context.reset();
    }
}

TEST_P(VXContextReferencesTest, WhatIsMandatoryMustBeThere)
{
    for (const VXMergePolicy policy : policies) {
        const Object gone = goneMeanwhile();
        add(u"Call"_s, {{u"name"_s, u"c"_s}, {u"caller"_s, QVariant::fromValue(gone)}});
        EXPECT_FALSE(saveWith(policy)) << int(policy);
        EXPECT_EQ(onlyConflict()[u"object"_s].value<Object>(), gone);
        context.reset();
    }
    EXPECT_EQ(store->check(), QStringList());
}

TEST_P(VXContextReferencesTest, DeletedObjectsTakeTheirNewLinksAlong)
{
    listen();
    for (const VXMergePolicy policy : policies) {
        SCOPED_TRACE(int(policy));
        const Object doomed = person(u"doomed"_s);
        const Object phone = add(u"Phone"_s, {{u"name"_s, u"p"_s}});
        save();
        context.deleteObject(doomed);
        const QVariant owner = QVariant::fromValue(there(doomed));
        const Object newPhone = add(other, u"Phone"_s, {{u"name"_s, u"new"_s}, {u"owner"_s, owner}});
        const Object newCall = add(other, u"Call"_s, {{u"name"_s, u"c"_s}, {u"caller"_s, owner}});
        there(phone)->setValueForKey(owner, u"owner"_s);
        save(other);
        const bool isSaved = saveWith(policy);
        ASSERT_EQ(isSaved, policy != VXMergePolicy::Error) << error.description().toStdString();
        const bool stays = policy != VXMergePolicy::MergeByPropertyObjectTrumps && policy != VXMergePolicy::Overwrite;
        if (!isSaved) {
            const QVariantMap conflict = error.userInfo().value(VXConflictListKey).toList().value(0).toMap();
            EXPECT_EQ(conflict[u"object"_s].value<Object>(), doomed);
            EXPECT_EQ(conflict[u"snapshot"_s].toMap()[u"phones"_s].toList().size(), 0);
            EXPECT_EQ(conflict[u"cachedRow"_s].toMap()[u"phones"_s].toList().size(), 2);
            EXPECT_TRUE(doomed->isDeleted());
        } else {
            EXPECT_EQ(heardOf(doomed), stays ? QString() : VXDeletedObjectsKey);
            EXPECT_EQ(doomed->managedObjectContext() != nullptr, stays);
            EXPECT_EQ(stays ? sortedNames(doomed->valueForKey(u"phones"_s)) : u"new p"_s, u"new p"_s);
        }
        context.refreshObject(phone, false);
        other.reset();
        EXPECT_EQ(fetch(other, request(u"Person"_s, u"name == 'doomed'"_s)).size(), stays ? 1 : 0);
        EXPECT_EQ(fetch(other, request(u"Call"_s, u"name == 'c'"_s)).size(), stays ? 1 : 0) << "cascade";
        EXPECT_EQ(fetch(other, request(u"Phone"_s, u"owner != NULL"_s)).size(), stays ? 2 : 0) << "nullify";
        EXPECT_EQ(phone->valueForKey(u"owner"_s).isValid(), stays);
        EXPECT_EQ(store->check(), QStringList());
        context.reset();
        for (const QString &name : {u"Call"_s, u"Phone"_s, u"Person"_s}) {
            for (const Object &each : fetch(other, request(name)))
                other.deleteObject(each);
        }
        save(other);
        other.reset();
    }
}

TEST_P(VXContextReferencesTest, PairsGoWithTheirObjects)
{
    const Object group = add(u"Group"_s, {{u"name"_s, u"g"_s}});
    const Object member = person(u"member"_s);
    save();
    context.deleteObject(member);
    there(member)->setValueForKey(QVariantList{QVariant::fromValue(there(group))}, u"groups"_s);
    save(other);
    save();
    EXPECT_TRUE(fetch(request(u"Group"_s, u"members.@count > 0"_s)).isEmpty());
    EXPECT_EQ(store->check(), QStringList());
}

// Of two that lead to each other the context changes one alone, as it knows the other as it was before.
TEST_P(VXContextReferencesTest, BothEndsOfAPairLeadToEachOther)
{
    for (const VXMergePolicy policy : policies) {
        const bool objectTrumps =
            policy == VXMergePolicy::MergeByPropertyObjectTrumps || policy == VXMergePolicy::Overwrite;
        for (const bool connects : {false, true}) {
            SCOPED_TRACE(int(policy) * 10 + int(connects));
            const Object owner = person(u"owner"_s);
            const Object first = add(u"Passport"_s, {{u"name"_s, u"1"_s}, {u"holder"_s, QVariant::fromValue(owner)}});
            const Object second = add(u"Passport"_s, {{u"name"_s, u"2"_s}});
            save();
            other.reset();
            const QVariant now = connects ? QVariant() : QVariant::fromValue(there(second));
            there(owner)->setValueForKey(now, u"passport"_s);
            save(other);
            const Object &known = connects ? owner : second; // the context hears of one end only
            const Object &stale = connects ? first : owner;
            context.refreshObject(known, false);
            known->setValueForKey(connects ? QVariant::fromValue(first) : QVariant(),
                                  connects ? u"passport"_s : u"holder"_s);
            const bool isSaved = saveWith(policy);
            ASSERT_EQ(isSaved, policy != VXMergePolicy::Error) << error.description().toStdString();
            if (!isSaved) {
                EXPECT_EQ(onlyConflict()[u"object"_s].value<Object>(), stale);
                context.reset();
            }
            EXPECT_EQ(store->check(), QStringList());
            other.reset();
            const auto passport = there(owner)->valueForKey(u"passport"_s).value<Object>();
            const bool isPaired = isSaved ? connects && objectTrumps : !connects;
            EXPECT_EQ(bool(passport), isPaired);
            EXPECT_EQ(isSaved && owner->valueForKey(u"passport"_s).isValid(), isSaved && isPaired);
            context.reset();
        }
    }
}

TEST_P(VXContextReferencesTest, ADeletionThatGivesWayLeavesAllAsItWas)
{
    for (const VXMergePolicy policy : {VXMergePolicy::MergeByPropertyStoreTrumps, VXMergePolicy::Rollback}) {
        SCOPED_TRACE(int(policy));
        const Object kept = person(u"kept"_s);
        const QVariant end = QVariant::fromValue(kept);
        add(u"Call"_s, {{u"name"_s, u"call"_s}, {u"caller"_s, end}});
        const Object phone = add(u"Phone"_s, {{u"name"_s, u"phone"_s}, {u"owner"_s, end}});
        add(u"Passport"_s, {{u"name"_s, u"pass"_s}, {u"holder"_s, end}});
        add(u"Group"_s, {{u"name"_s, u"group"_s}, {u"members"_s, QVariantList{end}}});
        person(u"friend"_s, {{u"friends"_s, QVariantList{end}}});
        const Object moved = add(u"Phone"_s, {{u"name"_s, u"moved"_s}, {u"owner"_s, end}});
        save();
        context.deleteObject(kept);
        moved->setValueForKey(QVariant::fromValue(person(u"new"_s)), u"owner"_s);
        phone->setValueForKey(u"renamed"_s, u"name"_s);
        other.reset();
        there(kept)->setValueForKey(u"changed"_s, u"name"_s);
        save(other);
        ASSERT_TRUE(saveWith(policy)) << error.description().toStdString();
        EXPECT_FALSE(context.hasChanges());
        other.reset();
        for (const Object &each : {kept, there(kept)}) {
            EXPECT_EQ(each->valueForKey(u"name"_s), u"changed"_s);
            EXPECT_EQ(sortedNames(each->valueForKey(u"calls"_s)), u"call"_s) << "cascade";
            EXPECT_EQ(sortedNames(each->valueForKey(u"phones"_s)), u"renamed"_s) << "nullify; one has left by itself";
            EXPECT_EQ(sortedNames(each->valueForKey(u"groups"_s)), u"group"_s);
            EXPECT_EQ(sortedNames(each->valueForKey(u"friends"_s)), u"friend"_s);
            EXPECT_TRUE(each->valueForKey(u"passport"_s).isValid());
        }
        EXPECT_EQ(phone->valueForKey(u"owner"_s).value<Object>(), kept);
        EXPECT_EQ(store->check(), QStringList());
        context.reset();
        other.reset();
    }
}

// Deletions of what others let something lead to, changes of what others change, and changes that nobody minds, in turn.
TEST_P(VXContextReferencesTest, EachOfManyConflictsIsResolvedByItself)
{
    for (const VXMergePolicy policy : policies) {
        SCOPED_TRACE(int(policy));
        QList<Object> people;
        while (people.size() < 30)
            people.append(person(QString::number(people.size())));
        save();
        other.reset();
        QStringList own;
        QStringList theirs;
        for (qsizetype each = 0; each < people.size(); ++each) {
            const QString number = QString::number(each);
            const bool isDeleted = each % 3 == 0;
            if (isDeleted)
                context.deleteObject(people[each]);
            else
                people[each]->setValueForKey(u"own"_s + number, u"name"_s);
            if (isDeleted)
                add(other, u"Phone"_s, {{u"name"_s, number}, {u"owner"_s, QVariant::fromValue(there(people[each]))}});
            else if (each % 3 == 1)
                there(people[each])->setValueForKey(u"their"_s + number, u"name"_s);
            own += isDeleted ? QStringList() : QStringList{u"own"_s + number};
            theirs += isDeleted ? number : (each % 3 == 1 ? u"their"_s : u"own"_s) + number;
        }
        save(other);
        const bool isSaved = saveWith(policy);
        EXPECT_EQ(isSaved, policy != VXMergePolicy::Error) << error.description().toStdString();
        const bool storeTrumps =
            policy == VXMergePolicy::MergeByPropertyStoreTrumps || policy == VXMergePolicy::Rollback;
        other.reset();
        QStringList found = names(fetch(other, request(u"Person"_s))).split(u' ');
        QStringList &expected = storeTrumps ? theirs : own;
        found.sort();
        expected.sort();
        EXPECT_EQ(found == expected, isSaved) << found.join(u' ').toStdString();
        EXPECT_EQ(store->check(), QStringList());
        context.reset();
        other.reset();
        for (const Object &each : fetch(other, request(u"Person"_s)))
            other.deleteObject(each);
        save(other);
    }
}

TEST_P(VXContextReferencesTest, DenyHoldsForPairsOfSomebodyElse)
{
    for (const VXMergePolicy policy : policies) {
        SCOPED_TRACE(int(policy));
        const Object before = person(u"before"_s);
        const Object member = person(u"member"_s);
        const Object group =
            add(u"Group"_s, {{u"name"_s, u"g"_s}, {u"members"_s, QVariantList{QVariant::fromValue(before)}}});
        save();
        group->setValueForKey(QVariantList(), u"members"_s);
        context.deleteObject(group);
        other.reset();
        there(member)->setValueForKey(QVariantList{QVariant::fromValue(there(group))}, u"groups"_s);
        save(other);
        const bool stays = policy == VXMergePolicy::MergeByPropertyStoreTrumps || policy == VXMergePolicy::Rollback;
        EXPECT_EQ(saveWith(policy), stays) << error.description().toStdString();
        EXPECT_TRUE(stays || onlyConflict()[u"object"_s].value<Object>() == group);
        other.reset();
        EXPECT_EQ(sortedNames(there(group)->valueForKey(u"members"_s)), stays ? u"member"_s : u"before member"_s);
        EXPECT_EQ(store->check(), QStringList());
        context.reset();
        there(group)->setValueForKey(QVariantList(), u"members"_s);
        save(other);
        context.deleteObject(context.objectWithID(group->objectID()));
        EXPECT_TRUE(saveWith(policy)) << "nothing is left in its way";
        context.reset();
    }
}
