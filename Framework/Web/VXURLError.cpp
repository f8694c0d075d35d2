#include "VXURLError.h"

#include "VXFramework.h"

VXError VXMakeURLError(VXURLErrorCode code, const QString &description, const QUrl &url, const QString &suggestion)
{
    QVariantMap userInfo{{VXLocalizedDescriptionKey, VXLocalizedString(description)}, {VXFailingURLErrorKey, url}};
    if (!suggestion.isNull())
        userInfo.insert(VXLocalizedRecoverySuggestionKey, suggestion);
    return {VXURLErrorDomain, code, userInfo};
}
