#pragma once

#include "VXCardReader.h"
#include "VXContactHistory.h"
#include "VXContactImport.h"
#include "VXError.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

class VXManagedObjectContext;

/**
 * Puts contacts into the groups that a file keeps as cards of their own, each with the UIDs of its members; who is in a group
 * within a group is in both, as far as `deepest` groups within each other. Comes behind the contacts, for a card may name members that stand below it. On one thread.
 */
class VXContactGroupImport
{
public:
    static constexpr int deepest = 8; // in a ring each would have the members of all

    void addGroup(const VXCard &group);
    /** The UID under which a contact of the file is kept, where that is not the card's own. */
    void addAlias(const QString &cardUID, const QString &keptUID) { _aliases.insert(plainUID(cardUID), keptUID); }

    bool isEmpty() const { return _groups.isEmpty(); }
    const QList<VXCard> &groups() const { return _groups; }

    /** In a context that the caller saves. Without a change set only tells. @return what becomes of each; none, with an error,
     * when the store cannot be read. Members that are not there are added to the problems. */
    std::optional<QList<VXImportedContact::Outcome>> run(VXManagedObjectContext &context,
                                                         const std::optional<VXContactChangeSet> &changeSet,
                                                         QList<VXCardProblem> *problems, VXError *error) const;

private:
    static QString plainUID(const QString &uid);
    QSet<QString> membersOf(qsizetype group) const;

    QList<VXCard> _groups;
    QHash<QString, qsizetype> _places; // of these, by plain UID
    QHash<QString, QString> _aliases;  // by plain UID
};
