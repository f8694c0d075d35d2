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
 * Posts a form to a web server, on a thread of its own, which keeps the request alive until it has completed. Meanwhile
 * an activity shows it, with the request as delegate: the activity's stop control calls `cancel`. In the end the
 * delegate's invokable method `requestDidComplete(VXWebRequest *)` is called on the main thread: exactly once for each
 * start, whether the request succeeded, failed, was cancelled, or the program ends; `error` says which. Subclasses
 * process the answer. Always owned by a shared pointer. Any thread may call.
 */
class VX_EXPORT VXWebRequest : public QObject, public std::enable_shared_from_this<VXWebRequest>
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXWebRequest>;

    ~VXWebRequest() override;

    /** Identifies the request's activity, and the folder of a download. */
    QString uuid() const { return _uuid; }

    /** The request fails after so many seconds without a byte sent or received; 0 for no limit; 30 by default. At most
     *  a hundred requests run at the same time: others wait for their turn, at most that long as well; then the time
     *  starts anew. */
    float timeout() const;
    void setTimeout(float seconds);

    /** Why the request failed: VXErrorCancelled of VXErrorDomain after a cancel; no error while it is running, and
     *  after a success. */
    VXError error() const;
    /** Replaces the error. A running request ends with it; one that waits for its turn ends at once. */
    void setError(const VXError &error);

    /** The form: names and values, in the form that VXFormFieldsFromDictionary takes. As "@/..." names files, post
     *  values from elsewhere by setFormFields. Empty for no form. */
    QVariantMap userData() const;
    void setUserData(const QVariantMap &userData);
    /** Sets a form whose texts are never taken for file names. It takes precedence over the user data. */
    void setFormFields(const QList<VXFormField> &fields);

    /** The object to be notified. The request keeps it alive until it was notified, and refers to it weakly afterwards:
     *  if nobody else owns it, it has to be set anew for another start. Setting null also removes the activity. */
    std::shared_ptr<QObject> delegate() const;
    void setDelegate(const std::shared_ptr<QObject> &delegate);

    /** Starts the request and returns at once; on threads other than the main thread, after the main thread has shown
     *  the activity. A null URL, or a request that is already running, fails an assertion. A request that another
     *  thread is just cancelling before its first start counts as started, and cancelled. */
    void requestURL(const QUrl &theURL);

    /** Starts the transfer, on the request's thread; false when that is not possible. The base fails an assertion. */
    virtual bool _executeWithRequest(const VXURLRequest &request);
    /** Whether there is a transfer, and no error. False in the base. */
    virtual bool isActive() const;

    /** Completes the request with the error VXErrorCancelled, even if it was never started. A request that has ended
     *  stays as it is until it is started again. Returns when the delegate has been notified; but at once if called on
     *  the main thread during that. */
    Q_INVOKABLE virtual void cancel(QObject *sender = nullptr);
    /** Removes the activity and notifies the delegate on the main thread, and waits for that; only once for each start.
     *  */
    void requestDidComplete();

    /** Whether the server may have received the whole request, even if no answer came. */
    bool didSendRequest() const;
    /** The redirect that dropped the form, if any, so that the answer is not one to the form; its status is 0 when the
     *  form reached its destination. */
    VXFormRedirect formRedirect() const;

protected:
    VXWebRequest();

    // -- For subclasses
    /** The implementation of `_executeWithRequest` for subclasses. */
    bool startTransfer(const VXURLRequest &request);
    void stopTransfer();
    bool hasActiveTransfer() const;
    /** Null before the start. */
    VXActivity::Ptr activity() const;

    // Called on the request's thread. An error ends the transfer.
    virtual void willRedirect(const QUrl &from, const QUrl &to);
    virtual VXError didReceiveResponse(const VXWebResponse &response);
    virtual VXError didReceiveData(QByteArrayView bytes);
    virtual void didSend(qint64 bytesSent, qint64 bytesTotal);
    /** No error: the answer is complete. The error that this returns becomes the request's. */
    virtual VXError transferDidEnd(const VXError &error);

    /** Called on the main thread before the delegate is notified: what was received of the answer is not needed. The
     *  request's thread may still be in one of the functions above. */
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
    RunPtr _run VX_GUARDED_BY(_lock);       // the last run, from its start on
    RunPtr _threadRun VX_GUARDED_BY(_lock); // the run that the thread performs: may be one before the last
    VXCondition _runChanged;
};

Q_DECLARE_METATYPE(VXWebRequest *)
