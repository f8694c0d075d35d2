#include "VXMultipartBody.h"

#include "VXRegularFile.h"

#include <QtCore/QFileInfo>
#include <QtCore/QUuid>

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

VXMultipartBody::VXMultipartBody(const QList<VXFormField> &fields)
    : _boundary(QUuid::createUuid().toByteArray(QUuid::WithoutBraces).toUpper())
{
    for (const VXFormField &field : fields)
        addField(field);
    _parts.push_back({.head = "--" + _boundary + "--\r\n", .path = {}, .tail = {}});
    for (const Part &part : _parts)
        _size += part.head.size() + part.fileSize + part.tail.size();
    if (!_problem.isNull())
        _size = -1;
}

void VXMultipartBody::addField(const VXFormField &field)
{
    Part part{
        .head = "--" + _boundary + "\r\nContent-Disposition: form-data; name=\"" + field.name.toUtf8() + '"',
        .path = field.filePath,
        .tail = "\r\n",
    };
    if (field.filePath.isNull())
        part.head += "\r\n\r\n" + field.text.toUtf8();
    else
        addFile(part);
    _parts.push_back(std::move(part));
}

void VXMultipartBody::addFile(Part &part)
{
    part.head += "; filename=\"" + QFileInfo(part.path).fileName().toUtf8() +
                 "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
    QFile file(part.path);
    if (QString reason; !VXRegularFile::open(file, &reason))
        _problem = u"\"%1\": %2"_s.arg(part.path, reason);
    part.fileSize = file.size();
    // Files of the kernel, as in /proc, report the size 0, and would be sent empty.
    if (char byte = 0; part.fileSize == 0 && file.isOpen() && file.read(&byte, 1) == 1)
        _problem = u"\"%1\": %2"_s.arg(part.path, u"its size is not known"_s);
}

void VXMultipartBody::rewind()
{
    _file.close();
    _part = 0;
    _piece = Piece::Head;
    _offset = 0;
}

void VXMultipartBody::nextPiece()
{
    _file.close();
    _offset = 0;
    if (_piece == Piece::Tail) {
        ++_part;
        _piece = Piece::Head;
    } else {
        _piece = _piece == Piece::Head && !_parts[_part].path.isNull() ? Piece::File : Piece::Tail;
    }
}

qint64 VXMultipartBody::readBytes(const QByteArray &source, char *bytes, qint64 maximum)
{
    const qint64 count = std::min<qint64>(maximum, source.size() - _offset);
    std::memcpy(bytes, source.constData() + _offset, static_cast<size_t>(count));
    return count;
}

qint64 VXMultipartBody::readFile(const Part &part, char *bytes, qint64 maximum)
{
    const qint64 rest = part.fileSize - _offset;
    if (rest == 0)
        return 0;
    if (!_file.isOpen()) {
        _file.setFileName(part.path);
        if (QString reason; !VXRegularFile::open(_file, &reason)) { // there may be a pipe by now
            _problem = u"\"%1\": %2"_s.arg(part.path, reason);
            return -1;
        }
    }
    // of a file that has grown, only the announced size is sent
    const qint64 count = _file.read(bytes, std::min(maximum, rest));
    if (count > 0)
        return count;
    _problem = u"\"%1\": %2"_s.arg(part.path, count < 0 ? _file.errorString() : u"it has become shorter"_s);
    return -1;
}

qint64 VXMultipartBody::read(char *bytes, qint64 maximum)
{
    qint64 filled = 0;
    while (filled < maximum && _part < _parts.size()) {
        const Part &part = _parts[_part];
        qint64 count = 0;
        if (_piece == Piece::File)
            count = readFile(part, bytes + filled, maximum - filled);
        else
            count = readBytes(_piece == Piece::Head ? part.head : part.tail, bytes + filled, maximum - filled);
        if (count < 0)
            return -1;
        if (count == 0)
            nextPiece();
        _offset += count;
        filled += count;
    }
    return filled;
}
