#include "VXCardFile.h"

#include <QtCore/QMimeDatabase>

using namespace Qt::StringLiterals;

// As file managers see it, which hand over what the program's desktop file names.
bool VXIsCardFile(const QString &path)
{
    return QMimeDatabase().mimeTypeForFile(path).inherits(u"text/vcard"_s);
}
