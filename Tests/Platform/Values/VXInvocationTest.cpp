#include "VXInvocation.h"
#include "VXTesting.h"

#include <QtCore/QMap>

using namespace Qt::StringLiterals;

class Greeter : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE QString greet(const QString &name, int times) { return name.repeated(times); }
    Q_INVOKABLE QString greet(const QString &name) { return u"one "_s + name; }
    Q_INVOKABLE void remember(const QVariant &value) { remembered = value; }
    Q_INVOKABLE QVariant recall() const { return remembered; }

    QVariant remembered;
};

TEST(VXInvocation, CallsByNameAndNumberOfArguments)
{
    Greeter greeter;
    EXPECT_EQ(VXInvocation::withMethod(&greeter, "greet", {u"Jo"_s, u"3"_s}).invoke(), QVariant(u"JoJoJo"_s))
        << "the text 3 becomes the number that the method takes";
    EXPECT_EQ(VXInvocation::withMethod(&greeter, "greet", {u"Jo"_s}).invoke(), QVariant(u"one Jo"_s));
    EXPECT_EQ(VXInvocation::withMethod(&greeter, "remember", {7}).invoke(), QVariant());
    EXPECT_EQ(VXInvocation::withMethod(&greeter, "recall").invoke(), QVariant(7));
}

TEST(VXInvocation, ThereIsNoMessageWhereTheTargetDoesNotRespond)
{
    Greeter greeter;
    EXPECT_TRUE(VXInvocation::respondsTo(&greeter, "greet", 2));
    EXPECT_FALSE(VXInvocation::respondsTo(&greeter, "greet", 3));
    EXPECT_FALSE(VXInvocation::respondsTo(nullptr, "greet", 1));
    EXPECT_TRUE(VXInvocation::withMethod(&greeter, "wave").isNull());
    EXPECT_FALSE(VXInvocation::withMethod(&greeter, "wave").invoke().has_value());
    const VXInvocation unfit = VXInvocation::withMethod(&greeter, "greet", {u"Jo"_s, QVariantList{1}});
    EXPECT_FALSE(unfit.invoke().has_value()) << "a list is no number";
}

TEST(VXInvocation, DoesNotOutliveItsTarget)
{
    auto greeter = std::make_unique<Greeter>();
    int calls = 0;
    const VXInvocation bound(greeter.get(), [&calls] { return QVariant(++calls); });
    EXPECT_EQ(bound.invoke(), QVariant(1));
    greeter.reset();
    EXPECT_EQ(bound.target(), nullptr);
    EXPECT_FALSE(bound.invoke().has_value());
    EXPECT_EQ(calls, 1);
}

#include "VXInvocationTest.moc"
