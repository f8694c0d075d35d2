#include "VXDeviceNamed.h"

#include "VXDevicePlugin.h"
#include "VXDeviceTransformer.h"
#include "VXDeviceURL.h"
#include "VXHostOutput.h"
#include "VXNearestWord.h"

using namespace Qt::StringLiterals;

namespace {

// What a device can be called besides its URL: its identifier, and its name.
QStringList namesOf(const QUrl &url)
{
    return {VXDeviceURLComponent(url, 1), VXDeviceNameAtURL().transformedValue(url).toString()};
}

// All devices that may be meant.
QList<QUrl> devicesNamed(const QString &text)
{
    const QList<QUrl> known = VXDevicePlugin::deviceURLs().value_or(QList<QUrl>());
    if (const QUrl url = VXGetDeviceURLFromURL(QUrl(text)); known.contains(url))
        return {url};
    QList<QUrl> named = known;
    named.removeIf([&](const QUrl &url) { return !namesOf(url).contains(text, Qt::CaseInsensitive); });
    return named;
}

} // namespace

QUrl VXDeviceNamed(VXHostContext &context, const QString &text)
{
    const QList<QUrl> named = devicesNamed(text);
    if (named.size() == 1)
        return named.first();
    if (named.size() > 1) {
        context.output.fail(
            u"\"%1\" is the name of %2 devices; \"vornix devices list\" shows their URLs"_s.arg(text).arg(
                named.size()));
        return {};
    }
    QStringList names;
    for (const QUrl &url : VXDevicePlugin::deviceURLs().value_or(QList<QUrl>()))
        names += namesOf(url);
    context.output.fail(u"there is no device \"%1\"%2; \"vornix devices list\" shows those there are"_s.arg(
        text, VXDidYouMean(text, names)));
    return {};
}

QUrl VXDeviceWithName(const QString &text)
{
    const QList<QUrl> named = devicesNamed(text);
    return named.size() == 1 ? named.first() : QUrl();
}
