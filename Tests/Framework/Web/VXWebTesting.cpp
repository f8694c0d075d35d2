#include "VXWebTesting.h"

#include "VXMainThread.h"

void VXWebDelegate::requestDidComplete(VXWebRequest *told)
{
    ++calls;
    wasOnMainThread = wasOnMainThread && VXMainThread::isCurrent();
    request = told;
    if (whenTold)
        whenTold();
}

VXWebConnection::Ptr VXWebTest::post(const QString &pathAndQuery, const QVariantMap &fields)
{
    const int calls = delegate->calls;
    VXWebConnection::Ptr connection = VXWebConnection::requestURL(server.url(pathAndQuery), fields, delegate);
    EXPECT_TRUE(told(calls + 1));
    EXPECT_EQ(delegate->request, connection.get());
    return connection;
}

VXWebDownload::Ptr VXWebTest::download(const QString &pathAndQuery)
{
    const int calls = delegate->calls;
    VXWebDownload::Ptr download = VXWebDownload::requestURL(server.url(pathAndQuery), {}, delegate);
    EXPECT_TRUE(told(calls + 1));
    return download;
}
