#include "VXWidgetsUserInterface.h"

#include "VXAlertWindow.h"
#include "VXErrorDomain.h"
#include "VXInterfaceTesting.h"
#include "VXWidgetsProgressWindow.h"

#include <QtCore/QTimer>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QPushButton>

#include <optional>

using namespace Qt::StringLiterals;

namespace {

class VXWidgetsUserInterfaceTest : public VXHomeTest
{
protected:
    VXWidgetsUserInterface interface;

    static VXAlert question()
    {
        VXAlert alert;
        alert.message = u"Merge imported data with existing data?"_s;
        alert.informativeText = u"12 contacts"_s;
        alert.defaultButton = u"Merge"_s;
        alert.alternateButton = u"Cancel"_s;
        alert.otherButton = u"Replace"_s;
        alert.checkBoxTitle = u"Do not ask again"_s;
        return alert;
    }
};

} // namespace

TEST_F(VXWidgetsUserInterfaceTest, AlertsAreAnsweredByKeys)
{
    struct Case
    {
        const char *name;
        std::function<void(VXAlertWindow &)> answer;
        VXAlertResult expected;
    };
    const Case cases[] = {
        {"Return", [](VXAlertWindow &window) { VXPress(window, Qt::Key_Return); }, {VXAlertButton::Default, false}},
        {"Escape", [](VXAlertWindow &window) { VXPress(window, Qt::Key_Escape); }, {VXAlertButton::Alternate, false}},
        {"closing", [](VXAlertWindow &window) { window.close(); }, {VXAlertButton::Alternate, false}},
        {"the check box, then Return",
         [](VXAlertWindow &window) {
             VXPress(*window.checkBox(), Qt::Key_Space);
             VXPress(window, Qt::Key_Return);
         },
         {VXAlertButton::Default, true}},
        {"the other button by its key",
         [](VXAlertWindow &window) { VXPress(*window.button(VXAlertButton::Other), Qt::Key_Space); },
         {VXAlertButton::Other, false}},
    };
    for (const Case &each : cases) {
        SCOPED_TRACE(each.name);
        VXWhenModal([&](QWidget &window) {
            EXPECT_EQ(window.accessibleName(), question().message);
            each.answer(dynamic_cast<VXAlertWindow &>(window));
        });
        const VXAlertResult result = interface.runAlert(question());
        EXPECT_EQ(result.button, each.expected.button);
        EXPECT_EQ(result.isChecked, each.expected.isChecked);
    }
}

TEST_F(VXWidgetsUserInterfaceTest, AnAlertOutlivesTheWindowItBelongsTo)
{
    auto *const parent = new QWidget;
    VXShowActive(*parent);
    VXWhenModal([parent](QWidget &window) {
        EXPECT_EQ(window.parentWidget(), parent);
        delete parent;
    });
    EXPECT_EQ(interface.runAlert(question()).button, VXAlertButton::Alternate);
}

TEST_F(VXWidgetsUserInterfaceTest, ErrorsShowTheirDetailsOnDemand)
{
    const VXError error = VXError::platformError(VXPlatformErrorCode::FileRead, u"Unable to read data file"_s,
                                                 u"Look at its permissions."_s, u"/tmp/x.vxdatastore"_s);
    VXWhenModal([](QWidget &window) {
        const auto *const details = VXChild<QPlainTextEdit>(window);
        ASSERT_NE(details, nullptr);
        EXPECT_FALSE(details->isVisible());
        EXPECT_TRUE(details->toPlainText().startsWith(u"/tmp/x.vxdatastore\n"_s));
        EXPECT_EQ(window.accessibleName(), u"Unable to read data file"_s);
        VXPress(window, Qt::Key_Escape);
    });
    interface.presentError(error);
}

TEST_F(VXWidgetsUserInterfaceTest, AnOpenPanelTakesOnlyWhatItsFilterLetsThrough)
{
    writeFile(u"in/good.vxdatastore/x.sqlite"_s, "x");
    writeFile(u"in/bad.vxdatastore/y.sqlite"_s, "y");
    VXOpenPanel panel;
    panel.directory = path(u"in"_s);
    panel.packageExtensions = {u"vxdatastore"_s};
    panel.shouldShowFilename = [](const QString &file) { return file.endsWith(u"good.vxdatastore"_s); };
    VXWhenModal([this](QWidget &window) {
        auto &dialog = dynamic_cast<QFileDialog &>(window);
        auto *const name = VXChild<QLineEdit>(dialog, u"fileNameEdit"_s);
        name->setText(path(u"in/bad.vxdatastore"_s));
        bool isTold = false;
        VXWhenModal([&isTold](QWidget &refusal) {
            isTold = true;
            VXPress(refusal, Qt::Key_Return);
        });
        VXPress(*name, Qt::Key_Return);
        EXPECT_TRUE(isTold);
        EXPECT_TRUE(dialog.isVisible());
        name->setText(path(u"in/good.vxdatastore"_s));
        VXPress(*name, Qt::Key_Return);
    });
    EXPECT_EQ(interface.runOpenPanel(panel).path, path(u"in/good.vxdatastore"_s));
}

TEST_F(VXWidgetsUserInterfaceTest, ASavePanelAsksBeforeItReplaces)
{
    writeFile(u"out/calls.vxdatastore/calls.sqlite"_s, "x");
    VXSavePanel panel;
    panel.directory = path(u"out"_s);
    panel.proposedName = u"calls.vxdatastore"_s;
    panel.checkBoxTitle = u"Validate data during save"_s;
    int asked = 0;
    VXWhenModal([&asked](QWidget &window) {
        VXChild<QCheckBox>(window)->setChecked(true);
        for (const auto answer : {Qt::Key_Escape, Qt::Key_Return}) {
            VXWhenModal([&asked, answer](QWidget &question) {
                ASSERT_NE(dynamic_cast<VXAlertWindow *>(&question), nullptr);
                ++asked;
                VXPress(question, answer);
            });
            static_cast<QDialog &>(window).accept();
        }
    });
    const VXPanelResult result = interface.runSavePanel(panel);
    EXPECT_EQ(asked, 2);
    EXPECT_EQ(result.path, path(u"out/calls.vxdatastore"_s));
    EXPECT_TRUE(result.isChecked);
}

TEST_F(VXWidgetsUserInterfaceTest, WhatEndsSoonShowsNoProgressWindow)
{
    const auto window = interface.makeProgressWindow(u"Reading"_s);
    bool wasShown = false;
    QTimer::singleShot(0, [&] {
        wasShown = QApplication::activeModalWidget() != nullptr;
        window->ok();
    });
    EXPECT_EQ(window->runModal(), VXProgressWindow::Result::Ok);
    EXPECT_FALSE(wasShown);
}

TEST_F(VXWidgetsUserInterfaceTest, ProgressIsShownAndStopped)
{
    VXWidgetsProgressWindow window(nullptr, 0);
    window.setTitle(u"Reading contacts"_s);
    int stops = 0;
    window.setCancelHandler([&] {
        ++stops;
        QTimer::singleShot(0, [&] { window.cancel(); });
    });
    VXWhenModal([&](QWidget &dialog) {
        auto *const bar = VXChild<QProgressBar>(dialog);
        window.setDoubleValue(25);
        window.setMessage(u"Jane Doe"_s);
        EXPECT_EQ(bar->value() * 4, bar->maximum());
        window.setIndeterminate(true);
        EXPECT_EQ(bar->maximum(), 0);
        VXPress(dialog, Qt::Key_Escape);
        VXPress(dialog, Qt::Key_Escape); // already stopping
    });
    EXPECT_EQ(window.runModal(), VXProgressWindow::Result::Cancelled);
    EXPECT_EQ(stops, 1);
}

TEST_F(VXWidgetsUserInterfaceTest, NothingIsClickedWhileTheProgressWindowWaits)
{
    QPushButton button(u"Import"_s);
    VXShowActive(button);
    int clicks = 0;
    QObject::connect(&button, &QPushButton::clicked, [&] { ++clicks; });
    VXWidgetsProgressWindow window(&button);
    QTimer::singleShot(0, [&] {
        QTest::mouseClick(&button, Qt::LeftButton);
        VXPress(button, Qt::Key_Space);
        window.ok();
    });
    EXPECT_EQ(window.runModal(), VXProgressWindow::Result::Ok);
    EXPECT_EQ(clicks, 0);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(clicks, 1);
}

TEST_F(VXWidgetsUserInterfaceTest, TheApplicationsEndDismissesAnAlert)
{
    std::optional<VXAlertResult> result;
    VXWhenModal([](QWidget &) { QCoreApplication::quit(); });
    QTimer::singleShot(0, [&] { result = interface.runAlert(question()); });
    QCoreApplication::exec();
    ASSERT_TRUE(result);
    EXPECT_EQ(result->button, VXAlertButton::Alternate);
}
