#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <deque>
#include <vector>

/** So that the same values always make the same property list. */
QVariantMap VXSortedEntries(const QVariantHash &entries);

/** Writes the binary form of one value that was checked: each text once, however often it is there. */
class VXPropertyListBinaryWriter
{
public:
    /** `value` lives as long as the writer. */
    explicit VXPropertyListBinaryWriter(const QVariant &value)
    {
        _texts.reserve(32); // enough for most
        add(value);
    }

    QByteArray write();

private:
    /** One of these. Containers have the numbers of what is in them among the references: of a dictionary the keys first. */
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
    /** At least as many bytes as are written. */
    quint64 room() const;
    void writeObject(const Object &object);
    void writeScalar(const QVariant &value);
    void writeText(QStringView text);
    void writeInteger(qint64 number);
    void writeMarker(quint8 type, quint64 count);
    /** Most significant byte first. */
    void writeNumber(quint64 number, int size);
    void writeBytes(QByteArrayView bytes);

    std::vector<Object> _objects; // the first is the outermost
    std::vector<quint32> _references;
    QHash<QStringView, quint32> _texts; // their numbers, counted from 1
    std::deque<QVariantMap> _sorted;    // what was given without an order
    char *_at = nullptr;                // where to write on
};
