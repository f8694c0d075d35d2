#include "VXConnectContacts.h"

#include "VXCardReader.h"
#include "VXFolders.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

using namespace Qt::StringLiterals;

namespace {

const QString cardSuffix = u".vcf"_s;
const QString asideSuffix = u".vcf-aside"_s;

QStringList filesIn(const QString &folder, const QString &suffix)
{
    return QDir(folder).entryList({u'*' + suffix}, QDir::Files | QDir::Hidden, QDir::Name);
}

} // namespace

VXConnectContacts::VXConnectContacts(const QString &deviceID)
    : _folder(VXFindFolder(VXFolderType::ApplicationSupport, VXFolderDomain::User) + "/kpeoplevcard/kdeconnect-"_L1 +
              deviceID)
{
}

void VXConnectContacts::putAside() const
{
    const QDir folder(_folder);
    for (const QString &name : filesIn(_folder, cardSuffix)) {
        const QString aside = name.chopped(cardSuffix.size()) + asideSuffix;
        QFile::remove(folder.filePath(aside));
        QFile::rename(folder.filePath(name), folder.filePath(aside));
    }
}

void VXConnectContacts::bringBack() const
{
    const QDir folder(_folder);
    for (const QString &aside : filesIn(_folder, asideSuffix)) {
        const QString name = aside.chopped(asideSuffix.size()) + cardSuffix;
        if (!QFile::rename(folder.filePath(aside), folder.filePath(name))) // a new one is there
            QFile::remove(folder.filePath(aside));
    }
}

void VXConnectContacts::forget() const
{
    for (const QString &aside : filesIn(_folder, asideSuffix))
        QFile::remove(QDir(_folder).filePath(aside));
}

VXConnectContacts::Cards VXConnectContacts::read() const
{
    Cards cards;
    for (const QString &name : filesIn(_folder, cardSuffix)) {
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
