#include "VXFolders.h"
#include "VXTesting.h"

using namespace Qt::StringLiterals;

class VXFoldersTest : public VXHomeTest
{
};

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
