#include "VXMessageFiles.h"
#include "VXMessagePartGroups.h"
#include "VXRecordReader.h"

#include <QtCore/QMap>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using State = VXMessageRecord::State;

constexpr QLatin1StringView sectionPrefix("SMSBackup");
constexpr int mostParts = 255;

/** A section of the file: a single short message, which may be a part of a longer one. */
struct Section
{
    qsizetype line = 0;
    QMap<QString, QString> values = {};

    QString text(const QString &key) const { return values.value(key); }
};

// Decodes hexadecimal UTF-16, most significant byte first.
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

/** The place of the section in a longer message. */
struct Header
{
    int reference = 0;
    int count = 1;
    int number = 1;
};

// Parses the user data header: element 0 has a reference of one byte, element 8 of two.
Header headerOf(const Section &section)
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
    return VXRecordDate(date.toUTC());
}

QString textOf(const Section &section)
{
    QString text = u""_s; // an empty message is a message, too
    for (auto value = section.values.lowerBound(u"Text00"_s); value != section.values.cend(); ++value) {
        if (!value.key().startsWith("Text"_L1))
            break;
        text += decoded(*value); // sorted, as the numbers have two digits
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

class GammuBackup : public VXMessageFile
{
public:
    /** False when the file has no section with a message. */
    bool read(QIODevice &device)
    {
        Section section;
        bool isInside = false;
        bool isKnown = false;
        for (qsizetype number = 1; !device.atEnd() || device.bytesAvailable() > 0; ++number) {
            const QByteArray raw = device.readLine(longestLine);
            if (raw.isEmpty())
                break;
            const QString line = QString::fromUtf8(raw).trimmed();
            if (line.startsWith(u'[')) {
                if (isInside)
                    add(section);
                isInside = line.sliced(1).startsWith(sectionPrefix, Qt::CaseInsensitive);
                isKnown = isKnown || isInside;
                section = Section{.line = number};
            } else if (const qsizetype equals = line.indexOf(u'='); isInside && equals > 0 && !line.startsWith(u';')) {
                section.values.insert(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
            }
        }
        if (isInside)
            add(section);
        assemble();
        return isKnown;
    }

    std::optional<VXMessageRecord> next() override
    {
        return _next < _messages.size() ? std::optional(std::exchange(_messages[_next++], {})) : std::nullopt;
    }

private:
    static constexpr qint64 longestLine = 1 << 20;

    struct Part
    {
        qsizetype line;
        VXMessageRecord record;
    };

    void add(const Section &section)
    {
        if (!hasText(section))
            return report(section.line, u"a message without a text"_s);
        const Header header = headerOf(section);
        if (header.count > 1 && (header.number < 1 || header.number > header.count || header.count > mostParts))
            return report(section.line, u"an impossible part of a message"_s);
        const VXMessageRecord record = recordOf(section);
        if (!record.date.isValid() && !section.text(u"DateTime"_s).isEmpty())
            report(section.line, VXMessageFile::noDate);
        if (header.count < 2)
            return _messages.append(record);
        const QString series = u"%1 %2 %3 %4"_s.arg(record.otherParty())
                                   .arg(header.reference)
                                   .arg(header.count)
                                   .arg(int(record.direction));
        _places.append({series, header.number, header.count, record.date});
        _parts.append({section.line, record});
    }

    void assemble()
    {
        for (const QList<qsizetype> &group : VXMessagePartGroups::of(_places)) {
            const int count = _places[group.constFirst()].count;
            if (group.size() < count) {
                report(_parts[*std::ranges::min_element(group)].line,
                       u"%1 of %2 parts of a message are missing"_s.arg(count - group.size()).arg(count));
                continue;
            }
            VXMessageRecord whole = _parts[group.constFirst()].record;
            for (const qsizetype at : group.sliced(1))
                whole.text += _parts[at].record.text;
            _messages.append(whole);
        }
        _parts.clear();
        _places.clear();
    }

    QList<VXMessageRecord> _messages;
    qsizetype _next = 0;
    QList<Part> _parts;
    QList<VXMessagePartPlace> _places; // of _parts
};

} // namespace

std::unique_ptr<VXMessageFile> VXOpenGammuBackup(QIODevice &device)
{
    auto file = std::make_unique<GammuBackup>();
    return file->read(device) ? std::move(file) : nullptr;
}
