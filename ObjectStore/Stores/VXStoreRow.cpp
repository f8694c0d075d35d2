#include "VXStoreRow.h"

#include "VXValueIdentity.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr size_t alignment = 8;
constexpr size_t largestPacked = 32 << 10; // of one text or data, in bytes; a larger one is shared, not copied
constexpr size_t roomForText = 24;         // for each property of a row that is being made
constexpr size_t largestBehind = 1 << 10;  // of a block that stays as long as its row, in bytes

size_t aligned(size_t size)
{
    return (size + alignment - 1) & ~(alignment - 1);
}

void *allocated(size_t size)
{
    void *const block = std::malloc(std::max(size, alignment)); // of some size, or there may be none
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

bool isSameReal(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

/** A row with the block behind it, but for a large one. */
class VXStoreRow::Whole final : public VXStoreRow
{
public:
    Whole(int propertyCount, qint64 version, size_t capacity) : VXStoreRow(propertyCount, version, this + 1, capacity)
    {
    }
    Whole(const VXStoreRow &other, qint64 version, void *ownBlock)
        : VXStoreRow(other, ownBlock == nullptr ? this + 1 : ownBlock)
    {
        _isOwner = ownBlock != nullptr;
        _version = version;
        if (_hasOthers)
            copyOthers();
    }

    /** Asks for as much more memory as the block takes: what std::allocate_shared makes ends with the row. */
    template <class T>
    struct Allocator
    {
        using value_type = T;

        explicit Allocator(size_t block) : blockSize(block) {}
        template <class U>
        Allocator(const Allocator<U> &other) : blockSize(other.blockSize)
        {
        }
        T *allocate(size_t count) { return static_cast<T *>(allocated(count * sizeof(T) + blockSize)); }
        void deallocate(T *memory, size_t) { std::free(memory); }
        template <class U>
        friend bool operator==(const Allocator &, const Allocator<U> &)
        {
            return true;
        }

        size_t blockSize;
    };
};

VXStoreRow::VXStoreRow(int propertyCount, qint64 version)
    : VXStoreRow(propertyCount, version, allocated(capacityFor(propertyCount)), capacityFor(propertyCount))
{
    _isOwner = true;
}

VXStoreRow::VXStoreRow(int propertyCount, qint64 version, void *block, size_t capacity)
    : _version(version), _block(block), _used(quint32(sizeof(Cell)) * quint32(propertyCount)),
      _capacity(quint32(capacity)), _count(propertyCount), _isOwner(false)
{
    std::uninitialized_default_construct_n(static_cast<Cell *>(_block), _count);
}

VXStoreRow::VXStoreRow(const VXStoreRow &other, void *block)
    : _version(other._version), _block(block), _used(other._used), _capacity(other._used), _count(other._count),
      _isOwner(false), _hasOthers(other._hasOthers)
{
    std::memcpy(_block, other._block, _used);
}

// Of a row that is being made.
size_t VXStoreRow::capacityFor(int propertyCount)
{
    return (sizeof(Cell) + roomForText) * size_t(propertyCount);
}

std::shared_ptr<VXStoreRow> VXStoreRow::make(int propertyCount, qint64 version)
{
    const size_t capacity = capacityFor(propertyCount);
    return std::allocate_shared<Whole>(Whole::Allocator<Whole>(capacity), propertyCount, version, capacity);
}

std::shared_ptr<VXStoreRow> VXStoreRow::copy(qint64 version) const
{
    void *const ownBlock = _used > largestBehind ? allocated(_used) : nullptr;
    return std::allocate_shared<Whole>(Whole::Allocator<Whole>(ownBlock == nullptr ? _used : 0), *this, version,
                                       ownBlock);
}

VXStoreRow::~VXStoreRow()
{
    if (_hasOthers)
        removeOthers();
    if (_isOwner)
        std::free(_block);
}

void VXStoreRow::start(int propertyCount, qint64 version)
{
    if (_hasOthers)
        removeOthers();
    _version = version;
    _count = propertyCount;
    _used = 0;
    const size_t size = sizeof(Cell) * size_t(propertyCount);
    if (size > _capacity)
        replaceBlock(allocated(size), size);
    _used = quint32(size);
    std::uninitialized_default_construct_n(static_cast<Cell *>(_block), _count);
}

// -- Values

QVariant VXStoreRow::value(int index) const
{
    const Cell &at = cell(index);
    switch (at.kind) {
    case Kind::None:
        break;
    case Kind::Integer:
        return int(at.number);
    case Kind::LongInteger:
        return qlonglong(at.number);
    case Kind::Real:
        return at.real;
    case Kind::Boolean:
        return at.number != 0;
    case Kind::Date:
        return QDateTime::fromMSecsSinceEpoch(at.number, Qt::UTC);
    case Kind::Text: { // made in place: each copy of a text counts its holders
        QVariant made(QMetaType::fromType<QString>());
        *static_cast<QString *>(made.data()) = text(index).toString();
        return made;
    }
    case Kind::Data:
        return data(index).toByteArray();
    case Kind::Target:
        return QVariant::fromValue(*target(index));
    case Kind::Other:
        return *at.other;
    }
    return {};
}

QStringView VXStoreRow::text(int index) const
{
    const Cell &at = cell(index);
    if (Q_LIKELY(at.kind == Kind::Text))
        return {static_cast<const QChar *>(bytes(index)), qsizetype(at.size / sizeof(QChar))};
    const bool isLarge = at.kind == Kind::Other && at.other->metaType() == QMetaType::fromType<QString>();
    return isLarge ? QStringView(*static_cast<const QString *>(at.other->constData())) : QStringView();
}

QByteArrayView VXStoreRow::data(int index) const
{
    const Cell &at = cell(index);
    if (Q_LIKELY(at.kind == Kind::Data))
        return {static_cast<const char *>(bytes(index)), qsizetype(at.size)};
    const bool isLarge = at.kind == Kind::Other && at.other->metaType() == QMetaType::fromType<QByteArray>();
    return isLarge ? QByteArrayView(*static_cast<const QByteArray *>(at.other->constData())) : QByteArrayView();
}

std::optional<qint64> VXStoreRow::number(int index) const
{
    const Cell &at = cell(index);
    const bool isNumber =
        at.kind == Kind::Integer || at.kind == Kind::LongInteger || at.kind == Kind::Boolean || at.kind == Kind::Date;
    return isNumber ? std::optional(at.number) : std::nullopt;
}

std::optional<double> VXStoreRow::real(int index) const
{
    const Cell &at = cell(index);
    return at.kind == Kind::Real ? std::optional(at.real) : std::nullopt;
}

bool VXStoreRow::isSame(int index, const VXStoreRow &other, int otherIndex) const
{
    const Cell &own = cell(index);
    const Cell &its = other.cell(otherIndex);
    if (own.kind != its.kind)
        return false;
    switch (own.kind) {
    case Kind::None:
        return true;
    case Kind::Real:
        return isSameReal(own.real, its.real);
    case Kind::Text:
    case Kind::Data:
        return own.size == its.size && std::memcmp(bytes(index), other.bytes(otherIndex), own.size) == 0;
    case Kind::Target:
        return *target(index) == *other.target(otherIndex);
    case Kind::Other:
        return VXIsSameValue(*own.other, *its.other);
    case Kind::Integer:
    case Kind::LongInteger:
    case Kind::Boolean:
    case Kind::Date:
        break;
    }
    return own.number == its.number;
}

bool VXStoreRow::isSame(int index, const QVariant &value) const
{
    const Cell &at = cell(index);
    const int type = value.typeId();
    switch (at.kind) {
    case Kind::None:
        return type == QMetaType::UnknownType;
    case Kind::Integer:
        return type == QMetaType::Int && at.number == *static_cast<const int *>(value.constData());
    case Kind::LongInteger:
        return type == QMetaType::LongLong && at.number == *static_cast<const qlonglong *>(value.constData());
    case Kind::Text:
        return type == QMetaType::QString && text(index) == *static_cast<const QString *>(value.constData());
    default:
        return VXIsSameValue(this->value(index), value);
    }
}

// -- Making

void VXStoreRow::setValue(int index, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return clear(index);
    case QMetaType::Int:
        return setNumber(index, Kind::Integer, *static_cast<const int *>(value.constData()));
    case QMetaType::LongLong:
        return setNumber(index, Kind::LongInteger, *static_cast<const qlonglong *>(value.constData()));
    case QMetaType::Bool:
        return setNumber(index, Kind::Boolean, *static_cast<const bool *>(value.constData()) ? 1 : 0);
    case QMetaType::Double:
        return setReal(index, *static_cast<const double *>(value.constData()));
    case QMetaType::QString:
        if (const auto &text = *static_cast<const QString *>(value.constData()); !text.isNull())
            return setText(index, text);
        break;
    case QMetaType::QByteArray:
        if (const auto &data = *static_cast<const QByteArray *>(value.constData()); !data.isNull())
            return setData(index, data);
        break;
    case QMetaType::QDateTime:
        if (const auto &date = *static_cast<const QDateTime *>(value.constData());
            date.isValid() && date.timeSpec() == Qt::UTC)
            return setNumber(index, Kind::Date, date.toMSecsSinceEpoch());
        break;
    default:
        if (value.metaType() == QMetaType::fromType<VXManagedObjectID>())
            return setTarget(index, *static_cast<const VXManagedObjectID *>(value.constData()));
        break;
    }
    setOther(index, value);
}

void VXStoreRow::copyValue(int index, const VXStoreRow &other, int otherIndex)
{
    const Cell its = other.cell(otherIndex);
    if (its.kind == Kind::Other || &other == this) // what is packed here may move
        setValue(index, other.value(otherIndex));
    else if (other.isPacked(otherIndex))
        setBytes(index, its.kind, other.bytes(otherIndex), its.size);
    else
        replace(index, its.kind) = its;
}

void VXStoreRow::setText(int index, QStringView text)
{
    const size_t size = size_t(text.size()) * sizeof(QChar);
    if (size > largestPacked)
        setOther(index, text.toString());
    else
        setBytes(index, Kind::Text, text.utf16(), size);
}

void VXStoreRow::setData(int index, QByteArrayView data)
{
    if (size_t(data.size()) > largestPacked)
        setOther(index, data.toByteArray());
    else
        setBytes(index, Kind::Data, data.data(), size_t(data.size()));
}

void VXStoreRow::setTarget(int index, const VXManagedObjectID &target)
{
    if (target.isNull())
        clear(index);
    else
        setBytes(index, Kind::Target, &target, sizeof(target));
}

void VXStoreRow::setOther(int index, const QVariant &value)
{
    auto *const other = new QVariant(value);
    replace(index, Kind::Other).other = other;
    _hasOthers = true;
}

// In place of what the property had, where there is room for it.
void VXStoreRow::setBytes(int index, Kind kind, const void *bytes, size_t size)
{
    const bool fits = isPacked(index) && cell(index).place.room >= size;
    if (!fits) {
        const size_t room = aligned(size);
        if (_used + room > _capacity)
            makeRoom(index, room);
        Cell &made = replace(index, kind);
        made.place.offset = std::exchange(_used, _used + quint32(room));
        made.place.room = quint32(room);
    }
    Cell &at = cell(index);
    at.kind = kind;
    at.size = quint32(size);
    if (size > 0)
        std::memmove(static_cast<std::byte *>(_block) + at.place.offset, bytes, size);
}

size_t VXStoreRow::liveBytes(int exceptFor) const
{
    size_t live = sizeof(Cell) * size_t(_count);
    for (int index = 0; index < _count; ++index) {
        if (index != exceptFor && isPacked(index))
            live += aligned(cell(index).size);
    }
    return live;
}

// Twice what it holds then, so that it is not made again for each text, and does not grow with their number.
void VXStoreRow::makeRoom(int index, size_t size)
{
    repack(index, 2 * (liveBytes(index) + size));
}

void VXStoreRow::shrink()
{
    const auto isTooLarge = [this](size_t live) { return _capacity > 2 * live + roomForText * size_t(_count); };
    if (!_isOwner || !isTooLarge(sizeof(Cell) * size_t(_count))) // whatever it holds, as most
        return;
    if (const size_t live = liveBytes(-1); isTooLarge(live))
        repack(-1, live);
}

// What texts and data were replaced by others is left out, and so is the one that is about to be.
void VXStoreRow::repack(int exceptFor, size_t capacity)
{
    auto *const block = static_cast<std::byte *>(allocated(capacity));
    const size_t cells = sizeof(Cell) * size_t(_count);
    size_t used = cells;
    for (int index = 0; index < _count; ++index) {
        if (!isPacked(index))
            continue;
        Cell &at = cell(index);
        if (index == exceptFor) {
            at.kind = Kind::None;
            continue;
        }
        std::memcpy(block + used, bytes(index), at.size);
        at.place.offset = quint32(used);
        at.place.room = quint32(aligned(at.size));
        used += at.place.room;
    }
    std::memcpy(block, _block, cells);
    replaceBlock(block, capacity);
    _used = quint32(used);
}

void VXStoreRow::replaceBlock(void *block, size_t capacity)
{
    if (std::exchange(_isOwner, true))
        std::free(_block);
    _block = block;
    _capacity = quint32(capacity);
}

void VXStoreRow::copyOthers()
{
    for (int index = 0; index < _count; ++index) {
        if (Cell &at = cell(index); at.kind == Kind::Other)
            at.other = new QVariant(*at.other);
    }
}

void VXStoreRow::removeOthers()
{
    for (int index = 0; index < _count; ++index)
        clear(index);
    _hasOthers = false;
}
