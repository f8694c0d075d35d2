#include "VXValueTransformer.h"
#include "VXTesting.h"

#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

class Doubler : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override { return value.toInt() * 2; }
};

class Negator : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override { return -value.toInt(); }
    bool allowsReverseTransformation() const override { return true; }
    QVariant reverseTransformedValue(const QVariant &value) const override { return -value.toInt(); }
};

} // namespace

TEST(VXValueTransformerTest, AreFoundByName)
{
    EXPECT_EQ(VXValueTransformer::valueTransformerForName(u"a"_s), nullptr);
    VXValueTransformer::setValueTransformer(u"b"_s, std::make_unique<Negator>());
    VXValueTransformer::setValueTransformer(u"a"_s, std::make_shared<Doubler>());
    EXPECT_EQ(VXValueTransformer::names(), (QStringList{u"a"_s, u"b"_s}));

    const auto doubler = VXValueTransformer::valueTransformerForName(u"a"_s);
    ASSERT_NE(doubler, nullptr);
    EXPECT_FALSE(doubler->allowsReverseTransformation());
    EXPECT_FALSE(doubler->reverseTransformedValue(2).isValid());
    EXPECT_EQ(VXValueTransformer::valueTransformerForName(u"b"_s)->reverseTransformedValue(2), -2);

    VXValueTransformer::setValueTransformer(u"a"_s, std::make_unique<Negator>());
    EXPECT_EQ(VXValueTransformer::valueTransformerForName(u"a"_s)->transformedValue(2), -2);
    EXPECT_EQ(doubler->transformedValue(2), 4); // held, it outlives its place
    VXValueTransformer::setValueTransformer(u"a"_s, nullptr);
    VXValueTransformer::setValueTransformer(u"b"_s, nullptr);
    EXPECT_TRUE(VXValueTransformer::names().isEmpty());
}

TEST(VXValueTransformerTest, AreReplacedWhileOtherThreadsUseThem)
{
    constexpr int rounds = 1000;
    const QString name = u"shared"_s;
    VXValueTransformer::setValueTransformer(name, std::make_unique<Doubler>());
    std::vector<std::thread> threads;
    for (int each = 0; each < 4; ++each)
        threads.emplace_back([&name] {
            for (int round = 0; round < rounds; ++round) {
                if (round % 2 == 0)
                    VXValueTransformer::setValueTransformer(name, std::make_unique<Doubler>());
                EXPECT_EQ(VXValueTransformer::valueTransformerForName(name)->transformedValue(round), round * 2);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    VXValueTransformer::setValueTransformer(name, nullptr);
}
