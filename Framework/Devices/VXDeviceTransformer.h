#pragma once

#include "VXColor.h"
#include "VXFrameworkExport.h"
#include "VXValueTransformer.h"

/** Converts a text to the URL (QUrl) that it spells, and back; gives nothing for a text that is no URL. Any thread. */
class VX_EXPORT VXDeviceStringToURL : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    bool allowsReverseTransformation() const override;
    QVariant reverseTransformedValue(const QVariant &value) const override;
};

/**
 * Converts the URL of a device, or of something inside one, as QUrl or text, to the device's name; to the device
 * identifier in the URL if the device cannot be made or has no name. Any thread, like VXDevicePlugin::deviceAtURL.
 */
class VX_EXPORT VXDeviceNameAtURL : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/**
 * Converts a device's own URL to the device (VXDevicePlugin *, owned by the registry); in reverse, a value to its path.
 */
class VX_EXPORT VXDeviceAtPath : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    bool allowsReverseTransformation() const override;
    QVariant reverseTransformedValue(const QVariant &value) const override;
};

/** A VXColor for the online state: black for online, grey for offline, black when unknown. Any thread. */
class VX_EXPORT VXDeviceOnlineColor : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};
