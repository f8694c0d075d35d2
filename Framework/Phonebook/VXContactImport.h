#pragma once

#include "VXCardReader.h"
#include "VXContactHistory.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXPersistentStoreCoordinator.h"

#include <QtCore/QList>
#include <QtCore/QString>

#include <functional>
#include <optional>

class VXContactMatch;
class VXContactWriter;
class VXManagedObjectContext;

/** What became, or would become, of one contact that was imported. */
struct VXImportedContact
{
    enum class Outcome { Added, Changed, Same, LeftOut };

    Outcome outcome = Outcome::Same;
    QString name = {};
    qint64 line = 0; // of the file
};

/** What came of an import. */
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
 * Imports contacts into the store "phonebook". One that is there already (VXContactMatch) takes over what is new and loses nothing,
 * so that importing the same again changes nothing. Contacts are saved in portions, each contact as a whole: an import
 * that is broken off can be repeated, and undone (VXContactHistory). Any thread.
 */
class VX_EXPORT VXContactImport
{
public:
    /** `title`: what people know the source by, as the name of the file. */
    VXContactImport(const VXPersistentStoreCoordinator::Ptr &coordinator, const QString &title)
        : _coordinator(coordinator), _title(title)
    {
    }

    /** Tells what an import would do, and changes nothing. */
    void setDryRun(bool flag) { _isDryRun = flag; }

    /** All cards of the reader. None, with an error, when the store cannot be read or saved; what was saved stays. */
    std::optional<VXContactImportReport> run(VXCardReader &reader, VXError *error = nullptr);
    /** The same of contacts from elsewhere, as a phone. */
    std::optional<VXContactImportReport> run(const QList<VXContactRecord> &contacts, VXError *error = nullptr);

private:
    using Source = std::function<std::optional<VXCard>()>;

    bool runFrom(const Source &source, VXError *error);
    bool importPortion(const QList<VXCard> &cards, VXError *error);
    VXImportedContact::Outcome importContact(const VXContactRecord &contact, VXContactMatch &match,
                                             VXContactWriter &writer, VXManagedObjectContext &context);
    void count(const VXCard &card, VXImportedContact::Outcome outcome);
    bool beginChangeSet(VXError *error);

    const VXPersistentStoreCoordinator::Ptr _coordinator;
    const QString _title;
    bool _isDryRun = false;
    std::optional<VXContactChangeSet> _changeSet; // once there is anything to change
    QList<VXContactRecord> _wouldBeThere;         // of a dry run, without pictures
    VXContactImportReport _report;
};
