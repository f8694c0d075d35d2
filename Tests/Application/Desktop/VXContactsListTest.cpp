#include "DesktopTestsPaths.h"
#include "VXApplication.h"
#include "VXContactCard.h"
#include "VXContactForm.h"
#include "VXContactRow.h"
#include "VXDataManager.h"
#include "VXDesktopTesting.h"
#include "VXListPane.h"
#include "VXMainWindow.h"
#include "VXManagedObjectContext.h"
#include "VXModelParser.h"
#include "VXNoticeBar.h"
#include "VXScriptedUserInterface.h"
#include "VXStoreListModel.h"
#include "VXTesting.h"

#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QProcess>
#include <QtTest/QTest>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollBar>

using namespace Qt::StringLiterals;

/** The list of contacts over the store that the command line writes. */
class VXContactsListTest : public VXHomeTest
{
protected:
    void runProgram(const QStringList &arguments) const
    {
        QProcess process;
        process.start(QStringLiteral(VORNIX_PROGRAM), QStringList{u"--home"_s, path()} + arguments);
        ASSERT_TRUE(process.waitForFinished(30000));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    }

    VXPersistentStoreCoordinator::Ptr openStore() const
    {
        QFile file(QStringLiteral(VORNIX_PHONEBOOK_MODEL));
        EXPECT_TRUE(file.open(QFile::ReadOnly));
        QList<VXModelProblem> problems;
        const auto model = VXManagedObjectModel::modelWithDefinition(VXParseModel(file.readAll(), &problems));
        const auto coordinator = VXPersistentStoreCoordinator::coordinatorWithModel(model);
        const QString folder = VXDataManager::sharedDataFolderPath() + "/phonebook.vxdatastore"_L1;
        EXPECT_TRUE(coordinator->addPersistentStore(VXStoreType::SQLite, folder + "/phonebook.sqlite"_L1));
        return coordinator;
    }

    QStringList rows() const
    {
        QStringList texts;
        for (int row = 0; row < list.rowCount(); ++row)
            texts.append(list.index(row).data().toString());
        return texts;
    }
    [[nodiscard]] bool shows(const QStringList &expected)
    {
        return VXRunUntil([&] { return rows() == expected; });
    }

    VXStoreListModel list;
};

TEST_F(VXContactsListTest, followsAnotherProcessAndFindsWhatIsTyped)
{
    runProgram({u"phonebook"_s, u"add"_s, u"Jane Doe"_s, u"--number"_s, u"+1 555 0100/m"_s});
    const auto store = openStore();
    list.setQuery(VXContactsQuery(store, {}, {}));
    EXPECT_TRUE(shows({u"Jane Doe, +1 555 0100"_s})) << rows().join(u'|').toStdString();
    runProgram({u"phonebook"_s, u"add"_s, u"Amélie Abel"_s, u"--number"_s, u"+1 555 0101/m"_s});
    EXPECT_TRUE(shows({u"Amélie Abel, +1 555 0101"_s, u"Jane Doe, +1 555 0100"_s})) << rows().join(u'|').toStdString();
    runProgram({u"phonebook"_s, u"edit"_s, u"Jane Doe"_s, u"--nickname"_s, u"Janie"_s});
    for (const QString &typed : {u"amel"_s, u"ab AM"_s, u"15550101"_s}) {
        list.setQuery(VXContactsQuery(store, {}, typed));
        EXPECT_TRUE(shows({u"Amélie Abel, +1 555 0101"_s}))
            << typed.toStdString() << ": " << rows().join(u'|').toStdString();
    }
    list.setQuery(VXContactsQuery(store, {}, u"jani"_s));
    EXPECT_TRUE(shows({u"Jane Doe, +1 555 0100"_s})) << rows().join(u'|').toStdString();
    runProgram({u"phonebook"_s, u"delete"_s, u"Jane Doe"_s});
    EXPECT_TRUE(shows({}));
}

/** The section, over three contacts. */
class VXContactsSectionTest : public VXDesktopTest
{
protected:
    VXContactsSectionTest()
    {
        for (const QString &name : names)
            add(named(name));
        window = std::make_unique<VXMainWindow>();
        window->show();
        window->activateWindow();
        window->showSection(u"contacts"_s);
        section = window->section(u"contacts"_s);
        pane = section->findChild<VXListPane *>();
        EXPECT_TRUE(VXRunUntil([&] { return textOf(2).startsWith(u"Cesar"_s) && window->isActiveWindow(); }));
    }

    static VXContactRecord named(const QString &name)
    {
        VXContactRecord contact;
        contact.firstName = name;
        contact.numbers = {{u"+1 555 010"_s + QString::number(name.size()), 0, u"Attic"_s}};
        return contact;
    }
    void addMore(int count) const
    {
        QList<QVariantMap> more;
        for (int i = 0; i < count; ++i)
            more.append({{u"firstName"_s, u"D%1"_s.arg(i, 4)}, {u"sort_name"_s, u"d%1"_s.arg(i, 4)}});
        insertAll(u"phonebook"_s, u"VXPerson"_s, more);
        EXPECT_TRUE(VXRunUntil([&] { return pane->list()->model()->rowCount() == 3 + count; }));
    }
    VXContactForm *form() const { return section->findChild<VXContactForm *>(); } // made to edit
    QString textOf(int row) const { return pane->list()->model()->index(row, 0).data().toString(); }
    void edit(int row, const QString &typed) const
    {
        pane->choose(row);
        section->edit();
        type(typed);
    }
    void makeNew() const
    {
        section->makeNew();
        type(u"Zed"_s);
    }
    void type(const QString &typed) const { QTest::keyClicks(form()->findChild<QLineEdit *>(), typed); }
    void clickUndo() const
    {
        for (QPushButton *const each : section->notices().findChildren<QPushButton *>()) {
            if (each->text() == "Undo"_L1)
                each->click();
        }
    }

    const QStringList names{u"Anna"_s, u"Berta"_s, u"Cesar"_s};
    std::unique_ptr<VXMainWindow> window;
    VXSection *section;
    VXListPane *pane;
};

TEST_F(VXContactsSectionTest, onlyWhatTheUserMeansIsDeletedAndUndoBringsBackWhatWasTyped)
{
    makeNew();
    QTest::keyClick(form()->findChild<QComboBox *>(), Qt::Key_Delete);
    EXPECT_TRUE(form()->isVisible());
    section->remove(); // by the menu
    EXPECT_FALSE(form()->isVisible());
    EXPECT_EQ(namesOfContacts(), names);
    clickUndo();
    EXPECT_TRUE(form()->isVisible());
    EXPECT_TRUE(section->commit());
    EXPECT_TRUE(namesOfContacts().contains(u"Zed"_s));
    edit(1, u"x"_s);
    section->remove();
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Anna"_s, u"Cesar"_s, u"Zed"_s}));
    clickUndo();
    EXPECT_TRUE(namesOfContacts().join(u' ').contains(u"Bertax"_s)) << namesOfContacts().join(u' ').toStdString();
}

TEST_F(VXContactsSectionTest, whatCannotBeSavedIsNeitherDroppedNorLost)
{
    const auto birthday = [this] {
        for (QLineEdit *const each : form()->findChildren<QLineEdit *>()) {
            if (each->placeholderText() == QLocale().dateFormat(QLocale::ShortFormat))
                return each;
        }
        return static_cast<QLineEdit *>(nullptr);
    };
    edit(1, u"x"_s);
    QTest::keyClicks(birthday(), u"3"_s);
    section->remove();
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Anna"_s, u"Cesar"_s}));
    clickUndo();
    EXPECT_EQ(namesOfContacts(), names);
    ASSERT_TRUE(form()->isVisible());
    EXPECT_EQ(birthday()->text(), u"3"_s);
    birthday()->clear();
    EXPECT_TRUE(section->commit());
    EXPECT_TRUE(namesOfContacts().join(u' ').contains(u"Bertax"_s)) << namesOfContacts().join(u' ').toStdString();

    section->makeNew();
    EXPECT_TRUE(section->commit()); // nothing was typed
    EXPECT_EQ(namesOfContacts().size(), 3);
    section->makeNew();
    QTest::keyClicks(form()->findChild<QPlainTextEdit *>(), u"Who was it?"_s);
    EXPECT_TRUE(section->commit());
    EXPECT_EQ(namesOfContacts().size(), 4);

    edit(0, {});
    QTest::keyClicks(birthday(), u"3"_s);
    window = std::make_unique<VXMainWindow>(); // after a sudden end
    section = window->section(u"contacts"_s);
    ASSERT_NE(form(), nullptr);
    EXPECT_EQ(birthday()->text(), u"3"_s);
}

TEST_F(VXContactsSectionTest, inASmallWindowEverythingCanBeReached)
{
    VXContactForm edited(nullptr);
    edited.setContact({named(u"Anna"_s)}, {});
    VXContactCard card(nullptr);
    card.setContact(named(u"Anna"_s));
    for (QScrollArea *const each : std::initializer_list<QScrollArea *>{&edited, &card}) {
        each->resize(220, 480);
        each->show();
        EXPECT_TRUE(VXRunUntil([each] {
            return each->horizontalScrollBar()->isVisible() &&
                   each->horizontalScrollBar()->maximum() >= each->widget()->width() - each->viewport()->width();
        })) << each->accessibleName().toStdString();
    }
}

TEST_F(VXContactsSectionTest, undoLeavesTheContactAloneThatIsEdited)
{
    edit(0, u"2"_s);
    EXPECT_TRUE(section->commit());
    edit(1, u"3"_s);
    section->undoStack().undo();
    EXPECT_TRUE(form()->isVisible());
    pane->choose(2);
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Anna"_s, u"Berta3"_s, u"Cesar"_s}));
    EXPECT_FALSE(form()->isVisible());
}

TEST_F(VXContactsSectionTest, aContactThatOthersDeleteWhileItIsEditedBecomesANewOne)
{
    edit(1, u"h"_s);
    const auto removeBerta = [this](int rows) {
        VXManagedObjectContext context(
            VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s));
        context.deleteObject(context.objectWithID(
            pane->list()->currentIndex().data(VXStoreListModel::ObjectIDRole).value<VXManagedObjectID>()));
        EXPECT_TRUE(context.save());
        EXPECT_TRUE(VXRunUntil([&] { return pane->list()->model()->rowCount() == rows; }));
        EXPECT_TRUE(form()->isVisible());
        EXPECT_EQ(namesOfContacts(), (QStringList{u"Anna"_s, u"Cesar"_s}));
    };
    removeBerta(2);
    EXPECT_TRUE(section->commit());
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Anna"_s, u"Bertah"_s, u"Cesar"_s}));
    ASSERT_TRUE(VXRunUntil([&] { return textOf(1).startsWith(u"Bertah"_s); }));
    edit(1, {}); // nothing that would be lost
    removeBerta(2);
    EXPECT_TRUE(section->commit());
    EXPECT_EQ(namesOfContacts(), (QStringList{u"Anna"_s, u"Cesar"_s}));
}

TEST_F(VXContactsSectionTest, aLabelStaysWithItsNumberUntilAnotherKindIsChosen)
{
    edit(0, {});
    const auto *const kind = form()->findChild<QComboBox *>();
    auto *const number = kind->parentWidget()->findChild<QLineEdit *>();
    QTest::keyClicks(number, u"9"_s);
    EXPECT_EQ(form()->contact().numbers.constFirst().label, u"Attic"_s);
    QTest::keyClick(const_cast<QComboBox *>(kind), Qt::Key_Home);
    EXPECT_TRUE(form()->contact().numbers.constFirst().label.isEmpty());
}

TEST_F(VXContactsSectionTest, allSelectedAreDeletedReadOrNot)
{
    addMore(300);
    auto user = std::make_unique<VXScriptedUserInterface>();
    user->answerAlert(VXAlertButton::Default);
    VXApplication::sharedApplication().setUserInterface(std::move(user));
    pane->list()->selectAll();
    section->remove();
    EXPECT_EQ(namesOfContacts(), QStringList());
    clickUndo();
    EXPECT_EQ(namesOfContacts().size(), 303);
}

TEST_F(VXContactsSectionTest, aDeletionThatIsStoppedDeletesNothing)
{
    addMore(300);
    auto user = std::make_unique<VXScriptedUserInterface>();
    user->answerAlert(VXAlertButton::Default);
    user->cancelNextProgressWindow();
    VXApplication::sharedApplication().setUserInterface(std::move(user));
    pane->list()->selectAll();
    section->remove();
    EXPECT_EQ(namesOfContacts().size(), 303);
    EXPECT_EQ(section->undoStack().count(), 0);
    EXPECT_FALSE(section->notices().isVisible());
}

TEST_F(VXContactsSectionTest, hundredsAreNotMerged)
{
    addMore(200);
    pane->list()->selectAll();
    section->merge();
    EXPECT_TRUE(section->notices().isProblem());
    EXPECT_TRUE(section->notices().text().contains(u"203"_s));
}

TEST_F(VXContactsSectionTest, aHugeContactIsShownInPartAndKeptWhole)
{
    VXContactRecord huge = named(QString(1 << 20, u'A'));
    for (int i = 1; i < 10000; ++i)
        huge.numbers.append({u"+1 555 %1"_s.arg(100000 + i), 0});
    VXContactCard card(nullptr);
    card.setContact(huge);
    const auto few = card.findChildren<QWidget *>().size();
    EXPECT_LT(few, 1000);
    for (QPushButton *const each : card.findChildren<QPushButton *>()) {
        if (each->text().contains(QLocale().toString(9950)))
            each->click();
    }
    EXPECT_GT(card.findChildren<QWidget *>().size(), few + 200);
    EXPECT_LT(card.findChildren<QWidget *>().size(), 3000);

    section->makeNew();
    form()->setContact({huge}, {});
    EXPECT_LT(form()->findChildren<QLineEdit *>().size(), 300);
    type(u"B"_s); // into the name, which is too long to be changed
    auto *const number = form()->findChild<QComboBox *>()->parentWidget()->findChild<QLineEdit *>();
    QTest::keyClicks(number, u"9"_s);
    huge.numbers.front().value += u'9';
    EXPECT_EQ(form()->contact().map(), huge.map());
    EXPECT_TRUE(form()->problem().isNull());
}
