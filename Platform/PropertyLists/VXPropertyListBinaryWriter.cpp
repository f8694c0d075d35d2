#include "VXPropertyListBinaryWriter.h"

#include <QtCore/QDateTime>
#include <QtCore/QtEndian>

#include <algorithm>
#include <bit>

namespace {

constexpr qint64 referenceDate = 978'307'200'000; // 2001-01-01 00:00 UTC, in milliseconds of Unix time

// Types of objects, in the high half of their marker byte.
enum Type : quint8 { Integer = 0x1, Data = 0x4, ASCIIText = 0x5, UTF16Text = 0x6, Array = 0xa, Dictionary = 0xd };

int bytesFor(quint64 number)
{
    return number <= 0xff ? 1 : number <= 0xffff ? 2 : number <= 0xffffffff ? 4 : 8;
}

} // namespace

QVariantMap VXSortedEntries(const QVariantHash &entries)
{
    QVariantMap result;
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry)
        result.insert(entry.key(), entry.value());
    return result;
}

quint32 VXPropertyListBinaryWriter::add(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QString:
        return add(*static_cast<const QString *>(value.constData()));
    case QMetaType::QVariantMap:
        return addDictionary(*static_cast<const QVariantMap *>(value.constData()));
    case QMetaType::QVariantHash:
        _sorted.push_back(VXSortedEntries(*static_cast<const QVariantHash *>(value.constData())));
        return addDictionary(_sorted.back());
    case QMetaType::QVariantList:
        return addArray(*static_cast<const QVariantList *>(value.constData()));
    case QMetaType::QStringList:
        return addArray(*static_cast<const QStringList *>(value.constData()));
    default:
        _objects.push_back({.scalar = &value});
        return quint32(_objects.size() - 1);
    }
}

quint32 VXPropertyListBinaryWriter::add(const QString &text)
{
    for (const quint32 first : _firstTexts) {
        if (*_objects[first].text == text)
            return first;
    }
    if (_firstTexts.size() < mostFirstTexts) {
        _firstTexts.push_back(quint32(_objects.size()));
        _objects.push_back({.text = &text});
        return _firstTexts.back();
    }
    quint32 &known = _texts[text];
    if (known == 0) {
        _objects.push_back({.text = &text});
        known = quint32(_objects.size());
    }
    return known - 1;
}

quint32 VXPropertyListBinaryWriter::addDictionary(const QVariantMap &entries)
{
    const auto number = quint32(_objects.size());
    _objects.emplace_back();
    std::vector<quint32> references;
    references.reserve(size_t(entries.size()) * 2);
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry)
        references.push_back(add(entry.key()));
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry)
        references.push_back(add(entry.value()));
    return addContainer(true, references, number);
}

template <class Array>
quint32 VXPropertyListBinaryWriter::addArray(const Array &elements)
{
    const auto number = quint32(_objects.size());
    _objects.emplace_back();
    std::vector<quint32> references;
    references.reserve(size_t(elements.size()));
    for (auto element = elements.cbegin(); element != elements.cend(); ++element)
        references.push_back(add(*element));
    return addContainer(false, references, number);
}

// Its elements were numbered after it.
quint32 VXPropertyListBinaryWriter::addContainer(bool isDictionary, const std::vector<quint32> &references,
                                                 quint32 number)
{
    _objects[number] = {.isDictionary = isDictionary,
                        .firstReference = _references.size(),
                        .referenceCount = quint32(references.size())};
    _references.insert(_references.end(), references.begin(), references.end());
    return number;
}

quint64 VXPropertyListBinaryWriter::room() const
{
    constexpr quint64 most = 1 + 1 + 8 + 8; // for a marker with its count, or a number, and the offset
    quint64 size = 8 + 32 + _objects.size() * most + _references.size() * sizeof(quint32);
    for (const Object &object : _objects) {
        if (object.text != nullptr)
            size += quint64(object.text->size()) * sizeof(QChar);
        else if (object.scalar != nullptr && object.scalar->metaType().id() == QMetaType::QByteArray)
            size += quint64(static_cast<const QByteArray *>(object.scalar->constData())->size());
    }
    return size;
}

QByteArray VXPropertyListBinaryWriter::write()
{
    QByteArray data(qsizetype(room()), Qt::Uninitialized);
    _at = data.data();
    const char *const start = _at;
    writeBytes("bplist00");
    std::vector<quint64> offsets;
    offsets.reserve(_objects.size());
    for (const Object &object : _objects) {
        offsets.push_back(quint64(_at - start));
        writeObject(object);
    }
    const auto table = quint64(_at - start);
    const int offsetSize = bytesFor(table);
    for (const quint64 offset : offsets)
        writeNumber(offset, offsetSize);
    writeNumber(0, 6);
    writeNumber(quint64(offsetSize), 1);
    writeNumber(quint64(bytesFor(_objects.size())), 1);
    writeNumber(_objects.size(), 8);
    writeNumber(0, 8); // the outermost object
    writeNumber(table, 8);
    data.truncate(_at - start);
    return data;
}

void VXPropertyListBinaryWriter::writeObject(const Object &object)
{
    if (object.text != nullptr)
        return writeText(*object.text);
    if (object.scalar != nullptr)
        return writeScalar(*object.scalar);
    writeMarker(object.isDictionary ? Dictionary : Array,
                object.isDictionary ? object.referenceCount / 2 : object.referenceCount);
    const int size = bytesFor(_objects.size());
    for (size_t index = 0; index < object.referenceCount; ++index)
        writeNumber(_references[object.firstReference + index], size);
}

void VXPropertyListBinaryWriter::writeScalar(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QByteArray: {
        const QByteArray &data = *static_cast<const QByteArray *>(value.constData());
        writeMarker(Data, quint64(data.size()));
        writeBytes(data);
        break;
    }
    case QMetaType::Bool:
        *_at++ = value.toBool() ? '\x09' : '\x08';
        break;
    case QMetaType::Float:
    case QMetaType::Double:
        *_at++ = '\x23';
        writeNumber(std::bit_cast<quint64>(value.toDouble()), 8);
        break;
    case QMetaType::QDateTime:
        *_at++ = '\x33';
        writeNumber(std::bit_cast<quint64>(double(value.toDateTime().toMSecsSinceEpoch() - referenceDate) / 1000), 8);
        break;
    default:
        writeInteger(value.toLongLong());
    }
}

void VXPropertyListBinaryWriter::writeText(QStringView text)
{
    char16_t all = 0;
    for (const QChar character : text)
        all |= character.unicode();
    const bool isASCII = all < 0x80;
    writeMarker(isASCII ? ASCIIText : UTF16Text, quint64(text.size()));
    if (isASCII) {
        _at = std::transform(text.begin(), text.end(), _at, [](QChar character) { return char(character.unicode()); });
    } else {
        qToBigEndian<quint16>(text.utf16(), text.size(), _at);
        _at += text.size() * qsizetype(sizeof(QChar));
    }
}

// The short forms are unsigned.
void VXPropertyListBinaryWriter::writeInteger(qint64 number)
{
    const int size = bytesFor(quint64(number));
    *_at++ = char(Integer << 4 | std::countr_zero(unsigned(size)));
    writeNumber(quint64(number), size);
}

void VXPropertyListBinaryWriter::writeMarker(quint8 type, quint64 count)
{
    constexpr quint64 isBehind = 0xf;
    *_at++ = char(quint64(type) << 4 | std::min(count, isBehind));
    if (count >= isBehind)
        writeInteger(qint64(count));
}

void VXPropertyListBinaryWriter::writeNumber(quint64 number, int size)
{
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8)
        *_at++ = char(number >> shift & 0xff);
}

void VXPropertyListBinaryWriter::writeBytes(QByteArrayView bytes)
{
    _at = std::copy(bytes.begin(), bytes.end(), _at);
}
