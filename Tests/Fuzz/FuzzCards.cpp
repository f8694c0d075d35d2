// vCards of any octets. Whatever they are, what is read of them can be written in both versions and is read again the same.

#include "VXCardReader.h"
#include "VXCardWriter.h"
#include "VXFuzzing.h"

#include <QtCore/QBuffer>
#include <QtCore/QCoreApplication>

namespace {

QList<VXContactRecord> contactsIn(const QByteArray &text)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    VXCardReader reader(buffer);
    QList<VXContactRecord> contacts;
    while (const std::optional<VXCard> card = reader.next()) {
        require(card->line > 0);
        require(card->contact.image.size() <= VXCardReader::largestImage);
        if (card->isContact)
            contacts.append(card->contact);
    }
    return contacts;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    for (const VXContactRecord &contact : contactsIn(text)) {
        for (const auto version : {VXCardWriter::Version::V3, VXCardWriter::Version::V4}) {
            const QList<VXContactRecord> again = contactsIn(VXCardWriter::card(contact, version));
            require(again.size() == 1);
            require(again.constFirst().numbers.size() <= contact.numbers.size());
        }
    }
    return 0;
}
