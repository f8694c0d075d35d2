// vCards and calendars: escaping, folding, and what stands in which property.

#include "VXContentLines.h"
#include "VXPhonebookType.h"
#include "VXPlugInTesting.h"

using namespace Qt::StringLiterals;

namespace {

const QString calendar = u"ICalendarExporterPlugin"_s;

// Section 3.1 of RFC 5545, 3.2 of RFC 6350: a line end and a blank are nothing.
QByteArray unfolded(QByteArray text)
{
    return text.replace("\r\n ", "");
}

// The lines of a property, by its name, with parameters.
QByteArrayList linesOf(const QByteArray &text, const QByteArray &name)
{
    QByteArrayList lines = unfolded(text).split('\n');
    lines.removeIf(
        [&](const QByteArray &line) { return !line.startsWith(name + ':') && !line.startsWith(name + ';'); });
    for (QByteArray &line : lines)
        line.chop(1);
    return lines;
}

} // namespace

using VXContentLineExportersTest = VXHomeTest;

TEST_F(VXContentLineExportersTest, TextIsEscapedAsTheStandardsShow)
{
    const std::pair<QString, QString> table[] = {
        // 3.3.11 of RFC 5545
        {u"Project XYZ Final Review\nConference Room - 3B\nCome Prepared."_s,
         u"Project XYZ Final Review\\nConference Room - 3B\\nCome Prepared."_s},
        // 3.4 and 6.2.2 of RFC 6350
        {u"Comma, semicolon; back\\slash"_s, u"Comma\\, semicolon\\; back\\\\slash"_s},
        {u"a\r\nb\rc:\"d\""_s, u"a\\nb\\nc:\"d\""_s},
    };
    for (const auto &[text, escaped] : table)
        EXPECT_EQ(VXContentLines::escapedText(text), escaped);
}

TEST_F(VXContentLineExportersTest, LinesAreFoldedBetweenCharacters)
{
    for (int size = 0; size < 320; ++size) {
        for (const QString &character : {u"x"_s, u"\u00e4"_s, u"\u20ac"_s, u"\U0001F600"_s}) {
            VXContentLines lines;
            lines.add(u"N"_s, character.repeated(size));
            const QByteArray bytes = lines.bytes();
            ASSERT_EQ(unfolded(bytes), "N:" + character.repeated(size).toUtf8() + "\r\n");
            for (const QByteArray &line : bytes.split('\n')) {
                ASSERT_LE(line.size(), 76); // with the carriage return
                ASSERT_TRUE(line.isEmpty() || QString::fromUtf8(line).toUtf8() == line) << size;
            }
        }
    }
    VXContentLines lines;
    lines.add(u"N"_s, u"a\r\nEND:VCARD\x01"_s);
    EXPECT_EQ(lines.bytes(), QByteArray("N:aEND:VCARD\r\n"));
}

TEST_F(VXContentLineExportersTest, CardsHaveTheContactsValues)
{
    const QVariantMap jane{
        {u"firstName"_s, u"Jane"_s},
        {u"lastName"_s, u"Doe; Esq."_s},
        {u"company"_s, u"ABC, Inc."_s},
        {u"numbers"_s, QVariantList{QVariantMap{{u"number"_s, u"+1 555 0100"_s},
                                                {u"type"_s, VXPhonebookTypeHome | VXPhonebookTypeMobile}},
                                    QVariantMap{{u"number"_s, u"+1 555 0199"_s}, {u"type"_s, VXPhonebookTypePrimary}}}},
        {u"emails"_s, QStringList{u"jane@example.com"_s}},
        {u"groups"_s, QVariantList{QVariantMap{{u"name"_s, u"Friends, old"_s}}, QVariantMap{{u"name"_s, u"Work"_s}}}},
        {u"image"_s, QByteArray::fromHex("89504e470d0a1a0a0000000d49484452")},
        {u"birthday"_s, QDate(1985, 4, 12)},
    };
    const QVariantMap number{{u"number"_s, u"+1 555 0101"_s}, {u"type"_s, VXPhonebookTypeWork}};
    const QString file = path(u"a.vcf"_s);
    EXPECT_EQ(VXExport(u"VCardExporterPlugin"_s, {jane}, file), QString());
    EXPECT_EQ(unfolded(readFile(file)),
              QByteArray("BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Jane Doe\\; Esq.\r\nN:Doe\\; Esq.;Jane;;;\r\n"
                         "ORG:ABC\\, Inc.\r\nTEL;TYPE=\"home,cell\":+1 555 0100\r\nTEL;PREF=1:+1 555 0199\r\n"
                         "EMAIL:jane@example.com\r\nCATEGORIES:Friends\\, old,Work\r\n"
                         "PHOTO:data:image/png;base64,iVBORw0KGgoAAAANSUhEUg==\r\nBDAY:19850412\r\nEND:VCARD\r\n"));
    EXPECT_EQ(VXExport(u"VCardExporterPlugin"_s, {number, QVariantMap{{u"person"_s, jane}}}, file), QString());
    EXPECT_EQ(linesOf(readFile(file), "FN"),
              QByteArrayList({"FN:Jane Doe\\; Esq.", "FN:+1 555 0101", "FN:Jane Doe\\; Esq."}));
    EXPECT_EQ(linesOf(readFile(file), "TEL").value(2), QByteArray("TEL;TYPE=work:+1 555 0101"));

    const QByteArray before = readFile(file);
    EXPECT_FALSE(VXExport(u"VCardExporterPlugin"_s, {jane, QVariantMap{{u"duration"_s, 3}}}, file).isNull());
    EXPECT_EQ(readFile(file), before);
}

TEST_F(VXContentLineExportersTest, NothingIsPutBehindWhatIsOfAnotherFormat)
{
    const QVariantMap jane{{u"firstName"_s, u"Jane"_s}};
    for (const QString &exporter : {u"VCardExporterPlugin"_s, u"JSONLinesExporterPlugin"_s, calendar}) {
        const QString file = writeFile(exporter, "Buy milk\n");
        EXPECT_FALSE(VXExport(exporter, {jane}, file).isNull()) << exporter.toStdString();
        EXPECT_EQ(readFile(file), QByteArray("Buy milk\n"));
    }
    const QString cards = writeFile(u"b.vcf"_s, "\xef\xbb\xbf\nbegin:vcard\nend:vcard");
    EXPECT_EQ(VXExport(u"VCardExporterPlugin"_s, {jane}, cards), QString());
    EXPECT_EQ(linesOf(readFile(cards), "FN"), QByteArrayList{"FN:Jane"});
}

TEST_F(VXContentLineExportersTest, CalendarEntriesTellOfCallsAndMessages)
{
    const QDateTime date({2026, 1, 31}, {17, 5, 9}, Qt::OffsetFromUTC, 3600);
    const QVariantMap call{
        {u"from"_s, u"Doe, Jane <+1 555 0100/Hm>"_s}, {u"direction"_s, 1}, {u"date"_s, date}, {u"duration"_s, 3661.4}};
    const QVariantMap message{{u"to"_s, u"Joe <+1 555 0101>"_s},
                              {u"direction"_s, 0},
                              {u"event_date"_s, u"2026-02-01T00:00:00Z"_s},
                              {u"text"_s, u"Hi,\nJoe"_s}};
    const QString file = path(u"a.ics"_s);
    EXPECT_EQ(VXExport(calendar, {call, call}, file), QString());
    EXPECT_EQ(VXExport(calendar, {message, call}, file), QString()); // the call again: it is there once
    const QByteArray text = readFile(file);
    EXPECT_TRUE(text.startsWith("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:"));
    EXPECT_EQ(text.count("VCALENDAR\r\n"), 2);
    EXPECT_TRUE(text.endsWith("END:VEVENT\r\nEND:VCALENDAR\r\n"));
    EXPECT_EQ(linesOf(text, "DTSTART"), QByteArrayList({"DTSTART:20260201T000000Z", "DTSTART:20260131T160509Z"}));
    EXPECT_EQ(linesOf(text, "DURATION"), QByteArrayList({"DURATION:PT1H1M1S"}));
    EXPECT_EQ(linesOf(text, "SUMMARY"), QByteArrayList({"SUMMARY:Message to Joe", "SUMMARY:Call from Doe\\, Jane"}));
    EXPECT_EQ(linesOf(text, "DESCRIPTION").value(0), QByteArray("DESCRIPTION:Hi\\,\\nJoe\\nJoe <+1 555 0101>"));
    QVariantMap later = call;
    later.insert(u"date"_s, date.addSecs(60));
    EXPECT_EQ(VXExport(calendar, {later, call}, file), QString());
    const QByteArrayList identifiers = linesOf(readFile(file), "UID");
    EXPECT_EQ(QSet<QByteArray>(identifiers.begin(), identifiers.end()).size(), 3);
    EXPECT_EQ(identifiers.size(), 3);
    EXPECT_EQ(readFile(file).count("BEGIN:VEVENT"), 3);
    EXPECT_FALSE(VXExport(calendar, {}, path(u"none.ics"_s)).isNull()); // a calendar has an entry
    EXPECT_FALSE(QFile::exists(path(u"none.ics"_s)));
}

TEST_F(VXContentLineExportersTest, CalendarsOfOtherProgramsAndCutOffOnesAreContinued)
{
    const QVariantMap call{{u"from"_s, u"Jane"_s}};
    const QByteArray whole = "BEGIN:VCALENDAR\nVERSION:2.0\nBEGIN:VEVENT\nUID:1\nEND:VEVENT\n";
    const QByteArray entry = "BEGIN:VEVENT\r\nUID:";
    const std::pair<QByteArray, bool> table[] = {
        {whole + "END:VCALENDAR\n\n", true},
        {whole + "end:vcalendar", true},
        {whole + "BEGIN:VEVENT\r\nUID:2\r\nDTST", true}, // a program was killed
        {"BEGIN:VCALENDAR\r\nVERS", false},
        {"BEGIN:VCARD\r\nEND:VCARD\r\n", false},
        {"END:VCALENDAR", false},
    };
    const QString file = path(u"a.ics"_s);
    for (const auto &[contents, isContinued] : table) {
        writeFile(u"a.ics"_s, contents);
        EXPECT_EQ(VXExport(calendar, {call}, file).isNull(), isContinued) << contents.toStdString();
        const QByteArray now = readFile(file);
        EXPECT_TRUE(isContinued ? now.startsWith(whole + entry) && now.endsWith("END:VEVENT\r\nEND:VCALENDAR\r\n")
                                : now == contents)
            << now.toStdString();
    }
}
