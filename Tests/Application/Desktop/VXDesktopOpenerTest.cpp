#include "VXDesktopOpener.h"
#include "VXCardFile.h"

#include "VXTesting.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>

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

TEST(VXDesktopOpenerTest, cardsAreKnownByTheirType)
{
    const QTemporaryDir folder;
    for (const QString &name : {u"a.vcf"_s, u"a.VCARD"_s, u"a.vct"_s, u"a.gcrd"_s, u"a.vxplugin"_s, u"a.txt"_s}) {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QFile::WriteOnly));
        EXPECT_EQ(VXIsCardFile(file.fileName()), !name.contains(u'x')) << name.toStdString();
    }
}
