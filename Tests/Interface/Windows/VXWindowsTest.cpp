#include "VXAttachedWindow.h"
#include "VXBezelWindow.h"
#include "VXInterfaceFile.h"
#include "VXInterfaceTesting.h"
#include "VXSheet.h"
#include "VXThemeManager.h"
#include "VXUserDefaults.h"
#include "VXWindowMemory.h"

#include <QtCore/QPointer>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

/** What an interface file is connected with. */
class Owner : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QPushButton *save MEMBER save)
    Q_PROPERTY(QString name MEMBER name)
    Q_PROPERTY(int seconds MEMBER seconds)

public:
    QPushButton *save = nullptr;
    QString name = u"Jane"_s;
    int seconds = 65;
    int clicks = 0;

    Q_INVOKABLE void save_clicked() { ++clicks; }
};

} // namespace

class VXWindowsTest : public VXHomeTest
{
};

TEST_F(VXWindowsTest, ASheetKeepsTheKeyboardAndEndsOnce)
{
    QWidget window;
    auto *const below = new QLineEdit;
    (new QVBoxLayout(&window))->addWidget(below);
    VXShowActive(window);
    below->setFocus();
    auto *const content = new QWidget;
    auto *const first = new QLineEdit;
    auto *const second = new QLineEdit;
    auto *const column = new QVBoxLayout(content);
    column->addWidget(first);
    column->addWidget(second);
    QPointer<VXSheet> sheet = new VXSheet(content);
    QList<int> ends;
    QObject::connect(sheet, &VXSheet::didEnd, [&](int code) { ends.append(code); });
    sheet->beginOnWindow(*below);
    EXPECT_TRUE(first->hasFocus());
    VXPress(*first, Qt::Key_Tab);
    EXPECT_TRUE(second->hasFocus());
    VXPress(*second, Qt::Key_Tab); // round, not to the window below
    EXPECT_TRUE(first->hasFocus());
    VXPress(*first, Qt::Key_Escape);
    sheet->end(VXSheet::Ok);
    EXPECT_EQ(ends, QList<int>{VXSheet::Cancelled});
    EXPECT_TRUE(below->hasFocus());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(sheet.isNull());
}

TEST_F(VXWindowsTest, ASheetEndsWithItsWindow)
{
    QList<int> ends;
    {
        QWidget window;
        VXShowActive(window);
        auto *const sheet = new VXSheet(new QLineEdit);
        QObject::connect(sheet, &VXSheet::didEnd, [&](int code) { ends.append(code); });
        sheet->beginOnWindow(window);
    }
    EXPECT_EQ(ends, QList<int>{VXSheet::Cancelled});
}

TEST_F(VXWindowsTest, AnAttachedWindowClosesByEscapeAndGivesTheFocusBack)
{
    QLineEdit anchor;
    VXShowActive(anchor);
    anchor.setFocus();
    VXAttachedWindow attached(new QLineEdit, anchor);
    attached.attach(VXAttachedWindow::Side::Below);
    EXPECT_TRUE(attached.isVisible());
    VXPress(attached, Qt::Key_Escape);
    EXPECT_FALSE(attached.isVisible());
    EXPECT_TRUE(anchor.hasFocus());
}

TEST_F(VXWindowsTest, ABezelTakesNoFocusAndGoesByItself)
{
    QLineEdit field;
    VXShowActive(field);
    field.setFocus();
    VXBezelWindow bezel;
    int closes = 0;
    QObject::connect(&bezel, &VXBezelWindow::didClose, [&] { ++closes; });
    bezel.showNotice({.title = u"Jane Doe"_s,
                      .subtitle = u"+44 20 7946 0000"_s,
                      .caption = u"Incoming call"_s,
                      .duration = std::chrono::milliseconds(6)});
    EXPECT_EQ(QApplication::focusWidget(), &field);
    EXPECT_EQ(bezel.accessibleName(), u"Incoming call Jane Doe +44 20 7946 0000"_s);
    ASSERT_TRUE(VXRunUntil([&] { return closes == 1; }));
    int answers = 0;
    const auto answer = [&] {
        ++answers;
        bezel.showNotice({.title = u"Talking"_s, .duration = {}});
    };
    bezel.showNotice({.title = u"Jane"_s, .buttons = {{u"Answer"_s, answer, true}}, .duration = {}});
    VXChild<QPushButton>(bezel)->click();
    EXPECT_EQ(answers, 1);
    EXPECT_EQ(bezel.accessibleName(), u"Talking"_s);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    VXChild<QToolButton>(bezel)->click();
    EXPECT_FALSE(bezel.isVisible());
}

TEST_F(VXWindowsTest, WindowsComeBackWhereTheyWere)
{
    {
        QWidget window;
        VXRememberWindow(window, u"test"_s, {400, 300});
        EXPECT_EQ(window.size(), QSize(400, 300));
        window.show();
        window.resize(512, 333);
        window.close();
    }
    QWidget window;
    VXRememberWindow(window, u"test"_s, {400, 300});
    EXPECT_EQ(window.size(), QSize(512, 333));
}

TEST_F(VXWindowsTest, TheThemeIsTheUsersChoiceAndStored)
{
    VXThemeManager &theme = VXThemeManager::sharedThemeManager();
    int changes = 0;
    const auto counting = QObject::connect(&theme, &VXThemeManager::themeDidChange, [&] { ++changes; });
    theme.setChoice(VXThemeChoice::Dark);
    EXPECT_TRUE(theme.isDark());
    EXPECT_LT(QApplication::palette().color(QPalette::Window).lightness(), 128);
    EXPECT_EQ(VXUserDefaults::standardUserDefaults().stringForKey(u"interface.theme"_s), u"dark"_s);
    VXUserDefaults::standardUserDefaults().setObject(u"light"_s, u"interface.theme"_s); // as another process would
    ASSERT_TRUE(VXRunUntil([&] { return !theme.isDark(); }));
    EXPECT_EQ(changes, 2);
    QObject::disconnect(counting);
    for (const VXThemeColors *const colors : {&VXThemeColors::light(), &VXThemeColors::dark()}) {
        const QString sheet = VXThemeManager::styleSheet(*colors);
        EXPECT_FALSE(sheet.isEmpty());
        EXPECT_FALSE(sheet.contains(u'@' + "text"_L1) || sheet.contains("@icons"_L1));
    }
}

TEST_F(VXWindowsTest, TheColoursCanBeRead)
{
    const auto luminance = [](const QColor &color) {
        const auto linear = [](double part) {
            return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
    };
    const auto contrast = [&](const QColor &a, const QColor &b) {
        const double x = luminance(a);
        const double y = luminance(b);
        return (std::max(x, y) + 0.05) / (std::min(x, y) + 0.05);
    };
    for (const VXThemeColors *const colors : {&VXThemeColors::light(), &VXThemeColors::dark()}) {
        for (const QColor &ground : {colors->window, colors->base, colors->raised, colors->sidebar}) {
            EXPECT_GE(contrast(colors->text, ground), 7.0);
            for (const QColor &quiet : {colors->quietText, colors->good, colors->warning, colors->bad})
                EXPECT_GE(contrast(quiet, ground), 4.5) << quiet.name().toStdString() << ground.name().toStdString();
        }
        EXPECT_GE(contrast(colors->onAccent, colors->accent), 4.5);
        EXPECT_GE(contrast(colors->text, colors->selection), 7.0);
    }
}

TEST_F(VXWindowsTest, AnInterfaceFileIsConnectedWithItsOwnerByNames)
{
    const QString file = writeFile(u"Main.ui"_s, R"(<?xml version="1.0" encoding="UTF-8"?>
<ui version="4.0"><class>Main</class>
 <widget class="QWidget" name="Main"><layout class="QVBoxLayout">
  <item><widget class="QPushButton" name="save"><property name="text"><string>Save</string></property></widget></item>
  <item><widget class="QLabel" name="who"><property name="vxValue" stdset="0"><string>name</string></property></widget></item>
  <item><widget class="QLabel" name="time"><property name="vxValue" stdset="0"><string>seconds</string></property>
   <property name="vxTransformer" stdset="0"><string>VXDurationTransformer</string></property></widget></item>
  <item><widget class="VXSearchField" name="find"/></item>
 </layout></widget></ui>)");
    QPointer<QWidget> window;
    {
        Owner owner;
        ASSERT_TRUE(VXInterfaceFile::load(file, owner));
        ASSERT_NE(owner.save, nullptr);
        window = owner.save->window();
        owner.save->click();
        EXPECT_EQ(owner.clicks, 1);
        EXPECT_EQ(window->findChild<QLabel *>(u"who"_s)->text(), u"Jane"_s);
        EXPECT_EQ(window->findChild<QLabel *>(u"time"_s)->text(), u"1 min\u00a05 s"_s);
        EXPECT_NE(window->findChild<QLineEdit *>(u"find"_s), nullptr);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(window.isNull());
    Owner owner;
    EXPECT_FALSE(VXInterfaceFile::load(writeFile(u"Bad.ui"_s, "no xml"), owner));
    EXPECT_FALSE(VXInterfaceFile::load(path(u"None.ui"_s), owner));
}

#include "VXWindowsTest.moc"
