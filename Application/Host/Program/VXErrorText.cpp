#include "VXErrorText.h"

using namespace Qt::StringLiterals;

namespace {

// Two sentences, or what the first one is about.
QString joined(QString description, const QString &suggestion)
{
    if (suggestion.isEmpty() || description.isEmpty())
        return description + suggestion;
    const bool isPath = suggestion.startsWith(u'/');
    if (isPath && description.endsWith(u'.'))
        description.chop(1);
    const bool hasEnd = description.back().isPunct() && !isPath;
    return description + (hasEnd ? u" "_s : suggestion.front().isUpper() ? u". "_s : u": "_s) + suggestion;
}

} // namespace

QString VXErrorText(const VXError &error, const QString &path)
{
    const QString file = error.filePath().isNull() ? path : error.filePath();
    return (file.isNull() ? QString() : file + ": "_L1) +
           joined(error.localizedDescription(), error.localizedRecoverySuggestion());
}
