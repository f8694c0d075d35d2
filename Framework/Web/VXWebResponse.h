#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QUrl>

/** A redirect that goes on without the form, as browsers do after 301, 302 and 303; of status 0 for none. */
struct VXFormRedirect
{
    int status = 0;
    QUrl from = {};
    QUrl to = {};
    bool wasFollowed = false; // else it was not safe, or one too many
};

/** The beginning of a server's answer. */
struct VX_EXPORT VXWebResponse
{
    QUrl url; // where it came from, behind all redirects
    int statusCode = 0;
    qint64 expectedContentLength = -1; // in bytes; -1 when the server did not announce it
    QByteArray contentDisposition = {};

    /** The status in the user's language, as "not found". */
    QString statusText() const;

    /**
     * What to call a file with the answer: the name that the server suggests, else that of the URL's path, else the
     * host's. Always one plain name, of at most 200 bytes, that stays in the folder it is put into.
     */
    QString suggestedFilename() const;
};
