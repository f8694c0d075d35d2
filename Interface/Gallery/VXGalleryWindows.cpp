// Pages of windows that open over others.

#include "VXGalleryPage.h"

#include "VXAlertWindow.h"
#include "VXApplication.h"
#include "VXBezelWindow.h"
#include "VXError.h"
#include "VXExportSheet.h"
#include "VXProgressDialog.h"
#include "VXSheet.h"
#include "VXTextLabel.h"
#include "VXWidgetsProgressWindow.h"

#include <QtCore/QTimer>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>

using namespace Qt::StringLiterals;

namespace {

// Shows the window as a part of the page, since a picture of the page cannot contain another window.
QWidget *asPartOfPage(QWidget *window)
{
    auto *const frame = new QFrame;
    frame->setProperty("vxSurface", u"card"_s);
    window->setParent(frame, Qt::Widget);
    auto *const all = new QHBoxLayout(frame);
    all->setContentsMargins(0, 0, 0, 0);
    all->addWidget(window);
    all->addStretch();
    return frame;
}

VXAlert question()
{
    VXAlert alert;
    alert.message = VXGalleryString(u"Merge imported data with existing data?"_s);
    alert.informativeText = VXGalleryString(
        u"12 new contacts, 3 that are there already. Replacing takes what is there now to the trash."_s);
    alert.defaultButton = VXGalleryString(u"Merge"_s);
    alert.alternateButton = VXGalleryString(u"Cancel"_s);
    alert.otherButton = VXGalleryString(u"Replace"_s);
    alert.checkBoxTitle = VXGalleryString(u"Do not ask again"_s);
    return alert;
}

VXAlert failure()
{
    VXAlert alert;
    alert.message = VXGalleryString(u"The phone could not be read."_s);
    alert.informativeText = VXGalleryString(u"Another program holds its port. End that program, then sync again."_s);
    alert.defaultButton = VXGalleryString(u"OK"_s);
    alert.details = u"/dev/ttyACM0\nVXErrorDomain 2"_s;
    return alert;
}

/** Advances and ends by itself. */
class ShownProgress : public VXWidgetsProgressWindow
{
public:
    ShownProgress() : VXWidgetsProgressWindow(nullptr) {}
    using VXProgressWindow::setDoubleValue;
};

} // namespace

QWidget *VXMakeAlertsPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page =
        VXMakePage(u"Alerts"_s, u"Return takes the first button, Escape what changes nothing."_s, &column);
    auto *const buttons = new QWidget;
    auto *const row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(10);
    const auto add = [&](const QString &title, const std::function<void(VXUserInterface &)> &action) {
        auto *const button = new QPushButton(VXGalleryString(title));
        button->setAutoDefault(false);
        QObject::connect(button, &QPushButton::clicked, page,
                         [action] { action(VXApplication::sharedApplication().userInterface()); });
        row->addWidget(button);
    };
    add(u"Question"_s, [](VXUserInterface &user) { static_cast<void>(user.runAlert(question())); });
    add(u"Error"_s, [](VXUserInterface &user) {
        user.presentError(VXError::platformError(VXPlatformErrorCode::FileRead, failure().message,
                                                 failure().informativeText, u"/dev/ttyACM0"_s));
    });
    add(u"Open"_s, [](VXUserInterface &user) { static_cast<void>(user.runOpenPanel({})); });
    add(u"Save"_s, [](VXUserInterface &user) {
        VXSavePanel panel;
        panel.proposedName = u"calls.vxdatastore"_s;
        panel.checkBoxTitle = VXGalleryString(u"Validate data during save"_s);
        static_cast<void>(user.runSavePanel(panel));
    });
    row->addStretch();
    VXAddSection(*column, {}, buttons);
    VXAddSection(*column, u"A question"_s, asPartOfPage(new VXAlertWindow(question())));
    VXAddSection(*column, u"An error"_s, asPartOfPage(new VXAlertWindow(failure(), VXAlertWindow::Kind::Error)));
    column->addStretch();
    return page;
}

QWidget *VXMakeProgressPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(
        u"Progress"_s, u"What takes longer than half a second says what it does, and can be stopped."_s, &column);
    auto *const start = new QPushButton(VXGalleryString(u"Read for eight seconds"_s));
    start->setAutoDefault(false);
    QObject::connect(start, &QPushButton::clicked, page, [] {
        ShownProgress window;
        window.setTitle(VXGalleryString(u"Reading contacts"_s));
        QTimer timer;
        QObject::connect(&timer, &QTimer::timeout, [&] {
            window.setDoubleValue(window.doubleValue() + 1);
            window.setMessage(u"Jane Doe %1"_s.arg(window.doubleValue()));
            if (window.doubleValue() >= 100)
                window.ok();
        });
        timer.start(80);
        static_cast<void>(window.runModal());
    });
    VXAddSection(*column, {}, start);
    ShownProgress progress;
    progress.setTitle(VXGalleryString(u"Reading contacts"_s));
    progress.setMessage(u"Jane Doe"_s);
    progress.setDoubleValue(62);
    for (const qint64 elapsed : {1000, 6000}) {
        auto *const dialog = new VXProgressDialog;
        dialog->showProgress(progress, elapsed);
        VXAddSection(*column, elapsed < 5000 ? u"At first"_s : u"After five seconds"_s, asPartOfPage(dialog));
    }
    column->addStretch();
    return page;
}

QWidget *VXMakeSheetPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page =
        VXMakePage(u"Sheets"_s, u"A form on the window it is about; the others stay free."_s, &column);
    auto *const name = new QLineEdit;
    name->setPlaceholderText(VXGalleryString(u"Name"_s));
    VXAddSection(*column, u"Below"_s, name);
    column->addStretch();
    QTimer::singleShot(0, page, [page] {
        // Not installed: it is deleted with the page's last child. When the page itself emits destroyed(), hiding a
        // sheet on it would style a widget that Qt no longer knows.
        auto *const sheet = new VXExportSheet({1, 2, 3}, u"VXPerson"_s, page);
        QObject::connect(new QObject(page), &QObject::destroyed, [sheet] { delete sheet; });
    });
    return page;
}

QWidget *VXMakeBezelPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(u"Bezel"_s, u"Tells of a call without taking the keyboard."_s, &column);
    VXBezelNotice call{.title = u"Jane Doe"_s,
                       .subtitle = u"+44 20 7946 0000"_s,
                       .caption = VXGalleryString(u"Incoming call, Nokia"_s),
                       .buttons = {{VXGalleryString(u"Answer"_s), {}, true}, {VXGalleryString(u"Decline"_s)}},
                       .duration = {}};
    VXBezelNotice key{.title = VXGalleryString(u"Dial the selected number"_s),
                      .caption = VXGalleryString(u"Hot key"_s),
                      .icon = u"keyboard"_s,
                      .duration = {}};
    auto *const show = new QPushButton(VXGalleryString(u"Show"_s));
    show->setAutoDefault(false);
    auto *const shown = new VXBezelWindow;
    QObject::connect(page, &QObject::destroyed, shown, &QObject::deleteLater);
    QObject::connect(show, &QPushButton::clicked, shown, [shown, call] { shown->showNotice(call); });
    VXAddSection(*column, {}, show);
    for (const VXBezelNotice &notice : {call, key}) {
        auto *const bezel = new VXBezelWindow;
        bezel->setParent(page, Qt::Widget);
        bezel->showNotice(notice);
        VXAddSection(*column, notice.buttons.isEmpty() ? u"A hot key"_s : u"A call"_s, bezel);
    }
    column->addStretch();
    return page;
}
