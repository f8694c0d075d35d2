#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"
#include "VXPredicate.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

class VXSmartFilter;
class VXSmartFilterRow;

using VXSmartFilterPtr = VXObjectRef<VXSmartFilter>;
using VXSmartFilterRowPtr = VXObjectRef<VXSmartFilterRow>;

/** One row of a smart filter (entity "VXSmartFilterRow"): a comparison, or a filter. */
class VX_EXPORT VXSmartFilterRow : public VXManagedObject
{
public:
    static const QString entityName; // "VXSmartFilterRow"

    /** Whether a row can express the comparison. */
    static bool canExpress(const VXPredicate &comparison);
    void setPredicate(const VXPredicate &comparison);
    /** Empty, with the reason, when the row makes no predicate. */
    [[nodiscard]] std::optional<VXPredicate> predicate(VXError *error = nullptr) const;

    VXSmartFilterPtr filter() const;
    /** The filter that stands for the row; null for a comparison. */
    VXSmartFilterPtr nestedFilter() const;

    QString attributeName() const;
    QString comparison() const;
    QString options() const;
    QVariant pattern() const;

protected:
    void willSave() override;
};
