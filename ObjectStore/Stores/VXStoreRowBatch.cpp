#include "VXStoreRowBatch.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace {

constexpr size_t mostRows = 16; // in one block: one row that is kept holds on to all of them

} // namespace

struct VXStoreRowBatch::Block
{
    Block(size_t rowCount, int count)
        : propertyCount(count), values(new QVariant[rowCount * size_t(count)]), rows(rowCount)
    {
    }

    const int propertyCount;
    const std::unique_ptr<QVariant[]> values;
    std::vector<std::optional<VXStoreRow>> rows;
    size_t usedRows = 0;
};

std::shared_ptr<VXStoreRow> VXStoreRowBatch::next(int propertyCount, qint64 version)
{
    if (!_block || _block->usedRows == _block->rows.size() || _block->propertyCount != propertyCount)
        _block = std::make_shared<Block>(_block ? std::min(_block->rows.size() * 2, mostRows) : 1, propertyCount);
    const size_t place = _block->usedRows++;
    QVariant *const values = _block->values.get() + place * size_t(propertyCount);
    return {_block, &_block->rows[place].emplace(values, propertyCount, version)};
}
