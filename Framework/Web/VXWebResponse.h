#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QUrl>

/** A redirect that drops the form, as browsers do after 301, 302 and 303; status 0 for none. */
struct VXFormRedirect
{
    int status = 0;
    QUrl from = {};
    QUrl to = {};
    bool wasFollowed = false; // otherwise it was not safe, or one too many
};

/** The beginning of a server's answer. */
struct VX_EXPORT VXWebResponse
{
    QUrl url; // where it came from, after all redirects
    int statusCode = 0;
    qint64 expectedContentLength = -1; // in bytes; -1 if the server did not announce it
    QByteArray contentDisposition = {};

    /** The status in the user's language, for example "not found". */
    QString statusText() const;

    /**
     * A file name for the answer: the name that the server suggests, or else that in the URL's path, or else the host.
     * Always a plain name of at most 200 bytes without a path.
     */
    QString suggestedFilename() const;
};
