#include "VXConnectContacts.h"

#include "VXCardReader.h"
#include "VXFolders.h"
#include "VXFramework.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

const QString cardSuffix = u".vcf"_s;
constexpr std::chrono::seconds longestWait{10};

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

QStringList VXConnectContacts::names() const
{
    QStringList names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(_folder.toStdString(), error)) {
        const QString name = QFile::decodeName(entry.path().filename().c_str());
        if (name.endsWith(cardSuffix) && entry.is_regular_file(error))
            names.append(name);
    }
    names.sort();
    return names;
}

VXConnectContacts::Cards VXConnectContacts::read(const QStringList &names) const
{
    Cards cards;
    for (const QString &name : names) {
        QFile file(QDir(_folder).filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            cards.problems.append(name + ": "_L1 + file.errorString());
            continue;
        }
        VXCardReader reader(file);
        const std::optional<VXCard> card = reader.next();
        if (!card || !card->isContact) {
            cards.problems.append(
                name + ": "_L1 +
                (card && !card->problems.isEmpty() ? card->problems.first().text : u"this is no whole card"_s));
            continue;
        }
        QVariantMap item = card->contact.map();
        for (const QString &key : {u"uid"_s, u"properties"_s})
            item.remove(key);
        item.insert(u"memory"_s, u"ME"_s);
        item.insert(u"location"_s, name.chopped(cardSuffix.size()));
        cards.items.append(item);
    }
    return cards;
}
