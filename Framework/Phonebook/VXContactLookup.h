#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXManagedObject.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

class VXManagedObjectContext;

/** An entry that a number or address may stand for, and why it is or is not the best. */
struct VXContactCandidate
{
    VXManagedObjectPtr entry; // a number or an e-mail address
    double score = 0;         // the highest is the best; of equal ones the one that was there first
    QStringList reasons = {}; // what the score is made of, for people
};

/**
 * Looks numbers and addresses up in the store "phonebook": each look-up is one fetch by the index on their search texts, which
 * must be equal. On the thread of the context.
 */
class VX_EXPORT VXContactLookup
{
public:
    explicit VXContactLookup(VXManagedObjectContext &context) : _context(context) {}

    /** The best first. Name (null for none), the same country and type mask, in this order, prefer one of several; one that has
     *  the number in another country is behind all others. Empty, with an error, on failure. */
    QList<VXContactCandidate> forPhoneNumber(const QString &number, unsigned type, const QString &nameHint,
                                             VXError *error = nullptr) const;
    QList<VXContactCandidate> forEmailAddress(const QString &address, unsigned type, const QString &nameHint,
                                              VXError *error = nullptr) const;
    /** The person whom people call that, case and diacritics overlooked; of several the one of whom most is known. Null for
     * none. */
    VXManagedObjectPtr forName(const QString &name, VXError *error = nullptr) const;
    /** All of them, in the order they were made. */
    QList<VXManagedObjectPtr> allForName(const QString &name, VXError *error = nullptr) const;
    /** The best of them; null for none. */
    static VXManagedObjectPtr best(const QList<VXContactCandidate> &candidates);

private:
    QList<VXContactCandidate> find(const QString &entity, const QString &search, const QString &abroad, unsigned type,
                                   const QString &nameHint, VXError *error) const;

    VXManagedObjectContext &_context;
};
