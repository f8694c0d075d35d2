#include "VXActivityManager.h"
#include "VXErrorDomain.h"
#include "VXURLError.h"
#include "VXWebTesting.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

class VXWebDownloadTest : public VXWebTest
{
protected:
    ~VXWebDownloadTest() override
    {
        for (const QString &folder : folders)
            QDir(folder).removeRecursively();
    }
    VXWebDownload::Ptr fetch(const QString &pathAndQuery)
    {
        VXWebDownload::Ptr made = download(pathAndQuery);
        folders.append(made->folderPath());
        return made;
    }

    QStringList folders;
};

TEST_F(VXWebDownloadTest, SavesAnyAnswerInAFolderOfItsOwn)
{
    const VXWebDownload::Ptr first = fetch(u"/answer?body=hello&header=Content-Disposition: inline; filename=a.txt"_s);
    EXPECT_TRUE(first->error().isNull()) << first->error().description().toStdString();
    EXPECT_EQ(first->filePath(), "/tmp/"_L1 + first->uuid() + "/a.txt"_L1);
    EXPECT_EQ(readFile(first->filePath()), "hello");
    EXPECT_EQ(first->bytesReceived(), 5);
    EXPECT_EQ(first->bytesTotal(), 5);
    const auto forOthers = QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
    EXPECT_FALSE(QFile::permissions(first->folderPath()) & forOthers);

    first->requestURL(server.url(u"/answer?body=again&header=Content-Disposition: inline; filename=a.txt"_s));
    ASSERT_TRUE(told(2));
    EXPECT_EQ(QFileInfo(first->filePath()).fileName(), u"a-2.txt"_s);
    EXPECT_EQ(readFile(first->folderPath() + "/a.txt"_L1), "hello");

    const VXWebDownload::Ptr page = fetch(u"/answer?status=500 Oops&body=oops"_s);
    EXPECT_TRUE(page->error().isNull());
    EXPECT_EQ(page->downloadResponse().statusCode, 500);
    EXPECT_EQ(readFile(page->filePath()), "oops");
}

TEST_F(VXWebDownloadTest, TakesSuggestedNamesOnlyAsPlainNames)
{
    const QString x = QString(5000, u'x');
    const struct
    {
        QString header;
        QString name;
    } cases[] = {
        {u"filename=\"../../up\""_s, u"up"_s},
        {u"filename=\"..\""_s, u"answer"_s},
        {u"filename=\"\""_s, u"answer"_s},
        {u"filename=\"/etc/passwd\""_s, u"passwd"_s},
        {u"filename=\"C:\\\\windows\\\\a b;c.txt\"; x=y"_s, u"a b;c.txt"_s},
        {u"filename*=UTF-8''%25e2%2582%25ac%20rates.txt; filename=\"EUR rates.txt\""_s, u"€ rates.txt"_s},
        {u"filename=\"a%7Fb%01c\""_s, u"abc"_s},
        {u"filename*=UTF-8''%25E2%2580%25AEgnp.%25E2%2581%25A6exe"_s, u"gnp.exe"_s},
        {u"filename=\""_s + x + u".tar.gz\""_s, x.left(197) + u".gz"_s},
    };
    for (const auto &[header, name] : cases) {
        const VXWebDownload::Ptr made = fetch(u"/answer?body=x&header=Content-Disposition: attachment; "_s + header);
        EXPECT_EQ(QFileInfo(made->filePath()).fileName(), name) << header.left(80).toStdString();
        EXPECT_EQ(QFileInfo(made->filePath()).absolutePath(), made->folderPath());
        EXPECT_EQ(readFile(made->filePath()), "x");
    }
}

TEST_F(VXWebDownloadTest, ShowsProgressOfAnnouncedAndUnknownLengths)
{
    const struct
    {
        QString path;
        double maximum;
    } cases[] = {{u"/slow"_s, 1000}, {u"/huge"_s, 0}};
    for (const auto &[path, maximum] : cases) {
        const auto made = VXWebDownload::requestURL(server.url(path), {}, delegate);
        folders.append(made->folderPath());
        const VXActivity::Ptr shown = VXActivityManager::sharedActivityManager().activityWithIdentifier(made->uuid());
        ASSERT_TRUE(shown);
        EXPECT_EQ(shown->title(), "Downloading "_L1 + path.mid(1));
        EXPECT_EQ(shown->delegate(), made.get());
        ASSERT_TRUE(VXRunUntil([&] { return shown->doubleValue() > 0; }));
        EXPECT_EQ(shown->maxValue(), maximum);
        QMetaObject::invokeMethod(shown->delegate(), "cancel", Q_ARG(QObject *, nullptr)); // what a stop control does
        EXPECT_EQ(made->error(), VXError(VXErrorDomain, VXErrorCancelled));
        EXPECT_EQ(VXActivityManager::sharedActivityManager().activityWithIdentifier(made->uuid()), nullptr);
    }
    EXPECT_EQ(delegate->calls, 2);
}

TEST_F(VXWebDownloadTest, FailsWhereNoFileCanBeMade)
{
    const auto made = VXWebDownload::create();
    made->setDelegate(delegate);
    QFile inTheWay(made->folderPath());
    ASSERT_TRUE(inTheWay.open(QIODevice::WriteOnly));
    made->requestURL(server.url(u"/answer?body=x"_s));
    ASSERT_TRUE(told());
    EXPECT_EQ(made->error().domain(), VXURLErrorDomain);
    EXPECT_EQ(made->error().code(), -3000);
    EXPECT_TRUE(inTheWay.remove());
}

TEST_F(VXWebDownloadTest, FollowsRedirectsWithoutAWord)
{
    const VXWebDownload::Ptr made =
        fetch(u"/answer?status=302 Found&body=here&header=Location: %2Fanswer%3Fbody%3Dthere"_s);
    EXPECT_TRUE(made->error().isNull());
    EXPECT_EQ(readFile(made->filePath()), "there");
    EXPECT_EQ(log.count(u"Redirecting"_s), 0);
}

TEST_F(VXWebDownloadTest, AnAnswerThatIsCutShortIsAFailure)
{
    const VXWebDownload::Ptr made = fetch(u"/close"_s);
    EXPECT_EQ(made->error().code(), VXURLErrorConnectionLost);
    EXPECT_EQ(readFile(made->filePath()), "half"); // left for the delegate
    EXPECT_EQ(fetch(u"/nolength"_s)->error().code(), 0);
}

// Who was told of a cancel may remove the folder: it does not come back.
TEST_F(VXWebDownloadTest, MakesNoFileOnceItWasCancelled)
{
    QRandomGenerator random(1);
    std::vector<std::weak_ptr<VXWebDownload>> downloads;
    for (int round = 0; round < 300; ++round) {
        const auto made = VXWebDownload::requestURL(server.url(u"/answer?body=x"_s), {}, delegate);
        downloads.push_back(made);
        folders.append(made->folderPath());
        std::this_thread::sleep_for(std::chrono::microseconds(random.bounded(1500)));
        made->cancel();
        QDir(made->folderPath()).removeRecursively();
    }
    EXPECT_TRUE(VXRunUntil([&] { // until the last thread is through
        return std::ranges::all_of(downloads, [](const auto &download) { return download.expired(); });
    }));
    EXPECT_FALSE(std::ranges::any_of(folders, [](const QString &folder) { return QFileInfo::exists(folder); }));
}

} // namespace
