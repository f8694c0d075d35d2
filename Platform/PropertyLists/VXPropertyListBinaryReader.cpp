#include "VXPropertyListBinaryReader.h"

#include "VXPropertyListFault.h"

#include <QtCore/QDateTime>
#include <QtCore/QtEndian>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <bit>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// Types of objects, in the high half of their marker byte.
enum Type : quint8 {
    Simple = 0x0,
    Integer = 0x1,
    Real = 0x2,
    Date = 0x3,
    Data = 0x4,
    ASCIIText = 0x5,
    UTF16Text = 0x6,
    Identifier = 0x8,
    Array = 0xa,
    OrderedSet = 0xb,
    Set = 0xc,
    Dictionary = 0xd,
};

constexpr quint64 headerSize = 8;
constexpr quint64 trailerSize = 32;

// Shared objects count once per reference: a small file could otherwise expand to more values than fit in memory.
constexpr quint32 sharedValuesAllowed = 100'000;

constexpr qint64 referenceDate = 978'307'200; // 2001-01-01 00:00 UTC, in seconds of Unix time
constexpr double farthestDate = 1e12;         // some 31,000 years, in seconds

bool isContainer(quint8 type)
{
    return type == Array || type == OrderedSet || type == Set || type == Dictionary;
}

[[noreturn]] void fail(const QString &reason)
{
    throw VXPropertyListFault(reason);
}

} // namespace

VXPropertyListBinaryReader::VXPropertyListBinaryReader(QByteArrayView data) : _data(data) {}

QVariant VXPropertyListBinaryReader::read()
{
    readTrailer();
    return object(_root, 1).value;
}

void VXPropertyListBinaryReader::readTrailer()
{
    const auto size = quint64(_data.size());
    if (size < headerSize + trailerSize)
        fail(u"the data is cut off"_s);
    if (!_data.startsWith("bplist00"))
        fail(u"unknown version of the binary form"_s);
    const quint64 trailer = size - trailerSize;
    _offsetSize = number(trailer + 6, 1);
    _referenceSize = number(trailer + 7, 1);
    const quint64 count = number(trailer + 8, 8);
    _root = number(trailer + 16, 8);
    _table = number(trailer + 24, 8);
    const auto isSize = [](quint64 bytes) { return bytes >= 1 && bytes <= 8; };
    const bool tableFits =
        _table >= headerSize && _table <= trailer && isSize(_offsetSize) && count <= (trailer - _table) / _offsetSize;
    if (!tableFits || !isSize(_referenceSize) || _root >= count)
        fail(u"the trailer is damaged, or the data is cut off"_s);
    _objects.resize(count);
}

// An unsigned number, most significant byte first; the range was checked.
quint64 VXPropertyListBinaryReader::number(quint64 offset, quint64 size) const
{
    quint64 result = 0;
    for (quint64 index = 0; index < size; ++index)
        result = result << 8 | quint8(_data[qsizetype(offset + index)]);
    return result;
}

// Throws unless `count` items of `size` bytes are between the header and the offset table.
void VXPropertyListBinaryReader::checkRange(quint64 offset, quint64 count, quint64 size) const
{
    if (offset < headerSize || offset > _table || count > (_table - offset) / size)
        fail(u"an object lies outside of the data"_s);
}

VXPropertyListBinaryReader::Body VXPropertyListBinaryReader::body(quint64 index) const
{
    const quint64 offset = number(_table + index * _offsetSize, _offsetSize);
    checkRange(offset, 1, 1);
    const auto marker = quint8(number(offset, 1));
    Body result{quint8(marker >> 4), quint8(marker & 0xf), quint64(marker & 0xf), offset + 1};
    const bool isCounted = result.type >= Data && result.type != Identifier;
    if (!isCounted || result.info != 0xf)
        return result;
    checkRange(result.offset, 1, 1);
    const quint64 countMarker = number(result.offset, 1);
    if (countMarker >> 4 != Integer || (countMarker & 0xf) > 3)
        fail(u"a count is damaged"_s);
    const quint64 size = quint64(1) << (countMarker & 0xf);
    checkRange(result.offset + 1, 1, size);
    result.count = number(result.offset + 1, size);
    result.offset += 1 + size;
    return result;
}

const VXPropertyListBinaryReader::Object &VXPropertyListBinaryReader::object(quint64 index, int depth)
{
    if (index >= _objects.size())
        fail(u"a reference is damaged"_s);
    Object &made = _objects[index];
    if (made.levels == Object::BeingMade)
        fail(u"a container contains itself"_s);
    if (made.levels == Object::NotMade) {
        made.levels = Object::BeingMade;
        const Body at = body(index);
        if (isContainer(at.type)) {
            makeContainer(at, depth, made);
        } else {
            made.value = scalar(at);
            made.weight = 1;
            made.levels = at.type == Identifier ? 1 : 0;
        }
    }
    // An object made at one place may be nested deeper at another.
    if (depth + made.levels - 1 > VXPropertyListMaximumDepth)
        fail(u"nested deeper than %1 levels"_s.arg(VXPropertyListMaximumDepth));
    return made;
}

void VXPropertyListBinaryReader::makeContainer(const Body &body, int depth, Object &made)
{
    if (depth > VXPropertyListMaximumDepth)
        fail(u"nested deeper than %1 levels"_s.arg(VXPropertyListMaximumDepth));
    const bool isDictionary = body.type == Dictionary;
    checkRange(body.offset, body.count, _referenceSize * (isDictionary ? 2 : 1));

    const quint64 heaviest = sharedValuesAllowed + quint64(_data.size());
    quint64 weight = 1;
    qint16 levels = 0;
    const auto child = [&](quint64 position) -> const QVariant & {
        const Object &object = this->object(number(body.offset + position * _referenceSize, _referenceSize), depth + 1);
        weight += object.weight;
        levels = std::max(levels, object.levels);
        if (weight > heaviest)
            fail(u"too many references to the same containers"_s);
        return object.value;
    };
    if (isDictionary) {
        QVariantMap map;
        for (quint64 index = 0; index < body.count; ++index) {
            const QVariant &key = child(index);
            if (key.metaType() != QMetaType::fromType<QString>())
                fail(u"a key is not a text"_s);
            map.insert(map.cend(), key.toString(), child(body.count + index)); // keys are often sorted
        }
        made.value = map;
    } else {
        QVariantList list;
        list.reserve(qsizetype(body.count));
        for (quint64 index = 0; index < body.count; ++index)
            list.append(child(index));
        made.value = list;
    }
    made.weight = quint32(std::min(weight, quint64(std::numeric_limits<quint32>::max())));
    made.levels = qint16(levels + 1);
}

QVariant VXPropertyListBinaryReader::scalar(const Body &body) const
{
    switch (body.type) {
    case Simple:
        return boolean(body);
    case Integer:
        return integer(body);
    case Real:
        return real(body);
    case Date:
        return date(body);
    case Data:
        checkRange(body.offset, body.count, 1);
        return body.count == 0 ? QByteArray("")
                               : _data.sliced(qsizetype(body.offset), qsizetype(body.count)).toByteArray();
    case ASCIIText:
    case UTF16Text:
        return text(body);
    case Identifier:
        return identifier(body);
    default:
        fail(u"unknown type of object 0x%1"_s.arg(body.type, 0, 16));
    }
}

QVariant VXPropertyListBinaryReader::boolean(const Body &body) const
{
    constexpr quint8 no = 8;
    constexpr quint8 yes = 9;
    if (body.info != no && body.info != yes)
        fail(u"null and fill objects are no values"_s);
    return body.info == yes;
}

// Integers of 1, 2 and 4 bytes are unsigned, those of 8 signed; 16 bytes are used for unsigned ones beyond 63 bits.
QVariant VXPropertyListBinaryReader::integer(const Body &body) const
{
    constexpr quint8 widest = 4;
    if (body.info > widest)
        fail(u"an integer of unknown size"_s);
    const quint64 size = quint64(1) << body.info;
    checkRange(body.offset, 1, size);
    if (body.info < widest)
        return qlonglong(number(body.offset, size));
    const quint64 high = number(body.offset, 8);
    const auto low = qlonglong(number(body.offset + 8, 8));
    if (high != (low < 0 ? ~quint64(0) : 0))
        fail(u"an integer does not fit into 64 bits"_s);
    return low;
}

double VXPropertyListBinaryReader::real(const Body &body) const
{
    if (body.info != 2 && body.info != 3)
        fail(u"a real number of unknown size"_s);
    checkRange(body.offset, 1, quint64(1) << body.info);
    if (body.info == 2)
        return double(std::bit_cast<float>(quint32(number(body.offset, 4))));
    return std::bit_cast<double>(number(body.offset, 8));
}

QVariant VXPropertyListBinaryReader::date(const Body &body) const
{
    const double seconds = real(body);
    if (!(std::abs(seconds) < farthestDate))
        fail(u"a date is out of range"_s);
    return QDateTime::fromMSecsSinceEpoch(referenceDate * 1000 + qint64(std::round(seconds * 1000)), Qt::UTC);
}

QVariant VXPropertyListBinaryReader::text(const Body &body) const
{
    const quint64 unit = body.type == UTF16Text ? 2 : 1;
    checkRange(body.offset, body.count, unit);
    const char *const start = _data.data() + body.offset;
    const auto count = qsizetype(body.count);
    if (body.type == ASCIIText) {
        // Some programs write UTF-8 here.
        if (!QByteArrayView(start, count).isValidUtf8())
            fail(u"a text is neither ASCII nor UTF-8"_s);
        return VXPropertyListText({start, count});
    }
    QString result(count, Qt::Uninitialized);
    qFromBigEndian<quint16>(start, count, result.data());
    if (!result.isValidUtf16())
        fail(u"a text is not valid UTF-16"_s);
    return result;
}

// An archive's reference to one of its objects, in the notation of the XML form: a dictionary with the single key
// "CF$UID".
QVariant VXPropertyListBinaryReader::identifier(const Body &body) const
{
    const quint64 size = quint64(body.info) + 1;
    checkRange(body.offset, 1, size);
    if (size > 8 || number(body.offset, size) > quint64(std::numeric_limits<qint64>::max()))
        fail(u"an object identifier is out of range"_s);
    return QVariantMap{{u"CF$UID"_s, qlonglong(number(body.offset, size))}};
}
