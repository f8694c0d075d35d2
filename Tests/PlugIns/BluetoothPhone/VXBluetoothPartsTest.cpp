#include "VXMessageEnvelope.h"
#include "VXPhonebookCards.h"

#include "VXTesting.h"

#include <tuple>

using namespace Qt::StringLiterals;

using VXBluetoothPartsTest = VXHomeTest;

TEST_F(VXBluetoothPartsTest, EnvelopesAreReadAsFarAsTheyGo)
{
    const auto enveloped = [](const QByteArray &body, const QByteArray &length,
                              const QByteArray &coding = "CHARSET:UTF-8\r\n") {
        return "BEGIN:BMSG\r\nVERSION:1.0\r\nSTATUS:READ\r\nTYPE:SMS_GSM\r\nFOLDER:telecom/msg/inbox\r\nBEGIN:VCARD\r\n"
               "VERSION:2.1\r\nN:Doe;Jane\r\nTEL;CELL:+1555\r\nEND:VCARD\r\nBEGIN:BENV\r\nBEGIN:BBODY\r\n" +
               coding + "LENGTH:" + length + "\r\nBEGIN:MSG\r\n" + body + "END:BBODY\r\nEND:BENV\r\nEND:BMSG\r\n";
    };
    const QByteArray plain = enveloped("Hi\r\nthere\r\nEND:MSG\r\n", "31");
    const std::tuple<const char *, QByteArray, QString, bool> cases[] = {
        {"plain", plain, u"Hi\nthere"_s, true},
        {"an end in the text", enveloped("A\r\nEND:MSG\r\nB\r\nEND:MSG\r\n", "35"), u"A\nEND:MSG\nB"_s, true},
        {"a wrong length", enveloped("Hi\r\nEND:MSG\r\n", "9999"), u"Hi"_s, true},
        {"a length beyond all", enveloped("Hi\r\nEND:MSG\r\n", "9223372036854775807"), u"Hi"_s, true},
        {"a length below all", enveloped("Hi\r\nEND:MSG\r\n", "-9223372036854775808"), u"Hi"_s, true},
        {"no length", enveloped("Hi\r\nEND:MSG\r\n", ""), u"Hi"_s, true},
        {"empty", enveloped("\r\nEND:MSG\r\n", "22"), u""_s, true},
        {"two parts", enveloped("A\r\nEND:MSG\r\nBEGIN:MSG\r\nB\r\nEND:MSG\r\n", "23"), u"A\nB"_s, true},
        {"cut in the text", plain.first(plain.indexOf("there") + 2), u"Hi\nth"_s, false},
        {"cut behind it", plain.first(plain.indexOf("END:BENV")), u"Hi\nthere"_s, false},
        {"nothing", {}, {}, false},
        {"noise", QByteArray::fromHex("00ff0a0d3a3a0a"), {}, false},
    };
    for (const auto &[name, bytes, text, isComplete] : cases) {
        const VXMessageEnvelope envelope = VXMessageEnvelope::fromData(bytes);
        EXPECT_EQ(envelope.text, text) << name;
        EXPECT_EQ(envelope.isComplete, isComplete) << name;
    }
    const VXMessageEnvelope read = VXMessageEnvelope::fromData(plain);
    EXPECT_TRUE(read.isRead);
    EXPECT_EQ(read.sender, u"+1555"_s);
    EXPECT_EQ(read.senderName, u"Jane Doe"_s);
    const VXMessageEnvelope undecoded = VXMessageEnvelope::fromData(enveloped("0791\r\nEND:MSG\r\n", "26", {}));
    EXPECT_EQ(undecoded.data, "0791");
    const VXMessageEnvelope back = VXMessageEnvelope::fromData(VXMessageEnvelope::toBeSent(u"+49"_s, u"ü\nEND:MSG"_s));
    EXPECT_EQ(back.text, u"ü\nEND:MSG"_s);
    EXPECT_EQ(back.recipient, u"+49"_s);
    EXPECT_TRUE(back.isComplete);
}

TEST_F(VXBluetoothPartsTest, ContactsComeInPortions)
{
    QByteArray cards;
    for (int index = 0; index <= 1100; ++index)
        cards += "BEGIN:VCARD\r\nFN:Jane\r\nTEL:" + QByteArray::number(index) + "\r\nEND:VCARD\r\n";
    VXPhonebookFile file(writeFile(u"pb"_s, cards));
    QVariantList items;
    QStringList sizes;
    QString ownNumber;
    for (bool isLast = false; !isLast;) {
        const VXPhonebookCards some = file.contacts();
        isLast = some.isLast;
        items += some.items;
        sizes.append(QString::number(some.items.size()));
        ownNumber += some.ownNumber;
    }
    EXPECT_EQ(sizes, (QStringList{u"499"_s, u"500"_s, u"101"_s}));
    EXPECT_EQ(ownNumber, u"0"_s);
    EXPECT_EQ(items.constLast().toMap().value(u"location"_s), 1100);
}

TEST_F(VXBluetoothPartsTest, ListsOfCallsAreReadAsPhonesWriteThem)
{
    const auto entry = [](const QByteArray &stamp, const QByteArray &rest = "TEL:1\r\n") {
        return "BEGIN:VCARD\r\nVERSION:3.0\r\nN:;;;;\r\nFN:\r\n" + rest + stamp + "END:VCARD\r\n";
    };
    const QString file = writeFile(u"calls"_s, entry("X-IRMC-CALL-DATETIME;TYPE=MISSED:20261121T203000\r\n") +
                                                   entry("X-IRMC-CALL-DATETIME;TYPE=received:20261121T203000Z\r\n") +
                                                   entry("X-IRMC-CALL-DATETIME;MISSED:\r\n", "TEL:\r\n") + entry("") +
                                                   entry("X-IRMC-CALL-DATETIME;DIALED:yesterday\r\n") +
                                                   "BEGIN:VCARD\r\nVERSION:2.1\r\nTEL:9");
    const VXPhonebookCards calls = VXPhonebookFile(file).calls();
    QStringList told;
    for (const QVariant &item : calls.items) {
        const QVariantMap call = item.toMap();
        told << u"%1%2 %3 %4"_s.arg(call[u"memory"_s].toString(), call[u"location"_s].toString(),
                                    call[u"number"_s].toString(),
                                    call[u"date"_s].toDateTime().toString(u"HH:mm t"_s).section(u' ', 0, 0));
    }
    EXPECT_EQ(told, (QStringList{u"MC1 1 20:30"_s, u"RC1 1 20:30"_s, u"DC1 1 "_s}));
    EXPECT_EQ(calls.problems.size(), 3) << "one says nothing, one is no call, one is cut off";
    EXPECT_FALSE(VXPhonebookFile(path(u"nowhere"_s)).contacts().problems.isEmpty());
}
