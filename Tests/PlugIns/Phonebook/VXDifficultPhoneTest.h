#pragma once

#include "VXContactRecord.h"
#include "VXDeviceAction.h"
#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXPhonebookTest.h"

#include <QtCore/QMap>
#include <QtCore/QThreadPool>

/** A phone with one field for the name, and with limits. */
class VXDifficultPhone : public VXDevicePlugin
{
public:
    QMap<int, QVariantMap> contacts; // by location
    int capacity = 100;
    qsizetype longestName = 100;
    QString refusedName;
    QString serial;
    bool readsAll = true;
    qsizetype portion = 0;           // 0: it gives all at once
    int portionsLeft = -1;           // then it falls silent; -1: it does not
    VXDeviceAction::Ptr silent = {}; // what it does not answer any more

    void offerActions()
    {
        registerActionHandler(QStringLiteral("read_contacts"), this, &VXDifficultPhone::read);
        registerActionHandler(QStringLiteral("write_contact"), this, &VXDifficultPhone::write);
        registerActionHandler(QStringLiteral("delete_contact"), this, &VXDifficultPhone::remove);
    }

    QStringList names() const
    {
        QStringList names;
        for (const QVariantMap &contact : contacts)
            names.append(contact.value(QStringLiteral("name")).toString());
        return names;
    }

private:
    void read(VXDeviceAction *action)
    {
        QVariantList items;
        for (auto contact = contacts.cbegin(); contact != contacts.cend(); ++contact)
            items.append(placed(contact.value(), contact.key()));
        handOver(action, items);
    }
    void handOver(VXDeviceAction *action, const QVariantList &items)
    {
        if (portionsLeft-- == 0)
            silent = std::static_pointer_cast<VXDeviceAction>(action->shared_from_this());
        if (silent)
            return;
        const QVariantMap some{{QStringLiteral("items"), items.first(std::min(portion, items.size()))}};
        const auto next = [this, action, items] { handOver(action, items.sliced(portion)); };
        if (portion > 0 && items.size() > portion && action->handOver([some] { return some; }, next))
            return;
        action->setResult(QVariantMap{{QStringLiteral("items"), items},
                                      {QStringLiteral("isComplete"), readsAll},
                                      {QStringLiteral("phone"), serial}});
        action->conclude();
    }
    void write(VXDeviceAction *action)
    {
        const VXContactRecord contact(action->object());
        const int asked = action->object().toMap().value(QStringLiteral("location")).toInt();
        const QString name = contact.displayName();
        if (name == refusedName)
            return fail(action, QStringLiteral("The phone refused it."));
        if (asked == 0 && contacts.size() >= capacity)
            return fail(action, QStringLiteral("The phone is full."));
        const int location = asked != 0 ? asked : contacts.isEmpty() ? 1 : contacts.lastKey() + 1;
        const QVariantMap made{{QStringLiteral("name"), name.left(longestName)},
                               {QStringLiteral("numbers"), contact.map().value(QStringLiteral("numbers"))}};
        contacts.insert(location, made);
        action->setResult(QVariantMap{{QStringLiteral("memory"), QStringLiteral("ME")},
                                      {QStringLiteral("location"), location},
                                      {QStringLiteral("contact"), placed(made, location)}});
        action->conclude();
    }
    void remove(VXDeviceAction *action)
    {
        contacts.remove(action->object().toMap().value(QStringLiteral("location")).toInt());
        action->conclude();
    }
    static QVariantMap placed(QVariantMap contact, int location)
    {
        contact.insert(QStringLiteral("memory"), QStringLiteral("ME"));
        contact.insert(QStringLiteral("location"), location);
        return contact;
    }
    static void fail(VXDeviceAction *action, const QString &reason)
    {
        action->setErrorString(reason);
        action->conclude();
    }
};

class VXDifficultPhoneTest : public VXPhonebookTest
{
protected:
    VXDifficultPhoneTest()
    {
        start();
        phone->initWithURL(url);
        phone->offerActions();
        VXDevicePlugin::addDevice(held);
    }
    ~VXDifficultPhoneTest() override
    {
        // A sync that outlasted its test would go on with what is about to go.
        for (const VXDeviceAction::Ptr &action : {begun, phone->silent}) {
            if (action && action->isExecuting())
                action->cancel();
        }
        QThreadPool::globalInstance()->waitForDone();
        static_cast<void>(VXRunUntil([this] { return !begun || !begun->isExecuting(); }));
        VXDevicePlugin::removeDeviceAtURL(url);
    }

    void add(const QString &firstName, const QString &lastName, const QString &number)
    {
        VXManagedObjectContext context(store);
        addPerson(context, {{QStringLiteral("firstName"), firstName},
                            {QStringLiteral("lastName"), lastName},
                            {QStringLiteral("numbers"), number}});
    }
    void setNumber(const QString &firstName, const QString &number)
    {
        VXManagedObjectContext context(store);
        const auto numbers = context.executeFetchRequest(
            request(QStringLiteral("VXPhoneNumber"), QStringLiteral("person.firstName"), firstName));
        numbers->first()->setValueForKey(number, QStringLiteral("number"));
        ASSERT_TRUE(context.save());
    }

    VXDeviceAction::Ptr begin()
    {
        const auto action = begun = VXDeviceAction::actionWithName(QStringLiteral("sync_contacts"));
        action->setObject(QVariantMap{{QStringLiteral("addsAll"), addsAll}});
        action->executeWithDevice(held, [](VXDeviceAction *) {});
        return action;
    }
    /** "ADDED CHANGED REMOVED CARRIED-OUT" */
    QString sync()
    {
        const auto action = begin();
        EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); }));
        const QVariantMap result = action->result().toMap();
        problems = result.value(QStringLiteral("problems")).toStringList();
        refused = result.value(QStringLiteral("refused")).toInt();
        error = action->error().localizedDescription();
        return QStringLiteral("%1 %2 %3 %4")
            .arg(result.value(QStringLiteral("added")).toInt())
            .arg(result.value(QStringLiteral("changed")).toInt())
            .arg(result.value(QStringLiteral("removed")).toInt())
            .arg(result.value(QStringLiteral("addedThere")).toInt() +
                 result.value(QStringLiteral("changedThere")).toInt() +
                 result.value(QStringLiteral("deletedThere")).toInt());
    }
    static QVariantMap card(const QString &name, const QStringList &numbers)
    {
        return {{QStringLiteral("name"), name}, {QStringLiteral("numbers"), numbers}};
    }
    void fill(int first, int last) const
    {
        for (int index = first; index <= last; ++index)
            phone->contacts.insert(
                index, card(QStringLiteral("N%1").arg(index), {QStringLiteral("555 %1").arg(10000 + index)}));
    }
    QStringList here() const
    {
        VXManagedObjectContext context(store);
        const auto found =
            context.executeFetchRequest(VXFetchRequest(*store->model().entityForName(QStringLiteral("VXPerson"))));
        QStringList lines;
        for (const VXManagedObjectPtr &person : *found) {
            const VXContactRecord contact(QVariant::fromValue(person));
            lines.append(contact.displayName() + u' ' + contact.numbers.value(0).value);
        }
        return lines;
    }

    qsizetype numbersHere() const
    {
        VXManagedObjectContext context(store);
        return *context.countForFetchRequest(
            VXFetchRequest(*store->model().entityForName(QStringLiteral("VXPhoneNumber"))));
    }
    /** Two cards of one person are first: what one of them brings is not written onto the other. */
    void isRepeatableAfter(int portions)
    {
        addsAll = false;
        fill(1, 4);
        phone->contacts.insert(2,
                               card(QStringLiteral("N1"), {QStringLiteral("555 10001"), QStringLiteral("555 20000")}));
        const QMap<int, QVariantMap> before = phone->contacts;
        phone->portion = 1;
        phone->portionsLeft = portions;
        const auto action = begin();
        EXPECT_TRUE(VXRunUntil([&] { return phone->silent && numbersHere() == portions; }));
        action->cancel();
        std::exchange(phone->silent, {})->conclude();
        EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); }));
        EXPECT_EQ(sync(), portions == 1 ? QStringLiteral("2 1 0 0") : QStringLiteral("2 0 0 0"));
        EXPECT_EQ(sync(), QStringLiteral("0 0 0 0"));
        EXPECT_EQ(phone->contacts, before);
        EXPECT_EQ(numbersHere(), 4);
    }
    /** What ends a sync in its midst leaves whole slices. */
    void isBrokenOff(const std::function<void(const VXDeviceAction &action)> &end)
    {
        fill(1, 500);
        phone->portion = 100;
        phone->portionsLeft = 3;
        const auto action = begin();
        EXPECT_TRUE(VXRunUntil([&] { return phone->silent && !here().isEmpty(); }));
        end(*action);
        std::exchange(phone->silent, {})->conclude();
        EXPECT_TRUE(VXRunUntil([&] { return !action->isExecuting(); }));
        EXPECT_FALSE(action->error().isNull());
        EXPECT_EQ(here().size() % 100, 0) << "a slice was saved in part";
    }

    const QUrl url = VXMakeDeviceURL({}, QStringLiteral("plugin"), QStringLiteral("phone"));
    VXDifficultPhone *const phone = new VXDifficultPhone;
    const VXDevicePlugin::Ptr held = VXDevicePlugin::hold(phone);
    bool addsAll = true;
    QStringList problems;
    int refused = 0; // again
    QString error;
    VXDeviceAction::Ptr begun = {}; // the last sync

private:
    VXFetchRequest request(const QString &entity, const QString &key, const QString &value) const
    {
        VXFetchRequest made(*store->model().entityForName(entity));
        made.predicate = *VXPredicate::predicateWithFormat(key + QLatin1String(" == %@"), {value});
        return made;
    }
};
