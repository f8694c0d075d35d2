#include "VXKeyValueCoding.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

namespace {

class Record : public VXKeyValueCoding
{
public:
    QVariant valueForKey(const QString &key) const override
    {
        return key == u"name"_s ? QVariant(u"Jane"_s) : QVariant();
    }
};

} // namespace

class Owner : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap phone READ phone CONSTANT)

public:
    QVariantMap phone() const { return {{u"model"_s, u"T610"_s}}; }
    Q_INVOKABLE int age() const { return 42; }
};

TEST(VXKeyValueCoding, FollowsKeyPathsOverEveryKindOfObject)
{
    Owner owner;
    owner.setProperty("nick", u"Jo"_s);
    Record record;
    const QVariant object = QVariant::fromValue(&owner);
    const QVariant coding = QVariant::fromValue<VXKeyValueCoding *>(&record);
    const QVariantMap root{{u"owner"_s, object},
                           {u"record"_s, coding},
                           {u"list"_s, QVariantList{QVariantMap{{u"n"_s, 1}}, QVariantMap{}, object}},
                           {u"a.b"_s, 1}};
    const std::pair<QString, QVariant> cases[] = {
        {u"owner.phone.model"_s, u"T610"_s},
        {u"owner.age"_s, 42},
        {u"owner.nick"_s, u"Jo"_s},
        {u"record.name"_s, u"Jane"_s},
        {u"record.number"_s, {}},
        {u"list.n"_s, QVariantList{1, QVariant(), QVariant()}},
        {u"list.@count"_s, 3},
        {u"owner.phone.model.length"_s, {}}, // a text has no keys
        {u"missing.further"_s, {}},
        {u"a.b"_s, {}}, // dots always separate
        {u""_s, {}},
        {u"owner..age"_s, {}},
    };
    for (const auto &[path, expected] : cases)
        EXPECT_EQ(VXValueForKeyPath(root, path), expected) << path.toStdString();
    EXPECT_EQ(VXValueForKey(root, u"a.b"_s), QVariant(1)) << "a key is taken whole";
}

TEST(VXKeyValueCoding, NothingHasNoValues)
{
    EXPECT_FALSE(VXValueForKey({}, u"a"_s).isValid());
    EXPECT_FALSE(VXValueForKey(QVariant::fromValue<QObject *>(nullptr), u"a"_s).isValid());
    EXPECT_FALSE(VXValueForKey(QVariant::fromValue<VXKeyValueCoding *>(nullptr), u"a"_s).isValid());
}

#include "VXKeyValueCodingTest.moc"
