#pragma once

#include "VXFileDescriptor.h"
#include "VXFileLock.h"
#include "VXMutex.h"

#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <memory>

/**
 * The folder in which KDE Connect's daemon keeps a phone's contacts, one vCard each. The daemon fetches only cards that
 * it does not have, or knows to be out of date. So the existing cards are put aside before it is asked, and brought
 * back if it does not answer. From then on the reader has the folder to itself: two programs would put aside each
 * other's cards. Cards can be read while others still arrive. Any thread; it may take some time.
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
        bool isAny = false;  // a portion, or the rest, was read
        bool isLast = false; // of all
    };
    /** Reads the next portion, each card once: of those that have arrived, once they are that many, or with `areAllThere`
     *  of everything in the folder. One thread at a time. */
    Cards next(bool areAllThere);

private:
    void watch();
    void noteArrivals();
    void noteAll();
    void returnAll() const;
    void note(const QString &name);
    void read(const QString &name, Cards &cards) const;

    const QString _folder;
    const QString _aside; // where the whole folder is moved: a hidden one beside it
    VXMutex _mutex;
    bool _isOver VX_GUARDED_BY(_mutex) = false; // nothing is to be put aside any more
    std::unique_ptr<VXFileLock> _lock VX_GUARDED_BY(_mutex);

    // for the one who reads
    VXFileDescriptor _arrivals; // names of cards that were written; not open: they are known only in the end
    QStringList _left;          // names of cards to be read
    QSet<QString> _known;       // those, and the ones that were read
    bool _isAllKnown = false;
};
