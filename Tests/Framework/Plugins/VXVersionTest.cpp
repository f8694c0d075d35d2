#include "VXVersion.h"
#include "VXLogRecorder.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXVersion, ComparesComponentsByNumber)
{
    const std::pair<QString, QString> rows[] = {
        {u"1.9"_s, u"1.10"_s},
        {u"1.2"_s, u"1.2.1"_s},
        {u"9"_s, u"10"_s},
        {u"1944"_s, u"1945"_s},
        {u"99999999999999999998"_s, u"99999999999999999999"_s},
        {u"1.2b9"_s, u"1.2b10"_s},
        {u"1.2"_s, u"1.2b"_s},
        {u"1.2alpha"_s, u"1.2beta"_s},
        {u"1"_s, u"1."_s},
        {QString(), u"0"_s},
        {u"2.٩"_s, u"2.١٠"_s}, // Arabic-Indic digits
    };
    for (const auto &[lesser, greater] : rows) {
        EXPECT_EQ(vx_compareVersion(lesser, greater), -1) << lesser.toStdString() << " < " << greater.toStdString();
        EXPECT_EQ(vx_compareVersion(greater, lesser), 1) << greater.toStdString() << " > " << lesser.toStdString();
        EXPECT_EQ(vx_compareVersion(lesser, lesser), 0);
    }
    EXPECT_EQ(vx_compareVersion(u"1.02", u"1.2"), 0);
    EXPECT_EQ(vx_compareVersion(u"2.1", u"1.2.1"), 1);
}

using VXVersionTest = VXHomeTest;

TEST_F(VXVersionTest, LogsTheVersionWithAComponentThatIsNoNumber)
{
    const VXLogRecorder log;
    EXPECT_EQ(vx_compareVersion(u"1.2b9.3", u"1.2.4"), 1);
    EXPECT_EQ(vx_compareVersion(u"2.x", u"1.y"), 1) << "decided before";
    const QStringList lines = log.lines(u"WARNING"_s);
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines.front().endsWith(u"version component is not a number: 1.2b9.3"_s));
}
