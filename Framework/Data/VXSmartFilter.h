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
 * joined by all, any or none; a row may be a filter itself. A predicate that rows cannot express is kept as its text.
 * Without rows and text it lets everything pass. Lives in its context, as every managed object.
 */
class VX_EXPORT VXSmartFilter : public VXManagedObject
{
public:
    static const QString entityName; // "VXSmartFilter"

    QString name() const;
    void setName(const QString &name);

    /** All, unless the stored name is known. */
    VXFilterMatching matching() const;
    void setMatching(VXFilterMatching matching);

    /** In order. */
    QList<VXSmartFilterRowPtr> rows() const;
    /**
     * A new row behind the others: `operator` as predicates write it ("==", "CONTAINS", "IN", ...), texts compared as
     * `options` ("c", "d", "cd" or null) tell. The pattern is a list of values for IN and of two for BETWEEN, invalid
     * for none.
     */
    VXSmartFilterRowPtr addRow(const QString &attribute, const QString &comparison, const QVariant &pattern,
                               const QString &options = QStringLiteral("cd"));
    /** A new row that is a filter of its own. */
    VXSmartFilterPtr addFilter(VXFilterMatching matching);
    /** Deletes the rows with all below them, and forgets the text. */
    void removeAllRows();

    /**
     * For one object and for fetches alike. Empty, with the reason, when none can be made: an unknown operator, a
     * pattern that is none, a text that is no predicate.
     */
    [[nodiscard]] std::optional<VXPredicate> predicate(VXError *error = nullptr) const;
    /** Takes rows that say the same in place of those there are. False: there are none, and the text is kept. */
    bool setPredicate(const VXPredicate &predicate);
    /** Why there is no predicate; null when there is one. */
    VXError problem() const;

    /** Answers "predicate" too: a VXPredicate, invalid when none can be made. */
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
    /** And those of the filters around it. */
    void updatePredicateTexts();
};
