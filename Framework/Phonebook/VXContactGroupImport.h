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
 * Puts contacts into the groups that a file keeps as cards of their own with the UIDs of their members. The members of
 * a group within a group belong to both, up to `deepest` levels. Runs after the import of the contacts, since a card
 * may name members that come after it. On one thread.
 */
class VXContactGroupImport
{
public:
    static constexpr int deepest = 8; // a limit, as in a ring of groups each would have the members of all

    void addGroup(const VXCard &group);
    /** Says under which UID a contact of the file is stored, if that is not the card's own. */
    void addAlias(const QString &cardUID, const QString &keptUID) { _aliases.insert(plainUID(cardUID), keptUID); }

    bool isEmpty() const { return _groups.isEmpty(); }
    const QList<VXCard> &groups() const { return _groups; }

    /** Runs in a context that the caller saves. Without a change set, only reports. @return what becomes of each group;
     *  none, with an error, when the store cannot be read. Missing members are added to the problems. */
    std::optional<QList<VXImportedContact::Outcome>> run(VXManagedObjectContext &context,
                                                         const std::optional<VXContactChangeSet> &changeSet,
                                                         QList<VXCardProblem> *problems, VXError *error) const;

private:
    static QString plainUID(const QString &uid);
    QSet<QString> membersOf(qsizetype group) const;

    QList<VXCard> _groups;
    QHash<QString, qsizetype> _places; // index into _groups, by plain UID
    QHash<QString, QString> _aliases;  // by plain UID
};
