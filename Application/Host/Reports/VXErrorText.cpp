#include "VXErrorText.h"

using namespace Qt::StringLiterals;

QString VXErrorText(const VXError &error, const QString &path)
{
    const QString file = error.filePath().isNull() ? path : error.filePath();
    const QString suggestion = error.localizedRecoverySuggestion();
    return (file.isNull() ? QString() : file + ": "_L1) + error.localizedDescription() +
           (suggestion.isEmpty() ? QString() : u' ' + suggestion);
}
