#include "VXPastedAddresses.h"

#include "VXTesting.h"

using namespace Qt::StringLiterals;

TEST(VXPastedAddressesTest, FindsTheAddressesInWhatPeoplePaste)
{
    const struct
    {
        const char *text;
        QStringList expected;
    } cases[] = {
        {"", {}},
        {" , ;\n\t ", {}},
        {"+1 555 0100, +1 555 0101;+1 555 0102\n+1 555 0103\t+1 555 0104",
         {u"+1 555 0100"_s, u"+1 555 0101"_s, u"+1 555 0102"_s, u"+1 555 0103"_s, u"+1 555 0104"_s}},
        {"Doe, Jane <555-0100>; Joe <j@example.org>", {u"Doe, Jane <555-0100>"_s, u"Joe <j@example.org>"_s}},
        {"\"Doe, Jane\" <555-0100>", {u"Doe\\, Jane <555-0100>"_s}},
        {"Jane\nJoe <555-0100>", {u"Jane"_s, u"Joe <555-0100>"_s}},
        {"Team { +1 555 0100; +1 555 0101 }", {u"Team { +1 555 0100; +1 555 0101 }"_s}},
        {"tel:+1-555-0100;ext=7", {u"+1-555-0100"_s}},
        {"sms:+15550100,+15550101?body=Hello;%20you", {u"+15550100"_s, u"+15550101"_s}},
        {"mailto:jane%40example.org?subject=x", {u"jane@example.org"_s}},
        {"BEGIN:VCARD\nVERSION:3.0\nFN:Jane Doe\nTEL;TYPE=HOME:555-0100\nTEL;TYPE=CELL:555-0101\nEND:VCARD\n"
         "BEGIN:VCARD\nVERSION:3.0\nFN:Joe\nEMAIL:joe@example.org\nEND:VCARD\n",
         {u"Jane Doe <555-0101/m>"_s, u"Joe <joe@example.org>"_s}},
    };
    for (const auto &each : cases)
        EXPECT_EQ(VXAddressesFromPastedText(QString::fromUtf8(each.text)), each.expected) << each.text;
}
