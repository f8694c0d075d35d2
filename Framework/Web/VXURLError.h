#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QUrl>

/** Codes of VXURLErrorDomain. */
enum VXURLErrorCode : int {
    VXURLErrorUnknown = -1, // the request could not start, or the status of the answer is not 200
    VXURLErrorTimedOut = -1001,
    VXURLErrorCannotFindHost = -1003,
    VXURLErrorCannotConnectToHost = -1004,
    VXURLErrorConnectionLost = -1005,
    VXURLErrorTooManyRedirects = -1007,
    VXURLErrorInsecureRedirect = -1010,
    VXURLErrorBadServerResponse = -1011,
    VXURLErrorDataTooLong = -1103,
    VXURLErrorSecureConnectionFailed = -1200,
    VXURLErrorCertificateUntrusted = -1202,
    VXURLErrorCannotReadBody = -3001,
    VXURLErrorCannotWriteFile = -3003,
};

/** An error in loading the URL. The description is a key of the framework's texts; a null suggestion is left out. */
VX_EXPORT VXError VXMakeURLError(VXURLErrorCode code, const QString &description, const QUrl &url,
                                 const QString &suggestion = {});
