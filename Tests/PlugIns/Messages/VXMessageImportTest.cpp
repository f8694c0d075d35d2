#include "MessagesPluginTest.h"

#include "VXMessageImport.h"

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class VXMessageImportTest : public MessagesPluginTest
{
protected:
    /** "ADDED KNOWN", or the error. */
    QString import(const QString &file)
    {
        VXMessageImport import(*store);
        VXError error;
        const bool isDone = import.run(file, &error);
        problems = import.problems();
        return isDone ? u"%1 %2"_s.arg(import.addedCount()).arg(import.knownCount()) : error.localizedDescription();
    }

    QStringList problems;
};

TEST_F(VXMessageImportTest, ReadsWhatOtherProgramsWrote)
{
    EXPECT_EQ(import(QStringLiteral(EXAMPLE_MESSAGES) + "/android.xml"_L1), u"4 0"_s);
    EXPECT_THAT(problems, ElementsAre(u"line 8: a multimedia message"_s));
    EXPECT_THAT(shownIn(VXInboxFolder), ElementsAre(u"3 До встречи завтра!\nАнна"_s, u"1 Are you coming tonight?"_s));
    EXPECT_THAT(shownIn(VXSentFolder), ElementsAre(u"2 Yes, at eight 😀"_s));
    EXPECT_THAT(shownIn(VXDraftsFolder), ElementsAre(u"0 Not finished"_s));
    EXPECT_EQ(import(QStringLiteral(EXAMPLE_MESSAGES) + "/android.xml"_L1), u"0 4"_s);

    EXPECT_EQ(import(QStringLiteral(EXAMPLE_MESSAGES) + "/gammu.smsbackup"_L1), u"4 0"_s);
    EXPECT_THAT(problems, IsEmpty());
    const QString text = u"The parts of a long message come one by one, and are read as one. "_s.repeated(5);
    EXPECT_TRUE(shownIn(VXInboxFolder).contains("3 "_L1 + text)) << shownIn(VXInboxFolder).join(u'\n').toStdString();
    EXPECT_THAT(shownIn(VXSentFolder), UnorderedElementsAre(u"2 Yes, at eight 😀"_s, u"2 Yes, at eight."_s));
    EXPECT_EQ(import(QStringLiteral(EXAMPLE_MESSAGES) + "/gammu.smsbackup"_L1), u"0 4"_s);
}

// Characters that are written as two references may stand anywhere, also where one piece of the file ends and the next begins.
TEST_F(VXMessageImportTest, LargeFilesAreReadInPieces)
{
    constexpr int count = 3000;
    QByteArray file = "<smses>";
    for (int number = 0; number < count; ++number)
        file += "<sms address='+1' date='" + QByteArray::number(1000 + number) + "' type='1' read='1' body='" +
                QByteArray(number % 23, 'x') + "&#55357;&#56832;&#x41;&#55357;&#56832; &amp; &#'/>\n";
    EXPECT_TRUE(import(writeFile(u"broken.xml"_s, file)).startsWith(u"0 0"_s)); // "&#" is no XML
    EXPECT_EQ(problems.size(), 1);
    file.replace(" &#'", "'");
    EXPECT_EQ(import(writeFile(u"large.xml"_s, file + "</smses>")), u"%1 0"_s.arg(count));
    EXPECT_THAT(problems, IsEmpty());
    QSet<QString> texts;
    for (const QString &text : shownIn(VXInboxFolder))
        texts.insert(text);
    EXPECT_EQ(texts.size(), 23);
    EXPECT_TRUE(texts.contains("3 "_L1 + QString(22, u'x') + u"😀A😀 &"_s));
}

TEST_F(VXMessageImportTest, WhatCannotBeReadIsToldWithItsLine)
{
    const QByteArray part =
        "[SMSBackup000]\nState = Read\nNumber = \"+1\"\nText00 = 0061\nDateTime = 20260301T100000Z\nUDH = ";
    const struct
    {
        QByteArray contents;
        QString result; // null: an error
        QStringList problems;
    } cases[] = {
        {"<smses><sms address='+1' date='1' type='1' body='a'/>\n<sms date='x' type='1' body='b'/>\n<sms type='9'",
         u"1 0"_s,
         {u"line 2: a message without text, date or a known type"_s, u"line 3: Premature end of document."_s}},
        {"<smses><sms address='+1' date='2' type='1' body='&#55357;x&#0;'/></smses>", u"1 0"_s, {}}, // a half alone
        {part + "0500030A0201\n" + part + "0500030A0202\n", u"1 0"_s, {}},
        {part + "0500030B0201\n" + part + "0500030B0201\n" + part + "0500030B0202\n",
         u"0 1"_s,
         {u"line 1: 1 of 2 parts of a message are missing"_s}}, // "aa" is there
        {part + "0500030D0201\n" + QByteArray(part).replace("0301T10", "0302T10") + "0500030D0202\n" +
             QByteArray(part).replace("0301T10", "0302T10") + "0500030D0201\n",
         u"1 0"_s,
         {u"line 1: 1 of 2 parts of a message are missing"_s}}, // a day later: another message
        {part + "0500030C0305\n", u"0 0"_s, {u"line 1: an impossible part of a message"_s}},
        {"[SMSBackup0]\nState = Read\nCoding = 8bit\nText00 = 00\n", u"0 0"_s, {u"line 1: a message without a text"_s}},
        {"<smses><sms address='+1' date='9223372036854775807' type='1' body='far'/>\n"
         "<sms address='+1' date='-9223372036854775808' type='2' body='long ago'/></smses>",
         u"2 0"_s,
         {u"line 1: the date of a message is impossible; it is taken without"_s,
          u"line 2: the date of a message is impossible; it is taken without"_s}},
        {"[SMSBackup0]\nState = Read\nNumber = \"+1\"\nText00 = 0066\nDateTime = 20269901T100000Z\n",
         u"1 0"_s,
         {u"line 1: the date of a message is impossible; it is taken without"_s}},
        {"[SMSBackup0]\nState = Read\nNumber = \"+1\"\nText00 = 0066\nDateTime = 00000000T000000\n",
         u"0 1"_s,
         {u"line 1: the date of a message is impossible; it is taken without"_s}},
        {"something else", {}, {}},
        {"<other/>", {}, {}},
    };
    for (const auto &each : cases) {
        const QString file = writeFile(u"file"_s, each.contents);
        const QString result = import(file);
        EXPECT_EQ(each.result.isNull() ? result : each.result, result) << each.contents.constData();
        EXPECT_EQ(each.result.isNull(), result == file + " holds no messages of a known form."_L1);
        EXPECT_EQ(problems, each.problems);
    }
    EXPECT_FALSE(import(path(u"missing"_s)).isEmpty());
}
