#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/**
 * Converts one value to another, such as a stored value to what is shown. Transformers are found by name, so that views
 * can refer to them. Any thread may call the registry; transformers must be reentrant.
 */
class VX_PLATFORM_EXPORT VXValueTransformer
{
public:
    using Ptr = std::shared_ptr<const VXValueTransformer>;

    VXValueTransformer() = default;
    virtual ~VXValueTransformer();
    VXValueTransformer(const VXValueTransformer &) = delete;
    VXValueTransformer &operator=(const VXValueTransformer &) = delete;

    /** Invalid for a value that it cannot convert. */
    virtual QVariant transformedValue(const QVariant &value) const = 0;
    /** The reverse conversion, if `allowsReverseTransformation`; invalid otherwise. */
    virtual bool allowsReverseTransformation() const;
    virtual QVariant reverseTransformedValue(const QVariant &value) const;

    /** Registers a transformer, replacing an earlier one of that name, which its owners keep; null removes the name. */
    static void setValueTransformer(const QString &name, const Ptr &transformer);
    /** Null when there is none of that name. */
    [[nodiscard]] static Ptr valueTransformerForName(const QString &name);
    /** Sorted. */
    static QStringList names();
};
