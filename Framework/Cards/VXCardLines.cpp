#include "VXCardLines.h"

#include <algorithm>
#include <utility>

namespace {

constexpr qint64 chunk = 64 * 1024;             // octets per read
constexpr qsizetype shortestBeginning = 1024;   // octets
constexpr QByteArrayView mark = "\xef\xbb\xbf"; // the byte order mark of UTF-8

bool isQuotedPrintable(const QByteArray &line)
{
    return line.left(line.indexOf(':')).toUpper().contains("QUOTED-PRINTABLE");
}

bool isBase64(QByteArrayView octets)
{
    for (const char character : octets) {
        const bool isDigit = (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                             (character >= 'a' && character <= 'z') || character == '+' || character == '/' ||
                             character == '=';
        if (!isDigit)
            return false;
    }
    return !octets.isEmpty();
}

bool carriesBase64(const QByteArray &line)
{
    const QByteArray header = line.left(std::min<qsizetype>(line.indexOf(':'), 200)).toUpper();
    return header.contains("BASE64") || header.contains("ENCODING=B");
}

} // namespace

// Reads enough to determine the form of the file.
void VXCardLines::begin()
{
    while (_octets.size() < shortestBeginning && fill()) {
    }
    if (_octets.startsWith(mark)) {
        _at = mark.size();
    } else if (_octets.startsWith("\xff\xfe") || _octets.startsWith("\xfe\xff")) {
        _fromUTF16.emplace(QStringDecoder::Utf16); // skips the mark
        _octets = _toUTF8(_fromUTF16->decode(_octets));
    }
    if (!_octets.contains('\n') && _octets.contains('\r'))
        _lineEnd = '\r';
}

// False at the end.
bool VXCardLines::fill()
{
    QByteArray more = _device.read(chunk);
    if (more.isEmpty())
        return false;
    if (_fromUTF16)
        more = _toUTF8(_fromUTF16->decode(more));
    _octets.remove(0, std::exchange(_at, 0));
    _octets.append(more);
    return true;
}

// Reads a physical line into _ahead, without its end; skips the rest of a line that is too long.
bool VXCardLines::readPhysical()
{
    if (!std::exchange(_hasBegun, true))
        begin();
    _ahead.resize(0);
    _aheadIsTooLong = false;
    bool hasEnd = false;
    while (!hasEnd && (_at < _octets.size() || fill())) {
        const QByteArrayView rest = QByteArrayView(_octets).sliced(_at);
        const qsizetype end = rest.indexOf(_lineEnd);
        hasEnd = end >= 0;
        const QByteArrayView part = hasEnd ? rest.first(end) : rest;
        const qsizetype room = longestLine - _ahead.size();
        _aheadIsTooLong = _aheadIsTooLong || part.size() > room;
        _ahead.append(part.first(std::min(part.size(), room)));
        _at += part.size() + (hasEnd ? 1 : 0);
    }
    if (!hasEnd && _ahead.isEmpty())
        return false;
    ++_aheadNumber;
    while (_ahead.endsWith('\n') || _ahead.endsWith('\r'))
        _ahead.chop(1);
    // where a file was appended to another
    if (_ahead.startsWith(mark) && _ahead.mid(mark.size(), 6).toUpper() == "BEGIN:")
        _ahead.remove(0, mark.size());
    return true;
}

bool VXCardLines::isContinued(const VXRawCardLine &line) const
{
    if (_ahead.startsWith(' ') || _ahead.startsWith('\t'))
        return true;
    return line.octets.size() > 60 && isBase64(_ahead) && carriesBase64(line.octets); // folded, but without the blank
}

void VXCardLines::append(VXRawCardLine &line, QByteArrayView octets)
{
    line.isTooLong = line.isTooLong || _aheadIsTooLong || line.octets.size() + octets.size() > longestLine;
    line.octets.append(octets.first(std::min(octets.size(), longestLine - std::min(longestLine, line.octets.size()))));
}

bool VXCardLines::next(VXRawCardLine &line)
{
    if (!_hasAhead && !readPhysical())
        return false;
    line = {.octets = {}, .number = _aheadNumber};
    append(line, _ahead);
    bool isQuoted = isQuotedPrintable(line.octets);
    while ((_hasAhead = readPhysical())) {
        if (isQuoted && line.octets.endsWith('=')) { // a soft line end; the next line follows unchanged
            line.octets.chop(1);
            append(line, _ahead);
        } else if (isContinued(line)) {
            const bool isFold = _ahead.startsWith(' ') || _ahead.startsWith('\t');
            append(line, QByteArrayView(_ahead).sliced(isFold ? 1 : 0));
            isQuoted = isQuoted || (line.octets.size() < 1000 && isQuotedPrintable(line.octets));
        } else {
            break;
        }
    }
    return true;
}
