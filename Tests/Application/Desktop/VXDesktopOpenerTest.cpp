#include "VXDesktopOpener.h"

#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXDesktopOpenerTest, messagesOfURLs)
{
    struct
    {
        QString url;
        QStringList numbers;
        QString text;
    } const table[] = {
        {u"sms:+15550100"_s, {u"+15550100"_s}, {}},
        {u"sms:+15550100,+15550101?body=Hi%20there%26%C3%BC"_s, {u"+15550100"_s, u"+15550101"_s}, u"Hi there&ü"_s},
        {u"sms://5550100"_s, {u"5550100"_s}, {}},
        {u"tel:+1-555-0100;ext=12"_s, {u"+1-555-0100"_s}, {}},
        {u"smsto:%2B15550100"_s, {u"+15550100"_s}, {}},
        {u"sms:"_s, {}, {}},
    };
    for (const auto &row : table) {
        const VXDesktopOpener::Message message = VXDesktopOpener::messageOf(row.url);
        EXPECT_EQ(message.numbers, row.numbers) << row.url.toStdString();
        EXPECT_EQ(message.text, row.text) << row.url.toStdString();
    }
}
