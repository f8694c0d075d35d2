#pragma once

#include "VXCardReader.h"

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVariant>

/** A portion of a file of vCards from a phone, in the form of the results of actions. */
struct VXPhonebookCards
{
    QVariantList items = {};
    QStringList problems = {};
    QString ownNumber = {}; // of contacts: the phone's; null for none, and if it was told before
    bool isLast = false;    // of the file
};

/** A file of vCards from a phone, read portion by portion. One thread at a time. */
class VXPhonebookFile
{
public:
    explicit VXPhonebookFile(const QString &path) : _file(path), _isOpen(_file.open(QIODevice::ReadOnly)) {}

    /** Contacts, each with `memory` and its `location` from 1. The first card is the phone's owner, which is not a
     *  contact. */
    [[nodiscard]] VXPhonebookCards contacts();
    /** A list of calls, the newest first: `memory` (MC, RC or DC) and `location` say in which list and where. */
    [[nodiscard]] VXPhonebookCards calls();

private:
    void takeContact(const VXCard &card, VXPhonebookCards &cards);
    void takeCall(const VXCard &card, VXPhonebookCards &cards);
    VXPhonebookCards next(void (VXPhonebookFile::*take)(const VXCard &card, VXPhonebookCards &cards));

    QFile _file;
    const bool _isOpen;
    VXCardReader _reader{_file};
    qint64 _cardCount = 0;         // that were read
    QHash<QString, int> _counts{}; // of calls, by memory
};
