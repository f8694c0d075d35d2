#pragma once

#include "VXFileLock.h"
#include "VXMutex.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/**
 * The folder in which KDE Connect's daemon keeps a phone's contacts, a vCard each. It fetches only cards that it has not, or knows
 * to be older; so those that are there are put aside before it is asked, and come back when it does not answer. Whoever reads
 * is alone with the folder from then on: two programs would put aside each other's cards. Any thread; it may take its time.
 */
class VXConnectContacts
{
public:
    explicit VXConnectContacts(const QString &deviceID);

    /** Waits a while until nobody else reads. @return why it cannot be done, for the user; null when it is. */
    QString putAside();
    /** Those that did not come anew take their places again, also those that a killed program had put aside. Ends being alone. */
    void bringBack();
    /** Ends being alone: what came is what there is. */
    void forget();

    struct Cards
    {
        QVariantList items = {}; // contacts, as "read_contacts" gives them
        QStringList problems = {};
    };
    /** What lies in the folder now. */
    QStringList names() const;
    /** These of it. */
    Cards read(const QStringList &names) const;

private:
    void returnAll() const;

    const QString _folder;
    const QString _aside; // hidden beside it, whole
    VXMutex _mutex;
    bool _isOver VX_GUARDED_BY(_mutex) = false; // nothing is to be put aside any more
    std::unique_ptr<VXFileLock> _lock VX_GUARDED_BY(_mutex);
};
