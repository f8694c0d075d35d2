#include "VXContentLines.h"

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype longestLine = 75; // octets, without CRLF

bool isContinuation(char octet)
{
    return (static_cast<unsigned char>(octet) & 0xc0) == 0x80;
}

bool isControl(QChar character)
{
    return (character.unicode() < 0x20 && character != u'\t') || character.unicode() == 0x7f;
}

} // namespace

void VXContentLines::add(const QString &nameAndParameters, const QString &value)
{
    QString line = nameAndParameters + u':' + value;
    line.removeIf(isControl);
    const QByteArray octets = line.toUtf8();
    QByteArrayView rest = octets;
    qsizetype room = longestLine;
    while (rest.size() > room) {
        qsizetype end = room;
        while (isContinuation(rest[end]))
            --end;
        _bytes.append(rest.first(end)).append("\r\n ");
        rest = rest.sliced(end);
        room = longestLine - 1; // without the blank
    }
    _bytes.append(rest).append("\r\n");
}

void VXContentLines::addText(const QString &nameAndParameters, const QString &text)
{
    add(nameAndParameters, escapedText(text));
}

void VXContentLines::addTextIfAny(const QString &nameAndParameters, const QString &text)
{
    if (!text.isEmpty())
        addText(nameAndParameters, text);
}

QString VXContentLines::escapedText(const QString &text)
{
    QString escaped = text;
    escaped.replace("\r\n"_L1, "\n"_L1);
    escaped.replace(u'\r', u'\n');
    escaped.replace(u'\\', "\\\\"_L1);
    escaped.replace(u',', "\\,"_L1);
    escaped.replace(u';', "\\;"_L1);
    escaped.replace(u'\n', "\\n"_L1);
    return escaped;
}
