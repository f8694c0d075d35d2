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

/** What became, or would become, of one imported contact or group. */
struct VXImportedContact
{
    enum class Outcome { Added, Changed, Same, LeftOut };

    Outcome outcome = Outcome::Same;
    QString name = {};
    qint64 line = 0;           // in the file
    QStringList replaced = {}; // values that were replaced, and those of the file (VXReplacedValues)
};

/** The result of an import. Groups that are cards of their own count like contacts. */
struct VXContactImportReport
{
    qsizetype added = 0;
    qsizetype changed = 0;
    qsizetype same = 0;                     // were there already with the same values
    qsizetype leftOut = 0;                  // could not be read
    QList<VXImportedContact> contacts = {}; // all except those with the outcome Same
    QList<VXCardProblem> problems = {};
};

/**
 * Imports contacts into the store "phonebook". A contact that is there already (VXContactMatch) takes over what is new,
 * and loses nothing except for single values that differ in the file, which are reported; so importing the same again
 * changes nothing. Cards of one import that have different UIDs are different contacts, and so are cards without UID,
 * unless they are equal. Of several cards with one UID the first counts, and differing values of the others are added
 * to the note. A UID is ignored where its cards have the names of two people, or where the contact that has it is
 * clearly another person: with no word of the name, number or address in common. Contacts are saved in portions, each
 * contact as a whole: an interrupted import can be repeated, and undone (VXContactHistory). Of all processes one at a
 * time imports, merges, undoes or syncs (VXStoreWorkLock); others wait. Any thread.
 */
class VX_EXPORT VXContactImport
{
public:
    /** `title`: the name of the source to show, such as the file's name. */
    VXContactImport(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &title);
    ~VXContactImport();
    VXContactImport(const VXContactImport &) = delete;
    VXContactImport &operator=(const VXContactImport &) = delete;

    /** Reports what an import would do, without changing anything. */
    void setDryRun(bool flag) { _isDryRun = flag; }

    /** Sets a check to call before each save: if it returns true, the import ends with VXErrorCancelled. */
    void setCancelCheck(const std::function<bool()> &check) { _isCancelled = check; }

    /** Imports all cards of the reader, which meanwhile is used by another thread. None, with an error, when the store
     *  cannot be read or saved; portions already saved remain (reportSoFar()). */
    std::optional<VXContactImportReport> run(VXCardReader &reader, VXError *error = nullptr);
    /** The same for contacts from elsewhere, such as a phone. */
    std::optional<VXContactImportReport> run(const QList<VXContactRecord> &contacts, VXError *error = nullptr);
    /** What was saved, even if the import failed or was interrupted. */
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
    bool _isSaved = false; // whether the change set is saved
    std::function<bool()> _isCancelled;
    std::optional<VXContactChangeSet> _changeSet; // made with the first change
    // which card a known contact was matched with: hash of the contact's UID to that of the card's UID or its number
    QHash<size_t, size_t> _metBy;
    QSet<size_t> _uids;         // hashes of the UIDs of the cards so far
    QSet<size_t> _doubtfulUIDs; // hashes of UIDs that cards of several people have
    qsizetype _cardCount = 0;   // cards without a UID
    std::unique_ptr<VXContactGroupImport> _groups;
    // For a dry run: everything that the import would add.
    std::unique_ptr<VXManagedObjectContext> _dryContext;
    std::unique_ptr<VXContactMatch> _dryMatch;
    VXContactImportReport _report;
};
