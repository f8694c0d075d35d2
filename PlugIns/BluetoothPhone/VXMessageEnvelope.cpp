#include "VXMessageEnvelope.h"

#include <QtCore/QList>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

/** Goes through the lines of an envelope, and cuts the text out by its length. */
class Reading
{
public:
    explicit Reading(const QByteArray &bytes) : _bytes(bytes) {}

    VXMessageEnvelope read()
    {
        while (_at < _bytes.size())
            take(nextLine());
        _envelope.isComplete = _endsWell && !_isCut;
        if (_hasCoding || _body.isEmpty())
            _envelope.text = QString::fromUtf8(_body).replace("\r\n"_L1, "\n"_L1);
        else
            _envelope.data = _body;
        return _envelope;
    }

private:
    QByteArray nextLine()
    {
        const qsizetype end = _bytes.indexOf('\n', _at);
        const QByteArray line = end < 0 ? _bytes.sliced(_at) : _bytes.sliced(_at, end - _at);
        _at = end < 0 ? _bytes.size() : end + 1;
        return line.endsWith('\r') ? line.chopped(1) : line;
    }

    void take(const QByteArray &line)
    {
        const QByteArray key = line.first(std::max<qsizetype>(line.indexOf(':'), 0)).toUpper();
        const QByteArray value = line.sliced(line.indexOf(':') + 1);
        if (key == "BEGIN" && value == "MSG")
            takeBody();
        else if (key == "BEGIN" && value == "BENV")
            _isInside = true;
        else if (key == "BEGIN" && value == "VCARD")
            _isCard = true;
        else if (key == "END" && value == "VCARD")
            _isCard = false;
        else if (key == "END" && value == "BMSG")
            _endsWell = true;
        else if (_isCard)
            takeCard(key, value);
        else
            takeHeader(key, value);
    }

    void takeHeader(const QByteArray &key, const QByteArray &value)
    {
        if (key == "STATUS")
            _envelope.isRead = value == "READ";
        else if (key == "TYPE")
            _envelope.type = QString::fromUtf8(value);
        else if (key == "FOLDER")
            _envelope.folder = QString::fromUtf8(value);
        else if (key == "CHARSET")
            _hasCoding = value.toUpper() == "UTF-8";
        else if (key == "LENGTH")
            _length = value.toLongLong();
    }

    // The cards before the envelope are the sender's, those inside it the recipients'.
    void takeCard(const QByteArray &key, const QByteArray &value)
    {
        const QByteArray property = key.split(';').first();
        QString &address = _isInside ? _envelope.recipient : _envelope.sender;
        QString &name = _isInside ? _envelope.recipientName : _envelope.senderName;
        if ((property == "TEL" || property == "EMAIL") && address.isEmpty() && !value.isEmpty())
            address = QString::fromUtf8(value);
        else if ((property == "FN" || (property == "N" && name.isEmpty())) && !value.isEmpty())
            name = nameFrom(property, value);
    }

    // Family name; given name; ...
    static QString nameFrom(const QByteArray &property, const QByteArray &value)
    {
        if (property == "FN")
            return QString::fromUtf8(value);
        const QStringList parts = QString::fromUtf8(value).split(u';');
        return u"%1 %2"_s.arg(parts.value(1), parts.value(0)).simplified();
    }

    // The length counts from BEGIN:MSG to END:MSG, both including their line ends, for all parts together. If a phone
    // counts differently, its length is ignored: the text then extends to the last END:MSG.
    void takeBody()
    {
        constexpr qsizetype frame = 22; // "BEGIN:MSG", "END:MSG" and the ends of three lines
        const QByteArray closing = "\r\nEND:MSG"_ba;
        const bool isPossible = _length >= frame && _length - frame <= _bytes.size() - _at;
        qsizetype end = isPossible ? _at + _length - frame : _at;
        if (!isPossible || _bytes.mid(end, closing.size()) != closing) {
            const qsizetype body = _bytes.indexOf("END:BBODY", _at);
            end = _bytes.lastIndexOf("END:MSG", body < 0 ? -1 : body);
            _isCut = end < _at;
            end = _isCut ? _bytes.size() : endOfLineBefore(end);
        }
        if (!_body.isEmpty())
            _body += "\r\n";
        _body += _bytes.mid(_at, std::max<qsizetype>(end - _at, 0));
        _at = std::max(end, _at);
        _length = 0;
    }

    qsizetype endOfLineBefore(qsizetype end) const
    {
        if (end > _at && _bytes[end - 1] == '\n')
            --end;
        if (end > _at && _bytes[end - 1] == '\r')
            --end;
        return end;
    }

    const QByteArray _bytes;
    qsizetype _at = 0;
    qsizetype _length = 0;
    bool _isInside = false; // inside the envelope
    bool _isCard = false;
    bool _hasCoding = false;
    bool _endsWell = false;
    bool _isCut = false;
    QByteArray _body;
    VXMessageEnvelope _envelope;
};

} // namespace

VXMessageEnvelope VXMessageEnvelope::fromData(const QByteArray &bytes)
{
    return Reading(bytes).read();
}

QByteArray VXMessageEnvelope::toBeSent(const QString &number, const QString &text)
{
    QByteArray lines = text.toUtf8();
    lines.replace("\r\n", "\n").replace('\r', '\n').replace("\n", "\r\n");
    const QByteArray body = "BEGIN:MSG\r\n" + lines + "\r\nEND:MSG\r\n";
    return "BEGIN:BMSG\r\nVERSION:1.0\r\nSTATUS:UNREAD\r\nTYPE:SMS_GSM\r\nFOLDER:telecom/msg/outbox\r\nBEGIN:BENV\r\n"
           "BEGIN:VCARD\r\nVERSION:2.1\r\nN:\r\nTEL:" +
           number.toUtf8() +
           "\r\nEND:VCARD\r\nBEGIN:BBODY\r\nCHARSET:UTF-8\r\nLENGTH:" + QByteArray::number(body.size()) + "\r\n" +
           body + "END:BBODY\r\nEND:BENV\r\nEND:BMSG\r\n";
}
