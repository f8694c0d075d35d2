#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QIODevice>
#include <QtCore/QStringConverter>

#include <optional>

/** A logical line of a vCard: unfolded, and with the continuation lines of quoted-printable. */
struct VXRawCardLine
{
    QByteArray octets = {};
    qint64 number = 0;      // where it begins, from 1
    bool isTooLong = false; // the rest is left out
};

/**
 * Reads the lines of a file one by one, whatever the line end; their length is limited. Lines of a UTF-16 file with a
 * byte order mark are converted to UTF-8. Used on one thread.
 */
class VXCardLines
{
public:
    /** The device must be open, and outlive this object. */
    explicit VXCardLines(QIODevice &device) : _device(device) {}

    /** False at the end, and when reading failed; the device knows which. */
    bool next(VXRawCardLine &line);

    static constexpr qsizetype longestLine = 16 * 1024 * 1024; // octets

private:
    void begin();
    bool fill();
    bool readPhysical();
    bool isContinued(const VXRawCardLine &line) const;
    void append(VXRawCardLine &line, QByteArrayView octets);

    QIODevice &_device;
    std::optional<QStringDecoder> _fromUTF16;
    QStringEncoder _toUTF8{QStringEncoder::Utf8}; // keeps an incomplete surrogate pair until the rest comes
    QByteArray _octets;                           // read from the device; taken up to _at
    qsizetype _at = 0;
    bool _hasBegun = false;
    char _lineEnd = '\n';

    QByteArray _ahead; // the physical line read last, not used yet
    bool _hasAhead = false;
    bool _aheadIsTooLong = false;
    qint64 _aheadNumber = 0;
};
