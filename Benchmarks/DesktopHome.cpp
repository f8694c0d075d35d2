#include "DesktopHome.h"

#include "BenchmarkModels.h"
#include "MessageRows.h"

#include "VXApplication.h"
#include "VXBundle.h"
#include "VXCardReader.h"
#include "VXContactImport.h"
#include "VXDataManager.h"
#include "VXFolders.h"
#include "VXFramework.h"
#include "VXMainWindow.h"
#include "VXManagedObjectContext.h"
#include "VXMessageStore.h"
#include "VXPersistentStore.h"
#include "VXPluginManager.h"
#include "VXPropertyList.h"
#include "VXUserDefaults.h"

#include <QtCore/QBuffer>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int parties = 2'000; // with whom there are messages

QString numberOf(int contact)
{
    return u"+49 171 %1"_s.arg(contact, 7, 10, QChar(u'0'));
}

// As various in their first letters as people's.
QByteArray surnameOf(int contact)
{
    static const char *const beginnings[] = {"An", "Be", "Cl", "Du",  "Er", "Fi", "Gro", "Ha",   "Im", "Ja",
                                             "Ko", "La", "Mi", "Nau", "Ot", "Pe", "Ro",  "Schu", "Te", "We"};
    static const char *const middles[] = {"ll", "nn", "rt", "ck", "mm", "ss", "tz", "nd", "lk", "rg"};
    static const char *const ends[] = {"er", "mann", "berg", "ow", "ing", "ke", "el"};
    return QByteArray(beginnings[contact % 20]) + middles[contact / 20 % 10] + ends[contact / 200 % 7];
}

QByteArray cards()
{
    static const char *const names[] = {"Anna",  "Ben",   "Clara", "David", "Emma",
                                        "Felix", "Greta", "Hugo",  "Mia",   "Otto"};
    QByteArray text;
    for (int contact = 0; contact < DesktopHome::contactCount; ++contact) {
        const QByteArray number = numberOf(contact).toUtf8();
        text += "BEGIN:VCARD\r\nVERSION:3.0\r\nN:" + surnameOf(contact) + ';' + names[contact / 1400 % 10] +
                ";;;\r\nTEL;TYPE=cell:" + number + "\r\nUID:" + QByteArray::number(contact) + "\r\nEND:VCARD\r\n";
    }
    return text;
}

QString textOf(qint64 message)
{
    return message % 100'000 == 7 ? u"The zebra in the zoo has a foal, they say. %1"_s.arg(message)
                                  : u"Are you coming tonight, or shall we wait until tomorrow? %1"_s.arg(message);
}

} // namespace

DesktopHome &DesktopHome::shared()
{
    static std::unique_ptr<DesktopHome> home;
    if (!home) {
        home.reset(new DesktopHome);
        qAddPostRoutine([] { home.reset(); });
    }
    return *home;
}

DesktopHome::DesktopHome()
{
    VXSetHomeFolder(_folder.path());
    VXBundle::setMainBundle(VXBundle::bundleWithPath(QStringLiteral(VORNIX_APPLICATION)));
    VXRegisterDefaultsOfBundle(*VXBundle::mainBundle());
    // Mirroring a million messages for the desktops' searches would go on all the while: here, and in the program that is started,
    // which has preferences of its own.
    VXUserDefaults::standardUserDefaults().setObject(true, u"metadata.ignore"_s);
    const QString preferences = _folder.filePath(u".config/Vornix 2/com.halvern.VNX2.plist"_s);
    QDir().mkpath(QFileInfo(preferences).path());
    check(VXPropertyList::toFile(QVariantMap{{u"metadata.ignore"_s, true}}, preferences, VXPropertyList::Format::XML),
          "no preferences");
    VXPluginManager::sharedPluginManager().startup();
    VXApplication::sharedApplication().setDidFinishLaunching(true);
    addContacts();
    addMessages();
}

DesktopHome::~DesktopHome()
{
    _window.reset();
    VXPluginManager::sharedPluginManager().shutdown();
}

VXMainWindow &DesktopHome::window()
{
    if (!_window) {
        _window = std::make_unique<VXMainWindow>();
        _window->show();
    }
    return *_window;
}

void DesktopHome::addContacts()
{
    QByteArray text = cards();
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    VXCardReader reader(buffer);
    VXError error;
    const auto store = VXDataManager::sharedDataManager().sharedCoordinatorForDataStore(u"phonebook"_s);
    required(VXContactImport(store, u"benchmark"_s).run(reader, &error), error);
}

void DesktopHome::addMessages()
{
    const auto store = VXMessageStore::sharedStore()->coordinator();
    VXManagedObjectContext context(store);
    const qint64 folder = VXMessageStore(store).folderForText(u"inbox"_s, context)->objectID().number();
    sqlite3 *database = nullptr;
    check(sqlite3_open(store->persistentStores().constFirst()->path().toUtf8().constData(), &database) == SQLITE_OK,
          "not opened");
    check(sqlite3_exec(database, "PRAGMA cache_size = -400000", nullptr, nullptr, nullptr) == SQLITE_OK, // kibibytes
          sqlite3_errmsg(database));
    insertMessageRows(database, folder, messageCount, textOf,
                      [](qint64 index) { return numberOf(int(index % parties)); });
    sqlite3_close(database);
}
