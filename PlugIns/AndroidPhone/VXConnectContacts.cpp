#include "VXConnectContacts.h"

#include "VXCardReader.h"
#include "VXFolders.h"
#include "VXFramework.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <sys/inotify.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString cardSuffix = u".vcf"_s;
constexpr std::chrono::seconds longestWait{10};
constexpr qsizetype portionSize = 500;

QString pathFor(const QString &prefix, const QString &deviceID)
{
    return VXFindFolder(VXFolderType::ApplicationSupport, VXFolderDomain::User) + "/kpeoplevcard/"_L1 + prefix +
           "kdeconnect-"_L1 + deviceID;
}

} // namespace

VXConnectContacts::VXConnectContacts(const QString &deviceID)
    : _folder(pathFor({}, deviceID)), _aside(pathFor(u"."_s, deviceID) + "-aside"_L1)
{
}

// Moves all of them in one step, however many there are.
QString VXConnectContacts::putAside()
{
    const VXMutexLocker locker(_mutex);
    if (_isOver)
        return {};
    QDir().mkpath(QFileInfo(_folder).path()); // if no phone was read yet
    _lock = std::make_unique<VXFileLock>(_aside + ".lock"_L1, longestWait);
    if (_lock->isTimedOut())
        return VXLocalizedString(
            u"The same is being done already, here or by another program: try again when it has ended."_s);
    if (!_lock->isHeld())
        return _lock->reason();
    returnAll();
    if (!QFileInfo(_folder).isDir())
        return {};
    std::error_code error;
    std::filesystem::rename(_folder.toStdString(), _aside.toStdString(), error);
    if (error)
        return QString::fromStdString(error.message());
    std::filesystem::create_directory(_folder.toStdString(), _aside.toStdString(), error);
    watch();
    return {};
}

void VXConnectContacts::bringBack()
{
    const VXMutexLocker locker(_mutex);
    _isOver = true;
    if (_lock && _lock->isHeld())
        returnAll();
    _lock.reset();
}

void VXConnectContacts::returnAll() const
{
    const std::filesystem::path folder = _folder.toStdString();
    const std::filesystem::path aside = _aside.toStdString();
    std::error_code error;
    if (!std::filesystem::exists(aside, error))
        return;
    std::filesystem::remove(folder, error); // if nothing arrived
    std::filesystem::rename(aside, folder, error);
    if (!error)
        return;
    for (const auto &card : std::filesystem::directory_iterator(aside, error)) {
        std::error_code failure;
        const std::filesystem::path place = folder / card.path().filename();
        if (!std::filesystem::exists(place, failure)) // otherwise a new one is there
            std::filesystem::rename(card.path(), place, failure);
    }
    std::filesystem::remove_all(aside, error);
}

void VXConnectContacts::forget()
{
    const VXMutexLocker locker(_mutex);
    _isOver = true;
    if (_lock && _lock->isHeld()) {
        std::error_code error;
        std::filesystem::remove_all(_aside.toStdString(), error);
    }
    _lock.reset();
}

// -- Reading

// Of a folder that the daemon is about to fill.
void VXConnectContacts::watch()
{
    _arrivals = VXFileDescriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (_arrivals.isOpen() && ::inotify_add_watch(_arrivals.number(), QFile::encodeName(_folder).constData(),
                                                  IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR) < 0)
        _arrivals.close();
}

// The daemon closes a card when it is whole. What the system could not tell of, as there was too much, is found in the
// end.
void VXConnectContacts::noteArrivals()
{
    alignas(inotify_event) std::array<char, 64 * 1024> events;
    while (_arrivals.isOpen()) {
        const ssize_t size = ::read(_arrivals.number(), events.data(), events.size());
        for (ssize_t start = 0; start < size;) {
            inotify_event event{};
            std::memcpy(&event, events.data() + start, sizeof event);
            const char *const name = events.data() + start + sizeof event;
            start += ssize_t(sizeof event + event.len);
            if (event.len > 0)
                note(QFile::decodeName(name));
        }
        if (size <= 0)
            return;
    }
}

void VXConnectContacts::noteAll()
{
    _arrivals.close();
    const qsizetype before = _left.size();
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(_folder.toStdString(), error)) {
        if (entry.is_regular_file(error))
            note(QFile::decodeName(entry.path().filename().c_str()));
    }
    std::sort(_left.begin() + before, _left.end());
}

void VXConnectContacts::note(const QString &name)
{
    if (!name.endsWith(cardSuffix) || _known.contains(name))
        return;
    _known.insert(name);
    _left.append(name);
}

VXConnectContacts::Cards VXConnectContacts::next(bool areAllThere)
{
    if (!areAllThere)
        noteArrivals();
    else if (!std::exchange(_isAllKnown, true))
        noteAll();
    if (!areAllThere && _left.size() < portionSize)
        return {};
    Cards cards;
    const QStringList names = _left.first(std::min(portionSize, _left.size()));
    _left.remove(0, names.size());
    for (const QString &name : names)
        read(name, cards);
    cards.isAny = true;
    cards.isLast = areAllThere && _left.isEmpty();
    return cards;
}

void VXConnectContacts::read(const QString &name, Cards &cards) const
{
    QFile file(QDir(_folder).filePath(name));
    if (!file.open(QIODevice::ReadOnly)) {
        cards.problems.append(name + ": "_L1 + file.errorString());
        return;
    }
    VXCardReader reader(file);
    const std::optional<VXCard> card = reader.next();
    if (!card || !card->isContact) {
        cards.problems.append(
            name + ": "_L1 +
            (card && !card->problems.isEmpty() ? card->problems.first().text : u"this is no whole card"_s));
        return;
    }
    QVariantMap item = card->contact.map();
    for (const QString &key : {u"uid"_s, u"properties"_s})
        item.remove(key);
    item.insert(u"memory"_s, u"ME"_s);
    item.insert(u"location"_s, name.chopped(cardSuffix.size()));
    cards.items.append(item);
}
