#include "VXEventDescriptorContents.h"

#include <QtCore/QtEndian>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>

using Code = VXEventCode;

namespace {

template <class T>
QByteArray bytesOf(T value)
{
    QByteArray bytes(sizeof value, Qt::Uninitialized);
    qToBigEndian(value, bytes.data());
    return bytes;
}

// Seconds from 1904-01-01 to 1970-01-01.
constexpr qint64 secondsBefore1970 = 2082844800;

qint32 nextReturnID()
{
    static std::atomic<qint32> last = 0;
    const qint32 next = last.fetch_add(1, std::memory_order_relaxed) + 1;
    return next & 0x7fffffff;
}

} // namespace

VXEventDescriptor::VXEventDescriptor()
{
    static const QSharedDataPointer<Contents> null(new Contents(Contents::Kind::Data, Code::Null));
    _contents = null;
}

VXEventDescriptor::VXEventDescriptor(Contents *contents) : _contents(contents) {}

VXEventDescriptor::~VXEventDescriptor() = default;
VXEventDescriptor::VXEventDescriptor(const VXEventDescriptor &other) = default;
VXEventDescriptor &VXEventDescriptor::operator=(const VXEventDescriptor &other) = default;
// The moved-from object becomes the null descriptor.
VXEventDescriptor::VXEventDescriptor(VXEventDescriptor &&other) noexcept : VXEventDescriptor()
{
    _contents.swap(other._contents);
}

VXEventDescriptor &VXEventDescriptor::operator=(VXEventDescriptor &&other) noexcept
{
    _contents.swap(other._contents);
    return *this;
}

VXEventDescriptor VXEventDescriptor::withData(VXFourCharCode type, const QByteArray &data)
{
    auto *const contents = new Contents(Contents::Kind::Data, type);
    contents->data = data;
    return VXEventDescriptor(contents);
}

VXEventDescriptor VXEventDescriptor::withString(const QString &text)
{
    return withData(Code::Text, text.toUtf8());
}

VXEventDescriptor VXEventDescriptor::withBoolean(bool value)
{
    return withData(Code::Boolean, QByteArray(1, value ? '\1' : '\0'));
}

VXEventDescriptor VXEventDescriptor::withInteger(qint64 value)
{
    return qint32(value) == value ? withData(Code::Int32, bytesOf(qint32(value)))
                                  : withData(Code::Int64, bytesOf(value));
}

VXEventDescriptor VXEventDescriptor::withReal(double value)
{
    return withData(Code::Real, bytesOf(std::bit_cast<quint64>(value)));
}

VXEventDescriptor VXEventDescriptor::withDate(const QDateTime &date)
{
    return withData(Code::Date, bytesOf(date.toSecsSinceEpoch() + secondsBefore1970));
}

VXEventDescriptor VXEventDescriptor::withTypeCode(VXFourCharCode code)
{
    return withData(Code::Code, bytesOf(code));
}

VXEventDescriptor VXEventDescriptor::withEnumCode(VXFourCharCode code)
{
    return withData(Code::Enumeration, bytesOf(code));
}

VXEventDescriptor VXEventDescriptor::list(const QList<VXEventDescriptor> &items)
{
    auto *const contents = new Contents(Contents::Kind::List, Code::List);
    contents->entries.reserve(items.size());
    for (const VXEventDescriptor &item : items)
        contents->entries.append({0, item});
    return VXEventDescriptor(contents);
}

VXEventDescriptor VXEventDescriptor::record()
{
    return VXEventDescriptor(new Contents(Contents::Kind::Record, Code::Record));
}

VXEventDescriptor VXEventDescriptor::event(VXFourCharCode eventClass, VXFourCharCode eventID,
                                           const VXEventDescriptor &target)
{
    auto *const contents = new Contents(Contents::Kind::Event, Code::Event);
    contents->eventClass = eventClass;
    contents->eventID = eventID;
    contents->returnID = nextReturnID();
    contents->target = target;
    return VXEventDescriptor(contents);
}

VXEventDescriptor VXEventDescriptor::replyTo(const VXEventDescriptor &event)
{
    VXEventDescriptor reply = VXEventDescriptor::event(Code::RequiredSuite, Code::Answer, {});
    reply._contents->returnID = event.returnID();
    reply._contents->transactionID = event.transactionID();
    return reply;
}

VXFourCharCode VXEventDescriptor::type() const
{
    return _contents->type;
}

QByteArray VXEventDescriptor::data() const
{
    return _contents->data;
}

bool VXEventDescriptor::isList() const
{
    return _contents->kind == Contents::Kind::List;
}

bool VXEventDescriptor::isRecord() const
{
    return _contents->kind == Contents::Kind::Record || isEvent();
}

bool VXEventDescriptor::isEvent() const
{
    return _contents->kind == Contents::Kind::Event;
}

// -- Items

qsizetype VXEventDescriptor::numberOfItems() const
{
    return _contents->entries.size();
}

std::optional<VXEventDescriptor> VXEventDescriptor::descriptorAtIndex(qsizetype index) const
{
    if (index < 1 || index > numberOfItems())
        return std::nullopt;
    return _contents->entries[index - 1].descriptor;
}

VXFourCharCode VXEventDescriptor::keywordAtIndex(qsizetype index) const
{
    return index < 1 || index > numberOfItems() ? 0 : _contents->entries[index - 1].keyword;
}

std::optional<VXEventDescriptor> VXEventDescriptor::descriptorForKeyword(VXFourCharCode keyword) const
{
    const QList<Entry> &entries = _contents->entries;
    const auto found = isRecord() ? std::ranges::find(entries, keyword, &Entry::keyword) : entries.cend();
    if (found == entries.cend())
        return std::nullopt;
    return found->descriptor;
}

void VXEventDescriptor::setDescriptor(const VXEventDescriptor &descriptor, VXFourCharCode keyword)
{
    if (!isRecord())
        return;
    const VXEventDescriptor held = descriptor; // it may be this object, or a part of it
    QList<Entry> &entries = _contents->entries;
    const auto found = std::ranges::find(entries, keyword, &Entry::keyword);
    if (found == entries.end())
        entries.append({keyword, held});
    else
        found->descriptor = held;
}

void VXEventDescriptor::append(const VXEventDescriptor &item)
{
    if (!isList())
        return;
    const VXEventDescriptor held = item;
    _contents->entries.append({0, held});
}

// -- Events

VXFourCharCode VXEventDescriptor::eventClass() const
{
    return _contents->eventClass;
}

VXFourCharCode VXEventDescriptor::eventID() const
{
    return _contents->eventID;
}

VXEventDescriptor VXEventDescriptor::target() const
{
    return _contents->target.value_or(VXEventDescriptor());
}

qint32 VXEventDescriptor::returnID() const
{
    return _contents->returnID;
}

qint32 VXEventDescriptor::transactionID() const
{
    return _contents->transactionID;
}

bool VXEventDescriptor::isEqual(const VXEventDescriptor &other) const
{
    const Contents &x = *_contents;
    const Contents &y = *other._contents;
    return &x == &y || (x.kind == y.kind && x.type == y.type && x.data == y.data && x.entries == y.entries &&
                        x.eventClass == y.eventClass && x.eventID == y.eventID && x.returnID == y.returnID &&
                        x.transactionID == y.transactionID && x.target == y.target);
}
