#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <deque>
#include <vector>

/** Sorts entries, so that the same values always give the same property list. */
QVariantMap VXSortedEntries(const QVariantHash &entries);

/** Writes the binary form of a value that was checked; each text only once, however often it occurs. */
class VXPropertyListBinaryWriter
{
public:
    /** `value` must outlive the writer. */
    explicit VXPropertyListBinaryWriter(const QVariant &value)
    {
        _objects.reserve(usualCount);
        _firstTexts.reserve(mostFirstTexts);
        add(value);
    }

    QByteArray write();

private:
    /** A scalar, text or container. A container's references are the numbers of its elements; for a dictionary the keys
     *  come first. */
    struct Object
    {
        const QVariant *scalar = nullptr;
        const QString *text = nullptr;
        bool isDictionary = false;
        size_t firstReference = 0;
        quint32 referenceCount = 0;
    };

    // -- Numbering; each returns the object's number.
    quint32 add(const QVariant &value);
    quint32 add(const QString &text);
    quint32 addDictionary(const QVariantMap &entries);
    template <class Array>
    quint32 addArray(const Array &elements);
    quint32 addContainer(bool isDictionary, const std::vector<quint32> &references, quint32 number);

    // -- Writing
    /** An upper limit for the size. */
    quint64 room() const;
    void writeObject(const Object &object);
    void writeScalar(const QVariant &value);
    void writeText(QStringView text);
    void writeInteger(qint64 number);
    void writeMarker(quint8 type, quint64 count);
    /** Most significant byte first. */
    void writeNumber(quint64 number, int size);
    void writeBytes(QByteArrayView bytes);

    static constexpr size_t usualCount = 32;     // of objects
    static constexpr size_t mostFirstTexts = 24; // enough for most

    std::vector<Object> _objects; // the first is the outermost
    std::vector<quint32> _references;
    std::vector<quint32> _firstTexts;   // numbers of the first texts: comparing these few takes less than hashing them
    QHash<QStringView, quint32> _texts; // of all further ones; counted from 1
    std::deque<QVariantMap> _sorted;    // sorted copies of unordered dictionaries
    char *_at = nullptr;                // the write position
};
