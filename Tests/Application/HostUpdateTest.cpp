#include "HostProgram.h"
#include "VXPluginFeed.h"
#include "VXPluginFixtures.h"
#include "VXTesting.h"
#include "VXWebServer.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

class HostUpdateTest : public VXHomeTest
{
protected:
    HostUpdateTest() : key(makeKey()), otherKey(makeKey())
    {
        qputenv("SSL_CERT_FILE", server.certificatePath().toUtf8());
        QDir().mkpath(server.filesFolder());
        installed.write(shared);
    }
    ~HostUpdateTest() override { qunsetenv("SSL_CERT_FILE"); }

    static QByteArray makeKey()
    {
        QProcess process;
        process.start(u"openssl"_s, {u"genpkey"_s, u"-algorithm"_s, u"ed25519"_s});
        EXPECT_TRUE(process.waitForFinished() && process.exitCode() == 0);
        return process.readAllStandardOutput();
    }
    static QString publicKeyOf(const QByteArray &privateKey)
    {
        return QString::fromLatin1(VXPluginFeed::publicKeyOf(privateKey).value_or(QByteArray()).toBase64());
    }
    QString urlOf(const QString &file) { return server.url("/files/"_L1 + file).toString(QUrl::FullyEncoded); }
    VXPluginFixture withVersion(const QString &version) const
    {
        VXPluginFixture plugin = installed;
        plugin.version = version;
        return plugin;
    }

    /** Packs the bundle at the path, and offers it in a feed that `spoil` has its way with before and after it is signed. */
    using Spoil = std::function<void(VXPluginFeed &)>;
    void publish(const QString &bundle, const QByteArray &signingKey, const Spoil &spoil, const Spoil &spoilSigned)
    {
        const QString archive = server.filesFolder() + "/new.zip"_L1;
        QFile::remove(archive);
        QProcess zip;
        zip.setWorkingDirectory(QFileInfo(bundle).path());
        zip.start(u"zip"_s, {u"-qr"_s, archive, QFileInfo(bundle).fileName()});
        ASSERT_TRUE(zip.waitForFinished() && zip.exitCode() == 0);
        VXPluginFeed feed{.identifier = installed.identifier,
                          .version = u"2010"_s,
                          .url = urlOf(u"new.zip"_s),
                          .size = QFileInfo(archive).size(),
                          .sha256 = VXHashOfFile(archive).value_or(QByteArray())};
        if (spoil)
            spoil(feed);
        EXPECT_TRUE(feed.sign(signingKey));
        if (spoilSigned)
            spoilSigned(feed);
        writeFeed(feed.data());
    }
    void writeFeed(const QByteArray &text)
    {
        QFile file(server.filesFolder() + "/feed.plist"_L1);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    static QJsonObject update(const VXWords &options = {})
    {
        const HostOutcome outcome = runHost(VXWords{"--json", "plugins", "update"} + options);
        return outcome.json().toArray().first().toObject();
    }
    /** What a refusal says; the state, when there is none. */
    static std::string reason()
    {
        const QJsonObject outcome = update("org.example.sample");
        const QString text = outcome[u"reason"].toString();
        return (outcome[u"state"].toString() + (text.isEmpty() ? QString() : u": "_s + text)).toStdString();
    }
    QString versionInPlace() const
    {
        const QJsonArray list = runHost("--json plugins list").json().toArray();
        return list.first()[u"version"].toString();
    }

    VXWebServer server{VXWebServer::Kind::Secure};
    const HostWithoutPlugins bare;
    const QByteArray key;
    const QByteArray otherKey;
    const QString shared = path(u".local/share/Vornix 2/PlugIns"_s);
    const VXPluginFixture installed{
        .identifier = u"org.example.sample"_s,
        .info = {{u"VXPluginUpdateURL"_s, urlOf(u"feed.plist"_s)}, {u"VXPluginUpdateKey"_s, publicKeyOf(key)}}};
};

TEST_F(HostUpdateTest, InstallsWhatItsAuthorSigned)
{
    VXPluginFixture{.identifier = u"org.example.zlast"_s}.write(shared); // offers none: not told of
    const QString bundle = withVersion(u"2010"_s).write(path(u"new"_s));
    const auto sign = [&](const QByteArray &pem) {
        return runHost({"plugins", "sign", bundle, "--key", writeFile(u"key.pem"_s, pem), "--url", urlOf(u"new.zip"_s),
                        "--to", server.filesFolder()});
    };
    const HostOutcome made = sign(key);
    ASSERT_EQ(made.status, 0) << made.errors;
    EXPECT_EQ(made.output,
              (server.filesFolder() + u"/feed.plist\n"_s + server.filesFolder() + u"/new.zip\n"_s).toUtf8());

    EXPECT_EQ(update("--check")[u"state"], u"available"_s);
    EXPECT_EQ(versionInPlace(), u"2000"_s);
    const QJsonObject done = update("sample");
    EXPECT_EQ(done[u"state"], u"installed-for-next-start"_s) << done[u"reason"].toString().toStdString();
    EXPECT_EQ(done[u"newVersion"], u"2010"_s);
    EXPECT_EQ(versionInPlace(), u"2010"_s);
    EXPECT_EQ(update()[u"state"], u"up-to-date"_s);

    EXPECT_THAT(sign(otherKey).errors, HasSubstr("carries another key"));
    EXPECT_THAT(sign("no key").errors, HasSubstr("no private Ed25519 key"));
    EXPECT_EQ(runHost({"plugins", "sign", bundle}).status, 2);
    EXPECT_EQ(runHost("plugins list --check").status, 2);
}

TEST_F(HostUpdateTest, RefusesWhatIsNotRightAndChangesNothing)
{
    const QString good = withVersion(u"2010"_s).write(path(u"new"_s));
    const QString older = withVersion(u"2009"_s).write(path(u"older"_s));
    VXPluginFixture foreign = withVersion(u"2010"_s);
    foreign.identifier = u"org.example.other"_s;
    const QString other = foreign.write(path(u"other"_s));
    const QString broken = withVersion(u"2010"_s).write(path(u"broken"_s));
    for (const QFileInfo &code : QDir(broken + "/Contents/Linux"_L1).entryInfoList(QDir::Files)) {
        QFile::remove(code.filePath()); // it may be a link
        ASSERT_TRUE(QFile::copy(u"/etc/hostname"_s, code.filePath()));
    }
    const std::tuple<const char *, QString, QByteArray, Spoil, Spoil> cases[] = {
        {"is not signed", good, key, {}, [](VXPluginFeed &feed) { feed.signature.clear(); }},
        {"was not signed with the plugin's key", good, otherKey, {}, {}},
        {"was not signed with the plugin's key", good, key, {}, [](VXPluginFeed &feed) { feed.version = u"2011"_s; }},
        {"is that of org.example.other", good, key, [](VXPluginFeed &f) { f.identifier = u"org.example.other"_s; }, {}},
        {"is older than the plugin", good, key, [](VXPluginFeed &feed) { feed.version = u"1999"_s; }, {}},
        {"over HTTPS only", good, key, [](VXPluginFeed &feed) { feed.url.replace(0, 5, u"http"_s); }, {}},
        {"failed: https", good, key, [](VXPluginFeed &feed) { feed.url.replace(u"new.zip"_s, u"no.zip"_s); }, {}},
        {"too long", good, key, [](VXPluginFeed &feed) { --feed.size; }, {}},
        {"bytes, not", good, key, [](VXPluginFeed &feed) { ++feed.size; }, {}},
        {"SHA-256 differs", good, key, [](VXPluginFeed &feed) { feed.sha256[0] = ~feed.sha256[0]; }, {}},
        {"holds version 2009 of org.example.sample", older, key, {}, {}},
        {"holds version 2010 of org.example.other", other, key, {}, {}},
        {"holds 0 plugins", good + "/Contents"_L1, key, {}, {}},
        {"file too short", broken, key, {}, {}},
    };
    for (const auto &[expected, bundle, signingKey, spoil, spoilSigned] : cases) {
        publish(bundle, signingKey, spoil, spoilSigned);
        EXPECT_THAT(reason(), HasSubstr(expected));
    }
    writeFeed("no property list");
    EXPECT_THAT(reason(), HasSubstr("cannot be read"));
    publish(good, key, {}, {});
    qunsetenv("SSL_CERT_FILE");
    EXPECT_THAT(reason(), HasSubstr("certificate is not trusted"));
    EXPECT_EQ(versionInPlace(), u"2000"_s); // also after the starts that would have installed something
    EXPECT_TRUE(QDir(path(u".local/share/Vornix 2/PlugIns (Install)"_s)).isEmpty());
}

// Where the kernel says that a process has it open, so that it is known from those of others.
QString scratchFolderOf(qint64 process)
{
    const QString files = u"/proc/%1/fd"_s.arg(process);
    for (const QString &number : QDir(files).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        const QString target = QFile::symLinkTarget(files + u'/' + number);
        if (target.startsWith("/tmp/.vornix-update-"_L1))
            return target;
    }
    return {};
}

TEST_F(HostUpdateTest, WhatAKilledOneLeftGoesWithTheNext)
{
    VXPluginFixture slow = installed;
    slow.info[u"VXPluginUpdateURL"_s] = server.url(u"/slow"_s).toString();
    QDir(shared).removeRecursively();
    slow.write(shared);
    QProcess update;
    update.start(hostProgram(), {u"plugins"_s, u"update"_s, u"sample"_s});
    QString scratch;
    QString download;
    ASSERT_TRUE(VXRunUntil([&] {
        scratch = scratchFolderOf(update.processId());
        download = scratch.isEmpty() ? QString() : u"/tmp/"_s + QDir(scratch).entryList(QDir::Files).value(0);
        return !download.endsWith(u'/') && QFile::exists(download);
    }));
    update.kill();
    ASSERT_TRUE(update.waitForFinished());
    server.stop();
    EXPECT_THAT(reason(), HasSubstr("failed: "));
    // The next may be that of another test, which is then still at it.
    EXPECT_TRUE(VXRunUntil([&] { return !QFile::exists(scratch) && !QFile::exists(download); }));
}

TEST_F(HostUpdateTest, WhatOffersNoUpdatesOrCanNotCheckThemIsTold)
{
    const auto reasonWith = [&](const QString &url, const QString &publicKey) {
        VXPluginFixture plugin = installed;
        plugin.info = {{u"VXPluginUpdateURL"_s, url}, {u"VXPluginUpdateKey"_s, publicKey}};
        QDir(shared).removeRecursively();
        plugin.write(shared);
        return reason();
    };
    EXPECT_EQ(reasonWith(u""_s, publicKeyOf(key)), "not-offered");
    EXPECT_THAT(reasonWith(urlOf(u"feed.plist"_s), u""_s), HasSubstr("carries no key"));
    EXPECT_THAT(reasonWith(u"http://localhost/feed.plist"_s, publicKeyOf(key)), HasSubstr("over HTTPS only"));
    EXPECT_THAT(reasonWith(urlOf(u"feed.plist"_s), publicKeyOf(key)), HasSubstr("404 not found"));
}

} // namespace
