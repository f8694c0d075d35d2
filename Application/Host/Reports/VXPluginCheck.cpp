#include "VXPluginCheck.h"

#include "VXContainer.h"
#include "VXManagedObjectModel.h"
#include "VXPluginGuard.h"
#include "VXPluginInstaller.h"
#include "VXPluginKind.h"
#include "VXPluginManager.h"
#include "VXPluginProxy.h"
#include "VXPluginScanner.h"
#include "VXReactorPlugin.h"
#include "VXStringsTable.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QMetaMethod>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtCore/QUrl>

#include <algorithm>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

enum KeyType { String, Array, Dictionary };

const QMap<QString, KeyType> &knownKeys()
{
    static const QMap<QString, KeyType> keys{{u"VXBundleIconFromAppWithIdentifier"_s, String},
                                             {u"VXBundleIconFromFileType"_s, String},
                                             {u"VXDataStoreName"_s, String},
                                             {u"VXDataStoreType"_s, String},
                                             {u"VXDataStoreVersion"_s, String},
                                             {u"VXDescriptiveClassList"_s, Dictionary},
                                             {u"VXDevicePreferences"_s, Array},
                                             {u"VXExporterTargetName"_s, String},
                                             {u"VXPluginClass"_s, String},
                                             {u"VXPluginDependencies"_s, Array},
                                             {u"VXPluginName"_s, String},
                                             {u"VXPluginUpdateKey"_s, String},
                                             {u"VXPluginUpdateURL"_s, String},
                                             {u"VXPostsEvents"_s, Dictionary},
                                             {u"VXReactorCategory"_s, String},
                                             {u"VXReactorClassList"_s, Array},
                                             {u"VXReactorDefaults"_s, Dictionary},
                                             {u"VXReactorEventNameList"_s, Array},
                                             {u"VXReactorName"_s, String},
                                             {u"VXReactorOptionsNibFile"_s, String},
                                             {u"VXServices"_s, Array}};
    return keys;
}

QString nameOf(KeyType type)
{
    return type == String ? u"a string"_s : type == Array ? u"an array"_s : u"a dictionary"_s;
}

// What a property list's value is taken for; none for numbers, dates and data.
std::optional<KeyType> typeOf(const QVariant &value)
{
    if (VXIsMap(value))
        return Dictionary;
    if (VXIsList(value))
        return Array;
    return value.typeId() == QMetaType::QString ? std::optional(String) : std::nullopt;
}

// What the Info.plists of all of the user's plugins say, including plugins inside others.
QList<QVariantMap> installedPlugins()
{
    const VXPluginManager &manager = VXPluginManager::sharedPluginManager();
    VXPluginScanner scanner(manager.pluginFolderPaths(), manager.pathToSharedPluginFolder());
    QStringList paths = scanner.latestPluginPaths();
    QList<QVariantMap> plugins;
    while (!paths.isEmpty()) {
        const QString path = paths.takeFirst();
        plugins.append(VXPluginScanner::peekAtBundleInfo(path));
        paths += VXPluginScanner::pluginPathsInFolder(path + "/Contents/PlugIns"_L1);
    }
    return plugins;
}

class Check
{
public:
    Check(const QString &path, QList<VXPluginFinding> &findings) : _path(path), _findings(findings) {}

    void run(bool isRoot)
    {
        if (!QFileInfo(_path).isDir())
            return error(u"there is no such bundle"_s);
        if (!_path.endsWith(".vxplugin"_L1))
            error(u"its name does not end in \".vxplugin\""_s);
        _info = VXPluginScanner::peekAtBundleInfo(_path);
        if (_info.isEmpty())
            return error(u"Contents/Info.plist cannot be read, or is empty"_s);
        checkInfo(isRoot);
        if (isRoot)
            checkBesideOthers();
        const VXBundle::Ptr bundle = VXBundle::bundleWithPath(_path);
        checkCode(bundle);
        if (text(u"VXPluginClass"_s) == VXPluginKind::Data)
            checkModel(*bundle);
        checkStrings(*bundle);
        for (const QString &child : VXPluginScanner::pluginPathsInFolder(bundle->builtInPlugInsPath()))
            Check(child, _findings).run(false);
    }

private:
    void error(const QString &text) { _findings.append({true, QFileInfo(_path).fileName() + ": "_L1 + text}); }
    void warn(const QString &text) { _findings.append({false, QFileInfo(_path).fileName() + ": "_L1 + text}); }
    QString text(const QString &key) const { return _info.value(key).toString(); }

    void checkInfo(bool isRoot)
    {
        static const QRegularExpression form(u"^[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)+$"_s);
        if (const QString identifier = text(u"CFBundleIdentifier"_s); identifier.isEmpty())
            error(u"CFBundleIdentifier is missing"_s);
        else if (!form.match(identifier).hasMatch())
            warn(u"CFBundleIdentifier \"%1\" is not of the form org.example.hello"_s.arg(identifier));
        const QString version = VXPluginScanner::versionOf(_info);
        if (isRoot && VXPluginScanner::isOutdated(version))
            error(u"version %1 is below %2, the oldest that can be installed"_s.arg(version).arg(
                VXPluginScanner::oldestSharedVersion));
        if (isRoot && text(u"VXPluginName"_s).isEmpty())
            warn(u"without VXPluginName it counts as built in, and cannot be disabled"_s);
        if (const QString kind = text(u"VXPluginClass"_s); !VXPluginKind::all().contains(kind))
            error(u"VXPluginClass \"%1\" is none of %2"_s.arg(kind, VXPluginKind::all().join(", "_L1)));
        for (auto entry = _info.cbegin(); entry != _info.cend(); ++entry)
            checkEntry(entry.key(), entry.value());
        checkUpdates();
    }

    // A value of another type counts as none, silently, when the plugin is used.
    void checkEntry(const QString &key, const QVariant &value)
    {
        const auto wanted = knownKeys().constFind(key);
        if (wanted == knownKeys().cend()) {
            if (key.startsWith("VX"_L1))
                warn(u"the key %1 means nothing to Vornix"_s.arg(key));
            return;
        }
        const std::optional<KeyType> found = typeOf(value);
        if (found != *wanted)
            warn(u"%1 is %2; it must be %3"_s.arg(key, found ? nameOf(*found) : u"a single value"_s, nameOf(*wanted)));
    }

    // What installing and loading would refuse because of the existing plugins.
    void checkBesideOthers()
    {
        const QString identifier = text(u"CFBundleIdentifier"_s);
        const QString store = text(u"VXDataStoreName"_s);
        if (const QString owner = VXPluginWithStore(store, identifier); !owner.isNull())
            error(u"its store \"%1\" is that of the plugin %2"_s.arg(store, owner));
        QSet<QString> identifiers;
        for (const QVariantMap &other : installedPlugins()) {
            const QString kind = other.value(u"VXPluginClass"_s).toString();
            identifiers.insert(other.value(u"CFBundleIdentifier"_s).toString());
            if (identifiers.contains(identifier) && kind != text(u"VXPluginClass"_s))
                error(u"its identifier is that of a plugin of the kind %1"_s.arg(kind));
            identifiers.remove(identifier);
        }
        for (const QString &needed : VXStringListFrom(_info.value(u"VXPluginDependencies"_s))) {
            if (!identifiers.contains(needed))
                warn(u"it needs the plugin %1, which is not installed here"_s.arg(needed));
        }
        if (const QString problem = VXPluginInstaller::problemOfLinks(_path); !problem.isNull())
            error(problem);
    }

    void checkUpdates()
    {
        constexpr qsizetype keySize = 32;
        const QString url = text(u"VXPluginUpdateURL"_s);
        const QString key = text(u"VXPluginUpdateKey"_s);
        if (url.isEmpty() && key.isEmpty())
            return;
        if (QUrl(url).scheme() != "https"_L1)
            error(u"VXPluginUpdateURL \"%1\" is no https URL"_s.arg(url));
        if (!key.isEmpty() && QByteArray::fromBase64(key.toLatin1()).size() != keySize)
            error(u"VXPluginUpdateKey is no Ed25519 key in Base64"_s);
    }

    void checkCode(const VXBundle::Ptr &bundle)
    {
        VXPluginProxy proxy(bundle->bundleIdentifier());
        proxy.setBundle(bundle);
        if (const QString code = bundle->executablePath(); !QFileInfo(code).isFile())
            return error(u"it has no code%1; did the build fail?"_s.arg(code.isEmpty() ? QString() : u", "_s + code));
        const QMetaObject *const type = proxy.pluginClass();
        if (type == nullptr)
            return error(proxy.loadError());
        bool isInvokable = false;
        for (int index = 0; index < type->constructorCount(); ++index)
            isInvokable = isInvokable || type->constructor(index).parameterCount() == 0;
        const QString name = QString::fromUtf8(type->className());
        if (!isInvokable)
            error(u"class %1 has no Q_INVOKABLE constructor without arguments"_s.arg(name));
        if (const QString named = text(u"NSPrincipalClass"_s); named != name)
            warn(u"NSPrincipalClass is \"%1\", but the code names %2"_s.arg(named, name));
        if (isInvokable)
            checkInstance(proxy, *type);
    }

    // Makes an instance in the way of loading.
    void checkInstance(const VXPluginProxy &proxy, const QMetaObject &type)
    {
        std::unique_ptr<QObject> instance;
        QString thrown;
        QStringList further; // defaults for something that is not an option
        const auto look = [&] {
            instance.reset(type.newInstance());
            const auto *const reactor = qobject_cast<const VXReactorPlugin *>(instance.get());
            const VXReactorOptions options = reactor == nullptr ? VXReactorOptions() : reactor->reactorOptions();
            further = options.isEmpty() ? QStringList() : _info.value(u"VXReactorDefaults"_s).toMap().keys();
            for (const VXReactorOption &option : options)
                further.removeAll(option.key);
        };
        if (!VXCallPlugin(proxy, "instantiate", look, &thrown))
            return error(u"%1 throws: %2"_s.arg(instance ? u"reactorOptions"_s : u"its constructor"_s, thrown));
        if (!further.isEmpty())
            warn(u"VXReactorDefaults has what is none of its options: %1"_s.arg(further.join(", "_L1)));
    }

    void checkModel(const VXBundle &bundle)
    {
        const QString name = text(u"VXDataStoreName"_s);
        const QString path = bundle.pathForResource(name, u"mom"_s);
        if (name.isEmpty() || path.isNull())
            return error(name.isEmpty() ? u"VXDataStoreName is missing"_s
                                        : u"there is no model \"%1.mom\" among the resources"_s.arg(name));
        VXError problem;
        if (!VXManagedObjectModel::modelWithContentsOfFile(path, &problem))
            error(u"%1: %2"_s.arg(path, problem.description()));
    }

    // Each language must have the keys of every other.
    void checkStrings(const VXBundle &bundle)
    {
        QMap<QString, QMap<QString, QSet<QString>>> keysByTable; // then by language
        QMap<QString, QSet<QString>> allKeys;
        for (const QString &language : bundle.localizations()) {
            const QString folder = bundle.resourcesPath() + u'/' + language + ".lproj"_L1;
            for (const QString &file : QDir(folder).entryList({u"*.strings"_s}, QDir::Files)) {
                VXError problem;
                const auto table = VXStringsTable::fromFile(folder + u'/' + file, &problem);
                if (!table) {
                    error(problem.description());
                    continue;
                }
                const QSet<QString> keys(table->keyBegin(), table->keyEnd());
                keysByTable[file].insert(language, keys);
                allKeys[file] += keys;
            }
        }
        for (auto table = keysByTable.cbegin(); table != keysByTable.cend(); ++table) {
            for (auto language = table->cbegin(); language != table->cend(); ++language) {
                QStringList missing = (allKeys.value(table.key()) - *language).values();
                missing.sort();
                if (!missing.isEmpty())
                    warn(u"%1.lproj/%2 lacks \"%3\""_s.arg(language.key(), table.key(), missing.join("\", \""_L1)));
            }
        }
    }

    const QString _path;
    QVariantMap _info;
    QList<VXPluginFinding> &_findings;
};

} // namespace

QString VXPluginWithStore(const QString &storeName, const QString &exceptIdentifier)
{
    for (const QVariantMap &plugin : storeName.isEmpty() ? QList<QVariantMap>() : installedPlugins()) {
        const QString identifier = plugin.value(u"CFBundleIdentifier"_s).toString();
        if (plugin.value(u"VXDataStoreName"_s) == storeName && identifier != exceptIdentifier)
            return identifier;
    }
    return {};
}

QList<VXPluginFinding> VXCheckPlugin(const QString &path)
{
    QList<VXPluginFinding> findings;
    Check(QDir::cleanPath(path), findings).run(true);
    return findings;
}

QString VXProblemOfPluginCode(const QString &path, const QString &home)
{
    QStringList arguments{u"plugins"_s, u"check"_s, QFileInfo(path).absoluteFilePath(), u"--json"_s};
    if (!home.isNull())
        arguments += {u"--home"_s, home};
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), arguments);
    if (!process.waitForFinished(-1))
        return process.errorString();
    if (process.exitStatus() != QProcess::NormalExit)
        return u"its code crashes when it is loaded"_s;
    const QJsonObject answer = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    for (const auto &finding : answer[u"findings"_s].toArray()) {
        if (finding[u"isError"_s].toBool())
            return finding[u"text"_s].toString();
    }
    return answer[u"isUsable"_s].toBool() ? QString() : u"its code ends the program when it is loaded"_s;
}
