#include "VXInputFile.h"

#include "VXRegularFile.h"

#include <cstdio>

using namespace Qt::StringLiterals;

bool VXOpenInputFile(QFile &file, QString *reason)
{
    if (file.fileName() != "-"_L1)
        return VXRegularFile::open(file, reason);
    const bool isOpen = file.open(stdin, QIODevice::ReadOnly);
    *reason = file.errorString();
    return isOpen;
}
