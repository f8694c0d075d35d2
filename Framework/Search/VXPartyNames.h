#pragma once

#include "VXFoundObject.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <utility>

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
    QString nameOf(const VXFoundParty &party);
    /** Null for an address that no contact has; of several one is preferred that is called as was recorded. */
    QString contactOf(const QString &address, const QString &recordedName);

    VXSQLiteConnection &_connection;
    QHash<std::pair<QString, QString>, QString> _contacts; // by address and recorded name
};
