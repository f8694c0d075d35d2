#include "VXReservedNumbers.h"

#include "VXStoreRow.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <unistd.h>

QByteArray VXReservedNumbers::contents() const
{
    QByteArray all;
    std::array<char, 4096> part = {};
    for (ssize_t size = 0; (size = ::pread(_descriptor, part.data(), part.size(), all.size())) > 0;)
        all.append(part.data(), size);
    return all;
}

QMap<QByteArray, qint64> VXReservedNumbers::read() const
{
    QMap<QByteArray, qint64> numbers;
    const QByteArray all = contents();
    for (const QByteArray &line :
         all.first(all.lastIndexOf('\n') + 1).split('\n')) { // without a line that was cut short
        const qsizetype space = line.indexOf(' ');
        const qint64 number = line.mid(space + 1).toLongLong();
        if (space > 0 && number <= VXLargestStoreNumber)
            numbers[line.first(space)] = std::max(numbers.value(line.first(space)), number);
    }
    return numbers;
}

bool VXReservedNumbers::add(const QByteArray &entity, qint64 highest)
{
    const QByteArray before = contents();
    const qsizetype whole = before.lastIndexOf('\n') + 1;
    const QByteArray line = entity + ' ' + QByteArray::number(highest) + '\n';
    const ssize_t written = ::pwrite(_descriptor, line.constData(), size_t(line.size()), whole);
    if (written == line.size())
        return true;
    const int problem = written < 0 ? errno : ENOSPC;
    [[maybe_unused]] const int status = ::ftruncate(_descriptor, whole);
    errno = problem;
    return false;
}

void VXReservedNumbers::clear()
{
    [[maybe_unused]] const int status = ::ftruncate(_descriptor, 0); // if that fails, they remain, which does no harm
}
