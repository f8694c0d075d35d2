#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>

/**
 * The highest numbers that were given out and are not in the store yet, by root entity, in an open file: lines "ENTITY
 * NUMBER", of which the highest for an entity counts. Lines are only ever appended, so that a crash or a full disk
 * loses none. To be used with the file locked.
 */
class VXReservedNumbers
{
public:
    explicit VXReservedNumbers(int descriptor) : _descriptor(descriptor) {}

    QMap<QByteArray, qint64> read() const;
    /** On failure the file is unchanged, and errno set. */
    bool add(const QByteArray &entity, qint64 highest);
    /** To be called when all numbers are in the store. */
    void clear();

private:
    QByteArray contents() const;

    const int _descriptor;
};
