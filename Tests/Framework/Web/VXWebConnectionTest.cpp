#include "VXErrorDomain.h"
#include "VXMultipartBody.h"
#include "VXURLError.h"
#include "VXWebTesting.h"

#include <QtCore/QDir>
#include <QtCore/QRandomGenerator>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using testing::HasSubstr;

namespace {

class VXWebConnectionTest : public VXWebTest
{
protected:
    void postRandomForms(const VXWebServer &to);
};

QByteArray readAll(VXMultipartBody &body, qint64 step)
{
    QByteArray bytes;
    QByteArray buffer(step, '\0');
    for (qint64 count = 0; (count = body.read(buffer.data(), step)) > 0;)
        bytes.append(buffer.constData(), count);
    return bytes;
}

QString encoded(const QString &text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

QString randomText(QRandomGenerator &random)
{
    static const QStringList pieces{u"a"_s, u"\r\n"_s, u"\""_s, u"ü€😀"_s, u"--"_s, u"\n"_s, u"@"_s, u" "_s, u"\\"_s};
    QString text(u""_s);
    for (int i = random.bounded(12); i > 0; --i)
        text += pieces[random.bounded(static_cast<int>(pieces.size()))];
    return text;
}

TEST_F(VXWebConnectionTest, WritesTheBodyByteForByte)
{
    const QString file = writeFile(u"a file.bin"_s, QByteArray("\0\r\n--\xFF", 6));
    const QVariantMap form{{u"a"_s, u"x"_s}, {u"f"_s, u'@' + file}, {u"g"_s, u"@/nowhere/at all"_s},
                           {u"h"_s, 7},      {u"i"_s, QVariant()},  {u"j"_s, u"after none"_s}};
    VXMultipartBody body(VXFormFieldsFromDictionary(form));
    const QByteArray start = "--" + body.boundary() + "\r\nContent-Disposition: form-data; name=";
    const QByteArray expected = start + "\"a\"\r\n\r\nx\r\n" + start +
                                "\"f\"; filename=\"a file.bin\"\r\nContent-Type: application/octet-stream\r\n\r\n" +
                                QByteArray("\0\r\n--\xFF\r\n", 8) + start + "\"g\"\r\n\r\n@/nowhere/at all\r\n" +
                                start + "\"h\"\r\n\r\n7\r\n--" + body.boundary() + "--\r\n";
    EXPECT_EQ(body.size(), expected.size());
    for (const qint64 step : {1, 7, 100'000}) {
        EXPECT_EQ(readAll(body, step), expected) << step;
        body.rewind();
    }
    EXPECT_NE(VXMultipartBody({}).boundary(), VXMultipartBody({}).boundary());
}

TEST_F(VXWebConnectionTest, ValuesThatAreNoTextsAreSentAsPeopleReadThem)
{
    const QVariantMap form{{u"data"_s, QByteArray("\xFF\0z", 3)},
                           {u"date"_s, QDateTime(QDate(2026, 1, 31), QTime(16, 5, 9), Qt::UTC)},
                           {u"empty"_s, QVariantList()},
                           {u"flag"_s, true},
                           {u"list"_s, QVariantList{1, u"x"_s, 2.5}},
                           {u"map"_s, QVariantMap{{u"a"_s, QVariantList{1}}}},
                           {u"texts"_s, QStringList{u"a"_s, u"b"_s}},
                           {u"url"_s, QUrl(u"http://example.org/a"_s)}};
    QStringList texts;
    for (const VXFormField &field : VXFormFieldsFromDictionary(form))
        texts.append(field.text);
    EXPECT_EQ(texts, (QStringList{u"/wB6"_s, u"2026-01-31T16:05:09Z"_s, u""_s, u"true"_s, u"1, x, 2.5"_s,
                                  u"{\"a\":[1]}"_s, u"a, b"_s, u"http://example.org/a"_s}));
}

void VXWebConnectionTest::postRandomForms(const VXWebServer &to)
{
    QRandomGenerator random(20'260'131);
    for (int round = 0; round < 20; ++round) {
        QVariantMap form;
        QMap<QString, QByteArray> expected;
        for (int field = 0; field < 6; ++field) {
            const QString name = u"field %1 é"_s.arg(field);
            QByteArray bytes = randomText(random).toUtf8();
            if (field % 3 == 2) {
                for (int i = random.bounded(100'000); i > 0; --i)
                    bytes += static_cast<char>(random.bounded(256));
                form[name] = u'@' + writeFile(u"f%1"_s.arg(field), bytes);
            } else {
                form[name] = QString::fromUtf8(bytes);
            }
            expected[name] = bytes;
        }
        const int calls = delegate->calls;
        const auto connection = VXWebConnection::requestURL(to.url(u"/form"_s), form, delegate);
        ASSERT_TRUE(told(calls + 1));
        ASSERT_TRUE(connection->error().isNull()) << connection->error().description().toStdString();
        QMap<QString, QByteArray> parsed;
        for (const QJsonValue &field : answerOf(*connection)[u"fields"].toArray())
            parsed[field[u"name"].toString()] = QByteArray::fromBase64(field[u"data"].toString().toUtf8());
        EXPECT_EQ(parsed, expected);
    }
    EXPECT_TRUE(delegate->wasOnMainThread);
}

TEST_F(VXWebConnectionTest, AStrictParserReadsBackWhatWasPosted)
{
    postRandomForms(server);
}

TEST_F(VXWebConnectionTest, AStrictParserBehindNginxReadsBackWhatWasPosted)
{
    const VXWebServer nginx(VXWebServer::Kind::Nginx);
    qputenv("SSL_CERT_FILE", nginx.certificatePath().toUtf8());
    postRandomForms(nginx);
    EXPECT_EQ(nginx.requests().size(), 20);
    qunsetenv("SSL_CERT_FILE");
}

TEST_F(VXWebConnectionTest, PostsWithoutCachesCookiesAndFoundFiles)
{
    post(u"/form"_s, {{u"a"_s, u"1"_s}}); // answers with a cookie
    const QString file = writeFile(u"secret"_s, "secret");
    const auto connection = VXWebConnection::create();
    connection->setFormFields({{.name = u"text"_s, .text = u'@' + file, .filePath = {}}});
    connection->setDelegate(delegate);
    connection->requestURL(server.url(u"/form"_s)); // the server asserts that there is no cookie
    ASSERT_TRUE(told(2));
    const QJsonObject answer = answerOf(*connection);
    EXPECT_EQ(answer[u"method"].toString(), u"POST"_s);
    EXPECT_EQ(answer[u"headers"][u"Cache-Control"].toString(), u"no-cache"_s);
    EXPECT_EQ(QByteArray::fromBase64(answer[u"fields"][0][u"data"].toString().toUtf8()), '@' + file.toUtf8());
}

// -- What servers do

TEST_F(VXWebConnectionTest, FailsWithANamedErrorWhateverTheServerDoes)
{
    const struct
    {
        QString path;
        int code;
        const char *description;
        const char *suggestion;
    } cases[] = {
        {u"/answer?status=404 Gone fishing"_s, -1, "Invalid response from server", "not found"},
        {u"/answer?status=201 Created"_s, -1, "Invalid response from server", "created"},
        {u"/answer?status=599 Odd"_s, -1, "Invalid response from server", "server error"},
        {u"/close"_s, VXURLErrorConnectionLost, "The connection to the server was lost.", ""},
        {u"/reset"_s, VXURLErrorConnectionLost, "The connection to the server was lost.", ""},
        {u"/loop"_s, VXURLErrorTooManyRedirects, "The server leads from one address to the next.", ""},
        {u"/headers"_s, VXURLErrorBadServerResponse, "The server's answer cannot be understood.", "too long"},
        {u"/longline"_s, VXURLErrorBadServerResponse, "The server's answer cannot be understood.", ""},
        {u"/upgrade"_s, VXURLErrorBadServerResponse, "The server's answer cannot be understood.", "another protocol"},
        {u"/garbage"_s, VXURLErrorBadServerResponse, "The server's answer cannot be understood.", ""},
        {u"/answer?body=x&header=Content-Length: 5"_s, VXURLErrorBadServerResponse,
         "The server's answer cannot be understood.", "how long it is"},
        {u"/answer?header=Content-Length: 99999999999999999999"_s, VXURLErrorBadServerResponse,
         "The server's answer cannot be understood.", "how long it is"},
        {u"/huge"_s, VXURLErrorDataTooLong, "The server's answer is too long.", ""},
        {u"/huge?announced"_s, VXURLErrorDataTooLong, "The server's answer is too long.", ""},
        {u"/answer?status=302 Found&header=Location: file:///etc/passwd"_s, VXURLErrorInsecureRedirect,
         "The server leads to an address that is not safe.", ""},
    };
    int calls = 0;
    for (const auto &[path, code, description, suggestion] : cases) {
        const VXWebConnection::Ptr connection = post(path, {{u"a"_s, u"1"_s}});
        const VXError error = connection->error();
        EXPECT_EQ(error.domain(), VXURLErrorDomain) << path.toStdString();
        EXPECT_EQ(error.code(), code) << path.toStdString();
        EXPECT_EQ(error.localizedDescription().toStdString(), description) << path.toStdString();
        EXPECT_THAT(error.localizedRecoverySuggestion().toStdString(), HasSubstr(suggestion)) << path.toStdString();
        EXPECT_TRUE(error.userInfo().contains(VXFailingURLErrorKey));
        EXPECT_TRUE(connection->data().isNull());
        EXPECT_FALSE(connection->isActive());
        EXPECT_EQ(delegate->calls, ++calls);
    }
    EXPECT_EQ(log.count(u"Invalid response from server: 404 not found"_s), 1);
}

// What is more than the announced length belongs to nothing, also not to the next answer.
TEST_F(VXWebConnectionTest, TakesAsMuchAsWasAnnounced)
{
    EXPECT_EQ(post(u"/short"_s)->data(), "four");
    EXPECT_EQ(post(u"/answer?body=next"_s)->data(), "next");
}

// A server that hangs up on a kept connection may have acted on what it read.
TEST_F(VXWebConnectionTest, NothingIsSentTwiceOverAKeptConnection)
{
    EXPECT_EQ(post(u"/once"_s)->data(), "first");
    EXPECT_EQ(post(u"/once"_s)->data(), "first"); // over another one
    const auto connection = VXWebConnection::create();
    connection->setUsesOwnConnection(true);
    connection->setFormFields({{.name = u"a"_s, .text = u"1"_s, .filePath = {}}});
    connection->setDelegate(delegate);
    connection->requestURL(server.url(u"/once"_s));
    ASSERT_TRUE(told(3));
    EXPECT_EQ(connection->data(), "first");
    EXPECT_EQ(post(u"/once"_s, {{u"a"_s, 1}})->error().code(), VXURLErrorConnectionLost);
    EXPECT_EQ(server.requests().size(), 4);
}

TEST_F(VXWebConnectionTest, ASilentServerEndsWithTheTimeOut)
{
    const auto connection = VXWebConnection::create();
    EXPECT_EQ(connection->timeout(), 30.0F);
    connection->setTimeout(0.2F);
    connection->setDelegate(delegate);
    connection->requestURL(server.url(u"/silent"_s));
    ASSERT_TRUE(told());
    EXPECT_EQ(connection->error().code(), VXURLErrorTimedOut);
}

// What libcurl and the kernel have taken of a body is not yet at a server that is slow to read it.
TEST_F(VXWebConnectionTest, WhatIsOnItsWayIsNoSilence)
{
    const auto connection = VXWebConnection::create();
    connection->setTimeout(1);
    connection->setDelegate(delegate);
    connection->setFormFields(
        {{.name = u"f"_s, .text = {}, .filePath = writeFile(u"large"_s, QByteArray(3 << 20, 'x'))}});
    connection->requestURL(server.url(u"/sip"_s));
    ASSERT_TRUE(told());
    EXPECT_GT(connection->data().toInt(), 3 << 20) << connection->error().description().toStdString();
    connection->requestURL(server.url(u"/early"_s));
    ASSERT_TRUE(told(2));
    EXPECT_FALSE(connection->didSendRequest());
}

// Also one for longer than any clock counts, and what a redirect announces is not waited for.
TEST_F(VXWebConnectionTest, ALongTimeOutIsNoShortOne)
{
    for (const char *const path : {"/lead?length=100000", "/lead?length=-1", "/lead?length=60000&drips"}) {
        const int calls = delegate->calls;
        const auto connection = VXWebConnection::create();
        connection->setTimeout(1e30F);
        connection->setDelegate(delegate);
        connection->requestURL(server.url(QString::fromLatin1(path)));
        ASSERT_TRUE(told(calls + 1));
        EXPECT_EQ(connection->data(), "there");
        EXPECT_EQ(connection->formRedirect().status, 302);
        EXPECT_EQ(connection->formRedirect().to, server.url(u"/answer?body=there"_s));
    }
}

TEST_F(VXWebConnectionTest, FollowsRedirectsWithAWarning)
{
    const QString target = u"/answer?body=there"_s;
    const VXWebConnection::Ptr found =
        post(u"/answer?status=302 Found&body=here&header=Location: "_s + encoded(target), {{u"a"_s, 1}});
    EXPECT_EQ(found->data(), "there");
    EXPECT_TRUE(found->error().isNull());
    EXPECT_EQ(log.count(u"Redirecting "_s), 1);
    EXPECT_EQ(log.count(u" to "_s + server.url(target).toString()), 1);
    EXPECT_EQ(server.requests().last(), "GET "_L1 + target);

    const VXWebConnection::Ptr again = post(u"/answer?status=307 Again&header=Location: /form"_s, {{u"a"_s, u"1"_s}});
    EXPECT_EQ(answerOf(*again)[u"method"].toString(), u"POST"_s);
    EXPECT_EQ(again->formRedirect().status, 0);
    EXPECT_EQ(answerOf(*again)[u"fields"].toArray().size(), 1);
    // Who sends a form on has not taken it.
    VXWebServer other;
    const QString away = encoded(other.url(u"/form"_s).toString());
    other.stop();
    for (const QVariantMap &form : {QVariantMap{{u"a"_s, u"1"_s}}, QVariantMap()}) {
        const VXWebConnection::Ptr lost = post(u"/answer?status=308 There&header=Location: "_s + away, form);
        EXPECT_EQ(lost->error().code(), VXURLErrorCannotConnectToHost);
        EXPECT_FALSE(lost->didSendRequest());
    }
    // Whatever becomes of the connection.
    const VXWebConnection::Ptr apart =
        post(u"/answer?status=307 Again&header=Location: /form&hangup="_s, {{u"a"_s, u"1"_s}});
    EXPECT_EQ(answerOf(*apart)[u"fields"].toArray().size(), 1) << apart->error().description().toStdString();
}

TEST_F(VXWebConnectionTest, TrustsCertificatesThatAreKnownAndNeverLeavesHTTPS)
{
    VXWebServer secure(VXWebServer::Kind::Secure);
    const auto code = [&](const QString &path) {
        const int calls = delegate->calls;
        const auto connection = VXWebConnection::requestURL(secure.url(path), {{u"a"_s, u"1"_s}}, delegate);
        EXPECT_TRUE(told(calls + 1));
        return connection->error().code();
    };
    EXPECT_EQ(code(u"/answer"_s), VXURLErrorCertificateUntrusted);
    qputenv("SSL_CERT_FILE", secure.certificatePath().toUtf8());
    EXPECT_EQ(code(u"/answer"_s), 0);
    EXPECT_EQ(code(u"/nolength?farewell="_s), 0);
    EXPECT_EQ(code(u"/nolength"_s), VXURLErrorConnectionLost); // by whomever
    // Servers end the connections that are kept for the next request, which goes over another then, and is cut off for itself.
    for (const auto &[path, expected] : {std::pair(u"/answer"_s, 0), {u"/nolength"_s, int{VXURLErrorConnectionLost}}}) {
        const qsizetype farewells = secure.requests().count(u"farewell"_s);
        EXPECT_EQ(code(u"/answer?farewell="_s), 0);
        ASSERT_TRUE(VXRunUntil([&] { return secure.requests().count(u"farewell"_s) > farewells; }));
        EXPECT_EQ(code(path), expected);
    }
    QUrl otherHost = secure.url(u"/answer"_s);
    otherHost.setHost(u"127.0.0.1"_s); // not the certificate's
    const int calls = delegate->calls;
    const auto connection = VXWebConnection::requestURL(otherHost, {}, delegate);
    ASSERT_TRUE(told(calls + 1));
    EXPECT_EQ(connection->error().code(), VXURLErrorCertificateUntrusted);
    const QString down = QString::fromUtf8(server.url(u"/answer"_s).toEncoded());
    EXPECT_EQ(code(u"/answer?status=302 Found&header=Location: "_s + down), VXURLErrorInsecureRedirect);
    EXPECT_TRUE(server.requests().isEmpty());
    qunsetenv("SSL_CERT_FILE");
}

TEST_F(VXWebConnectionTest, ReadsDictionariesAndLogsWhatIsNone)
{
    const QByteArray head = "<?xml version=\"1.0\"?><!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\"><plist version=\"1.0\">";
    const auto answer = [&](const QByteArray &body) {
        return post(u"/answer?body="_s + encoded(QString::fromUtf8(body)))->plistDictionary();
    };
    EXPECT_EQ(answer(head + "<dict><key>a</key><integer>1</integer></dict></plist>"), (QVariantMap{{u"a"_s, 1LL}}));
    const QByteArray array = head + "<array><string>\xC3\xBC</string></array></plist>";
    EXPECT_EQ(answer(array), std::nullopt);
    EXPECT_EQ(log.count(u"Invalid plist response >"_s + QString::fromLatin1(array) + u'<'), 1);
    EXPECT_EQ(answer("<html>"), std::nullopt);
    EXPECT_EQ(log.count(u"error downloading URL: "_s), 1);
}

TEST_F(VXWebConnectionTest, AFileThatCanNotBeReadFailsBeforeAnythingIsSent)
{
    const auto connection = VXWebConnection::create();
    connection->setFormFields({{.name = u"f"_s, .text = {}, .filePath = path(u"missing"_s)}});
    connection->setDelegate(delegate);
    connection->requestURL(server.url(u"/form"_s));
    ASSERT_TRUE(told());
    EXPECT_EQ(connection->error().code(), VXURLErrorCannotReadBody);
    EXPECT_FALSE(connection->didSendRequest());
    ASSERT_EQ(::mkfifo(path(u"pipe"_s).toUtf8().constData(), 0600), 0);
    connection->setFormFields({{.name = u"f"_s, .text = {}, .filePath = path(u"pipe"_s)}});
    connection->requestURL(server.url(u"/form"_s));
    ASSERT_TRUE(told(2));
    EXPECT_THAT(connection->error().localizedRecoverySuggestion().toStdString(), HasSubstr("no regular file"));
    connection->setDelegate(delegate);
    connection->setFormFields({{.name = u"f"_s, .text = {}, .filePath = u"/proc/version"_s}}); // of 0 bytes, it says
    connection->requestURL(server.url(u"/form"_s));
    ASSERT_TRUE(told(3));
    EXPECT_THAT(connection->error().localizedRecoverySuggestion().toStdString(), HasSubstr("size is not known"));
    EXPECT_TRUE(server.requests().isEmpty());
}

// A file of 2 GB without a block on the disk passes through little memory.
TEST_F(VXWebConnectionTest, StreamsFilesFromTheDisk)
{
    const auto residentPeak = [] { // kB
        const QByteArray status = readFile(u"/proc/self/status"_s);
        return status.mid(status.indexOf("VmHWM:") + 6, 20).trimmed().split(' ').first().toLongLong();
    };
    const QString large = writeFile(u"large"_s, {});
    ASSERT_TRUE(QFile::resize(large, qint64{2} << 30));
    const qint64 before = residentPeak();
    const auto connection = VXWebConnection::requestURL(server.url(u"/upload"_s), {{u"f"_s, u'@' + large}}, delegate);
    while (delegate->calls == 0 && connection->error().isNull())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    ASSERT_TRUE(connection->error().isNull()) << connection->error().description().toStdString();
    EXPECT_GT(connection->data().toLongLong(), qint64{2} << 30);
    EXPECT_LT(residentPeak() - before, 64 << 10);
}

} // namespace
