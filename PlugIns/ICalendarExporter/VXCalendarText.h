#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>

/** The positions of the entries in a calendar file, whichever program wrote it. */
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
    /** Where more entries belong: before the last line or, if that is missing, after the last complete entry. -1 if the
     *  text is not a calendar, or has no such place. */
    qsizetype endOfEntries() const { return _endOfEntries; }

private:
    QList<Entry> _entries;
    qsizetype _endOfEntries = -1;
};
