#include "VXFetchRequest.h"
#include "VXRowSaver.h"
#include "VXTesting.h"

#include <QtCore/QDateTime>

#include <limits>

using namespace Qt::StringLiterals;

TEST(VXFetchRequestTest, TemplatesTakeValues)
{
    const auto model = VXModelOf(R"(
        entity Person {
            attribute name: string;
            fetch named = "name == $NAME AND NOT name IN $OTHERS";
            fetch broken = "name ==";
        }
        entity Employee: Person {}
    )");
    const VXEntityDescription &employee = *model->entityForName(u"Employee"_s);
    const auto request =
        VXFetchRequest::fromTemplate(employee, u"named"_s, {{u"NAME"_s, u"Jo"_s}, {u"OTHERS"_s, QVariantList{u"x"_s}}});
    ASSERT_TRUE(request);
    EXPECT_EQ(&request->entity(), &employee);
    EXPECT_TRUE(request->predicate.evaluateWithObject(QVariantMap{{u"name"_s, u"Jo"_s}}));
    EXPECT_FALSE(request->predicate.evaluateWithObject(QVariantMap{{u"name"_s, u"x"_s}}));

    const std::pair<QString, QString> mistakes[] = {
        {u"unnamed"_s, u"Entity \"Employee\" has none of that name."_s},
        {u"broken"_s, u"At character 8: a value or key is missing."_s},
        {u"named"_s, u"There is no value for $OTHERS."_s},
    };
    for (const auto &[name, reason] : mistakes) {
        VXError error;
        EXPECT_FALSE(VXFetchRequest::fromTemplate(employee, name, {{u"NAME"_s, u"Jo"_s}}, &error));
        EXPECT_EQ(error.localizedRecoverySuggestion(), reason);
    }
}

TEST(VXSortDescriptorTest, OrdersObjectsByAValue)
{
    const QVariant none;
    const QDateTime noon(QDate(2026, 1, 2), QTime(12, 0), Qt::UTC);
    const struct
    {
        QVariant less, greater;
        VXTextOptions options;
    } cases[] = {
        {none, 0, {}},
        {none, u""_s, {}},
        {std::numeric_limits<double>::quiet_NaN(), -5.0, {}},
        {-2, 1.5, {}},
        {false, true, {}},
        {u"Z"_s, u"a"_s, {}},
        {u"a"_s, u"Z"_s, VXTextOption::CaseInsensitive},
        {u"é"_s, u"f"_s, VXTextOption::DiacriticInsensitive},
        {QString(QChar(0xD800)), QString(QChar(0xE000)), {}}, // by unit
        {noon, noon.addMSecs(1), {}},
        {QByteArray("\x01"), QByteArray("\xff"), {}},
    };
    for (const auto &each : cases) {
        const auto object = [](const QVariant &value) { return QVariantMap{{u"a"_s, QVariantMap{{u"b"_s, value}}}}; };
        const VXSortDescriptor up{u"a.b"_s, true, each.options};
        const VXSortDescriptor down{u"a.b"_s, false, each.options};
        EXPECT_LT(up.compare(object(each.less), object(each.greater)), 0) << testing::PrintToString(each.greater);
        EXPECT_GT(up.compare(object(each.greater), object(each.less)), 0) << testing::PrintToString(each.greater);
        EXPECT_GT(down.compare(object(each.less), object(each.greater)), 0) << testing::PrintToString(each.greater);
        EXPECT_EQ(up.compare(object(each.less), object(each.less)), 0) << testing::PrintToString(each.less);
    }
}
