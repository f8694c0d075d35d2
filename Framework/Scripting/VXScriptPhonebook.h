#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

/** The phonebook for scripts. Main thread only. */
class VX_EXPORT VXScriptPhonebook
{
public:
    /** The keys of VXScriptPhonebookEntry for a phonebook string, which need not be in the phonebook. */
    static QVariantMap entry(const QString &phonebookString);
    /** The contact for a phonebook string, or for a number or address alone: in the form of records, with
     *  "phonebookString" and "displayString". Empty when there is none. */
    static QVariantMap lookUp(const QString &phonebookString);
    /** Phonebook strings that complete what was typed, at most `limit`, among the properties in the mask
     *  (VXPhonebookProperty). */
    static QStringList complete(const QString &typed, unsigned properties, unsigned limit);
    /** The phonebook strings of contacts' numbers, then of their e-mail addresses, at most `limit`, sorted. */
    static QStringList list(unsigned limit);

    VXScriptPhonebook() = delete;
};
