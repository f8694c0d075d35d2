#include "VXInterface.h"

#include "VXApplication.h"
#include "VXExportSheet.h"
#include "VXInitializeInterface.h"
#include "VXInterfaceFile.h"
#include "VXThemeManager.h"
#include "VXWidgetsUserInterface.h"

#include <QtCore/QFileInfo>
#include <QtCore/QLibraryInfo>
#include <QtCore/QLocale>
#include <QtCore/QTranslator>
#include <QtWidgets/QApplication>

using namespace Qt::StringLiterals;

namespace {

// Translates Qt's own windows and menus. Qt uses the locale of the environment, the program the user's languages.
void translateQt()
{
    const QStringList languages = VXBundle::preferredLanguages();
    if (languages.isEmpty())
        return;
    auto *const translator = new QTranslator(QCoreApplication::instance());
    if (translator->load(QLocale(languages.first()), u"qtbase"_s, u"_"_s,
                         QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(translator);
    else
        delete translator;
}

} // namespace

VXBundle::Ptr VXInterfaceBundle()
{
    static const VXBundle::Ptr bundle = VXBundle::bundleWithPath(
        QFileInfo(VXBundle::pathOfCode(reinterpret_cast<const void *>(&VXInterfaceBundle))).canonicalPath() +
        "/vornix/VornixInterface.framework"_L1);
    static const VXBundle::Ptr found = bundle ? bundle : VXBundle::mainBundle();
    return found;
}

QString VXInterfaceString(const QString &key, const QString &table)
{
    return VXInterfaceBundle()->localizedStringForKey(key, {}, table);
}

void VXInitializeInterfaceKit()
{
    static const bool initialized = [] {
        translateQt();
        VXInitializeInterface();
        static_cast<void>(VXThemeManager::sharedThemeManager());
        VXApplication::sharedApplication().setUserInterface(std::make_unique<VXWidgetsUserInterface>());
        VXExportSheet::install();
        VXInterfaceFile::install();
        return true;
    }();
    Q_UNUSED(initialized);
}
