#pragma once

#include "VXActivity.h"
#include "VXError.h"
#include "VXFrameworkExport.h"
#include "VXMutex.h"
#include "VXURLRequest.h"
#include "VXWebResponse.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QVariant>

#include <memory>

class VXWebTransfer;

/**
 * A form that is posted to a web server, on a thread of its own, which holds the request until it has completed. An activity
 * shows it meanwhile, whose delegate is the request: its stop control calls `cancel`. In the end the delegate's invokable
 * method `requestDidComplete(VXWebRequest *)` is called on the main thread: exactly once for each start, whether the
 * request succeeded, failed, was cancelled, or the program ends; `error` tells which. Subclasses do something with
 * the answer. Always held by a shared pointer. Any thread may call.
 */
class VX_EXPORT VXWebRequest : public QObject, public std::enable_shared_from_this<VXWebRequest>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXWebRequest>;

    ~VXWebRequest() override;

    /** Names the request's activity, and the folder of a download. */
    QString uuid() const { return _uuid; }

    /** Seconds without a byte sent or received after which the request fails; 0 for no end. At first 30. Of many at once a
     *  hundred have their turn: the others wait for theirs, but not longer than that; then the seconds begin anew. */
    float timeout() const;
    void setTimeout(float seconds);

    /** Why it failed: VXErrorCancelled of VXErrorDomain after a cancel; no error while it runs and after a success. */
    VXError error() const;
    /** Replaces the error. A request that runs ends with it; one that waits for its turn at once. */
    void setError(const VXError &error);

    /** The form: names and values, as VXFormFieldsFromDictionary takes them. "@/..." names files: values that come
     *  from elsewhere are posted by setFormFields. Empty for no form. */
    QVariantMap userData() const;
    void setUserData(const QVariantMap &userData);
    /** A form whose texts are texts, whatever they are. It goes before the user data. */
    void setFormFields(const QList<VXFormField> &fields);

    /** Who is told. Kept alive until it has been told, and known as long as it lives: one that nobody else holds is gone then, and
     *  is set anew for another start. Null also takes the activity away. */
    std::shared_ptr<QObject> delegate() const;
    void setDelegate(const std::shared_ptr<QObject> &delegate);

    /** Starts, and returns at once; on another thread than the main thread once that has shown the activity. A null URL, or a
     *  request that runs already, fails an assertion. One that another thread is just cancelling before its first start counts
     *  as started, and cancelled. */
    void requestURL(const QUrl &theURL);

    /** Starts the transfer, on the request's thread; false when that cannot be. The base fails an assertion. */
    virtual bool _executeWithRequest(const VXURLRequest &request);
    /** True while there is a transfer, and no error. The base answers false. */
    virtual bool isActive() const;

    /** Completes the request with the error VXErrorCancelled; one that was never started too. One that has come to an end
     *  stays as it is, until it is started again. Returns when the delegate has been told; on the main thread, while it is
     *  being told, at once. */
    Q_INVOKABLE virtual void cancel(QObject *sender = nullptr);
    /** Takes the activity away and tells the delegate, on the main thread, and waits for that; once for each start. */
    void requestDidComplete();

    /** Whether the server may have the whole request, also where no answer came. */
    bool didSendRequest() const;
    /** Where the form did not go along, so that the answer is not one to the form; of status 0 when it reached its end. */
    VXFormRedirect formRedirect() const;

protected:
    VXWebRequest();

    // -- For subclasses
    /** What `_executeWithRequest` does where it is not abstract. */
    bool startTransfer(const VXURLRequest &request);
    void stopTransfer();
    bool hasActiveTransfer() const;
    /** Null before the start. */
    VXActivity::Ptr activity() const;

    // On the request's thread. An error ends the transfer.
    virtual void willRedirect(const QUrl &from, const QUrl &to);
    virtual VXError didReceiveResponse(const VXWebResponse &response);
    virtual VXError didReceiveData(QByteArrayView bytes);
    virtual void didSend(qint64 bytesSent, qint64 bytesTotal);
    /** With no error: the answer is there as a whole. The error that it returns is the request's. */
    virtual VXError transferDidEnd(const VXError &error);

    /** On the main thread, before the delegate is told: what of the answer there is will not be needed. The request's thread
     *  may still be in one of the operations above. */
    virtual void transferWasCancelled();

private:
    struct Run;
    using RunPtr = std::shared_ptr<Run>;
    class Receiver;
    friend class VXRunningRequests;

    RunPtr beginRun(const QUrl &url);
    void showActivity(const QUrl &url, const RunPtr &run);
    void startThread(const QUrl &url, const RunPtr &run);
    void watchTurn(const QUrl &url, const RunPtr &run);
    void _requestURL(const QUrl &url, const RunPtr &run);
    VXError execute(const QUrl &url, Run &run);
    VXError performTransfer(const QUrl &url, VXWebTransfer &transfer, const Run &run);
    VXURLRequest makeRequest(const QUrl &url) const;
    VXError unableToStart(const QUrl &url, const QString &reason) const;
    VXError faultOf(const QUrl &url) const;
    void end(const RunPtr &run, const VXError &outcome, bool isForWaiting = false);
    void finish(const VXError &cancellation);
    void complete(const RunPtr &run);
    void tellDelegate(QObject *delegate);

    const QString _uuid;

    mutable VXMutex _lock;
    std::shared_ptr<QObject> _delegate VX_GUARDED_BY(_lock);
    std::weak_ptr<QObject> _toldDelegate VX_GUARDED_BY(_lock);
    float _timeout VX_GUARDED_BY(_lock) = 30;
    VXError _error VX_GUARDED_BY(_lock);
    QVariantMap _userData VX_GUARDED_BY(_lock);
    QList<VXFormField> _formFields VX_GUARDED_BY(_lock);
    RunPtr _run VX_GUARDED_BY(_lock);       // the last, from its start on
    RunPtr _threadRun VX_GUARDED_BY(_lock); // whose turn it is on its thread: it may be one before the last
    VXCondition _runChanged;
};

Q_DECLARE_METATYPE(VXWebRequest *)
