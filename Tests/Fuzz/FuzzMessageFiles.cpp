// Files of messages of any octets. Whatever they are, what is read of them are messages, and problems that name a line.

#include "VXFuzzing.h"
#include "VXMessageFiles.h"

#include <QtCore/QBuffer>
#include <QtCore/QRegularExpression>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    const std::unique_ptr<VXMessageFile> file = VXMessageFile::open(buffer);
    if (!file)
        return 0;
    qsizetype count = 0;
    while (const std::optional<VXMessageRecord> record = file->next()) {
        using State = VXMessageRecord::State;
        const bool isOfReceived = record->state == State::Unread || record->state == State::Read;
        require(record->isIncoming() == isOfReceived);
        require(!record->text.isNull());
        require(++count <= bytes.size()); // an end is reached
    }
    static const QRegularExpression problem(QStringLiteral("^line [1-9]\\d*: "));
    for (const QString &each : file->problems())
        require(problem.match(each).hasMatch());
    return 0;
}
