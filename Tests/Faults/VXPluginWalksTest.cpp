#include "VXFailingCalls.h"
#include "VXPluginFixtures.h"
#include "VXPluginManager.h"
#include "VXPropertyList.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <sys/wait.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/** A walk over the installing of a plugin whose older version lies in the shared folder. */
class VXPluginWalks : public VXHomeTest
{
protected:
    // In a process of its own: the manager is a singleton.
    static void startProgram()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            VXPluginManager::sharedPluginManager().startup();
            ::_exit(0);
        }
        ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    }
    static bool isWhole(const QString &bundle)
    {
        return QFileInfo(bundle + u"/Contents/Linux/RecordingPlugin.so"_s).size() > 0 &&
               QFileInfo::exists(bundle + u"/Contents/Info.plist"_s);
    }
    static QString versionAt(const QString &bundle)
    {
        if (!QFileInfo::exists(bundle))
            return u"none"_s;
        const QVariantMap info = VXPropertyList::fromFile(bundle + u"/Contents/Info.plist"_s).toMap();
        return isWhole(bundle) ? info.value(u"CFBundleVersion"_s).toString() : u"broken"_s;
    }
    const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);
};

TEST_F(VXPluginWalks, Install)
{
    const QString source = path(u"in/p.vxplugin"_s);
    VXFailureWalk walk;
    walk.prepare = [&] {
        QDir(path(u"in"_s)).removeRecursively();
        QDir(path(u".local"_s)).removeRecursively();
        VXPluginFixture{.identifier = u"p"_s, .version = u"2000"_s}.write(shared);
        VXPluginFixture{.identifier = u"p"_s, .version = u"2001"_s}.write(path(u"in"_s));
    };
    walk.operation = [&] {
        return VXPluginManager::sharedPluginManager().installBundleAtPath(source) == VXPluginInstallResult::Installed;
    };
    // Neither version is lost or in pieces, whatever happened; the older one may lie in the trash while the new one waits.
    walk.state = [&] {
        EXPECT_TRUE(isWhole(shared + u"/p.vxplugin"_s)) << "the older or the newer one is there at any moment";
        startProgram(); // which finishes what was cut short
        const QString place = versionAt(shared + u"/p.vxplugin"_s);
        const QString trash = path(u".local/share/Trash/files/"_s);
        const QStringList names = QDir(trash).entryList({u"p.vxplugin*"_s}); // a number follows after a killed attempt
        const QString trashed = versionAt(trash + names.value(0, u"none"_s));
        const QString old = place == u"2000"_s ? place : trashed;
        const QString given = versionAt(source);
        return QStringList{given, given == u"none"_s ? place : u"waits"_s, old};
    };
    walk.mayRefuseWhatIsDone = true; // what could not be put into place lies in the staging folder until the next start
    walk.run();
}

} // namespace
