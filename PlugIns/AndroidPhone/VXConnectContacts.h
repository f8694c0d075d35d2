#pragma once

#include "VXFileLock.h"
#include "VXMutex.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/**
 * The folder in which KDE Connect's daemon keeps a phone's contacts, one vCard each. The daemon fetches only cards that
 * it does not have, or knows to be out of date. So the existing cards are put aside before it is asked, and brought
 * back if it does not answer. From then on the reader has the folder to itself: two programs would put aside each
 * other's cards. Any thread; it may take some time.
 */
class VXConnectContacts
{
public:
    explicit VXConnectContacts(const QString &deviceID);

    /** Waits a while until nobody else is reading. @return why it cannot be done, for the user; null on success. */
    QString putAside();
    /** Puts back the cards that did not arrive again, including those that a killed program had put aside. Gives up the
     *  exclusive use of the folder. */
    void bringBack();
    /** Gives up the exclusive use of the folder: what has arrived is all there is. */
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
    const QString _aside; // where the whole folder is moved: a hidden one beside it
    VXMutex _mutex;
    bool _isOver VX_GUARDED_BY(_mutex) = false; // nothing is to be put aside any more
    std::unique_ptr<VXFileLock> _lock VX_GUARDED_BY(_mutex);
};
