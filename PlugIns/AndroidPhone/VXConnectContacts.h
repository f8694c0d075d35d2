#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

/**
 * The folder in which KDE Connect's daemon keeps a phone's contacts, a vCard each. It fetches only cards that it has not, or knows
 * to be older; so those that are there are put aside before it is asked, and come back when it does not answer. On one thread
 * at a time.
 */
class VXConnectContacts
{
public:
    explicit VXConnectContacts(const QString &deviceID);

    void putAside() const;
    /** Those that did not come anew take their places again. */
    void bringBack() const;
    void forget() const;

    struct Cards
    {
        QVariantList items; // contacts, as "read_contacts" gives them
        QStringList problems;
    };
    /** What lies in the folder now. */
    Cards read() const;

private:
    const QString _folder;
};
