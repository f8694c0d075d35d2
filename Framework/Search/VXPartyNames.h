#pragma once

#include "VXFoundObject.h"

#include <QtCore/QHash>
#include <QtCore/QString>

class VXSQLiteConnection;

/** What the bare numbers of records are called: by the contacts of the index as they are called now. For one search. */
class VXPartyNames
{
public:
    explicit VXPartyNames(VXSQLiteConnection &connection) : _connection(connection) {}

    /** Puts names in the place of the bare numbers in its title, which is a list of parties. */
    void nameParties(VXFoundObject *object);

private:
    QString nameOf(const QString &number);

    VXSQLiteConnection &_connection;
    QHash<QString, QString> _names; // by number
};
