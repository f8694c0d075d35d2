#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QString>

/** The domain of every error that the framework makes itself. */
VX_EXPORT extern const QString VXErrorDomain;

/** User-info keys: the URL of the device an error is about, and the name of the device action that failed. */
VX_EXPORT extern const QString VXErrorDomainDeviceURLKey;
VX_EXPORT extern const QString VXErrorDomainActionNameKey;

/** Codes of VXErrorDomain. */
enum VXErrorCode : int {
    VXErrorGeneral = 1,         // the code of VXMakeError
    VXErrorCouldNotExecute = 2, // nothing could carry out the request
    VXErrorTextOnly = 3,        // a failure reported by somebody else, of which only a text is known
    VXErrorCancelled = 34,      // aborted or cancelled
};

/**
 * An error of VXErrorDomain with code 1. The description is for the user, already localized. The recovery
 * suggestion is made printf-like from a UTF-8 format; nullptr for none. With a null description the error has an
 * empty user info, and the suggestion is dropped too.
 */
VX_EXPORT VXError VXMakeError(const QString &description, const char *suggestionFormat = nullptr, ...)
    Q_ATTRIBUTE_FORMAT_PRINTF(2, 3);

/** Same as VXMakeError, for a file: its path is stored under VXFilePathErrorKey; a null suggestion is left out. */
VX_EXPORT VXError VXMakeFileError(const QString &description, const QString &suggestion, const QString &path);
