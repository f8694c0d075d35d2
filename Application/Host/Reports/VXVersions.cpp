#include "VXVersions.h"

#include "VXBundle.h"
#include "VXFramework.h"

#include <QtCore/QSysInfo>

using namespace Qt::StringLiterals;

std::vector<VXTitledValue> VXVersions()
{
    const QString application =
        VXBundle::mainBundle()->objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString();
    const QString system = u"%1.%2"_s.arg(QString::number(VX_OSX_VERSION >> 8, 16)).arg((VX_OSX_VERSION >> 4) & 0xf);
    return {{u"application"_s, u"Application"_s, application},
            {u"framework"_s, u"Framework"_s, VXFrameworkVersion()},
            {u"qt"_s, u"Qt"_s, QString::fromLatin1(qVersion())},
            {u"system"_s, u"System"_s, QSysInfo::prettyProductName()},
            {u"compatibleSystem"_s, u"Compatible with system"_s, system}};
}
