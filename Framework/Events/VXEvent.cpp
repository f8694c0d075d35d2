#include "VXEvent.h"

#include "VXNotificationCenter.h"

using namespace Qt::StringLiterals;

namespace {

const QString nameKey = u"event_name"_s;
const QString subtypeKey = u"event_message"_s;

} // namespace

VXEvent VXEvent::fromNotification(const VXNotification &notification)
{
    return {.name = notification.userInfo.value(nameKey).toString(),
            .subtype = notification.userInfo.value(subtypeKey).toString(),
            .object = notification.object};
}

QVariantMap VXEvent::announcement() const
{
    QVariantMap userInfo{{nameKey, name}};
    if (!subtype.isNull())
        userInfo.insert(subtypeKey, subtype);
    return userInfo;
}
