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
 * A value of the scripting bridge: a type with data, a list, a record (values by keyword, in order), or an event, which is a
 * record with a class, an id and a target. A value type; copies share their contents. Reentrant.
 */
class VX_EXPORT VXEventDescriptor
{
public:
    /** The null descriptor: type "null", no data. In specifiers it stands for the application itself. */
    VXEventDescriptor();
    ~VXEventDescriptor();
    VXEventDescriptor(const VXEventDescriptor &other);
    VXEventDescriptor &operator=(const VXEventDescriptor &other);
    VXEventDescriptor(VXEventDescriptor &&other) noexcept;
    VXEventDescriptor &operator=(VXEventDescriptor &&other) noexcept;

    static VXEventDescriptor withData(VXFourCharCode type, const QByteArray &data);
    static VXEventDescriptor withString(const QString &text);
    static VXEventDescriptor withBoolean(bool value);
    /** Of type "long", or "comp" when it needs more than 32 bits. */
    static VXEventDescriptor withInteger(qint64 value);
    static VXEventDescriptor withReal(double value);
    static VXEventDescriptor withDate(const QDateTime &date);
    static VXEventDescriptor withTypeCode(VXFourCharCode code);
    static VXEventDescriptor withEnumCode(VXFourCharCode code);
    static VXEventDescriptor list(const QList<VXEventDescriptor> &items = {});
    static VXEventDescriptor record();
    /** An event with a return id that no other of this process has, and transaction 0. */
    static VXEventDescriptor event(VXFourCharCode eventClass, VXFourCharCode eventID, const VXEventDescriptor &target);
    /** The reply to an event, with its return id and transaction. */
    static VXEventDescriptor replyTo(const VXEventDescriptor &event);

    VXFourCharCode type() const;
    /** Empty for what has no data of its own. */
    QByteArray data() const;
    bool isNull() const { return type() == VXEventCode::Null; }
    bool isList() const;
    /** True for events too, and for what was coerced from a record. */
    bool isRecord() const;
    bool isEvent() const;

    // -- Items of lists, records and events
    qsizetype numberOfItems() const;
    /** From 1, in order; empty when there is no such item. */
    std::optional<VXEventDescriptor> descriptorAtIndex(qsizetype index) const;
    /** 0 when there is no such item, and of a list. */
    VXFourCharCode keywordAtIndex(qsizetype index) const;
    std::optional<VXEventDescriptor> descriptorForKeyword(VXFourCharCode keyword) const;
    /** Replaces the value of the keyword in its place, or adds it at the end; nothing on what is no record. */
    void setDescriptor(const VXEventDescriptor &descriptor, VXFourCharCode keyword);
    /** Adds to a list; nothing on what is none. */
    void append(const VXEventDescriptor &item);

    // -- Of events; 0 and null of others
    VXFourCharCode eventClass() const;
    VXFourCharCode eventID() const;
    VXEventDescriptor target() const;
    qint32 returnID() const;
    qint32 transactionID() const;

    // -- Coercions
    /**
     * The same as another type: between texts, numbers, truth values and codes where nothing is lost, anything to a list of
     * one, a list of one to its item, and a record to "obj " or "cmpd" when it has the keywords of those, and back.
     * Empty when it cannot be that.
     */
    std::optional<VXEventDescriptor> coerceToType(VXFourCharCode type) const;
    /** Null when it cannot be a text. */
    QString stringValue() const;
    std::optional<qint64> integerValue() const;
    std::optional<double> realValue() const;
    std::optional<bool> booleanValue() const;
    /** Of a type or enumeration; 0 for anything else. */
    VXFourCharCode codeValue() const;

    // -- As plain values
    /**
     * Text, number, truth value, date, bytes, lists of these and maps, which become a record of named values. Codes cannot be
     * told from texts there. Anything else becomes its text, or the null descriptor when it has none.
     */
    static VXEventDescriptor fromValue(const QVariant &value);
    /** The other way; codes become texts of four characters, records without named values maps by keyword. Invalid for null,
     *  events' attributes are left out, data of unknown types are bytes. */
    QVariant value() const;

    // -- As bytes (docs/FORMATS.md)
    /** Null when it is nested deeper than `maximumDepth`. */
    QByteArray toBytes() const;
    /** Empty with the reason for anything but what `toBytes` writes. */
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
