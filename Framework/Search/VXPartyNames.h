#pragma once

#include "VXAddressScore.h"
#include "VXFoundObject.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QString>

class VXSQLiteConnection;

/**
 * Names the parties of records (messages, calls) by the present names of the contacts in the index. To be used for one
 * search.
 */
class VXPartyNames
{
public:
    explicit VXPartyNames(VXSQLiteConnection &connection) : _connection(connection) {}

    /** Makes its title of its parties, if it has some: what the contact is called now who has the address, else the recorded name,
     *  else the address, a number as people write it. */
    void nameParties(VXFoundObject *object);

private:
    /** An address of a contact. */
    struct Candidate
    {
        QString name;
        VXAddressTraits traits;
        double known;
    };

    QString nameOf(const VXFoundParty &party);
    /** The name of the contact that a look-up finds (VXAddressScore); empty if none has the address, or it has no name. */
    QString contactOf(const VXFoundParty &party);
    QList<Candidate> candidatesFor(const QString &key);

    VXSQLiteConnection &_connection;
    QHash<QString, QList<Candidate>> _candidates; // by VXSearchEntries::keyOf, in the order in which they were added
};
