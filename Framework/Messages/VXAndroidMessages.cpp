#include "VXMessageFiles.h"
#include "VXPhonebookString.h"

#include <QtCore/QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

using State = VXMessageRecord::State;

// What the programs write in place of a name that they do not know, and of what is none.
bool isNothing(const QString &text)
{
    return text.isEmpty() || text == "null"_L1 || text == "(Unknown)"_L1;
}

// The number of a character reference at the place, and where it ends; -1 for none.
int referenceAt(const QByteArray &bytes, qsizetype at, qsizetype *end)
{
    if (bytes.mid(at, 2) != "&#")
        return -1;
    *end = bytes.indexOf(';', at);
    const QByteArray digits = *end > at && *end - at < 10 ? bytes.sliced(at + 2, *end - at - 2) : QByteArray();
    bool isNumber = false;
    const int number = digits.startsWith('x') ? digits.sliced(1).toInt(&isNumber, 16) : digits.toInt(&isNumber);
    return isNumber ? number : -1;
}

// Characters beyond the first 65,536 are written as two references, to the halves of what UTF-16 makes of them: no XML. A half
// alone, and control characters, are no characters either.
QByteArray mended(const QByteArray &bytes)
{
    QByteArray result;
    result.reserve(bytes.size());
    qsizetype from = 0;
    for (qsizetype at = bytes.indexOf("&#"); at >= 0; at = bytes.indexOf("&#", from)) {
        result.append(bytes.constData() + from, at - from);
        qsizetype end = 0;
        const int number = referenceAt(bytes, at, &end);
        if (number < 0) {
            result.append("&#");
            from = at + 2;
            continue;
        }
        from = end + 1;
        qsizetype nextEnd = 0;
        const int next = QChar::isHighSurrogate(char32_t(number)) ? referenceAt(bytes, from, &nextEnd) : -1;
        if (next >= 0 && QChar::isLowSurrogate(char32_t(next))) {
            const char32_t whole = QChar::surrogateToUcs4(char16_t(number), char16_t(next));
            result.append(QString::fromUcs4(&whole, 1).toUtf8());
            from = nextEnd + 1;
        } else if (QChar::isSurrogate(char32_t(number)) ||
                   (number < 0x20 && number != 9 && number != 10 && number != 13)) {
            result.append("\xef\xbf\xbd"); // U+FFFD
        } else {
            result.append(bytes.constData() + at, end + 1 - at);
        }
    }
    result.append(bytes.constData() + from, bytes.size() - from);
    return result;
}

// None for what is no message that was sent, received or drafted.
std::optional<VXMessageRecord> recordOf(const QXmlStreamAttributes &attributes)
{
    const auto text = [&](const QString &name) { return attributes.value(name).toString(); };
    bool hasDate = false;
    const qint64 date = text(u"date"_s).toLongLong(&hasDate);
    const int type = text(u"type"_s).toInt(); // 1 received, 2 sent, 3 draft, 4 to 6 on its way, or failed to be sent
    if (!attributes.hasAttribute("body"_L1) || !hasDate || type < 1 || type > 6)
        return std::nullopt;
    VXMessageRecord record;
    record.direction = type == 1 ? VXRecordDirection::Incoming : VXRecordDirection::Outgoing;
    record.state = type == 2                   ? State::Sent
                   : type != 1                 ? State::Unsent
                   : text(u"read"_s) == "0"_L1 ? State::Unread
                                               : State::Read;
    const QString name = text(u"contact_name"_s);
    const QString address = text(u"address"_s);
    const bool isSender =
        !isNothing(address) && !VXPhonebookStringSplit(address); // a name in place of a number: it is who that is
    record.setOtherParty(isNothing(name) || isSender ? QString() : name, isNothing(address) ? QString() : address);
    record.date = QDateTime::fromMSecsSinceEpoch(date, Qt::UTC);
    record.text = text(u"body"_s);
    return record;
}

} // namespace

std::optional<VXMessageFile> VXReadAndroidMessages(const QByteArray &bytes)
{
    QXmlStreamReader reader(mended(bytes));
    if (!reader.readNextStartElement() || reader.name() != "smses"_L1)
        return std::nullopt;
    VXMessageFile file;
    const auto report = [&](const QString &problem) {
        file.problems.append(u"line %1: %2"_s.arg(reader.lineNumber()).arg(problem));
    };
    while (reader.readNextStartElement()) {
        if (reader.name() == "mms"_L1) {
            report(u"a multimedia message"_s);
        } else if (reader.name() == "sms"_L1) {
            if (const auto record = recordOf(reader.attributes()))
                file.messages.append(*record);
            else
                report(u"a message without text, date or a known type"_s);
        }
        reader.skipCurrentElement();
    }
    if (reader.hasError())
        report(reader.errorString());
    return file;
}
