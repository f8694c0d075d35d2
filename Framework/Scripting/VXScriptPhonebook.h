#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QStringList>
#include <QtCore/QVariantMap>

/** What scripts ask of the phonebook. Main thread only. */
class VX_EXPORT VXScriptPhonebook
{
public:
    /** The keys of VXScriptPhonebookEntry for a phonebook string, which need not be known to anybody. */
    static QVariantMap entry(const QString &phonebookString);
    /** The contact behind a phonebook string, or a bare number or address: as records have it, with "phonebookString" and
     *  "displayString". Empty when nobody knows it. */
    static QVariantMap lookUp(const QString &phonebookString);
    /** Phonebook strings that what was typed may become, at most `limit`, of the properties in the mask (VXPhonebookProperty). */
    static QStringList complete(const QString &typed, unsigned properties, unsigned limit);
    /** The phonebook strings of the contacts' numbers, then of their e-mail addresses, at most `limit`, sorted. */
    static QStringList list(unsigned limit);

    VXScriptPhonebook() = delete;
};
