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
    /** Opens a file of a known form; null for any other. The device must outlive the result. */
    static std::unique_ptr<VXMessageFile> open(QIODevice &device);
    virtual ~VXMessageFile() = default;
    VXMessageFile(const VXMessageFile &) = delete;
    VXMessageFile &operator=(const VXMessageFile &) = delete;

    /** The next message; none after the last. */
    virtual std::optional<VXMessageRecord> next() = 0;
    /** What could not be read so far, with line numbers. */
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

// Both return null for a file of another form.

/**
 * Gammu's text form of message backups ([SMSBackup000], ...). Long messages are put together from their parts; a
 * missing part is a problem.
 */
[[nodiscard]] std::unique_ptr<VXMessageFile> VXOpenGammuBackup(QIODevice &device);

/**
 * The XML that backup programs on Android write (<smses> with <sms .../>), of any size; multimedia messages are
 * problems.
 */
[[nodiscard]] std::unique_ptr<VXMessageFile> VXOpenAndroidMessages(QIODevice &device);
