#include "VXStoreRow.h"

#include "VXObjectMemory.h"
#include "VXValueIdentity.h"

#include <QtCore/QDateTime>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace {

constexpr size_t alignment = 8;
constexpr size_t largestPacked = 32 << 10; // bytes of one text or data; larger ones are shared rather than copied
constexpr size_t roomForText = 24;         // per property, in a row that is being made
constexpr size_t largestBehind = 1 << 10;  // bytes of a block that is never replaced

size_t aligned(size_t size)
{
    return (size + alignment - 1) & ~(alignment - 1);
}

void *allocated(size_t size)
{
    void *const block = std::malloc(std::max(size, alignment)); // malloc(0) may return null
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

bool isSameReal(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

/** Allocates additional memory for the block: what std::allocate_shared makes is freed with the row. */
template <class T>
struct WithBlock
{
    using value_type = T;

    explicit WithBlock(size_t block) : blockSize(block) {}
    template <class U>
    WithBlock(const WithBlock<U> &other) : blockSize(other.blockSize)
    {
    }
    T *allocate(size_t count)
    {
        return static_cast<T *>(VXObjectMemory::allocate(VXObjectMemory::Kind::Row, count * sizeof(T) + blockSize));
    }
    void deallocate(T *memory, size_t) { VXObjectMemory::release(memory); }
    template <class U>
    friend bool operator==(const WithBlock &, const WithBlock<U> &)
    {
        return true;
    }

    size_t blockSize;
};

} // namespace

/** A row followed by its block, except for large ones. */
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
};

/** A row that shares the texts and data of another one, followed by its own head. */
class VXStoreRow::Change final : public VXStoreRow
{
public:
    Change(const Ptr &row, qint64 version)
        : VXStoreRow(*row, this + 1, version), _base(row->sharesTexts() ? static_cast<const Change &>(*row)._base : row)
    {
        if (_hasOthers)
            copyOthers();
    }

    Ptr letGoOfBase() { return std::move(_base); }

private:
    Ptr _base; // never a Change itself
};

VXStoreRow::VXStoreRow(int propertyCount, qint64 version)
    : VXStoreRow(propertyCount, version, allocated(capacityFor(propertyCount)), capacityFor(propertyCount))
{
    _isOwner = true;
}

VXStoreRow::VXStoreRow(int propertyCount, qint64 version, void *block, size_t capacity)
    : _version(version), _block(block), _texts(static_cast<std::byte *>(block)),
      _used(quint32(headSize(propertyCount))), _capacity(quint32(capacity)), _count(propertyCount), _isOwner(false)
{
    std::fill_n(kinds(), _count, Kind::None);
}

VXStoreRow::VXStoreRow(const VXStoreRow &other, void *block)
    : _version(other._version), _block(block), _texts(static_cast<std::byte *>(block)), _used(other._used),
      _capacity(other._used), _count(other._count), _isOwner(false), _hasOthers(other._hasOthers)
{
    if (other.sharesTexts())
        _used = _capacity = quint32(other.packInto(block, -1));
    else
        std::memcpy(_block, other._block, _used);
}

VXStoreRow::VXStoreRow(const VXStoreRow &other, void *block, qint64 version)
    : _version(version), _block(block), _texts(other._texts), _used(quint32(headSize(other._count))), _capacity(_used),
      _count(other._count), _isOwner(false), _hasOthers(other._hasOthers)
{
    std::memcpy(_block, other._block, _used);
}

size_t VXStoreRow::headSize(int propertyCount)
{
    return aligned((sizeof(Cell) + sizeof(Kind)) * size_t(propertyCount));
}

// For a row that is being made.
size_t VXStoreRow::capacityFor(int propertyCount)
{
    return headSize(propertyCount) + roomForText * size_t(propertyCount);
}

std::shared_ptr<VXStoreRow> VXStoreRow::make(int propertyCount, qint64 version)
{
    const size_t capacity = capacityFor(propertyCount);
    return std::allocate_shared<Whole>(WithBlock<Whole>(capacity), propertyCount, version, capacity);
}

std::shared_ptr<VXStoreRow> VXStoreRow::copy(qint64 version) const
{
    const size_t size = sharesTexts() ? liveBytes(-1) : _used;
    void *const ownBlock = size > largestBehind ? allocated(size) : nullptr;
    return std::allocate_shared<Whole>(WithBlock<Whole>(ownBlock == nullptr ? size : 0), *this, version, ownBlock);
}

std::shared_ptr<VXStoreRow> VXStoreRow::copyToChange(const Ptr &row, qint64 version)
{
    return std::allocate_shared<Change>(WithBlock<Change>(headSize(row->_count)), row, version);
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
    const size_t size = headSize(propertyCount);
    if (size > _capacity)
        replaceBlock(allocated(size), size);
    _used = quint32(size);
    std::fill_n(kinds(), _count, Kind::None);
}

// -- Values

QVariant VXStoreRow::value(int index) const
{
    const Cell &at = cell(index);
    switch (kind(index)) {
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
    case Kind::Text: { // constructed in place, as copying a QString counts references
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
    if (Q_LIKELY(kind(index) == Kind::Text))
        return {static_cast<const QChar *>(bytes(index)), qsizetype(at.place.size / sizeof(QChar))};
    const bool isLarge = kind(index) == Kind::Other && at.other->metaType() == QMetaType::fromType<QString>();
    return isLarge ? QStringView(*static_cast<const QString *>(at.other->constData())) : QStringView();
}

QByteArrayView VXStoreRow::data(int index) const
{
    const Cell &at = cell(index);
    if (Q_LIKELY(kind(index) == Kind::Data))
        return {static_cast<const char *>(bytes(index)), qsizetype(at.place.size)};
    const bool isLarge = kind(index) == Kind::Other && at.other->metaType() == QMetaType::fromType<QByteArray>();
    return isLarge ? QByteArrayView(*static_cast<const QByteArray *>(at.other->constData())) : QByteArrayView();
}

std::optional<qint64> VXStoreRow::number(int index) const
{
    const Kind own = kind(index);
    const bool isNumber = own == Kind::Integer || own == Kind::LongInteger || own == Kind::Boolean || own == Kind::Date;
    return isNumber ? std::optional(cell(index).number) : std::nullopt;
}

std::optional<double> VXStoreRow::real(int index) const
{
    return kind(index) == Kind::Real ? std::optional(cell(index).real) : std::nullopt;
}

bool VXStoreRow::isSame(int index, const VXStoreRow &other, int otherIndex) const
{
    const Cell &own = cell(index);
    const Cell &its = other.cell(otherIndex);
    if (kind(index) != other.kind(otherIndex))
        return false;
    switch (kind(index)) {
    case Kind::None:
        return true;
    case Kind::Real:
        return isSameReal(own.real, its.real);
    case Kind::Text:
    case Kind::Data:
        return own.place.size == its.place.size &&
               (bytes(index) == other.bytes(otherIndex) ||
                std::memcmp(bytes(index), other.bytes(otherIndex), own.place.size) == 0);
    case Kind::Target:
        return target(index) == other.target(otherIndex) || *target(index) == *other.target(otherIndex);
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
    switch (kind(index)) {
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
    const Cell &its = other.cell(otherIndex);
    const Kind itsKind = other.kind(otherIndex);
    if (itsKind == Kind::Other || &other == this) // packed values of this row may move
        setValue(index, other.value(otherIndex));
    else if (other.isPacked(otherIndex))
        setBytes(index, itsKind, other.bytes(otherIndex), its.place.size);
    else if (itsKind == Kind::None)
        clear(index);
    else
        replace(index, itsKind) = its;
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

// Reuses the space of the former value if possible.
void VXStoreRow::setBytes(int index, Kind kind, const void *bytes, size_t size)
{
    if (this->kind(index) == Kind::Other) { // the former value may own the bytes, as for a large text
        const std::unique_ptr<const QVariant> former(cell(index).other);
        kinds()[index] = Kind::None;
        return setBytes(index, kind, bytes, size);
    }
    const size_t room = aligned(size);
    if (sharesTexts()) {
        const Ptr base = static_cast<Change *>(this)->letGoOfBase(); // it may own the bytes
        repack(index, liveBytes(index) + 2 * room);
        return setBytes(index, kind, bytes, size);
    }
    const bool fits = isPacked(index) && aligned(cell(index).place.size) >= size;
    if (!fits && _used + room > _capacity) {
        const auto *const from = static_cast<const std::byte *>(bytes);
        const auto *const block = static_cast<const std::byte *>(_block);
        if (from >= block && from < block + _used) { // the bytes are in this block, which is about to move
            const std::vector<std::byte> copy(from, from + size);
            makeRoom(index, room);
            return setBytes(index, kind, copy.data(), size);
        }
        makeRoom(index, room);
    }
    if (!fits)
        replace(index, kind).place.offset = std::exchange(_used, _used + quint32(room));
    kinds()[index] = kind;
    Place &place = cell(index).place;
    place.size = quint32(size);
    if (size > 0)
        std::memmove(static_cast<std::byte *>(_block) + place.offset, bytes, size);
}

size_t VXStoreRow::liveBytes(int exceptFor) const
{
    size_t live = headSize(_count);
    for (int index = 0; index < _count; ++index) {
        if (index != exceptFor && isPacked(index))
            live += aligned(cell(index).place.size);
    }
    return live;
}

// Doubles the size, so that memory is not reallocated for each text, and its use stays proportional.
void VXStoreRow::makeRoom(int index, size_t size)
{
    repack(index, 2 * (liveBytes(index) + size));
}

void VXStoreRow::shrink()
{
    const auto isTooLarge = [this](size_t live) { return _capacity > 2 * live + roomForText * size_t(_count); };
    if (!_isOwner || !isTooLarge(headSize(_count))) // the usual case, checked without counting
        return;
    if (const size_t live = liveBytes(-1); isTooLarge(live))
        repack(-1, live);
}

void VXStoreRow::repack(int exceptFor, size_t capacity)
{
    void *const block = allocated(capacity);
    const size_t used = packInto(block, exceptFor);
    replaceBlock(block, capacity);
    _used = quint32(used);
}

// Drops texts and data that were replaced, and the one about to be. @return the size of the rest.
size_t VXStoreRow::packInto(void *block, int exceptFor) const
{
    size_t used = headSize(_count);
    std::memcpy(block, _block, used);
    auto *const cells = static_cast<Cell *>(block);
    for (int index = 0; index < _count; ++index) {
        if (!isPacked(index))
            continue;
        if (index == exceptFor) {
            reinterpret_cast<Kind *>(cells + _count)[index] = Kind::None;
            continue;
        }
        const size_t size = cell(index).place.size;
        std::memcpy(static_cast<std::byte *>(block) + used, bytes(index), size);
        cells[index].place.offset = quint32(used);
        used += aligned(size);
    }
    return used;
}

void VXStoreRow::replaceBlock(void *block, size_t capacity)
{
    if (std::exchange(_isOwner, true))
        std::free(_block);
    _block = block;
    _texts = static_cast<std::byte *>(block);
    _capacity = quint32(capacity);
}

void VXStoreRow::copyOthers()
{
    for (int index = 0; index < _count; ++index) {
        if (Cell &at = cell(index); kind(index) == Kind::Other)
            at.other = new QVariant(*at.other);
    }
}

void VXStoreRow::removeOthers()
{
    for (int index = 0; index < _count; ++index)
        clear(index);
    _hasOthers = false;
}
