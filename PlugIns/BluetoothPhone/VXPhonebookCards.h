#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/** The contents of a file of vCards from a phone, in the form of the results of actions. */
struct VXPhonebookCards
{
    QVariantList items = {};
    QStringList problems = {};
    QString ownNumber = {}; // of contacts: the phone's; null for none
};

/**
 * Contacts, each with `memory` and its `location` from 1. The first card is the phone's owner, which is not a contact.
 * Any thread.
 */
[[nodiscard]] VXPhonebookCards VXContactsFromCards(const QString &path);

/**
 * A list of calls, the newest first: `memory` (MC, RC or DC) and `location` say in which list and where. Any thread.
 */
[[nodiscard]] VXPhonebookCards VXCallsFromCards(const QString &path);
