#pragma once

#include "VXFoundObject.h"

#include <QtCore/QHash>
#include <QtCore/QString>

class VXSQLiteConnection;

/** What the parties of records are called: by the contacts of the index as they are called now. For one search. */
class VXPartyNames
{
public:
    explicit VXPartyNames(VXSQLiteConnection &connection) : _connection(connection) {}

    /** Makes its title of its parties, if it has some: what the contact is called now who has the number, else the recorded name,
     *  else the number as people write it. */
    void nameParties(VXFoundObject *object);

private:
    QString nameOf(const VXFoundParty &party);
    /** Null for a number that no contact has. */
    QString contactOf(const QString &number);

    VXSQLiteConnection &_connection;
    QHash<QString, QString> _contacts; // by number
};
