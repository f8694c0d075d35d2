#include "VXErrorDomain.h"
#include "VXEventDescriptorContents.h"

#include <QtCore/QtEndian>

using namespace Qt::StringLiterals;

namespace {

constexpr char signature[] = {'V', 'X', 'E', 'D', 1}; // the last byte is the version

} // namespace

/** Writes descriptors, each preceded by its length. */
class VXEventDescriptorWriter
{
public:
    QByteArray bytes = QByteArray(signature, sizeof signature);

    // False when it is nested too deeply.
    bool write(const VXEventDescriptor &descriptor, int depth = 0)
    {
        if (depth > VXEventDescriptor::maximumDepth)
            return false;
        using Kind = VXEventDescriptor::Contents::Kind;
        const VXEventDescriptor::Contents &contents = *descriptor._contents;
        bytes.append(char(contents.kind));
        writeWord(contents.type);
        switch (contents.kind) {
        case Kind::Data:
            writeWord(quint32(contents.data.size()));
            bytes.append(contents.data);
            return true;
        case Kind::Event:
            writeWord(contents.eventClass);
            writeWord(contents.eventID);
            writeWord(quint32(contents.returnID));
            writeWord(quint32(contents.transactionID));
            if (!write(*contents.target, depth + 1))
                return false;
            [[fallthrough]];
        case Kind::List:
        case Kind::Record:
            break;
        }
        writeWord(quint32(contents.entries.size()));
        for (const VXEventDescriptor::Entry &entry : contents.entries) {
            if (contents.kind != Kind::List)
                writeWord(entry.keyword);
            if (!write(entry.descriptor, depth + 1))
                return false;
        }
        return true;
    }

private:
    void writeWord(quint32 word)
    {
        char data[sizeof word];
        qToBigEndian(word, data);
        bytes.append(data, sizeof data);
    }
};

/** Reads the output of the writer, and nothing else. */
class VXEventDescriptorReader
{
public:
    explicit VXEventDescriptorReader(const QByteArray &bytes) : _bytes(bytes) {}

    std::optional<VXEventDescriptor> readAll(VXError *error)
    {
        std::optional<VXEventDescriptor> found;
        if (!_bytes.startsWith(QByteArrayView(signature, sizeof signature))) {
            _problem = u"it does not begin as one"_s;
        } else {
            _offset = sizeof signature;
            found = read(0);
            if (found && _offset != _bytes.size())
                fail(u"there is more behind its end"_s);
        }
        if (_problem.isNull())
            return found;
        VXSetError(error,
                   VXMakeError(u"No event descriptor: %1 (at byte %2)."_s.arg(_problem, QString::number(_offset))));
        return std::nullopt;
    }

private:
    using Contents = VXEventDescriptor::Contents;
    using Kind = Contents::Kind;

    // The size of the smallest descriptor: kind, type and size.
    static constexpr qsizetype smallest = 9;

    std::nullopt_t fail(const QString &problem)
    {
        if (_problem.isNull())
            _problem = problem;
        return std::nullopt;
    }

    std::optional<quint32> readWord()
    {
        if (_bytes.size() - _offset < 4)
            return fail(u"it ends too early"_s);
        const quint32 word = qFromBigEndian<quint32>(_bytes.constData() + _offset);
        _offset += 4;
        return word;
    }

    std::optional<VXEventDescriptor> read(int depth)
    {
        if (depth > VXEventDescriptor::maximumDepth)
            return fail(u"it is nested too deep"_s);
        if (_offset >= _bytes.size())
            return fail(u"it ends too early"_s);
        const auto kind = static_cast<unsigned char>(_bytes[_offset++]);
        const std::optional<quint32> type = readWord();
        if (!type)
            return std::nullopt;
        if (kind > quint8(Kind::Event))
            return fail(u"there is no kind %1"_s.arg(kind));
        if (kind == quint8(Kind::Data))
            return readData(*type);
        VXEventDescriptor made(new Contents(Kind(kind), *type));
        if (made.isEvent() && !readAttributes(*made._contents, depth))
            return std::nullopt;
        return readEntries(*made._contents, depth) ? std::optional(made) : std::nullopt;
    }

    std::optional<VXEventDescriptor> readData(VXFourCharCode type)
    {
        const std::optional<quint32> size = readWord();
        if (!size)
            return std::nullopt;
        if (*size > quint64(_bytes.size() - _offset))
            return fail(u"it ends too early"_s);
        const QByteArray data = _bytes.sliced(_offset, qsizetype(*size));
        _offset += qsizetype(*size);
        return VXEventDescriptor::withData(type, data);
    }

    bool readAttributes(Contents &event, int depth)
    {
        const auto eventClass = readWord();
        const auto eventID = readWord();
        const auto returnID = readWord();
        const auto transactionID = readWord();
        if (!transactionID)
            return false;
        event.eventClass = *eventClass;
        event.eventID = *eventID;
        event.returnID = qint32(*returnID);
        event.transactionID = qint32(*transactionID);
        event.target = read(depth + 1);
        return event.target.has_value();
    }

    bool readEntries(Contents &contents, int depth)
    {
        const std::optional<quint32> count = readWord();
        if (!count)
            return false;
        if (*count > quint64((_bytes.size() - _offset) / smallest)) {
            fail(u"it ends too early"_s);
            return false;
        }
        QSet<VXFourCharCode> keywords;
        for (quint32 index = 0; index < *count; ++index) {
            std::optional<quint32> keyword = 0;
            if (contents.kind != Kind::List && !(keyword = readWord()))
                return false;
            if (contents.kind != Kind::List && keywords.contains(*keyword)) {
                fail(u"a keyword occurs twice"_s);
                return false;
            }
            keywords.insert(*keyword);
            const std::optional<VXEventDescriptor> item = read(depth + 1);
            if (!item)
                return false;
            contents.entries.append({*keyword, *item});
        }
        return true;
    }

    const QByteArray &_bytes;
    qsizetype _offset = 0;
    QString _problem;
};

QByteArray VXEventDescriptor::toBytes() const
{
    VXEventDescriptorWriter writer;
    return writer.write(*this) ? writer.bytes : QByteArray();
}

std::optional<VXEventDescriptor> VXEventDescriptor::fromBytes(const QByteArray &bytes, VXError *error)
{
    return VXEventDescriptorReader(bytes).readAll(error);
}
