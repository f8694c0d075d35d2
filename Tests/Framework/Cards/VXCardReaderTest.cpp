// vCards of all versions and in every state of repair.

#include "VXCardReader.h"
#include "VXCardWriter.h"
#include "VXPhonebookType.h"
#include "VXTesting.h"

#include <QtCore/QBuffer>
#include <QtCore/QProcess>
#include <QtCore/QStringConverter>

using namespace Qt::StringLiterals;
using testing::ElementsAre, testing::HasSubstr;

namespace {

struct Read
{
    QList<VXContactRecord> contacts;
    QStringList problems; // "LINE TEXT"
};

Read readCards(const QByteArray &text)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    VXCardReader reader(buffer);
    Read read;
    const auto tell = [&](const QList<VXCardProblem> &problems) {
        for (const VXCardProblem &each : problems)
            read.problems.append(u"%1 %2"_s.arg(each.line).arg(each.text));
    };
    while (const std::optional<VXCard> card = reader.next()) {
        tell(card->problems);
        if (card->isContact)
            read.contacts.append(card->contact);
    }
    tell(reader.problems());
    return read;
}

QByteArray card(const QByteArray &lines, const QByteArray &version = "3.0")
{
    return "BEGIN:VCARD\r\nVERSION:" + version + "\r\n" + lines + "END:VCARD\r\n";
}

QByteArray inUTF16(const QByteArray &text)
{
    QStringEncoder encoder(QStringEncoder::Utf16BE, QStringEncoder::Flag::WriteBom);
    return encoder(QString::fromUtf8(text));
}

QString addresses(const QList<VXContactRecord::Address> &list)
{
    QStringList texts;
    for (const auto &each : list)
        texts.append(u"%1 %2 %3"_s.arg(each.value, VXStringFromPhonebookTypeMask(each.type), each.label).trimmed());
    return texts.join("; "_L1);
}

} // namespace

TEST(VXCardReaderTest, PropertiesOfAllVersionsAreRead)
{
    const struct
    {
        QByteArray lines;
        QByteArray version;
        std::function<QString(const VXContactRecord &)> value;
        QString expected;
    } cases[] = {
        {"N:Doe;Jane;Q\\;R;Dr.;Jr.\r\n", "3.0",
         [](const auto &c) {
             return QStringList{c.lastName, c.firstName, c.middleName, c.namePrefix, c.nameSuffix}.join(u'|');
         },
         u"Doe|Jane|Q;R|Dr.|Jr."_s},
        {"N:Dupont;Jean,Marie;;;Ph.D, M.D.\r\n", "4.0", [](const auto &c) { return c.firstName + u'|' + c.nameSuffix; },
         u"Jean Marie|Ph.D, M.D."_s},
        {"FN:Jane Doe\r\n", "4.0", [](const auto &c) { return c.name; }, u"Jane Doe"_s},
        {"FN:Jane Doe\r\nN:Doe;Jane\r\n", "4.0", [](const auto &c) { return c.name; }, {}},
        {"FN:Mill Ltd\r\nORG:Mill Ltd;Sales\r\n", "3.0", [](const auto &c) { return c.company; }, u"Mill Ltd; Sales"_s},
        {"N;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:M=C3=BCller;J=C3=BC=\r\n=72gen\r\n", "2.1",
         [](const auto &c) { return c.displayName(); }, u"Jürgen Müller"_s},
        {"N;CHARSET=ISO-8859-15;QUOTED-PRINTABLE:=A4;x\r\n", "2.1", [](const auto &c) { return c.lastName; }, u"€"_s},
        {"N;CHARSET=SHIFT_JIS:\x8e\x52\x93\x63;x\r\n", "2.1", [](const auto &c) { return c.lastName; }, u"山田"_s},
        {"N:x\r\nNOTE;ENCODING=QUOTED-PRINTABLE:a=0D=0Ab;c=\r\n  d\r\n", "2.1", [](const auto &c) { return c.note; },
         u"a\nb;c  d"_s},
        {"N:x\r\nNOTE:one \r\n two\\n\\, three\\\\\n", "3.0", [](const auto &c) { return c.note; },
         u"one two\n, three\\"_s},
        {"TEL;HOME;CELL:1234\nTEL;TYPE=work,fax:1235\nTEL;TYPE=\"cell,pref\":1236\nTEL;TYPE=pref:1237\n"
         "TEL;TYPE=video:1238\nTEL;PREF=1;VALUE=uri:tel:+1-555;ext=1\n",
         "4.0", [](const auto &c) { return addresses(c.numbers); },
         u"1234 Hm; 1235 Wf; 1236 m; 1237 !; 1238  video; +1-555 ! ext. 1"_s},
        {"item1.TEL:1234\r\nitem1.X-ABLabel:_$!<Other>!$_\r\nitem2.EMAIL;type=INTERNET:a@b.org\r\nitem2.X-ABLabel:"
         "Boat\r\n",
         "3.0", [](const auto &c) { return addresses(c.numbers) + u"; "_s + addresses(c.emails); },
         u"1234  other; a@b.org  Boat"_s},
        {"FN:x\r\nADR;TYPE=home:Box 1;;12 Mill Lane;Springfield;IL;62701;USA\r\n", "3.0",
         [](const auto &c) {
             const auto &a = c.addresses.at(0);
             return QStringList{a.street, a.city, a.state, a.zip, a.country, QString::number(a.type)}.join(u'|');
         },
         u"12 Mill Lane\nBox 1|Springfield|IL|62701|USA|64"_s},
        {"FN:x\r\nBDAY:1984-02-29T00:00:00Z\r\n", "3.0", [](const auto &c) { return c.birthday.toString(Qt::ISODate); },
         u"1984-02-29"_s},
        {"FN:x\r\nBDAY;VALUE=date:1604-04-12\r\nNICKNAME:J,Jay\r\nKIND:individual\r\nMEMBER:urn:uuid:2\r\n", "4.0",
         [](const auto &c) { return c.nickname + u'|' + c.properties.join(u'|'); },
         u"J, Jay|BDAY;VALUE=date:1604-04-12|KIND:individual|MEMBER:urn:uuid:2"_s}, // no year, no group
        {"FN:x\r\nCATEGORIES:Family,Old\\, friends\r\n", "3.0", [](const auto &c) { return c.groups.join(u'|'); },
         u"Family|Old, friends"_s},
        {"FN:x\r\nPHOTO;ENCODING=BASE64;JPEG:\r\n aGVs\r\n bG8=\r\n\r\n", "2.1",
         [](const auto &c) { return QString::fromLatin1(c.image); }, u"hello"_s},
        {"FN:x\r\nPHOTO:data:image/png;base64,aGVsbG8=\r\n", "4.0",
         [](const auto &c) { return QString::fromLatin1(c.image); }, u"hello"_s},
        {"FN:x\r\nUID:urn:uuid:1\r\nREV:2026\r\nX-A;P=\"q:r\":v\\,w\r\ng.IMPP:xmpp:a\r\nBDAY:--0412\r\n"
         "PHOTO;VALUE=uri:http://b.org/a.png\r\n",
         "4.0", [](const auto &c) { return c.uid + u'|' + c.properties.join(u'|'); },
         u"urn:uuid:1|X-A;P=\"q:r\":v\\,w|g.IMPP:xmpp:a|BDAY:--0412|PHOTO;VALUE=uri:http://b.org/a.png"_s},
    };
    for (const auto &each : cases) {
        const Read read = readCards(card(each.lines, each.version));
        ASSERT_EQ(read.contacts.size(), 1) << each.lines.toStdString();
        EXPECT_EQ(each.value(read.contacts.constFirst()), each.expected) << each.lines.toStdString();
        EXPECT_EQ(read.problems, QStringList()) << each.lines.toStdString();
    }
}

TEST(VXCardReaderTest, WhatIsBrokenIsToldAndTheRestIsRead)
{
    const QByteArray jane = card("FN:Jane\r\n");
    const struct
    {
        QByteArray text;
        QStringList names;
        QStringList problems;
    } cases[] = {
        {jane + "BEGIN:VCARD\r\nFN:Bob\r\nTEL:12",
         {u"Jane"_s},
         {u"5 the card that begins here has no end; it is left out"_s}},
        {"BEGIN:VCARD\r\nFN:Bob\r\n" + jane, {u"Bob"_s, u"Jane"_s}, {u"3 the card before this line has no end"_s}},
        {card("FN:A\r\nno property\r\nNOTE:n\r\n"), {u"A"_s}, {u"4 this is no property"_s}},
        {card("FN:M\xfcller\r\n"), {u"Müller"_s}, {u"3 \"FN\" is not in UTF-8; it was read as Western"_s}},
        {card("FN;CHARSET=KLINGON:Zoë\r\n"), {u"Zoë"_s}, {u"3 \"FN\" is not in KLINGON; it was read as UTF-8"_s}},
        {card("FN:A\r\nPHOTO;ENCODING=b:a!b\r\n"), {u"A"_s}, {u"4 the data of \"PHOTO\" are no Base64"_s}},
        {card("NOTE:only\r\n"), {}, {u"1 the card that begins here has no name, number or address; it is left out"_s}},
        {card("FN:A\r\nAGENT:\r\nBEGIN:VCARD\r\nFN:B\r\nAGENT:\r\nBEGIN:VCARD\r\nFN:C\r\nEND:VCARD\r\nEND:VCARD\r\n"
              "NOTE:n\r\n"),
         {u"A"_s},
         {u"5 a card within the card is left out"_s}},
        {"hello\r\n" + jane, {u"Jane"_s}, {u"1 what stands here belongs to no card"_s}},
        {"\xef\xbb\xbf" + jane, {u"Jane"_s}, {}},
        {"\xef\xbb\xbf" + jane + "\xef\xbb\xbf" + jane, {u"Jane"_s, u"Jane"_s}, {}}, // of two files
        {QByteArray(jane).replace("\r\n", "\n"), {u"Jane"_s}, {}},
        {QByteArray(jane).replace("\r\n", "\r") + "x", {u"Jane"_s}, {u"5 what stands here belongs to no card"_s}},
        {inUTF16(card("FN:Zoë \U0001F600 " + QByteArray(100'000, 'x') + "\r\n")),
         {u"Zoë \U0001F600 "_s + QString(100'000, u'x')},
         {}},
        {"BEGIN:VCARD\r\nKIND:group\r\nMEMBER:1\r\nEND:VCARD\r\n" + jane,
         {u"Jane"_s},
         {u"1 the group that begins here has no name; it is left out"_s}},
        {"", {}, {}},
    };
    for (const auto &each : cases) {
        const Read read = readCards(each.text);
        QStringList names;
        for (const VXContactRecord &contact : read.contacts)
            names.append(contact.displayName());
        EXPECT_EQ(names, each.names) << each.text.toStdString();
        EXPECT_EQ(read.problems, each.problems) << each.text.toStdString();
    }
}

TEST(VXCardReaderTest, WhatACardHoldsIsBounded)
{
    QByteArray image;
    for (int line = 0; line < 50 * 1024 * 1024 / 75; ++line)
        image += ' ' + QByteArray(74, 'A') + "\r\n";
    const Read read = readCards(card("FN:Big\r\nPHOTO;ENCODING=b:\r\n" + image + "TEL:123\r\n") + card("FN:Next\r\n"));
    ASSERT_EQ(read.contacts.size(), 2);
    EXPECT_TRUE(read.contacts[0].image.isEmpty());
    EXPECT_EQ(read.contacts[0].numbers.size(), 1);
    EXPECT_THAT(read.problems, ElementsAre(u"4 \"PHOTO\" has more than 16 MB and is left out"_s));

    const Read many = readCards(card("FN:Many\r\n" + QByteArray("X-A:b\r\n").repeated(20'000)));
    EXPECT_EQ(many.contacts.at(0).properties.size(), 9998);
    EXPECT_EQ(many.problems.size(), 1);
    const Read much =
        readCards(card("FN:Much\r\n" + QByteArray("X-A:" + QByteArray(60'000, 'b') + "\r\n").repeated(40)));
    EXPECT_LT(much.contacts.at(0).properties.join(u' ').size(), VXCardReader::largestUnknown);
    EXPECT_GT(much.problems.size(), 1);
}

TEST(VXCardReaderTest, WhatIsWrittenIsReadAgain)
{
    VXContactRecord contact;
    contact.firstName = u"Jane"_s;
    contact.lastName = u"Doe; \\ Esq."_s;
    contact.nickname = u"J,, Jay"_s;
    contact.company = u"ABC, Inc.; Sales"_s;
    contact.jobTitle = u"Chief"_s;
    contact.note = u"one\ntwo \U0001F600"_s.repeated(20);
    contact.birthday = QDate(1985, 4, 12);
    contact.image = QByteArray::fromHex("89504e470d0a1a0a0000000d49484452");
    contact.numbers = {{u"+1 555 0100"_s, VXPhonebookTypeHome | VXPhonebookTypeMobile},
                       {u"+1 555 0101"_s, VXPhonebookTypeWork | VXPhonebookTypeFax},
                       {u"+1 555 0102"_s, VXPhonebookTypePrimary},
                       {u"+1 555 0103"_s, 0, u"video"_s},
                       {u"+1 555 0104"_s, 0, u"Boat"_s}};
    contact.emails = {{u"jane@example.org"_s, VXPhonebookTypeWork}};
    contact.urls = {{u"https://example.org/a;b"_s, 0}, {u"example.org/ü, \\"_s, 0}};
    contact.addresses = {{.street = u"12 Mill Lane"_s, .city = u"Springfield"_s, .type = VXPhonebookTypeHome}};
    contact.groups = {u"Friends, old"_s, u"Work"_s};
    contact.uid = u"urn:uuid:1"_s;
    contact.properties = {u"g.X-A;P=\"q:r\":v\\,w"_s, u"IMPP:xmpp:a"_s};
    for (const auto version : {VXCardWriter::Version::V3, VXCardWriter::Version::V4}) {
        const Read read = readCards(VXCardWriter::card(contact, version));
        ASSERT_EQ(read.contacts.size(), 1);
        EXPECT_EQ(read.contacts.constFirst().map(), contact.map());
        EXPECT_EQ(read.problems, QStringList());
        // For others the parts are parts.
        EXPECT_THAT(VXCardWriter::card(contact, version).toStdString(),
                    HasSubstr("NICKNAME:J\\,,Jay\r\nORG:ABC\\, Inc.;Sales\r\n"));
    }
}

// What another program's reader finds in what is written here; and the same in cards of other programs.
TEST(VXCardReaderTest, AnotherReaderAgrees)
{
    if (QProcess::execute(u"/usr/bin/python3"_s, {u"-c"_s, u"import vobject"_s}) != 0)
        GTEST_SKIP() << "python3-vobject is not installed";
    const QByteArray program = "import sys, vobject\n"
                               "for c in vobject.readComponents(sys.stdin.buffer.read().decode('utf-8')):\n"
                               "  n = c.n.value if hasattr(c, 'n') else None\n"
                               "  print('|'.join([c.fn.value, n.family if n else '', n.given if n else '',\n"
                               "    ';'.join(t.value for t in c.contents.get('tel', [])),\n"
                               "    ';'.join(e.value for e in c.contents.get('email', [])),\n"
                               "    c.note.value.replace('\\n', '/') if hasattr(c, 'note') else '']))\n";
    QByteArray cards;
    for (const QByteArray &line :
         {QByteArray("Zo\xc3\xab"), QByteArray("a\\, b\\; c"), QByteArray("long ").repeated(60).trimmed()})
        cards += card("FN:" + line + "\r\nN:Doe\\;;" + line +
                      ";;;\r\nTEL;TYPE=cell:+1 555\r\nEMAIL:a@b.org\r\nNOTE:x\\ny\r\n");
    const QList<VXContactRecord> contacts = readCards(cards).contacts;
    ASSERT_EQ(contacts.size(), 3);
    QByteArray written;
    QByteArray expected;
    for (const VXContactRecord &contact : contacts) {
        written += VXCardWriter::card(contact, VXCardWriter::Version::V3);
        expected += QStringList{contact.firstName,         contact.lastName, // FN is written as it was
                                contact.firstName,         addresses(contact.numbers).section(u" m"_s, 0, 0),
                                addresses(contact.emails), QString(contact.note).replace(u'\n', u'/')}
                        .join(u'|')
                        .toUtf8() +
                    '\n';
    }
    QProcess python;
    python.start(u"/usr/bin/python3"_s, {u"-c"_s, QString::fromUtf8(program)});
    python.write(written);
    python.closeWriteChannel();
    ASSERT_TRUE(python.waitForFinished());
    EXPECT_EQ(python.readAllStandardOutput(), expected) << python.readAllStandardError().toStdString();
}
