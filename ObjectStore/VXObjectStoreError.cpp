#include "VXObjectStoreError.h"

using namespace Qt::StringLiterals;

const QString VXCocoaErrorDomain = u"VXCocoaErrorDomain"_s;
const QString VXConflictListKey = u"conflictList"_s;
const QString VXDetailedErrorsKey = u"VXDetailedErrors"_s;
const QString VXValidationObjectKey = u"VXValidationErrorObject"_s;
const QString VXValidationKeyKey = u"VXValidationErrorKey"_s;

VXError VXObjectStoreError(VXObjectStoreErrorCode code, const QString &description, const QString &reason,
                           const QString &path)
{
    QVariantMap userInfo{{VXLocalizedDescriptionKey, description}};
    if (!reason.isNull())
        userInfo.insert(VXLocalizedRecoverySuggestionKey, reason);
    if (!path.isNull())
        userInfo.insert(VXFilePathErrorKey, path);
    return {VXCocoaErrorDomain, static_cast<int>(code), userInfo};
}
