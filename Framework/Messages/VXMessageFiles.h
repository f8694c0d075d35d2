#pragma once

#include "VXMessageRecord.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QStringList>

#include <optional>

/** What a file of messages holds. */
struct VXMessageFile
{
    QList<VXMessageRecord> messages;
    QStringList problems; // what could not be read, each with its line
};

// Reentrant. None when the bytes are not of the form at all.

/** The text form of gammu's backups of messages ([SMSBackup000], ...). Long messages are put together from their parts; one that
 * lacks a part is a problem. */
[[nodiscard]] std::optional<VXMessageFile> VXReadGammuBackup(const QByteArray &bytes);

/** The XML that backup programs on Android write (<smses> with <sms .../>); multimedia messages are problems. */
[[nodiscard]] std::optional<VXMessageFile> VXReadAndroidMessages(const QByteArray &bytes);
