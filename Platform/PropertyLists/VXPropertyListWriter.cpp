#include "VXPropertyList.h"

#include "VXPropertyListBinaryWriter.h"
#include "VXPropertyListFault.h"

#include <QtCore/QDataStream>
#include <QtCore/QDateTime>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <plist/plist.h>

using namespace Qt::StringLiterals;

namespace {

using Format = VXPropertyList::Format;
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, decltype(&plist_free)>;

constexpr qint64 referenceDate = 978'307'200'000; // 2001-01-01 00:00 UTC, in milliseconds of Unix time
constexpr quint64 largestDocument = std::numeric_limits<quint32>::max(); // libplist uses 32-bit sizes

// Whether a list of that form can hold a value; if not, what is wrong and where.
class Check
{
public:
    explicit Check(Format format) : _format(format) {}

    bool accepts(const QVariant &value, int depth = 0)
    {
        _size += 64 + 2 * quint64(depth); // tags and indentation, or marker, references and offset
        switch (value.metaType().id()) {
        case QMetaType::UnknownType:
            return refuse(u"no value"_s);
        case QMetaType::QString:
            return acceptsText(value.toString());
        case QMetaType::QVariantMap:
            return acceptsDictionary(*static_cast<const QVariantMap *>(value.constData()), depth + 1);
        case QMetaType::QVariantHash:
            return acceptsDictionary(*static_cast<const QVariantHash *>(value.constData()), depth + 1);
        case QMetaType::QVariantList:
            return acceptsArray(*static_cast<const QVariantList *>(value.constData()), depth + 1);
        case QMetaType::QStringList:
            return acceptsArray(*static_cast<const QStringList *>(value.constData()), depth + 1);
        default:
            return acceptsScalar(value);
        }
    }

    // "place: reason", where the place is a path of keys and indexes from the outermost value.
    QString reason() const
    {
        return _path.isEmpty() ? _reason : u"%1: %2"_s.arg(_path.mid(_path.startsWith(u'.') ? 1 : 0), _reason);
    }

private:
    bool refuse(const QString &reason)
    {
        _reason = reason;
        return false;
    }

    bool acceptsScalar(const QVariant &value)
    {
        switch (value.metaType().id()) {
        case QMetaType::QByteArray:
            return acceptsData(value.toByteArray());
        case QMetaType::QDateTime:
            return acceptsDate(value.toDateTime());
        case QMetaType::ULong:
        case QMetaType::ULongLong:
            return value.toULongLong() <= quint64(std::numeric_limits<qint64>::max()) ||
                   refuse(u"%1 does not fit into 64 bits with sign"_s.arg(value.toULongLong()));
        case QMetaType::Bool:
        case QMetaType::SChar:
        case QMetaType::UChar:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::Float:
        case QMetaType::Double: // both forms can represent infinities and NaN
            return true;
        default:
            return refuse(value.typeId() == QMetaType::Nullptr
                              ? u"null"_s
                              : u"a value of type %1"_s.arg(QString::fromUtf8(value.metaType().name())));
        }
    }

    bool acceptsSize(quint64 bytes)
    {
        _size += bytes;
        return _size <= largestDocument || refuse(u"more than 4 GiB"_s);
    }

    bool acceptsText(const QString &text)
    {
        if (text.isNull())
            return refuse(u"a null text"_s);
        if (!text.isValidUtf16())
            return refuse(u"a text with half a surrogate pair"_s);
        const auto isForbidden = [this](QChar c) {
            if (_format == Format::Binary)
                return c == QChar::Null;
            const char16_t code = c.unicode();
            return code >= 0xfffe || (code < 0x20 && code != u'\t' && code != u'\n' && code != u'\r');
        };
        if (const auto found = std::find_if(text.begin(), text.end(), isForbidden); found != text.end())
            return refuse(u"a text with the character U+%1"_s.arg(uint(found->unicode()), 4, 16, QChar(u'0')));
        return acceptsSize(quint64(text.size()) * 5); // "&" becomes "&amp;"
    }

    bool acceptsData(const QByteArray &data)
    {
        return data.isNull() ? refuse(u"null data"_s) : acceptsSize(quint64(data.size()) * 2);
    }

    bool acceptsDate(const QDateTime &date)
    {
        if (!date.isValid())
            return refuse(u"an invalid date"_s);
        const int year = date.toUTC().date().year();
        return (year >= 1 && year <= 9999) || refuse(u"a date outside of the years 1 to 9999"_s);
    }

    template <class Dictionary>
    bool acceptsDictionary(const Dictionary &entries, int depth)
    {
        if (depth > VXPropertyListMaximumDepth)
            return refuse(u"nested deeper than %1 levels"_s.arg(VXPropertyListMaximumDepth));
        for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
            // As a key, a null text equals the empty one.
            const bool accepted =
                acceptsText(entry.key().isNull() ? u""_s : entry.key()) && accepts(entry.value(), depth);
            if (!accepted) {
                _path.prepend(u'.' + entry.key());
                return false;
            }
        }
        return true;
    }

    template <class Array>
    bool acceptsArray(const Array &elements, int depth)
    {
        if (depth > VXPropertyListMaximumDepth)
            return refuse(u"nested deeper than %1 levels"_s.arg(VXPropertyListMaximumDepth));
        for (qsizetype index = 0; index < elements.size(); ++index) {
            if (!accepts(elements[index], depth)) {
                _path.prepend(u"[%1]"_s.arg(index));
                return false;
            }
        }
        return true;
    }

    const Format _format;
    quint64 _size = 1024; // what surrounds the value
    QString _path;
    QString _reason;
};

plist_t nodeFor(const QVariant &value);

// libplist makes only dates of 32 bits, up to 2069; but it can read any date, so a document with this one is read.
plist_t dateNode(const QDateTime &date)
{
    const qint64 milliseconds = date.toMSecsSinceEpoch() - referenceDate;
    // The XML form has whole seconds, and libplist would round dates before 2001 up.
    const double seconds = std::floor(double(milliseconds) / 1000);
    constexpr quint64 offsetTable = 8 + 1 + 8; // after header, marker and date
    QByteArray document;
    QDataStream stream(&document, QIODevice::WriteOnly); // most significant byte first, as the format requires
    stream.writeRawData("bplist00", 8);
    stream << quint8(0x33) << seconds << quint8(8);               // the date; its offset
    stream << quint32(0) << quint16(0) << quint8(1) << quint8(1); // sizes of offsets and references
    stream << quint64(1) << quint64(0) << offsetTable;            // one object, the outermost
    plist_t node = nullptr;
    plist_from_bin(document.constData(), uint32_t(document.size()), &node);
    return node;
}

// libplist leaves out what it has no memory for. Null unless everything is there.
plist_t dictionaryNode(const QVariantMap &entries)
{
    Node node(plist_new_dict(), plist_free);
    for (auto entry = entries.cbegin(); node && entry != entries.cend(); ++entry) {
        const plist_t item = nodeFor(entry.value());
        if (item == nullptr)
            return nullptr;
        plist_dict_set_item(node.get(), entry.key().toUtf8().constData(), item);
    }
    return node && plist_dict_get_size(node.get()) == quint32(entries.size()) ? node.release() : nullptr;
}

template <class Array>
plist_t arrayNode(const Array &elements)
{
    Node node(plist_new_array(), plist_free);
    for (auto element = elements.cbegin(); node && element != elements.cend(); ++element) {
        const plist_t item = nodeFor(*element);
        if (item == nullptr)
            return nullptr;
        plist_array_append_item(node.get(), item);
    }
    return node && plist_array_get_size(node.get()) == quint32(elements.size()) ? node.release() : nullptr;
}

// The node of a value that was checked; owned by the caller. Null if out of memory.
plist_t nodeFor(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::QString:
        return plist_new_string(value.toString().toUtf8().constData());
    case QMetaType::QByteArray: {
        const QByteArray data = value.toByteArray();
        return plist_new_data(data.constData(), uint64_t(data.size()));
    }
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Float:
    case QMetaType::Double:
        return plist_new_real(value.toDouble());
    case QMetaType::QDateTime:
        return dateNode(value.toDateTime());
    case QMetaType::QVariantMap:
        return dictionaryNode(*static_cast<const QVariantMap *>(value.constData()));
    case QMetaType::QVariantHash:
        return dictionaryNode(VXSortedEntries(*static_cast<const QVariantHash *>(value.constData())));
    case QMetaType::QVariantList:
        return arrayNode(*static_cast<const QVariantList *>(value.constData()));
    case QMetaType::QStringList:
        return arrayNode(*static_cast<const QStringList *>(value.constData()));
    default:
        return plist_new_uint(uint64_t(value.toLongLong())); // signed, in spite of its name
    }
}

} // namespace

QByteArray VXPropertyList::toData(const QVariant &value, Format format, VXError *error)
{
    Check check(format);
    if (!check.accepts(value)) {
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue,
                                                 u"A property list cannot hold %1."_s.arg(check.reason())));
        return {};
    }
    if (format == Format::Binary)
        return VXPropertyListBinaryWriter(value).write();
    errno = 0; // libplist does not report a lack of memory, but malloc does
    const Node root(nodeFor(value), plist_free);
    char *bytes = nullptr;
    uint32_t size = 0;
    if (root)
        plist_to_xml(root.get(), &bytes, &size);
    if (bytes == nullptr || size == 0 || errno == ENOMEM) {
        std::free(bytes); // NOLINT: as below
        VXSetError(error, VXError::platformError(VXPlatformErrorCode::InvalidValue, u"Out of memory."_s));
        return {};
    }
    QByteArray data(bytes, qsizetype(size));
    std::free(bytes); // NOLINT: allocated by libplist with malloc
    return data;
}

bool VXPropertyList::toFile(const QVariant &value, const QString &path, Format format, VXError *error,
                            VXFileAccess access, VXFileStamp *stamp)
{
    VXError reason;
    const QByteArray data = toData(value, format, &reason);
    if (reason) {
        VXSetError(error,
                   VXError::platformError(VXPlatformErrorCode::InvalidValue, reason.localizedDescription(), {}, path));
        return false;
    }
    QString problem;
    if (VXAtomicFile::replace(path, data, &problem, access, stamp))
        return true;
    VXSetError(error, VXError::platformError(VXPlatformErrorCode::FileWrite, u"Unable to write property list."_s,
                                             problem, path));
    return false;
}

bool VXPropertyList::isValid(const QVariant &value, QString *reason)
{
    Check check(Format::XML); // the stricter form
    const bool valid = check.accepts(value);
    if (!valid && reason != nullptr)
        *reason = check.reason();
    return valid;
}
