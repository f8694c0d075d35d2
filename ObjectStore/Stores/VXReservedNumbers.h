#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>

/**
 * The highest numbers given out and not yet in the store, by root entity, in an open file: lines "ENTITY NUMBER", of which the
 * highest of an entity counts. Lines are only ever added, so that whoever dies or has no room meanwhile takes none away. Used
 * with the file locked.
 */
class VXReservedNumbers
{
public:
    explicit VXReservedNumbers(int descriptor) : _descriptor(descriptor) {}

    QMap<QByteArray, qint64> read() const;
    /** On failure the file is as before. */
    bool add(const QByteArray &entity, qint64 highest);
    /** When the store has them all. */
    void clear();

private:
    QByteArray contents() const;

    const int _descriptor;
};
