#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXFetchResult;
class VXManagedObjectContext;
struct VXAddressTraits;

/** An entry that a number or address may belong to, with its ranking. */
struct VXContactCandidate
{
    VXManagedObjectPtr entry; // a number or an e-mail address
    double score = 0;         // VXAddressScore
    QStringList reasons = {}; // what contributes to the score, in the user's language
};

/**
 * Looks up numbers and addresses in the store "phonebook": each look-up is one fetch by the index on their search
 * texts, which must be equal, and a few more if several contacts have them, however many. On the thread of the context.
 */
class VX_EXPORT VXContactLookup
{
public:
    explicit VXContactLookup(VXManagedObjectContext &context) : _context(context) {}

    /** The candidates, best first. Preferred are, in this order, those with the name (null for none), the same country,
     *  and the type mask; one whose number is of another country comes last (VXAddressScore). Empty, with an error, on failure. */
    QList<VXContactCandidate> forPhoneNumber(const QString &number, unsigned type, const QString &nameHint,
                                             VXError *error = nullptr) const;
    QList<VXContactCandidate> forEmailAddress(const QString &address, unsigned type, const QString &nameHint,
                                              VXError *error = nullptr) const;
    /** The person of that name, ignoring case and diacritics; of several the one about whom most is known. Null for
     *  none. */
    VXManagedObjectPtr forName(const QString &name, VXError *error = nullptr) const;
    /** All persons of that name, in the order in which they were added. */
    QList<VXManagedObjectPtr> allForName(const QString &name, VXError *error = nullptr) const;
    /** The best candidate; null for none. */
    static VXManagedObjectPtr best(const QList<VXContactCandidate> &candidates);

private:
    QList<VXContactCandidate> find(const QString &entity, const QString &search, const VXAddressTraits &lookedUp,
                                   VXError *error) const;
    std::optional<VXFetchResult> readPersons(const VXFetchResult &entries, VXError *error) const;

    VXManagedObjectContext &_context;
};
