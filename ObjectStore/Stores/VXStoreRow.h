#pragma once

#include "VXManagedObjectID.h"
#include "VXObjectStoreExport.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QStringView>
#include <QtCore/QVariant>

#include <memory>
#include <optional>

/** The numbers of objects and the versions of rows go no further: with larger ones a store is damaged. */
constexpr qint64 VXLargestStoreNumber = qint64(1) << 62;

/**
 * What a store holds of one object, as it was read: the values by property index and the version of the row. Never changed
 * once shared, so that contexts on any thread may keep it. Values: of an attribute as VXAttributeType says; of a to-one
 * relationship a VXManagedObjectID; none for to-many relationships and, in stores, for transient properties.
 *
 * One piece of memory has a cell for each property and, behind them, texts and data as SQLite gives them. Values are made
 * when they are asked for; what is given as a view or pointer holds until the row is changed or gone.
 */
class VX_STORE_EXPORT VXStoreRow
{
public:
    using Ptr = std::shared_ptr<const VXStoreRow>;

    enum class Kind : quint8 {
        None,
        Integer,     // int
        LongInteger, // qlonglong
        Real,
        Boolean,
        Date,   // milliseconds since 1970, UTC
        Text,   // behind the cells
        Data,   // likewise
        Target, // likewise, the ID of an object
        Other,  // a QVariant of its own: property lists, and what is too large to be copied with the row
    };

    VXStoreRow(int propertyCount, qint64 version);
    ~VXStoreRow();
    VXStoreRow(const VXStoreRow &) = delete;
    VXStoreRow &operator=(const VXStoreRow &) = delete;

    /** A row without values, its texts to come, in one piece of memory. */
    static std::shared_ptr<VXStoreRow> make(int propertyCount, qint64 version);
    /** All values, with another version; likewise. */
    std::shared_ptr<VXStoreRow> copy(qint64 version) const;
    /** The same, to be changed: until one of them changes, texts and data stay where the row has them, which is held as long. */
    static std::shared_ptr<VXStoreRow> copyToChange(const Ptr &row, qint64 version);

    /** Grows by one with each save that changes the object; 1 when it is new. */
    qint64 version() const { return _version; }
    int propertyCount() const { return _count; }

    Kind kind(int index) const { return kinds()[index]; }
    bool hasValue(int index) const { return kind(index) != Kind::None; }
    QVariant value(int index) const;
    /** The object that a to-one relationship leads to; nullptr for none. */
    const VXManagedObjectID *target(int index) const
    {
        return kind(index) == Kind::Target ? static_cast<const VXManagedObjectID *>(bytes(index)) : nullptr;
    }
    // Null and empty for none, and for values of another type:
    QStringView text(int index) const;
    QByteArrayView data(int index) const;
    /** A whole number, a boolean as 0 or 1, a date in milliseconds since 1970. */
    std::optional<qint64> number(int index) const;
    std::optional<double> real(int index) const;

    bool isSame(int index, const VXStoreRow &other) const
    {
        return isSameCell(index, other) || isSame(index, other, index);
    }
    bool isSame(int index, const VXStoreRow &other, int otherIndex) const;
    bool isSame(int index, const QVariant &value) const;

    // -- While it is being made
    void setValue(int index, const QVariant &value);
    /** Of another row, or another property. */
    void copyValue(int index, const VXStoreRow &other, int otherIndex);
    void setText(int index, QStringView text);
    void setData(int index, QByteArrayView data);
    void setTarget(int index, const VXManagedObjectID &target);
    /** Of a kind that holds whole numbers. */
    void setNumber(int index, Kind kind, qint64 number) { replace(index, kind).number = number; }
    void setReal(int index, double real) { replace(index, Kind::Real).real = real; }
    void clear(int index) { replace(index, Kind::None); }
    /** Makes it a row without values. */
    void start(int propertyCount, qint64 version);
    /** Gives back memory where most of it holds nothing. */
    void shrink();
    /** Of texts and data of its own, and of the cells. */
    qsizetype allocatedBytes() const { return _capacity; }
    /** Whether texts, data and what it leads to are those of the row that it was copied from to be changed, or none. */
    bool sharesTexts() const { return _texts != _block; }

private:
    friend class VXStoreRowBatch;

    struct Place
    {
        quint32 offset; // from where the texts are counted
        quint32 size;   // in bytes
    };
    union Cell // as the kind says, which stands behind all cells; of no meaning for none
    {
        qint64 number;
        double real;
        Place place;
        QVariant *other;
    };

    class Whole;
    class Change;

    static size_t headSize(int propertyCount);
    static size_t capacityFor(int propertyCount);
    /** Of blocks that somebody else owns, and keeps as long as the row. */
    VXStoreRow(int propertyCount, qint64 version, void *block, size_t capacity);
    VXStoreRow(const VXStoreRow &other, void *block);
    VXStoreRow(const VXStoreRow &other, void *block, qint64 version); // with the other's texts and data

    Cell &cell(int index) { return static_cast<Cell *>(_block)[index]; }
    const Cell &cell(int index) const { return static_cast<const Cell *>(_block)[index]; }
    Kind *kinds() { return reinterpret_cast<Kind *>(static_cast<Cell *>(_block) + _count); }
    const Kind *kinds() const { return reinterpret_cast<const Kind *>(static_cast<const Cell *>(_block) + _count); }
    const void *bytes(int index) const { return _texts + cell(index).place.offset; }
    Cell &replace(int index, Kind kind)
    {
        Cell &at = cell(index);
        Kind &now = kinds()[index];
        if (Q_UNLIKELY(now == Kind::Other))
            delete at.other;
        now = kind;
        return at;
    }
    /** Of one value, by the bits of the cells, as mostly in a row and its copy; others may be of one value as well. */
    bool isSameCell(int index, const VXStoreRow &other) const
    {
        const Kind own = kind(index);
        return own == other.kind(index) && (own == Kind::None || (cell(index).number == other.cell(index).number &&
                                                                  (own < Kind::Text || _texts == other._texts)));
    }
    void setOther(int index, const QVariant &value);
    void setBytes(int index, Kind kind, const void *bytes, size_t size);
    bool isPacked(int index) const { return kind(index) >= Kind::Text && kind(index) <= Kind::Target; }
    /** What the values need, but for those of one property; -1: of none. */
    size_t liveBytes(int exceptFor) const;
    void makeRoom(int index, size_t size);
    void repack(int exceptFor, size_t capacity);
    size_t packInto(void *block, int exceptFor) const;
    void replaceBlock(void *block, size_t capacity);
    void copyOthers();
    void removeOthers();

    qint64 _version;
    void *_block;            // cells, then kinds: the head; then texts and data
    const std::byte *_texts; // what their places count from: the block, or that of the row this is a change of
    quint32 _used;           // of the block, in bytes
    quint32 _capacity;       // likewise
    int _count;              // of the properties
    bool _isOwner;           // of the block
    bool _hasOthers = false;
};
