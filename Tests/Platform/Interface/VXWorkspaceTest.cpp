#include "VXWorkspace.h"
#include "VXTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>

using namespace Qt::StringLiterals;

namespace {

class VXWorkspaceTest : public VXHomeTest
{
protected:
    VXWorkspaceTest()
    {
        qputenv("XDG_DATA_DIRS",
                (path(u"machine"_s) + u':' + path(u"vendor"_s)).toLocal8Bit() + ":/usr/local/share:/usr/share");
    }

    QString writeEntry(const QString &relative, const QByteArray &lines) const
    {
        return writeFile(relative, "# comment\n[Desktop Entry]\nType=Application\n" + lines +
                                       "\n[Desktop Action New]\nIcon=wrong\n");
    }

    QString writeProgram(const QString &relative, const QByteArray &script) const
    {
        const QString program = writeFile(relative, "#!/bin/sh\n" + script);
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return program;
    }

    std::unique_ptr<VXWorkspace> workspace = VXWorkspace::freedesktopWorkspace();
};

} // namespace

TEST_F(VXWorkspaceTest, FindsApplicationsByTheDesktopEntryRules)
{
    const QString user = u".local/share/applications/"_s;
    const QString both = writeEntry(user + u"org.example.Both.desktop"_s, "Icon=user");
    writeEntry(u"machine/applications/org.example.Both.desktop"_s, "Icon=machine");
    const QString nested = writeEntry(u"vendor/applications/kde/viewer.desktop"_s, "Icon=/icons/viewer.png");
    const QString keyed = writeEntry(u"vendor/applications/x.desktop"_s, "X-Vornix-Identifier = com.example.keyed");
    writeEntry(user + u"gone.desktop"_s, "Hidden=true\nX-Vornix-Identifier=com.example.gone");
    writeEntry(u"machine/applications/gone.desktop"_s, "X-Vornix-Identifier=com.example.gone");
    writeFile(user + u"broken.desktop"_s, "no group at all");

    const std::tuple<QString, QString, VXIcon> cases[] = {
        {u"org.example.Both"_s, both, {u"user"_s, {}, {}}},
        {u"org.example.Both.desktop"_s, both, {u"user"_s, {}, {}}},
        {u"kde-viewer"_s, nested, {{}, {}, u"/icons/viewer.png"_s}},
        {u"com.example.keyed"_s, keyed, {}},
        {u"gone"_s, {}, {}},             // the user's entry hides the machine's
        {u"com.example.gone"_s, {}, {}}, // by either name
        {u"broken"_s, {}, {}},
        {u"../../etc/passwd"_s, {}, {}},
        {u""_s, {}, {}},
    };
    for (const auto &[identifier, found, icon] : cases) {
        EXPECT_EQ(workspace->applicationPathForIdentifier(identifier), found) << identifier.toStdString();
        EXPECT_EQ(workspace->iconForApplication(identifier), icon) << identifier.toStdString();
    }
    EXPECT_EQ(workspace->iconForFile(both).name, u"user"_s);
}

TEST_F(VXWorkspaceTest, NamesIconsOfFiles)
{
    EXPECT_EQ(workspace->iconForFile(writeFile(u"a"_s, "%PDF-1.4\n")).name, u"application-pdf"_s);
    EXPECT_EQ(workspace->iconForFile(path()).name, u"inode-directory"_s);
    EXPECT_EQ(workspace->iconForFile(path()).genericName, u"folder"_s);
    EXPECT_TRUE(workspace->iconForFile(path(u"missing"_s)).isNull());
    for (const auto &type : {u"png"_s, u".PNG"_s, u"image/png"_s})
        EXPECT_EQ(workspace->iconForFileType(type).name, u"image-png"_s) << type.toStdString();
    EXPECT_FALSE(workspace->iconForFileType(u"no-such-extension"_s).isNull());
    EXPECT_TRUE(workspace->iconForFileType(u"no/such"_s).isNull());
}

TEST_F(VXWorkspaceTest, OpensURLsThroughTheDesktop)
{
    const QString opened = path(u"opened"_s);
    writeProgram(u"bin/xdg-open"_s, "printf '%s|' \"$@\" > \"$HOME/part\" && mv \"$HOME/part\" \"$HOME/opened\"\n");
    const QByteArray oldPath = qgetenv("PATH");
    VXError error;
    qputenv("PATH", path(u"none"_s).toLocal8Bit());
    EXPECT_FALSE(workspace->openURL(QUrl(u"https://example.org/"_s), &error));
    EXPECT_EQ(error.localizedRecoverySuggestion(), u"The program xdg-open is not installed."_s);

    qputenv("PATH", path(u"bin"_s).toLocal8Bit() + ':' + oldPath);
    EXPECT_FALSE(workspace->openURL(QUrl(u"--help"_s), &error)); // never an option of the program
    EXPECT_TRUE(workspace->openURL(QUrl(u"https://example.org/a b?c=;d"_s), &error)) << testing::PrintToString(error);
    EXPECT_TRUE(VXRunUntil([&] { return QFileInfo::exists(opened); }));
    EXPECT_EQ(readFile(opened), QByteArray("https://example.org/a%20b?c=;d|"));
    qputenv("PATH", oldPath);
}

TEST_F(VXWorkspaceTest, KnowsRunningApplications)
{
    const QString program = path(u"a program with a long name"_s);
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
    const QString name = QFileInfo(program).fileName();
    EXPECT_FALSE(workspace->isApplicationRunning(name));
    QProcess process;
    process.start(program, {u"60"_s});
    ASSERT_TRUE(process.waitForStarted());
    EXPECT_EQ(workspace->processIdentifierForApplication(name), process.processId());
    EXPECT_TRUE(QFile::remove(program)); // as an update of the program does
    EXPECT_TRUE(workspace->isApplicationRunning(name));
    process.kill();
    process.waitForFinished();
    EXPECT_FALSE(workspace->isApplicationRunning(name));
    EXPECT_FALSE(workspace->isApplicationRunning(u""_s));
}
