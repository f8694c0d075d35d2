#include "VXFramework.h"

#include "VXDiagnostics.h"
#include "VXLog.h"
#include "VXPhonebookManager.h"
#include "VXPropertyList.h"
#include "VXTextTransformers.h"
#include "VXUserDefaults.h"

#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

int VX_OSX_VERSION = 0x1050;

const QString VXFrameworkIdentifier = u"com.halvern.VNX2.framework"_s;

VXBundle::Ptr VXFrameworkBundle()
{
    // Beside the library both in the build tree and when installed, whatever program loaded it.
    static const VXBundle::Ptr bundle = VXBundle::bundleWithPath(
        QFileInfo(VXBundle::pathOfCode(reinterpret_cast<const void *>(&VXFrameworkBundle))).canonicalPath() +
        "/vornix/Vornix.framework"_L1);
    static const VXBundle::Ptr found = bundle ? bundle : VXBundle::mainBundle();
    return found;
}

QString VXLocalizedString(const QString &key)
{
    return VXFrameworkBundle()->localizedStringForKey(key);
}

QString VXGlobalString(const QString &key)
{
    return VXBundle::mainBundle()->localizedStringForKey(key, {}, u"Global"_s);
}

QString VXFrameworkVersion()
{
    return QStringLiteral(VORNIX_VERSION);
}

void VXRegisterDefaultsOfBundle(const VXBundle &bundle)
{
    const QString path = bundle.pathForResource(u"defaults"_s, u"plist"_s);
    VXError error;
    const QVariantMap defaults = path.isNull() ? QVariantMap() : VXPropertyList::fromFile(path, &error).toMap();
    if (error)
        VXLog::log(VXLogError, error.description());
    VXUserDefaults::standardUserDefaults().registerDefaults(defaults);
}

void VXInitializeFramework()
{
    static const bool initialized = [] {
        VXSetDiagnosticHandler([](unsigned level, const QString &text) { VXLog::log(level, text); });
        VXRegisterDefaultsOfBundle(*VXFrameworkBundle());
        VXRegisterTextTransformers();
        VXPhonebookManager::startObserving();
        return true;
    }();
    Q_UNUSED(initialized);
}
