#pragma once

#include "VXColor.h"
#include "VXFrameworkExport.h"
#include "VXValueTransformer.h"

/** A text becomes the URL (QUrl) that it spells, and back; what spells none gives nothing. Any thread. */
class VX_EXPORT VXDeviceStringToURL : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    bool allowsReverseTransformation() const override;
    QVariant reverseTransformedValue(const QVariant &value) const override;
};

/**
 * The URL of a device, or of something inside one, as QUrl or text, becomes the device's name; its own identifier
 * when it cannot be made or has no name. Any thread, as VXDevicePlugin::deviceAtURL.
 */
class VX_EXPORT VXDeviceNameAtURL : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/** A device's own URL becomes the device (VXDevicePlugin *, held by the registry); back comes a value's path. */
class VX_EXPORT VXDeviceAtPath : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    bool allowsReverseTransformation() const override;
    QVariant reverseTransformedValue(const QVariant &value) const override;
};

/** Online is black, offline grey, and what is not known black (a VXColor). Any thread. */
class VX_EXPORT VXDeviceOnlineColor : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};
