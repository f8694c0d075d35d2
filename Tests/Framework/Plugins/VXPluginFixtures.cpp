#include "VXPluginFixtures.h"
#include "VornixPluginFixturesPaths.h"

#include "VXException.h"
#include "VXPropertyList.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// "Code-KIND.so" for "Code.so", where it is there.
QString pathOfCode(const QString &name, const QString &kind)
{
    const QString folder = QStringLiteral(VORNIX_PLUGIN_FIXTURES "/");
    const QString variant = folder + name.chopped(std::min<qsizetype>(3, name.size())) + u'-' + kind + u".so"_s;
    const QString own = QFile::exists(variant) ? variant : folder + name;
    return QFile::exists(own) ? own : QStringLiteral(VORNIX_BROKEN_CODE_FIXTURES "/") + name;
}

void require(bool condition, const QString &what)
{
    if (!condition)
        throw VXException(u"VXPluginFixture"_s, what);
}

} // namespace

QString VXPluginFixture::write(const QString &folder, const QString &fileName) const
{
    const QString path = folder + u'/' + (fileName.isNull() ? identifier : fileName) + ".vxplugin"_L1;
    const QString contents = path + "/Contents"_L1;
    require(QDir().mkpath(contents + "/Linux"_L1) && QDir().mkpath(contents + "/Resources"_L1), contents);

    QVariantMap values{{u"NSPrincipalClass"_s, u"RecordingPlugin"_s}, {u"VXPluginClass"_s, kind}};
    if (!dependencies.isEmpty())
        values.insert(u"VXPluginDependencies"_s, dependencies);
    const QPair<QString, QString> texts[] = {{u"CFBundleIdentifier"_s, identifier},
                                             {u"CFBundleVersion"_s, version},
                                             {u"VXPluginName"_s, name},
                                             {u"CFBundleExecutable"_s, code}};
    for (const auto &[key, text] : texts) {
        if (!text.isNull())
            values.insert(key, text);
    }
    values.insert(info);
    const QString infoFile = contents + "/Info.plist"_L1;
    require(VXPropertyList::toFile(values, infoFile, VXPropertyList::Format::XML), infoFile);

    // A copy: only a file of its own is loaded apart from that of other bundles. One that is there may be in use.
    const QString codeFile = contents + "/Linux/"_L1 + code;
    if (!code.isNull() && !QFile::exists(codeFile))
        require(QFile::copy(pathOfCode(code, kind), codeFile), codeFile);
    return path;
}

QStringList VXPluginEvents()
{
    return QCoreApplication::instance()->property("VXPluginEvents").toStringList();
}

QStringList VXPluginEvents(const QString &operation)
{
    QStringList identifiers;
    for (const QString &event : VXPluginEvents()) {
        if (event.endsWith(u' ' + operation))
            identifiers.append(event.section(u' ', 0, 0));
    }
    return identifiers;
}

void VXClearPluginEvents()
{
    QCoreApplication::instance()->setProperty("VXPluginEvents", QStringList());
}

void VXFlushDeferredDeletions()
{
    for (int round = 0; round < 2; ++round) // in the second what the first deferred
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
