#pragma once

#include "VXFormField.h"

#include <QtCore/QByteArray>
#include <QtCore/QFile>

#include <vector>

/**
 * The bytes of a form as "multipart/form-data", generated while they are read: of files only the requested piece is in
 * memory. Names and values are inserted unchanged, in UTF-8. One thread at a time.
 */
class VXMultipartBody
{
public:
    explicit VXMultipartBody(const QList<VXFormField> &fields);

    /** The separator of the parts, new for each body. */
    QByteArray boundary() const { return _boundary; }
    QByteArray contentType() const { return "multipart/form-data; boundary=" + _boundary; }
    /** In bytes, from the sizes of the files when the body was made; -1 when one of them cannot be read. */
    qint64 size() const { return _size; }

    /** Reads the next bytes; 0 at the end, -1 when a file cannot be read or has become shorter (see `problem`). */
    qint64 read(char *bytes, qint64 maximum);
    /** Goes back to the first byte. */
    void rewind();
    /** Which file could not be read, and why; null for none. */
    QString problem() const { return _problem; }

private:
    struct Part
    {
        QByteArray head;
        QString path; // null for none
        qint64 fileSize = 0;
        QByteArray tail;
    };

    void addField(const VXFormField &field);
    void addFile(Part &part);
    qint64 readBytes(const QByteArray &source, char *bytes, qint64 maximum);
    qint64 readFile(const Part &part, char *bytes, qint64 maximum);
    void nextPiece();

    const QByteArray _boundary;
    std::vector<Part> _parts; // the last part holds the closing line
    qint64 _size = 0;
    QString _problem;

    // The reading position: in the head, the file or the tail of a part.
    enum class Piece { Head, File, Tail };
    size_t _part = 0;
    Piece _piece = Piece::Head;
    qint64 _offset = 0;
    QFile _file;
};
