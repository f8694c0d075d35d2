#include "HostProgram.h"
#include "VXTesting.h"
#include "VXWebServer.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

class HostWebTest : public VXHomeTest
{
protected:
    HostOutcome postForm(const QString &pathAndQuery, const QStringList &options = {})
    {
        return runHost(
            QStringList{u"--home"_s, path(), u"post-form"_s, server.url(pathAndQuery).toString(QUrl::FullyEncoded)} +
            options);
    }

    VXWebServer server;
};

TEST_F(HostWebTest, PostsFieldsAndFilesAndWritesTheAnswer)
{
    const QString file = writeFile(u"x.bin"_s, "\r\n--");
    const HostOutcome outcome =
        postForm(u"/form"_s, {u"--field"_s, u"a=@/etc/hostname"_s, u"--file"_s, "f="_L1 + file});
    ASSERT_EQ(outcome.status, 0) << outcome.errors.toStdString();
    const QJsonArray fields = QJsonDocument::fromJson(outcome.output).object()[u"fields"].toArray();
    ASSERT_EQ(fields.size(), 2);
    EXPECT_EQ(QByteArray::fromBase64(fields[0][u"data"].toString().toUtf8()), "@/etc/hostname");
    EXPECT_EQ(fields[1][u"filename"].toString(), u"x.bin"_s);
    EXPECT_EQ(QByteArray::fromBase64(fields[1][u"data"].toString().toUtf8()), "\r\n--");

    const QString list = u"<plist version=\"1.0\"><dict><key>a</key><integer>7</integer></dict></plist>"_s;
    EXPECT_EQ(QJsonDocument::fromJson(postForm(u"/answer?body="_s + list).output).object(), (QJsonObject{{u"a"_s, 7}}));
}

TEST_F(HostWebTest, DownloadsIntoAFile)
{
    const HostOutcome outcome = postForm(u"/answer?body=hello"_s, {u"--download"_s});
    EXPECT_EQ(outcome.status, 0) << outcome.errors.toStdString();
    QFile file(QString::fromUtf8(outcome.output.trimmed()));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "hello");
    EXPECT_TRUE(file.remove());
    EXPECT_TRUE(QDir().rmdir(QFileInfo(file).path()));
}

TEST_F(HostWebTest, TellsWhatWentWrong)
{
    const HostOutcome missing = postForm(u"/answer?status=404 No"_s);
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.errors.toStdString(), HasSubstr("Invalid response from server (not found)"));
    EXPECT_THAT(postForm(u"/silent"_s, {u"--timeout"_s, u"0.2"_s}).errors.toStdString(),
                HasSubstr("The server did not answer in time."));
    EXPECT_EQ(postForm(u"/form"_s, {u"--field"_s, u"=x"_s}).status, 2);
    EXPECT_EQ(postForm(u"/form"_s, {u"--timeout"_s, u"soon"_s}).status, 2);
    EXPECT_EQ(runHost({u"--home"_s, path(), u"post-form"_s, u"nonsense"_s}).status, 2);
}

TEST_F(HostWebTest, AnInterruptCancels)
{
    const HostOutcome outcome = runHostShell(
        u"\"$0\" --home '%1' post-form '%2' & until grep -q silent '%3'; do :; done; kill -INT $!; wait $!"_s.arg(
            path(), server.url(u"/silent"_s).toString(), server.requestsPath()));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors.toStdString(), HasSubstr("the request was cancelled"));
}

} // namespace
