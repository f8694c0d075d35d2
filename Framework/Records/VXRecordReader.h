#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** Reads the values of a record, whatever kind of object has them: a map, a managed object, a QObject. On its thread. */
class VXRecordReader
{
public:
    explicit VXRecordReader(const QVariant &object) : _object(object) {}

    /** Invalid for none. */
    QVariant value(const QString &key) const;
    /** Without the blanks around it; null for none, and for nothing but blanks. */
    QString text(const QString &key) const;
    /** A date, or a text in ISO 8601; invalid for anything else (VXRecordDate). */
    QDateTime date(const QString &key) const;
    /** Empty for none, and for what is no finite number. */
    std::optional<double> number(const QString &key) const;
    /** The elements of a list; one alone as a list of one. */
    QVariantList list(const QString &key) const;
    /** A type mask (VXPhonebookType), or its letters as text. 0 for none. */
    unsigned typeMask(const QString &key) const;

private:
    const QVariant _object;
};

/** The date when it is one that every store and file can hold, of the years 1 to 9999; else none. */
[[nodiscard]] QDateTime VXRecordDate(const QDateTime &date);
[[nodiscard]] QDate VXRecordDate(const QDate &date);

/** Inserts what is not none, nor an empty text. */
void VXInsertIntoRecord(QVariantMap &map, const QString &key, const QVariant &value);
