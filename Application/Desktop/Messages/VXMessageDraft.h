#pragma once

#include <QtCore/QString>

/**
 * A message that is not finished, as the preferences keep it: one for each conversation, and any number of new ones,
 * whose receivers are kept too. A value type; what reads and writes is for the main thread.
 */
struct VXMessageDraft
{
    QString text = {};
    QString receivers = {}; // packed phonebook strings; null where the key tells who it is for
    QString typed = {};     // the beginning of one more

    /** The key of the draft to somebody, in the conversation with them. */
    static QString keyForParty(const QString &party);
    /** The key of a new message to these (packed phonebook strings); without any that of the first one that is not
     *  finished. A key not used yet if there is none. */
    static QString keyForNew(const QString &receivers);
    /** A key that no draft has. */
    static QString unusedKey();

    /** Empty if there is none. */
    static VXMessageDraft read(const QString &key);
    /** An empty one is removed. */
    void keep(const QString &key) const;
};
