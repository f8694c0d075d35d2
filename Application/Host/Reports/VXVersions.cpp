#include "VXVersions.h"

#include "VXBundle.h"
#include "VXFramework.h"

#include <QtCore/QSysInfo>

using namespace Qt::StringLiterals;

std::vector<VXTitledValue> VXVersions()
{
    const QString application =
        VXBundle::mainBundle()->objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString();
    return {{u"application"_s, u"Application"_s, application},
            {u"framework"_s, u"Framework"_s, VXFrameworkVersion()},
            {u"qt"_s, u"Qt"_s, QString::fromLatin1(qVersion())},
            {u"system"_s, u"System"_s, QSysInfo::prettyProductName()}};
}
