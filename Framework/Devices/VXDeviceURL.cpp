#include "VXDeviceURL.h"

#include "VXDiagnostics.h"

#include <QtCore/QStringList>

using namespace Qt::StringLiterals;

const QString VXDeviceURLScheme = u"vxdevice"_s;

namespace {

// An empty component adds nothing.
void appendPathComponent(QString &path, const QString &component)
{
    if (component.isEmpty())
        return;
    if (!path.endsWith(u'/'))
        path += u'/';
    path += QString::fromLatin1(QUrl::toPercentEncoding(component, "!$&'()*+,;=:@"));
}

QUrl makeURL(const QString &scheme, const QString &host, const QString &first, const QString &second)
{
    QString path = u"/"_s;
    if (!first.isNull()) {
        appendPathComponent(path, first);
        appendPathComponent(path, second);
    }
    QUrl url;
    url.setScheme(scheme);
    url.setHost(host);
    if (!url.isValid())
        return {};                       // setting the path would discard the error
    url.setPath(path, QUrl::StrictMode); // already encoded
    return url;
}

} // namespace

QUrl VXMakeDeviceURL(const QString &host, const QString &pluginIdentifier, const QString &deviceIdentifier)
{
    return makeURL(VXDeviceURLScheme, host.isNull() ? u"localhost"_s : host, pluginIdentifier, deviceIdentifier);
}

QUrl VXGetDeviceURLFromURL(const QUrl &url)
{
    if (url.isEmpty())
        return {};
    return makeURL(url.scheme(), url.host(), VXDeviceURLComponent(url, 0), VXDeviceURLComponent(url, 1));
}

QString VXMakeDevicePreferenceKey(const QUrl &url, const QString &key)
{
    return VXDescription(VXDeviceURLComponent(url, 0)) + u'.' + VXDescription(VXDeviceURLComponent(url, 1)) + u'.' +
           VXDescription(key);
}

QString VXDeviceURLComponent(const QUrl &url, qsizetype index)
{
    // Split before decoding: an encoded "/" belongs to its component.
    const QString path = url.path(QUrl::FullyEncoded);
    const QList<QStringView> components = QStringView(path).split(u'/', Qt::SkipEmptyParts);
    return index < components.size() ? QUrl::fromPercentEncoding(components[index].toLatin1()) : QString();
}

QString VXAbsoluteString(const QUrl &url)
{
    return url.toString(QUrl::FullyEncoded);
}
