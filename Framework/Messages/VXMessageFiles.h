#pragma once

#include "VXFrameworkExport.h"
#include "VXMessageRecord.h"

#include <QtCore/QIODevice>
#include <QtCore/QStringList>

#include <memory>
#include <optional>

/** Reads the messages of a file that another program wrote, one after the other. On one thread. */
class VX_EXPORT VXMessageFile
{
public:
    /** For the form that the file has; null when it is of none that is known. The device outlives it. */
    static std::unique_ptr<VXMessageFile> open(QIODevice &device);
    virtual ~VXMessageFile() = default;
    VXMessageFile(const VXMessageFile &) = delete;
    VXMessageFile &operator=(const VXMessageFile &) = delete;

    /** The next message; none behind the last. */
    virtual std::optional<VXMessageRecord> next() = 0;
    /** What of that which was read so far could not be read, each with its line. */
    const QStringList &problems() const { return _problems; }

protected:
    static constexpr QStringView noDate = u"the date of a message is impossible; it is taken without";

    VXMessageFile() = default;
    void report(qint64 line, QStringView problem)
    {
        _problems.append(QStringLiteral("line %1: %2").arg(line).arg(problem));
    }

private:
    QStringList _problems;
};

// Null when the file is not of the form at all.

/** The text form of gammu's backups of messages ([SMSBackup000], ...). Long messages are put together from their parts; one that
 * lacks a part is a problem. */
[[nodiscard]] std::unique_ptr<VXMessageFile> VXOpenGammuBackup(QIODevice &device);

/** The XML that backup programs on Android write (<smses> with <sms .../>), of any size; multimedia messages are problems. */
[[nodiscard]] std::unique_ptr<VXMessageFile> VXOpenAndroidMessages(QIODevice &device);
