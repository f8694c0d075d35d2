#pragma once

#include "VXDateText.h"
#include "VXFrameworkExport.h"
#include "VXValueTransformer.h"

/** A date (QDateTime, QDate) becomes what people say (VXTextOfDate). Any thread, as all here. */
class VX_EXPORT VXDateTransformer : public VXValueTransformer
{
public:
    explicit VXDateTransformer(VXDateStyle style) : _style(style) {}
    QVariant transformedValue(const QVariant &value) const override;

private:
    const VXDateStyle _style;
};

/** Seconds become "1 min 5 s" (VXTextOfDuration). */
class VX_EXPORT VXDurationTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/** A number becomes text with the user's separators, at most two decimals; and back, from what the user may write so. */
class VX_EXPORT VXNumberTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    bool allowsReverseTransformation() const override { return true; }
    QVariant reverseTransformedValue(const QVariant &value) const override;
};

/** A count of bytes becomes "1.5 MB". */
class VX_EXPORT VXByteCountTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/** Registers them by name: "VXDateTransformer", "VXShortDateTransformer", "VXDayTransformer", "VXDurationTransformer",
 *  "VXNumberTransformer" and "VXByteCountTransformer". Done by VXInitializeFramework. */
VX_EXPORT void VXRegisterTextTransformers();
