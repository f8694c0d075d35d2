#include "VXTerminalOutput.h"

#include <cerrno>
#include <unistd.h>

void VXWriteFully(int descriptor, const QByteArray &bytes)
{
    const char *data = bytes.constData();
    auto left = static_cast<std::size_t>(bytes.size());
    while (left > 0) {
        const ssize_t written = ::write(descriptor, data, left);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        data += written;
        left -= static_cast<std::size_t>(written);
    }
}

QString VXPrintableText(const QString &text)
{
    QString printable = text;
    printable.removeIf([](QChar c) { return c.category() == QChar::Other_Control && c != u'\n' && c != u'\t'; });
    return printable;
}
