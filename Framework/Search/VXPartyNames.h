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

    /** Makes the object's title of its parties, if it has any: the present name of the contact who has the number, else
     *  the recorded name, else the number in readable form. */
    void nameParties(VXFoundObject *object);

private:
    QString nameOf(const VXFoundParty &party);
    /** Null for a number that no contact has. If several have it, one whose name is the recorded one is preferred. */
    QString contactOf(const QString &number, const QString &recordedName);

    VXSQLiteConnection &_connection;
    QHash<std::pair<QString, QString>, QString> _contacts; // by number and recorded name
};
