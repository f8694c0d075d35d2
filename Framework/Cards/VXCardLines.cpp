#include "VXCardLines.h"

namespace {

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

// Into _ahead, without its end; the rest of one that is too long is passed over.
bool VXCardLines::readPhysical()
{
    _ahead = _device.readLine(longestLine + 2);
    if (_ahead.isEmpty())
        return false;
    ++_aheadNumber;
    _aheadIsTooLong = !_ahead.endsWith('\n') && _ahead.size() > longestLine;
    for (QByteArray rest = _ahead; !rest.isEmpty() && !rest.endsWith('\n') && !_device.atEnd();)
        rest = _device.readLine(64 * 1024);
    while (_ahead.endsWith('\n') || _ahead.endsWith('\r'))
        _ahead.chop(1);
    if (_aheadNumber == 1 && _ahead.startsWith("\xef\xbb\xbf"))
        _ahead.remove(0, 3);
    return true;
}

bool VXCardLines::isContinued(const VXRawCardLine &line) const
{
    if (_ahead.startsWith(' ') || _ahead.startsWith('\t'))
        return true;
    return line.octets.size() > 60 && isBase64(_ahead) && carriesBase64(line.octets); // folded without the blank
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
        if (isQuoted && line.octets.endsWith('=')) { // its soft line end; the next line counts as it is
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
