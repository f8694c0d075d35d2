#include "VXMessageFiles.h"
#include "VXPhonebookString.h"
#include "VXRecordReader.h"

#include <QtCore/QXmlStreamReader>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

using State = VXMessageRecord::State;

// Whether the text is what backup programs write for an unknown or missing name.
bool isNothing(const QString &text)
{
    return text.isEmpty() || text == "null"_L1 || text == "(Unknown)"_L1;
}

constexpr qsizetype longestReference = 10; // "&#1114111;"

// The number of the character reference at the position, and where it ends; -1 if there is none.
int referenceAt(const QByteArray &bytes, qsizetype at, qsizetype *end)
{
    const QByteArray text = bytes.mid(at, longestReference);
    const qsizetype length = text.indexOf(';');
    if (length < 3 || !text.startsWith("&#"))
        return -1;
    *end = at + length;
    const QByteArray digits = text.sliced(2, length - 2);
    bool isNumber = false;
    const int number = digits.startsWith('x') ? digits.sliced(1).toInt(&isNumber, 16) : digits.toInt(&isNumber);
    return isNumber ? number : -1;
}

/**
 * Repairs the XML of another device. Some programs write characters beyond U+FFFF as two references, to the halves of
 * their UTF-16 form, which is invalid XML. Unpaired halves and control characters are replaced.
 */
class MendedXML : public QIODevice
{
public:
    explicit MendedXML(QIODevice &source) : _source(source) { QIODevice::open(ReadOnly | Unbuffered); }

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 size) override
    {
        while (_at == _ready.size()) {
            const QByteArray bytes = _source.read(chunk);
            _ready.clear();
            _at = 0;
            _raw.append(bytes);
            _raw.remove(0, mend(bytes.isEmpty()));
            if (bytes.isEmpty() && _ready.isEmpty())
                return -1;
        }
        const qsizetype count = std::min<qsizetype>(size, _ready.size() - _at);
        std::copy_n(_ready.cbegin() + _at, count, data);
        _at += count;
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    static constexpr qsizetype chunk = 1 << 16;

    // Returns how many of the raw bytes are processed; what may continue in the next bytes has to wait for them.
    qsizetype mend(bool isLast)
    {
        qsizetype from = 0;
        for (qsizetype at = _raw.indexOf("&#"); at >= 0; at = _raw.indexOf("&#", from)) {
            _ready.append(_raw.constData() + from, at - from);
            if (!isLast && _raw.size() - at < 2 * longestReference)
                return at;
            from = mendReference(at);
        }
        const qsizetype end = !isLast && _raw.endsWith('&') ? _raw.size() - 1 : _raw.size();
        _ready.append(_raw.constData() + from, end - from);
        return end;
    }

    // Returns the end of the reference.
    qsizetype mendReference(qsizetype at)
    {
        qsizetype end = 0;
        const int number = referenceAt(_raw, at, &end);
        if (number < 0) {
            _ready.append("&#");
            return at + 2;
        }
        const qsizetype behind = end + 1;
        qsizetype nextEnd = 0;
        const int next = QChar::isHighSurrogate(char32_t(number)) ? referenceAt(_raw, behind, &nextEnd) : -1;
        if (next >= 0 && QChar::isLowSurrogate(char32_t(next))) {
            const char32_t whole = QChar::surrogateToUcs4(char16_t(number), char16_t(next));
            _ready.append(QString::fromUcs4(&whole, 1).toUtf8());
            return nextEnd + 1;
        }
        if (QChar::isSurrogate(char32_t(number)) || (number < 0x20 && number != 9 && number != 10 && number != 13))
            _ready.append("\xef\xbf\xbd"); // U+FFFD
        else
            _ready.append(_raw.constData() + at, behind - at);
        return behind;
    }

    QIODevice &_source;
    QByteArray _raw;   // not repaired yet
    QByteArray _ready; // ready to be read, from `_at` on
    qsizetype _at = 0;
};

// None for an entry that is no message that was sent, received or drafted.
std::optional<VXMessageRecord> recordOf(const QXmlStreamAttributes &attributes)
{
    const auto text = [&](const QString &name) { return attributes.value(name).toString(); };
    bool hasDate = false;
    const qint64 date = text(u"date"_s).toLongLong(&hasDate);
    const int type = text(u"type"_s).toInt(); // 1 received, 2 sent, 3 draft, 4 to 6 being sent or failed
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
        !isNothing(address) && !VXPhonebookStringSplit(address); // a name in place of a number identifies the sender
    record.setOtherParty(isNothing(name) || isSender ? QString() : name, isNothing(address) ? QString() : address);
    record.date = VXRecordDate(QDateTime::fromMSecsSinceEpoch(date, Qt::UTC));
    record.text = text(u"body"_s);
    return record;
}

class AndroidMessages : public VXMessageFile
{
public:
    explicit AndroidMessages(QIODevice &device) : _device(device), _reader(&_device) {}

    bool begin() { return _reader.readNextStartElement() && _reader.name() == "smses"_L1; }

    std::optional<VXMessageRecord> next() override
    {
        while (_reader.readNextStartElement()) {
            std::optional<VXMessageRecord> record;
            if (_reader.name() == "mms"_L1)
                report(_reader.lineNumber(), u"a multimedia message"_s);
            else if (_reader.name() == "sms"_L1 && !(record = recordOf(_reader.attributes())))
                report(_reader.lineNumber(), u"a message without text, date or a known type"_s);
            else if (record && !record->date.isValid())
                report(_reader.lineNumber(), VXMessageFile::noDate);
            _reader.skipCurrentElement();
            if (record)
                return record;
        }
        if (_reader.hasError() && !std::exchange(_isErrorTold, true))
            report(_reader.lineNumber(), _reader.errorString());
        return std::nullopt;
    }

private:
    MendedXML _device;
    QXmlStreamReader _reader;
    bool _isErrorTold = false;
};

} // namespace

std::unique_ptr<VXMessageFile> VXOpenAndroidMessages(QIODevice &device)
{
    auto file = std::make_unique<AndroidMessages>(device);
    return file->begin() ? std::move(file) : nullptr;
}
