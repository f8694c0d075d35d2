#include "VXDesktopPictures.h"

#include "VXFindWindow.h"
#include "VXLogWindow.h"
#include "VXMainWindow.h"
#include "VXPreferencesWindow.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThreadPool>
#include <QtWidgets/QApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int settlingTime = 700; // milliseconds until everything that is read and painted late has appeared

void settle()
{
    QElapsedTimer time;
    time.start();
    while (time.elapsed() < settlingTime)
        QApplication::processEvents(QEventLoop::AllEvents, 50);
}

bool write(QWidget &widget, const QString &path)
{
    settle();
    if (!widget.grab().save(path)) {
        std::fprintf(stderr, "%s could not be written\n", qUtf8Printable(path));
        return false;
    }
    std::printf("%s\n", qUtf8Printable(path));
    return true;
}

bool writeSheet(const QString &path)
{
    QWidget *const sheet = QApplication::activeModalWidget();
    const bool isDone = sheet != nullptr && write(*sheet, path);
    if (sheet != nullptr)
        sheet->close();
    return isDone;
}

} // namespace

bool VXWritePictures(VXMainWindow &window, const QString &folder)
{
    const QDir target(folder);
    if (!target.mkpath(u"."_s))
        return false;
    window.show();
    bool isDone = true;
    for (const QString &key : {u"contacts"_s, u"messages"_s, u"calls"_s, u"phones"_s, u"automations"_s}) {
        window.showSection(key);
        isDone = write(window, target.filePath(key + ".png"_L1)) && isDone;
    }
    window.showSection(u"contacts"_s);
    window.section(u"contacts"_s)->edit();
    isDone = write(window, target.filePath(u"contact-edit.png"_s)) && isDone;
    window.section(u"contacts"_s)->leave();
    for (const QString &key : {u"general"_s, u"phones"_s, u"plugins"_s, u"keys"_s, u"data"_s, u"privacy"_s}) {
        window.openPreferences(key);
        QWidget &preferences = *window.findChild<VXPreferencesWindow *>();
        isDone = write(preferences, target.filePath(u"preferences-%1.png"_s.arg(key))) && isDone;
    }
    window.showSection(u"messages"_s);
    window.section(u"messages"_s)->makeNew();
    isDone = write(window, target.filePath(u"message-new.png"_s)) && isDone;
    window.section(u"phones"_s)->makeNew();
    isDone = writeSheet(target.filePath(u"phone-add.png"_s)) && isDone;
    window.assist();
    isDone = writeSheet(target.filePath(u"assistant.png"_s)) && isDone;
    window.findEverywhere();
    isDone = write(*window.findChild<VXFindWindow *>(), target.filePath(u"find.png"_s)) && isDone;
    window.openLog();
    isDone = write(*window.findChild<VXLogWindow *>(), target.filePath(u"log.png"_s)) && isDone;
    window.hide();
    return isDone;
}
