#pragma once

#include <QtCore/QString>
#include <QtCore/QVariant>

/** What a file of vCards holds that a phone has handed over, as the results of actions have it. */
struct VXPhonebookCards
{
    QVariantList items = {};
    QStringList problems = {};
    QString ownNumber = {}; // of contacts: the phone's; null for none
};

/** Contacts, each with `memory` and its `location` from 1. The first card is the phone's owner, and no contact. Any thread. */
[[nodiscard]] VXPhonebookCards VXContactsFromCards(const QString &path);

/** A list of calls, the newest first: `memory` as MC, RC or DC and `location` say which and where. Any thread. */
[[nodiscard]] VXPhonebookCards VXCallsFromCards(const QString &path);
