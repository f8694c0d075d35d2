#pragma once

#include "VXError.h"
#include "VXFourCharCode.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QSharedDataPointer>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/**
 * A value of the scripting bridge: a type with data, a list, a record (values by keyword, in order), or an event, which
 * is a record with a class, an ID and a target. A value type; copies share their contents. Reentrant.
 */
class VX_EXPORT VXEventDescriptor
{
public:
    /** The null descriptor: type "null", no data. In specifiers it represents the application itself. */
    VXEventDescriptor();
    ~VXEventDescriptor();
    VXEventDescriptor(const VXEventDescriptor &other);
    VXEventDescriptor &operator=(const VXEventDescriptor &other);
    VXEventDescriptor(VXEventDescriptor &&other) noexcept;
    VXEventDescriptor &operator=(VXEventDescriptor &&other) noexcept;

    static VXEventDescriptor withData(VXFourCharCode type, const QByteArray &data);
    static VXEventDescriptor withString(const QString &text);
    static VXEventDescriptor withBoolean(bool value);
    /** Of type "long", or "comp" if it needs more than 32 bits. */
    static VXEventDescriptor withInteger(qint64 value);
    static VXEventDescriptor withReal(double value);
    static VXEventDescriptor withDate(const QDateTime &date);
    static VXEventDescriptor withTypeCode(VXFourCharCode code);
    static VXEventDescriptor withEnumCode(VXFourCharCode code);
    static VXEventDescriptor list(const QList<VXEventDescriptor> &items = {});
    static VXEventDescriptor record();
    /** An event with a return ID that is unique in this process, and transaction 0. */
    static VXEventDescriptor event(VXFourCharCode eventClass, VXFourCharCode eventID, const VXEventDescriptor &target);
    /** The reply to an event, with the event's return ID and transaction. */
    static VXEventDescriptor replyTo(const VXEventDescriptor &event);

    VXFourCharCode type() const;
    /** Empty if the descriptor has no data of its own. */
    QByteArray data() const;
    bool isNull() const { return type() == VXEventCode::Null; }
    bool isList() const;
    /** True for events, too, and for what was coerced from a record. */
    bool isRecord() const;
    bool isEvent() const;

    // -- Items of lists, records and events
    qsizetype numberOfItems() const;
    /** Counted from 1; empty when there is no such item. */
    std::optional<VXEventDescriptor> descriptorAtIndex(qsizetype index) const;
    /** 0 when there is no such item, and for lists. */
    VXFourCharCode keywordAtIndex(qsizetype index) const;
    std::optional<VXEventDescriptor> descriptorForKeyword(VXFourCharCode keyword) const;
    /** Replaces the value of the keyword, or adds it at the end; does nothing unless this is a record. */
    void setDescriptor(const VXEventDescriptor &descriptor, VXFourCharCode keyword);
    /** Adds an item to a list; does nothing unless this is a list. */
    void append(const VXEventDescriptor &item);

    // -- Events; 0 and null for others
    VXFourCharCode eventClass() const;
    VXFourCharCode eventID() const;
    VXEventDescriptor target() const;
    qint32 returnID() const;
    qint32 transactionID() const;

    // -- Coercions
    /**
     * Converts to another type: between texts, numbers, truth values and codes if nothing is lost, anything to a list
     * of one, a list of one to its item, and a record to "obj " or "cmpd", if it has their keywords, and back. Empty
     * when that is not possible.
     */
    std::optional<VXEventDescriptor> coerceToType(VXFourCharCode type) const;
    /** Null when it cannot be converted to text. */
    QString stringValue() const;
    std::optional<qint64> integerValue() const;
    std::optional<double> realValue() const;
    std::optional<bool> booleanValue() const;
    /** The code of a type or enumeration; 0 for anything else. */
    VXFourCharCode codeValue() const;

    // -- Conversion from and to plain values
    /**
     * From text, number, truth value, date, bytes, lists of these, and maps, which become a record of named values.
     * Codes cannot be told from texts there. Any other value is converted to its text, or to the null descriptor if it
     * has none.
     */
    static VXEventDescriptor fromValue(const QVariant &value);
    /** The reverse: codes become texts of four characters; records without named values become maps by keyword. Invalid
     *  for null; attributes of events are left out; data of unknown types become bytes. */
    QVariant value() const;

    // -- Conversion from and to bytes (docs/FORMATS.md)
    /** Null when nested deeper than `maximumDepth`. */
    QByteArray toBytes() const;
    /** Empty, with the reason, for anything but the output of `toBytes`. */
    static std::optional<VXEventDescriptor> fromBytes(const QByteArray &bytes, VXError *error = nullptr);
    static constexpr int maximumDepth = 64;

    bool isEqual(const VXEventDescriptor &other) const;
    friend bool operator==(const VXEventDescriptor &a, const VXEventDescriptor &b) { return a.isEqual(b); }

private:
    struct Contents;
    struct Entry;
    friend class VXEventDescriptorWriter;
    friend class VXEventDescriptorReader;

    explicit VXEventDescriptor(Contents *contents);
    bool hasKeywords(std::initializer_list<VXFourCharCode> keywords) const;
    VXEventDescriptor retyped(VXFourCharCode type) const;

    QSharedDataPointer<Contents> _contents;
};

Q_DECLARE_METATYPE(VXEventDescriptor)
