#include "VXMessageFiles.h"

// XML begins with a tag in any encoding; gammu writes no "<" before the first section.
std::unique_ptr<VXMessageFile> VXMessageFile::open(QIODevice &device)
{
    QByteArray beginning = device.peek(256);
    for (const char *const mark : {"\xef\xbb\xbf", "\xff\xfe", "\xfe\xff"}) {
        if (beginning.startsWith(mark))
            beginning.remove(0, qsizetype(qstrlen(mark)));
    }
    beginning.replace('\0', "");
    return beginning.trimmed().startsWith('<') ? VXOpenAndroidMessages(device) : VXOpenGammuBackup(device);
}
