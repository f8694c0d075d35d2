#pragma once

#include "VXWebRequest.h"

/**
 * A request whose answer is saved to a file as it arrives, in a folder of its own under "/tmp" that only the user can
 * access. File and folder are left to the delegate. Answers with any status are saved. The activity shows the bytes
 * received and, if the server announced it, their total. Any thread may call.
 */
class VX_EXPORT VXWebDownload : public VXWebRequest
{
    Q_OBJECT

public:
    using Ptr = std::shared_ptr<VXWebDownload>;

    static Ptr create() { return std::make_shared<VXWebDownload>(); }
    /** Makes a request and starts it. */
    static Ptr requestURL(const QUrl &theURL, const QVariantMap &formData, const std::shared_ptr<QObject> &delegate);
    using VXWebRequest::requestURL;

    VXWebDownload();
    ~VXWebDownload() override;

    /** The path of the file, whose name the server suggested, with a number if that was taken; null before the answer.
     *  */
    QString filePath() const;
    /** The folder of the file. */
    QString folderPath() const;
    /** The beginning of the last answer; its status code is 0 before there is one, and after a failure or a cancel. */
    VXWebResponse downloadResponse() const;
    qint64 bytesReceived() const;
    /** 0 while unknown. */
    qint64 bytesTotal() const;

    /** The largest size of an answer; a larger one fails with VXURLErrorDataTooLong. No limit by default. */
    void setMaximumLength(qint64 bytes);

    bool _executeWithRequest(const VXURLRequest &request) override;
    bool isActive() const override { return hasActiveTransfer(); }

protected:
    VXError didReceiveResponse(const VXWebResponse &response) override;
    VXError didReceiveData(QByteArrayView bytes) override;
    VXError transferDidEnd(const VXError &error) override;
    void transferWasCancelled() override;

private:
    VXError createFile(const VXWebResponse &response);
    VXError writeError(int problem) const;
    void dropResponse();

    int _descriptor = -1; // of the file; for the request's thread only
    VXMutex
        // No file is made after a cancel was announced, so that the delegate, which was notified, can remove the
        // folder.
        _folderLock;
    bool _makesNoFile VX_GUARDED_BY(_folderLock) = false;
    mutable VXMutex _dataLock;
    QString _filePath VX_GUARDED_BY(_dataLock);
    VXWebResponse _downloadResponse VX_GUARDED_BY(_dataLock);
    qint64 _bytesReceived VX_GUARDED_BY(_dataLock) = 0;
    qint64 _bytesTotal VX_GUARDED_BY(_dataLock) = 0;
    qint64 _maximumLength VX_GUARDED_BY(_dataLock) = -1; // -1: none
};
