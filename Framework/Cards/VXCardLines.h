#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QIODevice>
#include <QtCore/QStringConverter>

#include <optional>

/** A line of a vCard as it is meant: folds undone, and what quoted-printable carries on. */
struct VXRawCardLine
{
    QByteArray octets = {};
    qint64 number = 0;      // where it begins, from 1
    bool isTooLong = false; // its end is left out
};

/**
 * Reads the lines of a file one by one, whatever ends them; the longest is bounded. A file in UTF-16 that begins with a byte
 * order mark gives lines in UTF-8. Used on one thread.
 */
class VXCardLines
{
public:
    /** The device is open, and outlives this. */
    explicit VXCardLines(QIODevice &device) : _device(device) {}

    /** False at the end, and when reading failed, which the device tells. */
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
    QStringEncoder _toUTF8{QStringEncoder::Utf8}; // keeps half a character until its other half comes
    QByteArray _octets;                           // of the device, read but not taken from _at on
    qsizetype _at = 0;
    bool _hasBegun = false;
    char _lineEnd = '\n';

    QByteArray _ahead; // the line read last, not used yet
    bool _hasAhead = false;
    bool _aheadIsTooLong = false;
    qint64 _aheadNumber = 0;
};
