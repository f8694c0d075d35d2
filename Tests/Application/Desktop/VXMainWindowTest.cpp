#include "VXMainWindow.h"

#include "DesktopTestsPaths.h"
#include "VXApplication.h"
#include "VXBundle.h"
#include "VXContactForm.h"
#include "VXDataManager.h"
#include "VXDesktopOpener.h"
#include "VXLogWindow.h"
#include "VXManagedObjectContext.h"
#include "VXMessageStore.h"
#include "VXPluginManager.h"
#include "VXPreferencesWindow.h"
#include "VXSearchIndex.h"
#include "VXTesting.h"

#include <QtGui/QAccessible>
#include <QtGui/QAction>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>

using namespace Qt::StringLiterals;

/** The window over the plugins that ship, in a fresh home. */
class VXMainWindowTest : public VXHomeTest
{
protected:
    VXMainWindowTest()
    {
        VXBundle::setMainBundle(VXBundle::bundleWithPath(QStringLiteral(VORNIX_APPLICATION)));
        VXApplication::sharedApplication().setDidFinishLaunching(false);
        VXPluginManager::sharedPluginManager().startup();
        VXApplication::sharedApplication().setDidFinishLaunching(true);
    }
    ~VXMainWindowTest() override { VXPluginManager::sharedPluginManager().shutdown(); }

    /** @return by which the desktop's search has it opened. */
    static QString insert(const QString &store, const QString &entity, const QVariantMap &values)
    {
        const auto coordinator = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(store);
        VXManagedObjectContext context(coordinator);
        const VXManagedObjectPtr object = context.insertNewObject(entity);
        if (entity == VXMessageStore::entityName)
            object->setValueForKey(QVariant::fromValue(VXMessageStore(coordinator).folders(context)->constFirst()),
                                   u"folder"_s);
        for (const auto &[key, value] : values.asKeyValueRange())
            object->setValueForKey(value, key);
        VXError error;
        EXPECT_TRUE(context.save(&error)) << error.description().toStdString();
        return VXFoundObject{.uri = object->objectID().uriRepresentation()}.url().toString();
    }
    static bool shows(const VXMainWindow &window, const QString &section, const QString &text)
    {
        const auto labels = window.section(section)->findChildren<QLabel *>();
        return window.section(section)->isVisible() && std::ranges::any_of(labels, [&text](const QLabel *label) {
                   return label->isVisible() && label->text().contains(text);
               });
    }

    /** What Tab can reach on the window and has no name. */
    static QStringList namelessOn(const QWidget &window, const QString &where)
    {
        QApplication::processEvents();
        QStringList nameless;
        for (QWidget *const each : window.findChildren<QWidget *>()) {
            if ((each->focusPolicy() & Qt::TabFocus) == 0 || !each->isVisible())
                continue;
            QAccessibleInterface *const shown = QAccessible::queryAccessibleInterface(each);
            if (shown == nullptr || shown->text(QAccessible::Name).isEmpty())
                nameless.append(u"%1: %2 in %3"_s.arg(where, QString::fromUtf8(each->metaObject()->className()),
                                                      QString::fromUtf8(each->parent()->metaObject()->className())));
        }
        return nameless;
    }
};

TEST_F(VXMainWindowTest, whateverTakesTheFocusHasAName)
{
    VXMainWindow window;
    window.show();
    QStringList nameless;
    for (const QString &key : {u"phones"_s, u"contacts"_s, u"messages"_s, u"calls"_s, u"automations"_s}) {
        window.showSection(key);
        nameless += namelessOn(window, key);
    }
    for (const QString &key : {u"automations"_s, u"contacts"_s, u"messages"_s}) {
        window.showSection(key);
        window.section(key)->makeNew();
        nameless += namelessOn(window, u"new in "_s + key);
    }
    for (const QString &key : {u"general"_s, u"phones"_s, u"plugins"_s, u"keys"_s, u"data"_s, u"privacy"_s}) {
        window.openPreferences(key);
        nameless += namelessOn(*window.findChild<VXPreferencesWindow *>(), u"preferences, "_s + key);
    }
    window.openLog();
    nameless += namelessOn(*window.findChild<VXLogWindow *>(), u"log"_s);
    VXContactForm form(nullptr);
    VXContactRecord contact;
    contact.numbers = {{u"+1 555 0100"_s, 0, {}}};
    contact.emails = {{u"jane@example.org"_s, 0, {}}};
    form.setContact(contact, {});
    form.show();
    nameless += namelessOn(form, u"contact"_s);
    EXPECT_EQ(nameless.join(u'\n'), QString());
}

TEST_F(VXMainWindowTest, theMenuOffersWhatTheSectionCanDo)
{
    VXMainWindow window;
    const auto isOffered = [&](const QString &section, const QKeySequence &keys) {
        window.showSection(section);
        for (const QAction *const action : window.findChildren<QAction *>()) {
            if (action->shortcut() == keys)
                return action->isEnabled();
        }
        ADD_FAILURE() << keys.toString().toStdString();
        return false;
    };
    EXPECT_TRUE(isOffered(u"contacts"_s, QKeySequence::New));
    EXPECT_FALSE(isOffered(u"calls"_s, QKeySequence::New));
    EXPECT_TRUE(isOffered(u"calls"_s, QKeySequence::Open));
    EXPECT_FALSE(isOffered(u"automations"_s, QKeySequence::Open));
    EXPECT_TRUE(isOffered(u"automations"_s, QKeySequence(Qt::Key_F2)));
    EXPECT_FALSE(isOffered(u"phones"_s, QKeySequence(QKeySequence::Delete)));
}

TEST_F(VXMainWindowTest, whatTheDesktopsSearchFoundIsShown)
{
    const QDateTime longAgo = QDateTime::fromSecsSinceEpoch(1'700'000'000);
    const struct
    {
        QString section;
        QString text;
        QString url;
    } table[] = {
        {u"contacts"_s, u"Jane Doe"_s,
         insert(u"phonebook"_s, u"VXPerson"_s, {{u"firstName"_s, u"Jane"_s}, {u"lastName"_s, u"Doe"_s}})},
        {u"messages"_s, u"0199"_s,
         insert(u"messages"_s, u"VXMessage"_s,
                {{u"text"_s, u"Hello"_s}, {u"from"_s, u"<+15550199>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo}})},
        {u"calls"_s, u"0198"_s,
         insert(u"calls"_s, u"VXCall"_s, {{u"from"_s, u"<+15550198>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo}})},
    };
    for (int i = 1; i < 200; ++i) // a page and more before it
        insert(u"calls"_s, u"VXCall"_s,
               {{u"from"_s, u"<+15550100>"_s}, {u"direction"_s, 1}, {u"date"_s, longAgo.addSecs(i)}});
    VXMainWindow window;
    window.show();
    for (const auto &row : table) {
        VXDesktopOpener(window).open({row.url});
        EXPECT_TRUE(VXRunUntil([&] { return shows(window, row.section, row.text); })) << row.url.toStdString();
    }
}
