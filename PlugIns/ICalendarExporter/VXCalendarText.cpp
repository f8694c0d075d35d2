#include "VXCalendarText.h"

namespace {

constexpr QByteArrayView firstLine = "BEGIN:VCALENDAR";
constexpr QByteArrayView lastLine = "END:VCALENDAR";

bool isLine(QByteArrayView line, QByteArrayView expected)
{
    return line.compare(expected, Qt::CaseInsensitive) == 0;
}

} // namespace

VXCalendarText::VXCalendarText(const QByteArray &text)
{
    Entry entry{{}, -1, -1};
    qsizetype start = 0;
    bool isCalendar = false;
    while (start < text.size()) {
        const qsizetype feed = text.indexOf('\n', start);
        const qsizetype next = feed < 0 ? text.size() : feed + 1;
        const QByteArrayView line = QByteArrayView(text).sliced(start, next - start).trimmed();
        if (start == 0)
            isCalendar = isLine(line, firstLine);
        if (isLine(line, "BEGIN:VEVENT")) {
            entry = {{}, start, -1};
        } else if (line.startsWith("UID:") && entry.start >= 0) {
            entry.identifier = line.sliced(4).toByteArray();
        } else if (isLine(line, "END:VEVENT") && feed >= 0) {
            if (entry.start >= 0)
                _entries.append({entry.identifier, entry.start, next});
            entry.start = -1;
            _endOfEntries = next;
        } else if (isLine(line, lastLine)) {
            _endOfEntries = start;
        }
        start = next;
    }
    if (!isCalendar)
        _endOfEntries = -1;
}
