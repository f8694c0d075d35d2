#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"
#include "VXPredicate.h"
#include "VXSmartFilterRow.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <optional>

/** How the rows of a smart filter are joined; stored by name, "all", "any" or "none". */
enum class VXFilterMatching { All, Any, None };

/**
 * A stored condition (entity "VXSmartFilter" of the model "smart-filters"): rows of attribute, operator and pattern,
 * joined by all, any or none; a row may be a filter itself. A predicate that rows cannot express is kept as text.
 * Without rows and text everything passes. Lives in its context, like every managed object.
 */
class VX_EXPORT VXSmartFilter : public VXManagedObject
{
public:
    static const QString entityName; // "VXSmartFilter"

    QString name() const;
    void setName(const QString &name);

    /** All, unless the stored name is a known one. */
    VXFilterMatching matching() const;
    void setMatching(VXFilterMatching matching);

    /** In order. */
    QList<VXSmartFilterRowPtr> rows() const;
    /**
     * Appends a row. `comparison` is the operator as predicates write it ("==", "CONTAINS", "IN", ...); `options` ("c",
     * "d", "cd" or null) says how texts are compared. The pattern is a list of values for IN, a list of two for
     * BETWEEN, and invalid for none.
     */
    VXSmartFilterRowPtr addRow(const QString &attribute, const QString &comparison, const QVariant &pattern,
                               const QString &options = QStringLiteral("cd"));
    /** Appends a row that is a filter itself. */
    VXSmartFilterPtr addFilter(VXFilterMatching matching);
    /** Deletes the rows with everything below them, and clears the text. */
    void removeAllRows();

    /**
     * The predicate, for single objects and for fetches. Empty, with the reason, when none can be made: an unknown
     * operator, an invalid pattern, a text that is no predicate.
     */
    [[nodiscard]] std::optional<VXPredicate> predicate(VXError *error = nullptr) const;
    /** Replaces the rows by rows that express the predicate. False when rows cannot express it: then there are no rows,
     *  and the text is kept. */
    bool setPredicate(const VXPredicate &predicate);
    /** Why there is no predicate; null when there is one. */
    VXError problem() const;

    /** Also supports the key "predicate": a VXPredicate, invalid when none can be made. */
    QVariant valueForKey(const QString &key) const override;

protected:
    void willSave() override;

private:
    friend class VXSmartFilterRow;

    QString predicateText() const;
    VXSmartFilterRowPtr addRow();
    void addPart(const VXPredicate &predicate);
    void fill(const VXPredicate &predicate);
    std::optional<VXPredicate> predicateOfRows(int depth, VXError *error) const;
    void updatePredicateText();
    /** Also updates those of the enclosing filters. */
    void updatePredicateTexts();
};
