#include "VXFolders.h"
#include "VXTesting.h"

#include <QtCore/QFile>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

using VXFoldersTest = VXHomeTest;

TEST_F(VXFoldersTest, EveryPerUserFolderLiesBelowTheHomeFolder)
{
    for (const VXFolderType type :
         {VXFolderType::Applications, VXFolderType::ApplicationSupport, VXFolderType::Desktop, VXFolderType::Caches,
          VXFolderType::Trash, VXFolderType::Logs, VXFolderType::Preferences}) {
        const QString found = VXFindFolder(type, VXFolderDomain::User);
        EXPECT_TRUE(found.startsWith(path() + u'/')) << found.toStdString();
    }
    EXPECT_EQ(VXFindFolder(VXFolderType::Logs, VXFolderDomain::User), path(u".local/state"_s));
    EXPECT_EQ(VXFindFolder(VXFolderType::Trash, VXFolderDomain::User), path(u".local/share/Trash/files"_s));
}

TEST_F(VXFoldersTest, FollowsTheEnvironmentAsTheBaseDirectoryRulesSay)
{
    qputenv("XDG_STATE_HOME", "/elsewhere//state/");
    EXPECT_EQ(VXFindFolder(VXFolderType::Logs, VXFolderDomain::User), u"/elsewhere/state"_s);
    qputenv("XDG_STATE_HOME", "relative/state"); // not absolute: to be ignored
    EXPECT_EQ(VXFindFolder(VXFolderType::Logs, VXFolderDomain::User), path(u".local/state"_s));
    writeFile(u".config/user-dirs.dirs"_s, "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
    EXPECT_EQ(VXFindFolder(VXFolderType::Desktop, VXFolderDomain::User), path(u"Schreibtisch"_s));
}

TEST_F(VXFoldersTest, SaysWhyThereIsNoFolder)
{
    int status = VXFolderFound;
    EXPECT_TRUE(VXFindFolder(VXFolderType::Trash, VXFolderDomain::Local, &status).isNull());
    EXPECT_EQ(status, VXFolderNotFound);

    qunsetenv("XDG_STATE_HOME");
    qunsetenv("HOME");
    EXPECT_TRUE(VXFindFolder(VXFolderType::Logs, VXFolderDomain::User, &status).isNull());
    EXPECT_EQ(status, VXFolderNotFound);

    qputenv("XDG_CACHE_HOME", '/' + QByteArray(1023, 'x'));
    EXPECT_TRUE(VXFindFolder(VXFolderType::Caches, VXFolderDomain::User, &status).isNull());
    EXPECT_EQ(status, VXFolderPathTooLong);
    qputenv("XDG_CACHE_HOME", '/' + QByteArray(1022, 'x'));
    EXPECT_FALSE(VXFindFolder(VXFolderType::Caches, VXFolderDomain::User, &status).isNull());
}

TEST_F(VXFoldersTest, PrivateFoldersAreTheirOwnersAlone)
{
    const auto modeOf = [](const QString &folder) {
        struct stat status = {};
        return ::stat(QFile::encodeName(folder).constData(), &status) == 0 ? status.st_mode & 0777U : 0;
    };
    QString reason;
    EXPECT_TRUE(VXMakePrivateFolder(path(u"a/b/c"_s), &reason)) << reason.toStdString();
    EXPECT_EQ(modeOf(path(u"a"_s)), 0700U);
    EXPECT_EQ(modeOf(path(u"a/b/c"_s)), 0700U);
    EXPECT_EQ(::chmod(QFile::encodeName(path(u"a/b"_s)).constData(), 0755), 0);
    EXPECT_TRUE(VXMakePrivateFolder(path(u"a/b/"_s)));
    EXPECT_EQ(modeOf(path(u"a/b"_s)), 0700U) << "made by an earlier version";
    writeFile(u"file"_s, "");
    EXPECT_FALSE(VXMakePrivateFolder(path(u"file"_s), &reason));
    EXPECT_EQ(reason, qt_error_string(ENOTDIR));
    EXPECT_FALSE(VXMakePrivateFolder(path(u"file/below"_s), &reason));
}

TEST_F(VXFoldersTest, ExpandsTildes)
{
    EXPECT_EQ(VXExpandTilde(u"~"_s), path());
    EXPECT_EQ(VXExpandTilde(u"~/a"_s), path(u"a"_s));
    EXPECT_EQ(VXExpandTilde(u"~root/a"_s), u"/root/a"_s);
    for (const QString &path : {u"~nobody of that name/a"_s, u"/~/a"_s, u"a~"_s, u""_s})
        EXPECT_EQ(VXExpandTilde(path), path);
}
