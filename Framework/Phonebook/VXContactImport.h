#pragma once

#include "VXCardReader.h"
#include "VXContactHistory.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <memory>
#include <optional>

class VXContactGroupImport;
class VXContactMatch;
struct VXKnownContact;
class VXContactWriter;
class VXManagedObjectContext;

/** What became, or would become, of one contact, or group, that was imported. */
struct VXImportedContact
{
    enum class Outcome { Added, Changed, Same, LeftOut };

    Outcome outcome = Outcome::Same;
    QString name = {};
    qint64 line = 0;           // of the file
    QStringList replaced = {}; // values that it had, and those of the file (VXReplacedValues)
};

/** What came of an import. Groups that are cards of their own count like contacts. */
struct VXContactImportReport
{
    qsizetype added = 0;
    qsizetype changed = 0;
    qsizetype same = 0;                     // were there already, just so
    qsizetype leftOut = 0;                  // could not be read
    QList<VXImportedContact> contacts = {}; // all but those that were the same
    QList<VXCardProblem> problems = {};
};

/**
 * Imports contacts into the store "phonebook". One that is there already (VXContactMatch) takes over what is new, and loses nothing but
 * single values that the file has otherwise, which are told; so that importing the same again changes nothing; cards of one import that have different UIDs are different contacts, and so are those without, unless they are equal. Of cards
 * with one UID the first counts, and what others have otherwise stands in the note; where the names are those of two people the UID is not counted, nor where the contact
 * that has it plainly is another person: no word of the name, number or address is the same. Contacts
 * are saved in portions, each contact as a whole: an import that is broken off can be repeated, and undone (VXContactHistory). One
 * imports, merges, undoes or syncs at a time, of whatever process (VXStoreWorkLock); others wait. Any thread.
 */
class VX_EXPORT VXContactImport
{
public:
    /** `title`: what people know the source by, as the name of the file. */
    VXContactImport(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &title);
    ~VXContactImport();
    VXContactImport(const VXContactImport &) = delete;
    VXContactImport &operator=(const VXContactImport &) = delete;

    /** Tells what an import would do, and changes nothing. */
    void setDryRun(bool flag) { _isDryRun = flag; }

    /** Asked before each save: when it says so, the import is broken off with VXErrorCancelled. */
    void setCancelCheck(const std::function<bool()> &check) { _isCancelled = check; }

    /** All cards of the reader, which another thread uses meanwhile. None, with an error, when the store cannot be read or saved; what was saved stays (reportSoFar). */
    std::optional<VXContactImportReport> run(VXCardReader &reader, VXError *error = nullptr);
    /** The same of contacts from elsewhere, as a phone. */
    std::optional<VXContactImportReport> run(const QList<VXContactRecord> &contacts, VXError *error = nullptr);
    /** What was saved, also of an import that failed or was broken off. */
    const VXContactImportReport &reportSoFar() const { return _report; }

private:
    using Source = std::function<std::optional<VXCard>()>;

    bool runFrom(const Source &source, VXError *error);
    bool importAll(const Source &source, VXError *error);
    bool importPortion(const QList<VXCard> &cards, VXError *error);
    bool importGroups(VXError *error);
    VXImportedContact importContact(const VXCard &card, VXContactMatch &match, VXContactWriter &writer,
                                    VXManagedObjectContext &context);
    void noteUIDs(const QList<VXContactRecord> &contacts);
    bool isUIDOfOther(const VXContactRecord &contact, const VXKnownContact &known) const;
    int likeness(const VXContactRecord &contact, size_t card, const VXKnownContact &known) const;
    void didMeet(const VXContactRecord &contact, size_t card, const VXKnownContact &known);
    void count(const VXImportedContact &contact);
    bool beginChangeSet(VXManagedObjectContext &context, VXError *error);
    bool save(VXManagedObjectContext &context, bool isChanged, VXError *error);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    const QString _title;
    bool _isDryRun = false;
    bool _isSaved = false; // the change set
    std::function<bool()> _isCancelled;
    std::optional<VXContactChangeSet> _changeSet; // once there is anything to change
    QHash<size_t, size_t> _metBy; // what a known contact's UID is met by, the UID of a card or its number; their hashes
    QSet<size_t> _uids;           // of the cards so far; their hashes
    QSet<size_t> _doubtfulUIDs;   // that cards of several people have; their hashes
    qsizetype _cardCount = 0;     // of those without a UID
    std::unique_ptr<VXContactGroupImport> _groups;
    // Of a dry run: all that would be there.
    std::unique_ptr<VXManagedObjectContext> _dryContext;
    std::unique_ptr<VXContactMatch> _dryMatch;
    VXContactImportReport _report;
};
