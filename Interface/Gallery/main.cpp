// vornix-gallery: shows a page for each component of the interface kit, or writes a picture of each.

#include "VXFolders.h"
#include "VXFramework.h"
#include "VXGalleryPage.h"
#include "VXGalleryWindow.h"
#include "VXInterface.h"
#include "VXThemeManager.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int pictureWidth = 900;
constexpr int settleTime = 350; // ms: until animations and the like have ended

// Runs the event loop until the page is stable: one picture each, in a window of its own.
bool writePictures(const QString &folder, const QString &only)
{
    if (!QDir().mkpath(folder))
        return false;
    bool isGood = true;
    for (const VXGalleryPage &page : VXGalleryPages()) {
        if (!only.isEmpty() && page.name != only)
            continue;
        const std::unique_ptr<QWidget> widget(page.make());
        widget->resize(pictureWidth, std::max(620, widget->heightForWidth(pictureWidth)));
        widget->show();
        QEventLoop loop;
        QTimer::singleShot(settleTime, &loop, &QEventLoop::quit);
        loop.exec();
        const int height = std::max(widget->minimumSizeHint().height(), widget->height());
        widget->resize(pictureWidth, height);
        QTimer::singleShot(50, &loop, &QEventLoop::quit);
        loop.exec();
        const QString file = QDir(folder).filePath(page.name + ".png"_L1);
        isGood = widget->grab().save(file) && isGood;
        std::printf("%s\n", qPrintable(file));
    }
    return isGood;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Shows every piece of the interface kit."_s);
    parser.addHelpOption();
    parser.addOptions({{u"pictures"_s, u"Writes a picture of each page into this folder."_s, u"folder"_s},
                       {u"page"_s, u"Only this page."_s, u"name"_s},
                       {u"theme"_s, u"light or dark."_s, u"theme"_s},
                       {u"language"_s, u"en or de."_s, u"language"_s}});
    parser.process(application);

    const QTemporaryDir home; // keeps changes made here out of the user's preferences
    VXSetHomeFolder(home.path());
    if (parser.isSet(u"language"_s)) {
        VXBundle::setPreferredLanguages({parser.value(u"language"_s)});
        QLocale::setDefault(QLocale(parser.value(u"language"_s)));
    }
    VXBundle::setMainBundle(VXInterfaceBundle());
    VXInitializeFramework();
    VXInitializeInterfaceKit();
    if (parser.isSet(u"theme"_s))
        VXThemeManager::sharedThemeManager().setChoice(parser.value(u"theme"_s) == "dark"_L1 ? VXThemeChoice::Dark
                                                                                             : VXThemeChoice::Light);
    if (parser.isSet(u"pictures"_s))
        return writePictures(parser.value(u"pictures"_s), parser.value(u"page"_s)) ? 0 : 1;
    VXGalleryWindow window;
    window.show();
    return QApplication::exec();
}
