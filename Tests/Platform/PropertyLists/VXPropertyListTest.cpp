#include "VXPropertyList.h"

#include "VXTesting.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QTimeZone>

#include <cstdlib>
#include <limits>
#include <plist/plist.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;
using Format = VXPropertyList::Format;

namespace {

QDateTime utc(int year, int month, int day, int hour = 0, int milliseconds = 0)
{
    return {QDate(year, month, day), QTime(hour, 0, 0, milliseconds), Qt::UTC};
}

QByteArray document(const QByteArray &value)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n" + value + "\n</plist>\n";
}

std::string errorOf(const QByteArray &data)
{
    VXError error;
    EXPECT_FALSE(VXPropertyList::fromData(data, &error).isValid()) << data.left(200).constData();
    EXPECT_EQ(error.code(), error ? int(VXPlatformErrorCode::FileCorrupt) : -1);
    return error.localizedDescription().toStdString();
}

QVariant nested(int levels)
{
    QVariant value = u"core"_s;
    for (int level = 0; level < levels; ++level)
        value = level % 2 == 0 ? QVariant(QVariantList{value}) : QVariant(QVariantMap{{u"k"_s, value}});
    return value;
}

// A binary list of one-byte offsets and references from its objects; the first is the outermost.
QByteArray binary(const QList<QByteArray> &objects)
{
    QByteArray data = "bplist00";
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets.append(char(data.size()));
        data += object;
    }
    const auto number = [](qsizetype value) { return QByteArray(7, '\0') + char(value); };
    return data + offsets + QByteArray(6, '\0') + "\x01\x01" + number(objects.size()) + number(0) + number(data.size());
}

using VXPropertyListFileTest = VXHomeTest;

} // namespace

TEST(VXPropertyListTest, ReadsXMLValues)
{
    const struct
    {
        const char *xml;
        QVariant value;
    } rows[] = {
        {"<string>a &lt;&amp;&gt; &quot;b&apos; &#228;&#x1F4F1;</string>", u"a <&> \"b' ä📱"_s},
        {"<string> kept\r\nas it is </string>", u" kept\r\nas it is "_s},
        {"<string>a<!-- no -->b<![CDATA[<&amp;>]]>c</string>", u"ab<&amp;>c"_s},
        {"<string/>", u""_s},
        {"<integer> -9223372036854775808 </integer>", std::numeric_limits<qlonglong>::min()},
        {"<integer>+010</integer>", 10LL}, // not octal
        {"<integer>0x7fffffffffffffff</integer>", std::numeric_limits<qlonglong>::max()},
        {"<real>-1.5e3</real>", -1500.0},
        {"<real>+infinity</real>", std::numeric_limits<double>::infinity()},
        {"<true></true>", true},
        {"<false />", false},
        {"<date>1869-09-01T00:00:00Z</date>", utc(1869, 9, 1)}, // outside of 32-bit seconds
        {"<date>2169-09-01T13:00:00Z</date>", utc(2169, 9, 1, 13)},
        {"<data>\n\tQUJD<!-- c -->\n\tREVG\n</data>", QByteArray("ABCDEF")},
        {"<data></data>", QByteArray("")},
        {"<array><array/><!-- c --><true/></array>", QVariantList{QVariantList(), true}},
        {"<dict><key>b</key><true/><key>a&amp;</key><dict/></dict>",
         QVariantMap{{u"a&"_s, QVariantMap()}, {u"b"_s, true}}},
    };
    for (const auto &row : rows) {
        VXError error;
        const QVariant value = VXPropertyList::fromData(document(row.xml), &error);
        EXPECT_EQ(value, row.value) << row.xml << '\n' << error.description().toStdString();
        EXPECT_EQ(value.metaType(), row.value.metaType()) << row.xml;
        EXPECT_EQ(value.isNull(), false) << row.xml;
    }
}

TEST(VXPropertyListTest, XMLErrorsTellLineAndReason)
{
    const std::pair<QByteArray, const char *> rows[] = {
        {"", "it is empty"},
        {"just text", "neither XML nor the binary form"},
        {"<html><body/></html>", "line 1: unknown element \"html\""},
        {document(""), "line 4: the property list has no value"},
        {document("<string>a</string><string>b</string>"), "line 3: expected </plist>"},
        {document("<array>\n<string>a</string>\n"), "line 6: expected </array>, found \"</plist>"},
        {document("<array>").chopped(10), "unexpected end of the text"},
        {document("<dict>\n<key>a</key>\n</dict>"), "line 5: the key \"a\" has no value"},
        {document("<dict>\n<string>a</string></dict>"), "line 4: expected <key>, found \"string\""},
        {document("<integer>12abc</integer>"), "line 3: \"12abc\" is not an integer of 64 bits"},
        {document("<integer>9223372036854775808</integer>"), "is not an integer of 64 bits"},
        {document("<real>1,5</real>"), "is not a real number"},
        {document("<date>2009-02-30T00:00:00Z</date>"), "is not a date"},
        {document("<data>QU!JD</data>"), "not valid Base64"},
        {document("<string>&nbsp;</string>"), "unknown entity \"&nbsp;\""},
        {document("<string>&#xD800;</string>"), "unknown entity"},
        {document("<string>a & b</string>"), "\"&\" without an entity"},
        {document("<string>a\nb\xff</string>"), "line 4: the text is not valid UTF-8"},
        {document("<string>\x01</string>"), "line 3: control character U+0001"},
        {document("<string>a<b>c</b></string>"), "expected </string>"},
        {"<?xml version='1.0' encoding='EBCDIC'?><plist><true/></plist>", "unknown encoding \"EBCDIC\""},
        {document(QByteArray("<array>").repeated(600'000)), "nested deeper than 512 levels"},
    };
    for (const auto &[data, error] : rows)
        EXPECT_THAT(errorOf(data), HasSubstr(error));
}

TEST(VXPropertyListTest, ReadsOtherEncodingsOfXML)
{
    const QString text = u"<?xml version=\"1.0\" encoding=\"%1\"?>\n<plist><string>Zoë</string></plist>"_s;
    QByteArray utf16 = "\xff\xfe"_ba;
    const QString declared = text.arg(u"UTF-16"_s);
    utf16.append(reinterpret_cast<const char *>(declared.utf16()), declared.size() * 2);
    for (const QByteArray &data :
         {"\xef\xbb\xbf" + text.arg(u"utf-8"_s).toUtf8(), utf16, text.arg(u"ISO-8859-1"_s).toLatin1()})
        EXPECT_EQ(VXPropertyList::fromData(data), u"Zoë"_s);
}

TEST(VXPropertyListTest, ReadsTheBinaryFormOfAnotherWriter)
{
    const QByteArray data = QByteArray::fromBase64(
        "YnBsaXN0MDDbAQIDBAUGBwgJCgsMExQVFhcYGRobHFVhcnJheVR0ZXh0VHdpZGVTeWVzUm5vVHJlYWxUZGF0ZVNmYXJUZGF0YVN1"
        "aWRVZW1w"
        "dHmmDQ4PEBESEAEQ/xH//xP//////////xMAAAEAAAAAABOAAAAAAAAAAFVwbGFpbmYAWgBvAOsAINg93PEJCCM/"
        "uZmZmZmZmjPB4dRKOCAA"
        "ADNB50bR0AAAAEMAAf+"
        "AB9AIHyUqLzM2O0BESU1TWlxeYWpzfIKPkJGao6ywsgAAAAAAAAEBAAAAAAAAAB0AAAAAAAAAAAAAAAAAAACz");
    const QVariantMap expected{
        {u"array"_s, QVariantList{1LL, 255LL, 65535LL, -1LL, 1LL << 40, std::numeric_limits<qlonglong>::min()}},
        {u"text"_s, u"plain"_s},
        {u"wide"_s, u"Zoë 📱"_s},
        {u"yes"_s, true},
        {u"no"_s, false},
        {u"real"_s, 0.1},
        {u"date"_s, QDateTime(QDate(1925, 3, 4), QTime(5, 6, 7), Qt::UTC)},
        {u"far"_s, utc(2100, 1, 1)},
        {u"data"_s, QByteArray("\0\1\xff", 3)},
        {u"uid"_s, QVariantMap{{u"CF$UID"_s, 7LL}}},
        {u"empty"_s, QVariantMap()},
    };
    Format format = Format::XML;
    EXPECT_EQ(VXPropertyList::fromData(data, nullptr, &format), QVariant(expected));
    EXPECT_EQ(format, Format::Binary);

    for (qsizetype size = 1; size < data.size(); ++size)
        EXPECT_THAT(errorOf(data.first(size)), HasSubstr("Not a property list"));
    for (qsizetype index = 0; index < data.size() * 8; ++index) {
        QByteArray damaged = data;
        damaged[index / 8] = char(damaged[index / 8] ^ (1 << index % 8));
        VXError error;
        const bool wasRead = VXPropertyList::fromData(damaged, &error).isValid(); // at least no crash
        EXPECT_NE(wasRead, bool(error)) << index;
    }
}

TEST(VXPropertyListTest, BinaryErrorsTellTheReason)
{
    QList<QByteArray> doubling{"\xa2\x01\x01"};
    for (char next = 2; next < 60; ++next)
        doubling.append(QByteArray("\xa2") + next + next);
    const std::pair<QByteArray, const char *> rows[] = {
        {"bplist00", "cut off"},
        {"bplist15" + binary({"\x08"}).mid(8), "unknown version"},
        {binary({"\xa1\x01", "\xa1\x02", QByteArray("\xa1\x00", 2)}), "contains itself"},
        {binary({"\xa1\x05"}), "a reference is damaged"},
        {binary({"\xaf\x13\x7f\xff\xff\xff\xff\xff\xff\xff"}), "outside of the data"},
        {binary({"\x5f\x10\x7f"}), "outside of the data"},
        {binary({"\xd1\x01\x01", "\x08"}), "a key is not a text"},
        {binary({QByteArray("\x00", 1)}), "null"},
        {binary({"\x70"}), "unknown type of object 0x7"},
        {binary({"\x61\xd8\x3d"}), "not valid UTF-16"},
        {binary({"\x51\xff"}), "neither ASCII nor UTF-8"},
        {binary({"\x33\x7f\xf8" + QByteArray(6, '\0')}), "a date is out of range"},
        {binary({"\x14" + QByteArray(7, '\0') + "\x01" + QByteArray(8, '\0')}), "does not fit into 64 bits"},
        {binary(doubling + QList<QByteArray>{"\x08"}), "too many references"},
    };
    for (const auto &[data, error] : rows)
        EXPECT_THAT(errorOf(data), HasSubstr(error)) << data.toHex().constData();
}

TEST(VXPropertyListTest, WhatIsWrittenReadsBackEqual)
{
    const QDateTime local(QDate(2009, 2, 13), QTime(23, 31, 30), QTimeZone("Europe/Berlin"));
    const QVariantMap values{
        {u"texts"_s, QStringList{u""_s, u"a\tb\r\nc"_s, u"<&>\"' ]]> ä📱"_s, u"\ufeffmark"_s, QString(100'000, u'x')}},
        {u"integers"_s,
         QVariantList{short(-2), 255U, 1ULL << 62, std::numeric_limits<qlonglong>::min(), QVariant::fromValue(7L)}},
        {u"reals"_s, QVariantList{0.1, -1e300, 5e-324, 1.5F, std::numeric_limits<double>::infinity()}},
        {u"dates"_s, QVariantList{utc(1, 1, 1), utc(1869, 9, 1), utc(2000, 12, 31, 23), utc(9999, 12, 31), local}},
        {u"data"_s, QVariantList{QByteArray(""), QByteArray("\0\xff", 2), QByteArray(5000, 'd')}},
        {u"dictionary"_s, QVariantHash{{u"key with spaces & ä"_s, true}, {u""_s, false}}},
        {u"empty"_s, QVariantList{QVariantList(), QVariantMap()}},
        {u"deep"_s, nested(500)},
    };
    for (const Format format : {Format::XML, Format::Binary}) {
        VXError error;
        const QByteArray data = VXPropertyList::toData(values, format, &error);
        ASSERT_FALSE(data.isNull()) << error.description().toStdString();
        Format found = format == Format::XML ? Format::Binary : Format::XML;
        const QVariantMap read = VXPropertyList::fromData(data, &error, &found).toMap();
        EXPECT_EQ(found, format);
        EXPECT_EQ(read[u"texts"_s].toStringList(), values[u"texts"_s].toStringList());
        EXPECT_EQ(read[u"integers"_s],
                  (QVariantList{-2LL, 255LL, 1LL << 62, std::numeric_limits<qlonglong>::min(), 7LL}));
        EXPECT_EQ(read[u"dictionary"_s].toMap(), (QVariantMap{{u"key with spaces & ä"_s, true}, {u""_s, false}}));
        for (const QString &key : {u"reals"_s, u"dates"_s, u"data"_s, u"empty"_s, u"deep"_s})
            EXPECT_EQ(read[key], values[key]) << key.toStdString();
        if (format == Format::XML) {
            EXPECT_TRUE(VXPropertyList::toData(read, format) == data); // the same values are the same text
        }
    }
    // Only the binary form has parts of seconds; the XML form drops them, before 2001 too.
    for (const int year : {1990, 2010}) {
        const QVariant moment = utc(year, 1, 1, 12, 250);
        EXPECT_EQ(VXPropertyList::fromData(VXPropertyList::toData(moment, Format::Binary)), moment);
        EXPECT_EQ(VXPropertyList::fromData(VXPropertyList::toData(moment, Format::XML)), utc(year, 1, 1, 12));
    }
}

TEST(VXPropertyListTest, LibplistReadsTheBinaryForm)
{
    QVariantList many;
    for (int i = 0; i < 300; ++i) // more than a reference of one byte counts
        many.append(QVariantMap{{u"name"_s, QString::number(i)}, {u"kind"_s, u"the same"_s}});
    const QVariantMap values{{u"many"_s, many},
                             {u"texts"_s, QVariantList{u""_s, u"ä📱"_s, QString(70'000, u'x')}},
                             {u"numbers"_s, QVariantList{-2LL, 255LL, 65'536LL, 1LL << 62, 0.1, true, false}},
                             {u"date"_s, utc(2009, 2, 13, 23)},
                             {u"data"_s, QByteArray("\0\xff", 2)},
                             {u"empty"_s, QVariantMap()}};
    const QByteArray data = VXPropertyList::toData(values, Format::Binary);
    plist_t root = nullptr;
    plist_from_bin(data.constData(), uint32_t(data.size()), &root);
    char *text = nullptr;
    uint32_t size = 0;
    plist_to_xml(root, &text, &size);
    EXPECT_EQ(VXPropertyList::fromData(QByteArray(text, qsizetype(size))), QVariant(values));
    std::free(text); // NOLINT: it is libplist's, from malloc
    plist_free(root);
    EXPECT_EQ(data.count("the same"), 1);
}

TEST(VXPropertyListTest, RefusesWhatCannotBeHeldAndSaysWhere)
{
    const QString halfPair(QChar(0xd83d));
    const struct
    {
        QVariant value;
        const char *reason;
        bool binaryToo = true;
    } rows[] = {
        {{}, "no value"},
        {QVariantMap{{u"a"_s, QVariantList{1, QVariantMap{{u"b"_s, QVariant()}}}}}, "a[1].b: no value"},
        {QVariantList{QString()}, "[0]: a null text"},
        {QByteArray(), "null data"},
        {QUrl(u"http://localhost"_s), "a value of type QUrl"},
        {u"a"_s + QChar::Null, "the character U+0000"},
        {QVariantMap{{u"a"_s + QChar::Null, 1}}, "the character U+0000"},
        {halfPair, "half a surrogate pair"},
        {QVariantHash{{halfPair, 1}}, "half a surrogate pair"},
        {QStringList{u"a"_s, u"\x1b"_s}, "[1]: a text with the character U+001b", false},
        {1ULL << 63, "does not fit into 64 bits"},
        {QDateTime(), "an invalid date"},
        {utc(10'000, 1, 1), "a date outside of the years 1 to 9999"},
        {nested(513), "nested deeper than 512 levels"},
    };
    for (const auto &row : rows) {
        QString reason;
        EXPECT_FALSE(VXPropertyList::isValid(row.value, &reason)) << row.reason;
        EXPECT_THAT(reason.toStdString(), HasSubstr(row.reason));
        for (const Format format : {Format::XML, Format::Binary}) {
            VXError error;
            const bool refused = format == Format::XML || row.binaryToo;
            EXPECT_EQ(VXPropertyList::toData(row.value, format, &error).isNull(), refused) << row.reason;
            EXPECT_EQ(error.code(), refused ? int(VXPlatformErrorCode::InvalidValue) : 0);
        }
    }
    EXPECT_TRUE(VXPropertyList::isValid(nested(512)));
}

TEST_F(VXPropertyListFileTest, ReplacesFilesWholeOrNotAtAll)
{
    const QString file = path(u"a.plist"_s);
    VXError error;
    ASSERT_TRUE(VXPropertyList::toFile(QVariantMap{{u"a"_s, 1}}, file, Format::Binary, &error));
    EXPECT_FALSE(VXPropertyList::toFile(QVariantMap{{u"b"_s, QVariant()}}, file, Format::XML, &error));
    EXPECT_EQ(error.filePath(), file);
    EXPECT_THAT(error.localizedDescription().toStdString(), HasSubstr("b: no value"));
    EXPECT_EQ(VXPropertyList::fromFile(file), QVariant(QVariantMap{{u"a"_s, 1LL}}));

    EXPECT_FALSE(VXPropertyList::toFile(true, path(u"no folder/a.plist"_s), Format::XML, &error));
    EXPECT_EQ(error.code(), int(VXPlatformErrorCode::FileWrite));
    EXPECT_FALSE(error.localizedRecoverySuggestion().isEmpty());
    EXPECT_EQ(QDir(path()).entryList(QDir::Files), QStringList{u"a.plist"_s});
}

TEST_F(VXPropertyListFileTest, ErrorsTellMissingFilesFromDamagedOnes)
{
    VXError error;
    EXPECT_FALSE(VXPropertyList::fromFile(path(u"none.plist"_s), &error).isValid());
    EXPECT_EQ(error.code(), int(VXPlatformErrorCode::FileRead));
    EXPECT_EQ(error.filePath(), path(u"none.plist"_s));

    const QString damaged = writeFile(u"damaged.plist"_s, document("<dict>\n<key>a</key></dict>"));
    EXPECT_FALSE(VXPropertyList::fromFile(damaged, &error).isValid());
    EXPECT_EQ(error.code(), int(VXPlatformErrorCode::FileCorrupt));
    EXPECT_EQ(error.filePath(), damaged);
    EXPECT_THAT(error.localizedDescription().toStdString(), HasSubstr("line 4"));
}
