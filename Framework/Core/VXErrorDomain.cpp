#include "VXErrorDomain.h"

#include <cstdarg>

using namespace Qt::StringLiterals;

const QString VXErrorDomain = u"VXErrorDomain"_s;
const QString VXErrorDomainDeviceURLKey = u"VXErrorDomainDeviceURL"_s;
const QString VXErrorDomainActionNameKey = u"VXErrorDomainActionName"_s;

VXError VXMakeError(const QString &description, const char *suggestionFormat, ...)
{
    QVariantMap userInfo;
    if (!description.isNull()) {
        userInfo.insert(VXLocalizedDescriptionKey, description);
        if (suggestionFormat != nullptr) {
            std::va_list arguments;
            va_start(arguments, suggestionFormat);
            userInfo.insert(VXLocalizedRecoverySuggestionKey, QString::vasprintf(suggestionFormat, arguments));
            va_end(arguments);
        }
    }
    return {VXErrorDomain, VXErrorGeneral, userInfo};
}

VXError VXMakeFileError(const QString &description, const QString &suggestion, const QString &path)
{
    QVariantMap userInfo{{VXLocalizedDescriptionKey, description}, {VXFilePathErrorKey, path}};
    if (!suggestion.isNull())
        userInfo.insert(VXLocalizedRecoverySuggestionKey, suggestion);
    return {VXErrorDomain, VXErrorGeneral, userInfo};
}
