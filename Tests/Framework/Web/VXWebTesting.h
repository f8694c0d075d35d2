#pragma once

#include "VXLogRecorder.h"
#include "VXTesting.h"
#include "VXWebConnection.h"
#include "VXWebDownload.h"
#include "VXWebServer.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <functional>

/** Counts what it is told, and whether that was on the main thread. */
class VXWebDelegate : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void requestDidComplete(VXWebRequest *request);

    int calls = 0;
    bool wasOnMainThread = true;
    QPointer<VXWebRequest> request;
    std::function<void()> whenTold;
};

/** A test with a server and a delegate. */
class VXWebTest : public VXHomeTest
{
protected:
    static void SetUpTestSuite() { qputenv("no_proxy", "localhost,127.0.0.1"); }

    /** Posts the fields and waits until the delegate has been told. */
    VXWebConnection::Ptr post(const QString &pathAndQuery, const QVariantMap &fields = {});
    VXWebDownload::Ptr download(const QString &pathAndQuery);
    /** Waits until the delegate has been told so many times. */
    [[nodiscard]] bool told(int calls = 1) const
    {
        return VXRunUntil([&] { return delegate->calls >= calls; });
    }
    /** What "/form" answered. */
    static QJsonObject answerOf(const VXWebConnection &connection)
    {
        return QJsonDocument::fromJson(connection.data()).object();
    }

    VXWebServer server;
    const std::shared_ptr<VXWebDelegate> delegate = std::make_shared<VXWebDelegate>();
    const VXLogRecorder log;
};
