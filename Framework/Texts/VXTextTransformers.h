#pragma once

#include "VXDateText.h"
#include "VXFrameworkExport.h"
#include "VXValueTransformer.h"

/** Converts a date (QDateTime, QDate) to text (VXTextOfDate). Any thread, like everything here. */
class VX_EXPORT VXDateTransformer : public VXValueTransformer
{
public:
    explicit VXDateTransformer(VXDateStyle style) : _style(style) {}
    QVariant transformedValue(const QVariant &value) const override;

private:
    const VXDateStyle _style;
};

/** Converts seconds to "1 min 5 s" (VXTextOfDuration). */
class VX_EXPORT VXDurationTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/**
 * Converts a number to text with the user's separators and at most two decimals; and back, accepting the user's
 * notation.
 */
class VX_EXPORT VXNumberTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
    bool allowsReverseTransformation() const override { return true; }
    QVariant reverseTransformedValue(const QVariant &value) const override;
};

/** Converts a number of bytes to "1.5 MB". */
class VX_EXPORT VXByteCountTransformer : public VXValueTransformer
{
public:
    QVariant transformedValue(const QVariant &value) const override;
};

/**
 * Registers these transformers as "VXDateTransformer", "VXShortDateTransformer", "VXDayTransformer",
 * "VXDurationTransformer", "VXNumberTransformer" and "VXByteCountTransformer". Called by VXInitializeFramework.
 */
VX_EXPORT void VXRegisterTextTransformers();
