#pragma once

#include <QtCore/QByteArrayView>
#include <QtCore/QVariant>

#include <vector>

/**
 * Reads the binary form of property lists, version "00", in linear time. One object reads one document.
 *
 * Not left to libplist 2.2, which expands shared containers without bound, recurses as deep as the data says,
 * drops broken parts of texts, and is slower than making the values straight from the bytes.
 */
class VXPropertyListBinaryReader
{
public:
    /** The bytes must outlive the reader. */
    explicit VXPropertyListBinaryReader(QByteArrayView data);

    /** The document's value; throws VXPropertyListFault. */
    QVariant read();

private:
    // Each object is made once, however many references it has; copies share it.
    struct Object
    {
        enum : qint16 { NotMade = -1, BeingMade = -2 };

        QVariant value;
        quint32 weight = 0;      // the number of values when written out, including itself
        qint16 levels = NotMade; // nesting of containers, including itself
    };

    // The contents of an object's marker.
    struct Body
    {
        quint8 type;    // high half of the marker
        quint8 info;    // low half
        quint64 count;  // of elements, for types with a count
        quint64 offset; // of the first byte after the marker and the count
    };

    quint64 number(quint64 offset, quint64 size) const;
    void checkRange(quint64 offset, quint64 count, quint64 size) const;
    void readTrailer();
    Body body(quint64 index) const;
    const Object &object(quint64 index, int depth);
    void makeContainer(const Body &body, int depth, Object &made);
    QVariant scalar(const Body &body) const;
    QVariant boolean(const Body &body) const;
    QVariant integer(const Body &body) const;
    double real(const Body &body) const;
    QVariant date(const Body &body) const;
    QVariant text(const Body &body) const;
    QVariant identifier(const Body &body) const;

    const QByteArrayView _data;
    quint64 _offsetSize = 0;
    quint64 _referenceSize = 0;
    quint64 _root = 0;
    quint64 _table = 0; // where the objects end and the offset table begins
    std::vector<Object> _objects;
};
