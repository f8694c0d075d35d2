#include "VXBusText.h"

#include "VXBundle.h"
#include "VXErrorDomain.h"

using namespace Qt::StringLiterals;

QString VXBusText(const QString &key)
{
    const VXBundle::Ptr framework = VXBundle::bundleWithIdentifier(u"com.halvern.VNX2.framework"_s);
    return framework ? framework->localizedStringForKey(key) : key;
}

VXError VXBusError(const QString &description, const QString &suggestion)
{
    QVariantMap info{{VXLocalizedDescriptionKey, description}};
    if (!suggestion.isNull())
        info.insert(VXLocalizedRecoverySuggestionKey, suggestion);
    return {VXErrorDomain, VXErrorGeneral, info};
}
