#include "VXTerminalOutput.h"

#include "VXFileDescriptor.h"

void VXWriteFully(int descriptor, const QByteArray &bytes)
{
    [[maybe_unused]] const bool isWritten = VXWriteAll(descriptor, bytes);
}

QString VXPrintableText(const QString &text)
{
    QString printable = text;
    printable.removeIf([](QChar c) { return c.category() == QChar::Other_Control && c != u'\n' && c != u'\t'; });
    return printable;
}
