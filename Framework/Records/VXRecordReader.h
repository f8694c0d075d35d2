#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** Reads the values of a record from any kind of object: a map, a managed object, a QObject. On the object's thread. */
class VXRecordReader
{
public:
    explicit VXRecordReader(const QVariant &object) : _object(object) {}

    /** Invalid for none. */
    QVariant value(const QString &key) const;
    /** Trimmed; null for none, and for blanks only. */
    QString text(const QString &key) const;
    /** A date, or a text in ISO 8601; invalid for anything else, and for dates that VXRecordDate refuses. */
    QDateTime date(const QString &key) const;
    /** Empty for none, and for anything but a finite number. */
    std::optional<double> number(const QString &key) const;
    /** The elements of a list; a single value as a list of one. */
    QVariantList list(const QString &key) const;
    /** A type mask (VXPhonebookType), or one given as letters. 0 for none. */
    unsigned typeMask(const QString &key) const;

private:
    const QVariant _object;
};

/** The date if every store and file can hold it, which are the years 1 to 9999; otherwise none. */
[[nodiscard]] QDateTime VXRecordDate(const QDateTime &date);
[[nodiscard]] QDate VXRecordDate(const QDate &date);

/** Inserts the value unless it is none, or an empty text. */
void VXInsertIntoRecord(QVariantMap &map, const QString &key, const QVariant &value);
