#include "VXDeviceTransformer.h"

#include "VXDevicePlugin.h"
#include "VXDeviceURL.h"
#include "VXKeyValueCoding.h"
#include "VXNone.h"

using namespace Qt::StringLiterals;

namespace {

QUrl urlOfText(const QVariant &value)
{
    const QString text = value.typeId() == QMetaType::QString ? value.toString() : QString();
    return text.isEmpty() ? QUrl() : QUrl(text, QUrl::StrictMode);
}

bool isURL(const QVariant &value)
{
    return value.typeId() == QMetaType::QUrl && !value.toUrl().isEmpty();
}

} // namespace

// -- VXDeviceStringToURL

QVariant VXDeviceStringToURL::transformedValue(const QVariant &value) const
{
    const QUrl url = urlOfText(value);
    return url.isValid() ? QVariant(url) : QVariant();
}

bool VXDeviceStringToURL::allowsReverseTransformation() const
{
    return true;
}

QVariant VXDeviceStringToURL::reverseTransformedValue(const QVariant &value) const
{
    return isURL(value) ? QVariant(VXAbsoluteString(value.toUrl())) : QVariant();
}

// -- VXDeviceNameAtURL

QVariant VXDeviceNameAtURL::transformedValue(const QVariant &value) const
{
    const QUrl url = VXGetDeviceURLFromURL(isURL(value) ? value.toUrl() : urlOfText(value));
    if (!url.isValid())
        return {};
    const VXDevicePlugin::Ptr device = VXDevicePlugin::deviceAtURL(url);
    if (const QString name = device ? device->name() : QString(); !name.isNull())
        return name;
    const QString identifier = VXDeviceURLComponent(url, 1);
    const QString last = identifier.isNull() ? VXDeviceURLComponent(url, 0) : identifier;
    return last.isNull() ? QVariant() : QVariant(last);
}

// -- VXDeviceAtPath

QVariant VXDeviceAtPath::transformedValue(const QVariant &value) const
{
    const VXDevicePlugin::Ptr device = isURL(value) ? VXDevicePlugin::deviceAtURL(value.toUrl()) : nullptr;
    return device ? QVariant::fromValue(device.get()) : QVariant();
}

bool VXDeviceAtPath::allowsReverseTransformation() const
{
    return true;
}

QVariant VXDeviceAtPath::reverseTransformedValue(const QVariant &value) const
{
    return isURL(value) ? QVariant(value.toUrl().path()) : VXValueForKey(value, u"path"_s);
}

// -- VXDeviceOnlineColor

QVariant VXDeviceOnlineColor::transformedValue(const QVariant &value) const
{
    const bool isOnline = VXIsNone(value) || value.toBool();
    return QVariant::fromValue(isOnline ? VXColor{u"black"_s, 0x000000} : VXColor{u"gray"_s, 0x808080});
}
