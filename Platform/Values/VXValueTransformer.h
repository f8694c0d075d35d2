#pragma once

#include "VXPlatformExport.h"

#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/**
 * Turns one value into another, as a stored one into what is shown. Transformers are found by name, so that views can
 * name the one they use. Any thread may call the registry; transformers must be reentrant.
 */
class VX_PLATFORM_EXPORT VXValueTransformer
{
public:
    using Ptr = std::shared_ptr<const VXValueTransformer>;

    VXValueTransformer() = default;
    virtual ~VXValueTransformer();
    VXValueTransformer(const VXValueTransformer &) = delete;
    VXValueTransformer &operator=(const VXValueTransformer &) = delete;

    /** Invalid for a value that it knows nothing to make of. */
    virtual QVariant transformedValue(const QVariant &value) const = 0;
    /** The way back, where `allowsReverseTransformation`; invalid otherwise. */
    virtual bool allowsReverseTransformation() const;
    virtual QVariant reverseTransformedValue(const QVariant &value) const;

    /** Registers a transformer in place of an earlier one of that name, which lives on with those who hold it; null
     *  removes the name. */
    static void setValueTransformer(const QString &name, const Ptr &transformer);
    /** Null when there is none of that name. */
    [[nodiscard]] static Ptr valueTransformerForName(const QString &name);
    /** Sorted. */
    static QStringList names();
};
