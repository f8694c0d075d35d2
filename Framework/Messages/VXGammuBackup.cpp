#include "VXMessageFiles.h"

#include <QtCore/QMap>

using namespace Qt::StringLiterals;

namespace {

using State = VXMessageRecord::State;

constexpr QLatin1StringView sectionPrefix("SMSBackup");
constexpr int mostParts = 255;

/** A section: one message of the network, which may be a part of a longer one. */
struct Section
{
    qsizetype line = 0;
    QMap<QString, QString> values = {};

    QString text(const QString &key) const { return values.value(key); }
};

/** The section's place in a longer message. */
struct Place
{
    int reference = 0;
    int count = 1;
    int number = 1;
};

// UTF-16 in hexadecimal, the most significant byte first.
QString decoded(const QString &hexadecimal)
{
    const QByteArray bytes = QByteArray::fromHex(hexadecimal.toLatin1());
    QString text;
    for (qsizetype at = 0; at + 1 < bytes.size(); at += 2)
        text += QChar(char16_t(uchar(bytes[at]) << 8 | uchar(bytes[at + 1])));
    return text;
}

QString withoutQuotes(const QString &value)
{
    const bool isQuoted = value.size() > 1 && value.startsWith(u'"') && value.endsWith(u'"');
    return isQuoted ? value.sliced(1, value.size() - 2) : value;
}

QList<Section> sectionsOf(const QByteArray &bytes)
{
    QList<Section> sections;
    bool isInside = false;
    qsizetype number = 0;
    for (const QByteArray &raw : bytes.split('\n')) {
        ++number;
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.startsWith(u'[')) {
            isInside = line.sliced(1).startsWith(sectionPrefix, Qt::CaseInsensitive);
            if (isInside)
                sections.append(Section{.line = number});
        } else if (const qsizetype equals = line.indexOf(u'='); isInside && equals > 0 && !line.startsWith(u';')) {
            sections.last().values.insert(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
        }
    }
    return sections;
}

// By the header of the user data: 0 is a reference of one byte, 8 of two.
Place placeOf(const Section &section)
{
    const QByteArray header = QByteArray::fromHex(section.text(u"UDH"_s).toLatin1());
    for (qsizetype at = 1; at + 1 < header.size(); at += 2 + uchar(header[at + 1])) {
        const auto byte = [&](qsizetype index) { return index < header.size() ? int(uchar(header[index])) : 0; };
        if (header[at] == 0)
            return {.reference = byte(at + 2), .count = byte(at + 3), .number = byte(at + 4)};
        if (header[at] == 8)
            return {.reference = byte(at + 2) << 8 | byte(at + 3), .count = byte(at + 4), .number = byte(at + 5)};
    }
    return {};
}

QDateTime dateOf(const Section &section)
{
    QString text = section.text(u"DateTime"_s);
    const bool isUTC = text.endsWith(u'Z');
    QDateTime date = QDateTime::fromString(text.left(15), u"yyyyMMdd'T'HHmmss"_s);
    if (isUTC)
        date.setTimeSpec(Qt::UTC);
    return date.toUTC();
}

QString textOf(const Section &section)
{
    QString text;
    for (auto value = section.values.lowerBound(u"Text00"_s); value != section.values.cend(); ++value) {
        if (!value.key().startsWith("Text"_L1))
            break;
        text += decoded(*value); // in their order: two digits each
    }
    return text;
}

VXMessageRecord recordOf(const Section &section)
{
    static const QMap<QString, State> states{
        {u"unread"_s, State::Unread}, {u"read"_s, State::Read}, {u"sent"_s, State::Sent}, {u"unsent"_s, State::Unsent}};
    VXMessageRecord record;
    record.state = states.value(section.text(u"State"_s).toLower(), State::Read);
    record.direction = record.state == State::Unread || record.state == State::Read ? VXRecordDirection::Incoming
                                                                                    : VXRecordDirection::Outgoing;
    const QString unicode = decoded(section.text(u"NumberUnicode"_s));
    record.setOtherParty(QString(), unicode.isEmpty() ? withoutQuotes(section.text(u"Number"_s)) : unicode);
    record.date = dateOf(section);
    record.text = textOf(section);
    return record;
}

bool hasText(const Section &section)
{
    const QString coding = section.text(u"Coding"_s);
    return section.values.contains(u"Text00"_s) && !coding.startsWith("8bit"_L1, Qt::CaseInsensitive);
}

/** Puts parts together, each message where its last part stands. */
class Assembly
{
public:
    explicit Assembly(VXMessageFile &file) : _file(file) {}

    void add(const Section &section)
    {
        const Place place = placeOf(section);
        const VXMessageRecord record = recordOf(section);
        if (place.count < 2)
            return _file.messages.append(record);
        if (place.number < 1 || place.number > place.count || place.count > mostParts)
            return report(section.line, u"a part of a message that can not be"_s);
        const QString key =
            u"%1 %2 %3 %4"_s.arg(record.otherParty()).arg(place.reference).arg(place.count).arg(int(record.direction));
        Message &message = _open[key];
        if (message.parts.contains(place.number)) { // the reference was used again
            reportIncomplete(message);
            message = {};
        }
        if (message.parts.isEmpty())
            message.line = section.line;
        message.count = place.count;
        message.parts.insert(place.number, record);
        if (message.parts.size() == place.count)
            finish(key);
    }

    void end()
    {
        for (const Message &message : std::as_const(_open))
            reportIncomplete(message);
    }

    void report(qsizetype line, const QString &problem)
    {
        _file.problems.append(u"line %1: %2"_s.arg(line).arg(problem));
    }

private:
    struct Message
    {
        qsizetype line = 0;
        int count = 0;
        QMap<int, VXMessageRecord> parts = {};
    };

    void finish(const QString &key)
    {
        const Message message = _open.take(key);
        VXMessageRecord whole = message.parts.first();
        whole.text.clear();
        for (const VXMessageRecord &part : message.parts)
            whole.text += part.text;
        _file.messages.append(whole);
    }

    void reportIncomplete(const Message &message)
    {
        report(
            message.line,
            u"%1 of %2 parts of a message are missing"_s.arg(message.count - message.parts.size()).arg(message.count));
    }

    VXMessageFile &_file;
    QMap<QString, Message> _open;
};

} // namespace

std::optional<VXMessageFile> VXReadGammuBackup(const QByteArray &bytes)
{
    const QList<Section> sections = sectionsOf(bytes);
    if (sections.isEmpty())
        return std::nullopt;
    VXMessageFile file;
    Assembly assembly(file);
    for (const Section &section : sections) {
        if (hasText(section))
            assembly.add(section);
        else
            assembly.report(section.line, u"a message without a text"_s);
    }
    assembly.end();
    return file;
}
