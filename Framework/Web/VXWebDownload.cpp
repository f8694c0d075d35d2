#include "VXWebDownload.h"

#include "VXErrorDomain.h"
#include "VXFileDescriptor.h"
#include "VXFileManager.h"
#include "VXURLError.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int maximumNames = 1000; // attempts for one file

// Makes "name-2.txt" and so on.
QString numberedName(const QString &name, int number)
{
    if (number == 1)
        return name;
    const qsizetype dot = name.lastIndexOf(u'.');
    const qsizetype end = dot > 0 ? dot : name.size();
    return name.left(end) + u'-' + QString::number(number) + name.mid(end);
}

} // namespace

VXWebDownload::VXWebDownload() = default;

VXWebDownload::~VXWebDownload() = default;

VXWebDownload::Ptr VXWebDownload::requestURL(const QUrl &theURL, const QVariantMap &formData,
                                             const std::shared_ptr<QObject> &delegate)
{
    Ptr download = create();
    download->setDelegate(delegate);
    download->setUserData(formData);
    download->requestURL(theURL);
    return download;
}

QString VXWebDownload::filePath() const
{
    const VXMutexLocker lock(_dataLock);
    return _filePath;
}

QString VXWebDownload::folderPath() const
{
    return "/tmp/"_L1 + uuid();
}

VXWebResponse VXWebDownload::downloadResponse() const
{
    const VXMutexLocker lock(_dataLock);
    return _downloadResponse;
}

qint64 VXWebDownload::bytesReceived() const
{
    const VXMutexLocker lock(_dataLock);
    return _bytesReceived;
}

qint64 VXWebDownload::bytesTotal() const
{
    const VXMutexLocker lock(_dataLock);
    return _bytesTotal;
}

void VXWebDownload::setMaximumLength(qint64 bytes)
{
    const VXMutexLocker lock(_dataLock);
    _maximumLength = bytes;
}

bool VXWebDownload::_executeWithRequest(const VXURLRequest &request)
{
    {
        const VXMutexLocker lock(_folderLock);
        _makesNoFile = false;
    }
    {
        const VXMutexLocker lock(_dataLock);
        _filePath = QString();
        _downloadResponse = {};
        _bytesReceived = 0;
        _bytesTotal = 0;
    }
    return startTransfer(request);
}

VXError VXWebDownload::writeError(int problem) const
{
    return VXMakeURLError(VXURLErrorCannotWriteFile, u"The download cannot be saved."_s, downloadResponse().url,
                          u"%1: %2"_s.arg(filePath(), qt_error_string(problem)));
}

// Creates the file under a free name.
VXError VXWebDownload::createFile(const VXWebResponse &response)
{
    const QString folder = folderPath();
    const VXMutexLocker folderLock(_folderLock);
    if (_makesNoFile)
        return VXError(VXErrorDomain, VXErrorCancelled);
    static_cast<void>(
        ::mkdir(QFile::encodeName(folder).constData(), S_IRWXU)); // never accessible for others, whatever the umask is
    if (VXError error = VXFileManager::defaultManager().verifyPathExists(folder))
        return error;
    // nor inaccessible for the user
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString name = response.suggestedFilename();
    int problem = EEXIST;
    for (int number = 1; number <= maximumNames && _descriptor < 0 && problem == EEXIST; ++number) {
        const QString path = folder + u'/' + numberedName(name, number);
        {
            const VXMutexLocker lock(_dataLock);
            _filePath = path;
        }
        _descriptor = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        problem = errno;
    }
    return _descriptor < 0 ? writeError(problem) : VXError();
}

VXError VXWebDownload::didReceiveResponse(const VXWebResponse &response)
{
    {
        const VXMutexLocker lock(_dataLock);
        _downloadResponse = response;
        if (_maximumLength >= 0 && response.expectedContentLength > _maximumLength)
            return VXMakeURLError(VXURLErrorDataTooLong, u"The server's answer is too long."_s, response.url);
    }
    return createFile(response);
}

VXError VXWebDownload::didReceiveData(QByteArrayView bytes)
{
    if (!VXWriteAll(_descriptor, bytes))
        return writeError(errno);
    const VXMutexLocker lock(_dataLock);
    _bytesReceived += bytes.size();
    if (_downloadResponse.expectedContentLength != -1)
        _bytesTotal = _downloadResponse.expectedContentLength;
    if (const VXActivity::Ptr shown = activity()) {
        shown->setDoubleValue(static_cast<double>(_bytesReceived));
        shown->setMaxValue(static_cast<double>(_bytesTotal));
    }
    if (_maximumLength >= 0 && _bytesReceived > _maximumLength)
        return VXMakeURLError(VXURLErrorDataTooLong, u"The server's answer is too long."_s, _downloadResponse.url);
    return {};
}

VXError VXWebDownload::transferDidEnd(const VXError &error)
{
    const bool isClosed = _descriptor < 0 || ::close(_descriptor) == 0;
    const int problem = errno;
    _descriptor = -1;
    const VXError outcome = error || isClosed ? error : writeError(problem);
    if (outcome)
        dropResponse();
    return outcome;
}

void VXWebDownload::transferWasCancelled()
{
    {
        const VXMutexLocker lock(_folderLock);
        _makesNoFile = true;
    }
    dropResponse();
}

void VXWebDownload::dropResponse()
{
    const VXMutexLocker lock(_dataLock);
    _downloadResponse = {};
}
