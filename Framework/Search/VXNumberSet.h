#pragma once

#include <QtCore/QHash>

#include <bitset>

/**
 * A set of numbers most of which are close to each other, as those of objects are: takes little more than a bit for
 * each.
 */
class VXNumberSet
{
public:
    void insert(qint64 number) { _blocks[number / blockSize].set(placeOf(number)); }
    bool contains(qint64 number) const
    {
        const auto block = _blocks.constFind(number / blockSize);
        return block != _blocks.cend() && block->test(placeOf(number));
    }

private:
    static constexpr qint64 blockSize = 256;
    static size_t placeOf(qint64 number) { return size_t(number) % size_t(blockSize); }

    QHash<qint64, std::bitset<blockSize>> _blocks;
};
