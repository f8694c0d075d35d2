#include "VXFoundObject.h"

#include "VXDateText.h"
#include "VXFramework.h"
#include "VXURLStrings.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrlQuery>

using namespace Qt::StringLiterals;

QString VXFoundCall::text() const
{
    const QString kind = way == Way::Missed ? VXLocalizedString(u"Missed call"_s)
                         : way == Way::In   ? VXLocalizedString(u"Incoming call"_s)
                                            : VXLocalizedString(u"Outgoing call"_s);
    return seconds > 0 ? kind + u" · "_s + VXTextOfDuration(double(seconds)) : kind;
}

QUrl VXFoundObject::uri() const
{
    return QUrl(u"x-coredata://"_s + place);
}

QUrl VXFoundObject::url() const
{
    const QStringList parts = place.split(u'/');
    return VXMakePhonebookURL(parts.value(0), parts.value(1), parts.value(2));
}

QUrl VXFoundObject::uriForURL(const QUrl &url)
{
    static const QRegularExpression object(u"^/[^/]+/p[0-9]+$"_s);
    if (url.scheme() != "vxbook"_L1 || url.host() == "localhost"_L1 || !object.match(url.path()).hasMatch())
        return {};
    return QUrl(u"x-coredata://"_s + url.host() + url.path());
}

QUrl VXFoundObject::searchURL(const QString &words)
{
    return QUrl("vxbook://search?words="_L1 + QString::fromLatin1(QUrl::toPercentEncoding(words)));
}

QString VXFoundObject::wordsInURL(const QUrl &url)
{
    const bool isSearch = url.scheme() == "vxbook"_L1 && url.host() == "search"_L1 && url.path().isEmpty();
    return isSearch ? QUrlQuery(url).queryItemValue(u"words"_s, QUrl::FullyDecoded) : QString();
}
