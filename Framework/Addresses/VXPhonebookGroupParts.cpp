#include "VXPhonebookGroupParts.h"

#include "VXLog.h"

#include <QtCore/QStringBuilder>

using namespace Qt::StringLiterals;

std::optional<VXPhonebookGroupParts> VXPhonebookGroupParts::split(QStringView text)
{
    if (text.isEmpty())
        return {};
    const qsizetype open = text.indexOf(u'{');
    if (open < 0)
        return VXPhonebookGroupParts{.body = text};
    const qsizetype close = text.lastIndexOf(u'}');
    if (close < open) {
        VXLog::log(VXLogWarning, "unterminated group: "_L1 % text);
        return {};
    }
    if (!text.sliced(close + 1).trimmed().isEmpty())
        VXLog::log(VXLogNotice, "Ignoring excess after group termination: "_L1 % text);
    return VXPhonebookGroupParts{.name = text.first(open).trimmed(), .body = text.sliced(open + 1, close - open - 1)};
}
