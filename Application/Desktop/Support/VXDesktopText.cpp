#include "VXDesktopText.h"

#include "VXBundle.h"

#include <QtCore/QLocale>

using namespace Qt::StringLiterals;

QString VXText(const char *english)
{
    return VXBundle::mainBundle()->localizedStringForKey(QString::fromUtf8(english), {}, u"Desktop"_s);
}

QString VXText(const char *one, const char *many, qsizetype count)
{
    return VXText(count == 1 ? one : many).arg(QLocale().toString(qlonglong(count)));
}
