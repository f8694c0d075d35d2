#include "VXActivityList.h"
#include "VXActivityManager.h"
#include "VXActivityView.h"
#include "VXHotKeyManager.h"
#include "VXHotKeyRecorder.h"
#include "VXInterfaceTesting.h"
#include "VXOptionsForm.h"
#include "VXSearchField.h"
#include "VXSplitView.h"
#include "VXStatusBar.h"
#include "VXTableHeader.h"
#include "VXTabOrder.h"
#include "VXUserDefaults.h"

#include <QtGui/QAction>
#include <QtGui/QShortcut>
#include <QtGui/QStandardItemModel>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QTreeView>

using namespace Qt::StringLiterals;

namespace {

class Stoppable : public QObject
{
    Q_OBJECT

public:
    int cancels = 0;
    VXActivity::Ptr endsAtOnce;
    Q_INVOKABLE void cancel(QObject *)
    {
        ++cancels;
        VXActivityManager::sharedActivityManager().removeActivity(endsAtOnce);
    }
};

class Command : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void press(const QString &) {}
};

std::unique_ptr<QTreeView> makeTable(const QStringList &columns, VXTableHeader **header)
{
    auto table = std::make_unique<QTreeView>();
    auto *const model = new QStandardItemModel(table.get());
    model->setHorizontalHeaderLabels(columns);
    *header = new VXTableHeader;
    table->setHeader(*header);
    table->setModel(model);
    (*header)->setAutosaveName(u"test"_s);
    return table;
}

// As the keyboard sends it: the place of the key counts, not what is printed on it.
void pressKey(QWidget &widget, int key, quint32 scanCode, Qt::KeyboardModifiers modifiers)
{
    QKeyEvent event(QEvent::KeyPress, key, modifiers, scanCode + 8, 0, 0);
    QCoreApplication::sendEvent(&widget, &event);
}

} // namespace

class VXControlsTest : public VXHomeTest
{
};

TEST_F(VXControlsTest, SearchFollowsTheTyping)
{
    VXSearchField field;
    VXShowActive(field);
    QStringList searches;
    QObject::connect(&field, &VXSearchField::searchTextDidChange, [&](const QString &text) { searches.append(text); });
    VXType(field, u"jan "_s);
    EXPECT_EQ(searches.value(0), u"j"_s); // at once, and what comes right behind it together
    ASSERT_TRUE(VXRunUntil([&] { return searches.last() == "jan"_L1; }));
    searches.clear();
    VXType(field, u"e"_s);
    VXPress(field, Qt::Key_Return); // at once
    EXPECT_EQ(searches.last(), u"jan e"_s);
    int escapes = 0;
    QObject::connect(&field, &VXSearchField::escaped, [&] { ++escapes; });
    QShortcut back(Qt::Key_Escape, &field); // as a window has it
    QObject::connect(&back, &QShortcut::activated, [&] { ++escapes; });
    VXPress(field, Qt::Key_Escape);
    EXPECT_EQ(searches.last(), QString());
    EXPECT_EQ(escapes, 0);
    VXPress(field, Qt::Key_Escape);
    EXPECT_EQ(escapes, 1);
    EXPECT_LE(searches.size(), 3);
}

TEST_F(VXControlsTest, SplitViewsComeBackAsTheyWereLeft)
{
    const auto make = [] {
        auto view = std::make_unique<VXSplitView>();
        view->addWidget(new QLineEdit);
        view->addWidget(new QLineEdit);
        VXShowActive(*view, {600, 200});
        view->setSizes({300, 293});
        view->setAutosaveName(u"test"_s);
        return view;
    };
    auto view = make();
    const int before = view->sizes().first();
    QSplitterHandle *const divider = view->handle(1);
    divider->setFocus();
    VXPress(*divider, Qt::Key_Left);
    VXPress(*divider, Qt::Key_Left);
    const int moved = view->sizes().first();
    EXPECT_LT(moved, before);
    view.reset();
    view = make();
    EXPECT_EQ(view->sizes().first(), moved);
    VXPress(*view->handle(1), Qt::Key_Return);
    EXPECT_TRUE(view->isPaneFolded(0));
    VXPress(*view->handle(1), Qt::Key_Return);
    EXPECT_EQ(view->sizes().first(), moved);
}

TEST_F(VXControlsTest, TablesKeepTheirColumns)
{
    VXTableHeader *header = nullptr;
    auto table = makeTable({u"Name"_s, u"Number"_s, u"Time"_s}, &header);
    table->show();
    header->resizeSection(0, 222);
    header->moveSection(2, 0);
    header->setSectionHidden(1, true);
    table->hide();
    table = makeTable({u"Name"_s, u"Number"_s, u"Time"_s}, &header);
    EXPECT_EQ(header->sectionSize(0), 222);
    EXPECT_EQ(header->visualIndex(2), 0);
    EXPECT_TRUE(header->isSectionHidden(1));
    header->resetColumns();
    EXPECT_FALSE(header->isSectionHidden(1));
    EXPECT_EQ(header->visualIndex(2), 2);
    table = makeTable({u"Name"_s, u"Mail"_s, u"Time"_s}, &header); // another table's
    EXPECT_EQ(header->visualIndex(2), 2);
}

TEST_F(VXControlsTest, TheKeyThatShowsTheActivitiesHidesThem)
{
    VXStatusBar bar;
    QAction key;
    key.setShortcut(Qt::Key_F9);
    QObject::connect(&key, &QAction::triggered, &bar, &VXStatusBar::toggleActivities);
    bar.addAction(&key);
    VXShowActive(bar);
    VXPress(bar, Qt::Key_F9);
    QPointer<QWidget> shown = QApplication::activePopupWidget();
    ASSERT_NE(shown, nullptr);
    VXPress(*shown, Qt::Key_F9);
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
}

TEST_F(VXControlsTest, TheStatusBarShowsWhatRunsAndStopsIt)
{
    VXStatusBar bar;
    bar.activityList().setDelay(0);
    VXShowActive(bar);
    Stoppable work;
    VXActivityManager &manager = VXActivityManager::sharedActivityManager();
    const auto first = manager.addActivityWithTitle(u"Nokia"_s);
    first->setDelegate(&work);
    first->setSubtitle(u"messages"_s);
    const auto second = manager.addActivityWithTitle(u"Backup"_s);
    ASSERT_TRUE(VXRunUntil([&] { return bar.activityList().activities().size() == 2; }));
    auto *const view = VXChild<VXActivityView>(bar);
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->accessibleName(), u"Nokia: messages"_s);
    ASSERT_TRUE(view->canStop());
    auto *const stop = VXChild<QToolButton>(*view);
    VXPress(*stop, Qt::Key_Space);
    VXPress(*stop, Qt::Key_Space); // once
    EXPECT_EQ(work.cancels, 1);
    manager.removeActivity(first);
    EXPECT_FALSE(VXChild<VXActivityView>(bar)->canStop()); // the other has nobody to ask
    second->setDelegate(&work);
    work.endsAtOnce = second;
    ASSERT_TRUE(VXRunUntil([&] { return VXChild<VXActivityView>(bar)->canStop(); }));
    QTest::mouseClick(VXChild<QToolButton>(*VXChild<VXActivityView>(bar)), Qt::LeftButton);
    EXPECT_EQ(work.cancels, 2);
    EXPECT_EQ(VXChild<VXActivityView>(bar), nullptr);
}

TEST_F(VXControlsTest, HotKeysAreRecordedByThePlaceOfTheKey)
{
    VXHotKeyManager &manager = VXHotKeyManager::sharedHotKeyManager();
    Command command;
    manager.registerHotKeyWithIdentifier(u"dial"_s, u"Dial"_s, &command, "press");
    manager.registerHotKeyWithIdentifier(u"note"_s, u"Note"_s, &command, "press");
    VXHotKeyRecorder dial(u"dial"_s);
    VXHotKeyRecorder note(u"note"_s);
    VXShowActive(dial);
    VXShowActive(note);
    QPushButton &field = *VXChild<QPushButton>(dial);

    VXPress(field, Qt::Key_Return);
    ASSERT_TRUE(dial.isRecording());
    pressKey(field, Qt::Key_Control, 29, Qt::NoModifier);
    pressKey(field, Qt::Key_D, 32, Qt::NoModifier); // would be typing
    EXPECT_TRUE(dial.isRecording());
    EXPECT_FALSE(dial.problem().isNull());
    pressKey(field, Qt::Key_Z, 44, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_FALSE(dial.isRecording());
    EXPECT_EQ(dial.combination(), (VXKeyCombination{44, VXModifierControl | VXModifierOption}));
    EXPECT_EQ(VXUserDefaults::standardUserDefaults().dictionaryForKey(u"hot-keys"_s).value(u"dial"_s).toString(),
              u"44 %1 Ctrl+Alt+Z"_s.arg(VXModifierControl | VXModifierOption));

    QPushButton &other = *VXChild<QPushButton>(note);
    VXPress(other, Qt::Key_Return);
    pressKey(other, Qt::Key_Z, 44, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_TRUE(note.problem().contains(u"Dial"_s));
    EXPECT_EQ(note.combination().keyCode, 0U);

    VXPress(field, Qt::Key_Return);
    pressKey(field, Qt::Key_Escape, 1, Qt::NoModifier); // keeps it
    EXPECT_EQ(dial.combination().keyCode, 44U);
    VXPress(field, Qt::Key_Backspace);
    EXPECT_EQ(dial.combination().keyCode, 0U);
    manager.unregisterHotKeyWithIdentifier(u"dial"_s);
    manager.unregisterHotKeyWithIdentifier(u"note"_s);
}

TEST_F(VXControlsTest, OptionsAreEditedByTheirDescription)
{
    using Type = VXReactorOption::Type;
    VXOptionsForm form({{.key = u"append"_s, .type = Type::Boolean, .meaning = u"Append"_s, .standard = true},
                        {.key = u"count"_s, .type = Type::Number, .meaning = u"How many"_s},
                        {.key = u"name"_s, .meaning = u"Name"_s, .isNeeded = true}},
                       {{u"count"_s, 3}});
    EXPECT_EQ(form.values(), (QVariantMap{{u"count"_s, u"3"_s}}));
    EXPECT_FALSE(form.problem().isNull());
    const QList<QLineEdit *> edits = form.findChildren<QLineEdit *>();
    ASSERT_EQ(edits.size(), 2);
    edits[1]->setText(u"Jane"_s);
    EXPECT_TRUE(form.problem().isNull()) << form.problem().toStdString();
    edits[0]->setText(u"three"_s);
    EXPECT_FALSE(form.problem().isNull());
    edits[0]->clear();
    VXChild<QCheckBox>(form)->setChecked(false);
    EXPECT_EQ(form.values(), (QVariantMap{{u"append"_s, false}, {u"name"_s, u"Jane"_s}}));
}

TEST_F(VXControlsTest, TabGoesThroughAPageAsItIsRead)
{
    QWidget page;
    auto *const column = new QVBoxLayout(&page);
    auto *const last = new QLineEdit;
    column->addWidget(last);
    auto *const first = new QLineEdit;
    column->insertWidget(0, first);
    VXKeepTabOrder(page);
    page.show();
    auto *const line = new QHBoxLayout;
    column->insertLayout(1, line);
    auto *const right = new QPushButton;
    line->addWidget(right);
    auto *const left = new QCheckBox;
    line->insertWidget(0, left);
    const auto next = [](QWidget *widget) {
        do
            widget = widget->nextInFocusChain();
        while ((widget->focusPolicy() & Qt::TabFocus) == 0);
        return widget;
    };
    EXPECT_TRUE(VXRunUntil([&] { return next(first) == left && next(left) == right && next(right) == last; }));
}

#include "VXControlsTest.moc"
