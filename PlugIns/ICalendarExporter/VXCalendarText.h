#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>

/** Where the entries of a calendar file lie, whichever program wrote it. */
class VXCalendarText
{
public:
    struct Entry
    {
        QByteArray identifier; // its UID; empty without one
        qsizetype start;
        qsizetype end;
    };

    explicit VXCalendarText(const QByteArray &text);

    const QList<Entry> &entries() const { return _entries; }
    /** Where further entries belong: before the last line, or, when that is missing, behind the last whole entry. -1 when the
     * text is no calendar, or has no such place. */
    qsizetype endOfEntries() const { return _endOfEntries; }

private:
    QList<Entry> _entries;
    qsizetype _endOfEntries = -1;
};
