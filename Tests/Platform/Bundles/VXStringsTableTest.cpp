#include "VXStringsTable.h"

#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QStringConverter>

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using Table = VXStringsTable::Table;

namespace {

std::string errorOf(const QByteArray &data)
{
    VXError error;
    EXPECT_FALSE(VXStringsTable::fromData(data, &error)) << data.constData();
    return error.localizedDescription().toStdString();
}

} // namespace

TEST(VXStringsTableTest, ReadsTheTextForm)
{
    const std::pair<const char *, Table> rows[] = {
        {"", {}},
        {" \n// only a comment", {}},
        {"\"a\" = \"b\";", {{u"a"_s, u"b"_s}}},
        {"/* one */ \"a\"/**/=//\n\"b\" ; // end\n/* \" */", {{u"a"_s, u"b"_s}}},
        {"key.one = value-2;a/*x*/=b//x\n;", {{u"key.one"_s, u"value-2"_s}, {u"a"_s, u"b"_s}}},
        {"\"Save\";\nOpen;", {{u"Save"_s, u"Save"_s}, {u"Open"_s, u"Open"_s}}},
        {"'a \"b\"' = \"\";", {{u"a \"b\""_s, u""_s}}},
        {R"("e" = "\n\t\r\"\\\'\a\b\f\v\/\q";)", {{u"e"_s, u"\n\t\r\"\\'\a\b\f\v/q"_s}}},
        {R"("u" = "\U00e4\u00DF\101\7x\ud83d\Udcf1";)", {{u"u"_s, u"äßA\7x📱"_s}}},
        {"\"line\\\nbreak\" = \"a\nb\";", {{u"line\nbreak"_s, u"a\nb"_s}}},
        {"a = \"first\"; a = \"last\";", {{u"a"_s, u"last"_s}}},
        {"\"Zo\xc3\xab\" = \"\xf0\x9f\x93\xb1\";", {{u"Zoë"_s, u"📱"_s}}},
    };
    for (const auto &[text, table] : rows) {
        VXError error;
        EXPECT_EQ(VXStringsTable::fromData(text, &error), table) << text << '\n' << error.description().toStdString();
    }
}

TEST(VXStringsTableTest, ReadsEachEncoding)
{
    const QString text = u"/* Größe */\n\"Grüße\" = \"📱\";\n"_s;
    const Table table{{u"Grüße"_s, u"📱"_s}};
    using Flag = QStringConverter::Flag;
    for (const Flag flag : {Flag::Default, Flag::WriteBom}) {
        for (const auto encoding : {QStringConverter::Utf8, QStringConverter::Utf16LE, QStringConverter::Utf16BE}) {
            const QByteArray data = QStringEncoder(encoding, flag)(text);
            EXPECT_EQ(VXStringsTable::fromData(data), table)
                << QStringConverter::nameForEncoding(encoding) << " " << int(flag);
        }
    }
}

TEST(VXStringsTableTest, ReadsPropertyLists)
{
    const QVariantMap entries{{u"a"_s, u"b"_s}, {u"Zoë"_s, u""_s}};
    const Table table{{u"a"_s, u"b"_s}, {u"Zoë"_s, u""_s}};
    for (const auto format : {VXPropertyList::Format::XML, VXPropertyList::Format::Binary})
        EXPECT_EQ(VXStringsTable::fromData(VXPropertyList::toData(entries, format)), table);
    EXPECT_THAT(errorOf(VXPropertyList::toData(QVariantMap{{u"a"_s, 1}}, VXPropertyList::Format::XML)),
                HasSubstr("the value of \"a\" is no text"));
    EXPECT_THAT(errorOf("<plist><array/></plist>"), HasSubstr("no dictionary"));
    EXPECT_THAT(errorOf("<plist>\n<dict>"), HasSubstr("line 2"));
}

TEST(VXStringsTableTest, ErrorsTellLineAndReason)
{
    const std::pair<QByteArray, const char *> rows[] = {
        {"\"a\" = \"b\";\n\"c\" = \"d\"\n\"e\" = \"f\";", "line 3: expected \";\" after the entry \"c\""},
        {"\n\"a\" \"b\";", "line 2: expected \";\""},
        {"a = ;", "line 1: expected a value, found \";\""},
        {"a =", "expected a value, found the end"},
        {"= b;", "expected a key"},
        {"\n\n\"a\" = \"b;\n", "line 3: a text has no end"},
        {"\"a\\", "a text has no end"},
        {"a;\n/* b", "line 2: a comment has no end"},
        {"\"\\u\";", "an escape without digits"},
        {"\"\\ud83d\";", "no character"},
        {"\"\\0\";", "no character"},
        {"a;\n\"\xff\";\n", "line 2: the text is not valid UTF-8"},
        {QByteArray("\xff\xfe\x0a\0\x3d\xd8\x22\0", 8), "line 2: the text is not valid UTF-16"},
    };
    for (const auto &[data, error] : rows)
        EXPECT_THAT(errorOf(data), HasSubstr(error));
}

using VXStringsTableFileTest = VXHomeTest;

TEST_F(VXStringsTableFileTest, ErrorsCarryThePath)
{
    VXError error;
    EXPECT_EQ(VXStringsTable::fromFile(writeFile(u"a.strings"_s, "a = b;")), (Table{{u"a"_s, u"b"_s}}));
    EXPECT_FALSE(VXStringsTable::fromFile(path(u"none.strings"_s), &error));
    EXPECT_EQ(error.code(), int(VXPlatformErrorCode::FileRead));
    EXPECT_FALSE(VXStringsTable::fromFile(writeFile(u"b.strings"_s, "a"), &error));
    EXPECT_EQ(error.code(), int(VXPlatformErrorCode::FileCorrupt));
    EXPECT_EQ(error.filePath(), path(u"b.strings"_s));
}
