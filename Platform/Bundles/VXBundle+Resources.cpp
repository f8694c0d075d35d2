#include "VXBundle.h"

#include "VXDiagnostics.h"
#include "VXStringsTable.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QLocale>
#include <QtCore/QSet>

#include <atomic>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

VXMutex languagesLock;
QStringList languages VX_GUARDED_BY(languagesLock);
std::atomic<int> languagesGeneration = 0; // increased when they are set, so that tables are read again

// The name of a language in older bundles, and vice versa; null for other languages.
QString otherName(const QString &language)
{
    static constexpr std::pair<QLatin1StringView, QLatin1StringView> names[] = {
        {"en"_L1, "English"_L1}, {"de"_L1, "German"_L1}, {"fr"_L1, "French"_L1},   {"es"_L1, "Spanish"_L1},
        {"it"_L1, "Italian"_L1}, {"nl"_L1, "Dutch"_L1},  {"ja"_L1, "Japanese"_L1},
    };
    for (const auto &[code, legacy] : names) {
        if (language == code || language == legacy)
            return language == code ? legacy : code;
    }
    return {};
}

// Possible names of a language's folder, the closest first: "pt-BR", "pt_BR", "pt", then its name in older bundles.
QStringList folderNames(QString tag)
{
    QStringList names;
    tag.replace(u'_', u'-');
    for (;;) {
        names.append(tag);
        const qsizetype hyphen = tag.lastIndexOf(u'-');
        if (hyphen < 0)
            break;
        names.append(QString(tag).replace(u'-', u'_'));
        tag.truncate(hyphen);
    }
    if (const QString other = otherName(tag); !other.isNull())
        names.append(other);
    return names;
}

QString fileName(const QString &name, const QString &type)
{
    return type.isEmpty() ? name : name + u'.' + type;
}

QString folderIn(const QString &folder, const QString &subfolder)
{
    return subfolder.isEmpty() ? folder : folder + u'/' + subfolder;
}

QStringList languageFolders(const VXBundle &bundle, const QString &subfolder)
{
    QStringList folders;
    for (const QString &language : bundle.preferredLocalizations())
        folders.append(folderIn(bundle.resourcesPath() + u'/' + language + ".lproj"_L1, subfolder));
    return folders;
}

} // namespace

QStringList VXBundle::preferredLanguages()
{
    const VXMutexLocker lock(languagesLock);
    if (languages.isEmpty())
        languages = QLocale::system().uiLanguages();
    return languages;
}

void VXBundle::setPreferredLanguages(const QStringList &preferred)
{
    const VXMutexLocker lock(languagesLock);
    languages = preferred;
    ++languagesGeneration;
}

QStringList VXBundle::localizations() const
{
    QStringList names = QDir(resourcesPath()).entryList({u"*.lproj"_s}, QDir::Dirs | QDir::NoDotAndDotDot);
    for (QString &name : names)
        name.chop(".lproj"_L1.size());
    names.sort();
    return names;
}

QStringList VXBundle::preferredLocalizations() const
{
    QStringList wanted;
    for (const QString &language : preferredLanguages())
        wanted.append(folderNames(language));
    if (const QString region = _info.value(u"CFBundleDevelopmentRegion"_s).toString(); !region.isEmpty())
        wanted.append(folderNames(region));
    wanted.removeDuplicates();
    // Asked for with each text of a list: the folder is not listed for that.
    wanted.removeIf([place = resourcesPath() + u'/'](const QString &name) {
        return !QFileInfo(place + name + ".lproj"_L1).isDir();
    });
    return wanted;
}

QString VXBundle::pathForResource(const QString &name, const QString &type, const QString &subfolder) const
{
    if (name.isEmpty())
        return {};
    const QString file = fileName(name, type);
    if (QString path = folderIn(resourcesPath(), subfolder) + u'/' + file; QFileInfo::exists(path))
        return path; // most are no language's
    for (const QString &folder : languageFolders(*this, subfolder)) {
        if (QString path = folder + u'/' + file; QFileInfo::exists(path))
            return path;
    }
    return {};
}

QStringList VXBundle::pathsForResourcesOfType(const QString &type, const QString &subfolder) const
{
    QStringList paths;
    QSet<QString> known; // a language's own variant replaces others
    const QStringList common{folderIn(resourcesPath(), subfolder)};
    for (const QString &folder : common + languageFolders(*this, subfolder)) {
        const QDir::Filters filters = QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot;
        const QString pattern = type.isEmpty() ? u"*"_s : "*."_L1 + type;
        for (const QString &name : QDir(folder).entryList({pattern}, filters | QDir::CaseSensitive)) {
            if (known.contains(name) || (name.endsWith(".lproj"_L1) && type != "lproj"_L1))
                continue;
            known.insert(name);
            paths.append(folder + u'/' + name);
        }
    }
    paths.sort();
    return paths;
}

QVariant VXBundle::objectForInfoDictionaryKey(const QString &key) const
{
    const Table localized = stringsTable(u"InfoPlist"_s);
    const auto text = localized.constFind(key);
    return text != localized.cend() ? QVariant(*text) : _info.value(key);
}

QString VXBundle::localizedStringForKey(const QString &key, const QString &value, const QString &table) const
{
    const Table texts = stringsTable(table.isEmpty() ? u"Localizable"_s : table);
    return texts.value(key, value.isNull() ? key : value);
}

VXBundle::Table VXBundle::stringsTable(const QString &table) const
{
    const int generation = languagesGeneration.load();
    {
        const VXMutexLocker lock(_lock);
        if (_tablesGeneration != generation)
            _tables.clear();
        _tablesGeneration = generation;
        if (const auto known = _tables.constFind(table); known != _tables.cend())
            return *known;
    }
    VXError error;
    const QString path = pathForResource(table, u"strings"_s);
    Table texts = path.isNull() ? Table() : VXStringsTable::fromFile(path, &error).value_or(Table());
    {
        const VXMutexLocker lock(_lock);
        // another thread has read it meanwhile
        if (const auto known = _tables.constFind(table); known != _tables.cend())
            return *known;
        if (_tablesGeneration == generation)
            _tables.insert(table, texts);
    }
    if (error)
        VXReportDiagnostic(3, u"Strings table \"%1\" unreadable: %2"_s.arg(table, error.description()));
    return texts;
}
