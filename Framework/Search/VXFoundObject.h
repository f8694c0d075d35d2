#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QUrl>

/** An object that was found. */
struct VX_EXPORT VXFoundObject
{
    QUrl uri = {};      // x-coredata://STORE/ENTITY/pNUMBER
    QString kind = {};  // "contact", "message", "call"
    QString title = {}; // null for none, as the detail
    QString detail = {};
    QDateTime date = {}; // invalid for none

    /** By which the application opens it: "vxbook://STORE/ENTITY/pNUMBER". */
    QUrl url() const;
    /** The object's URI for such a URL; null for any other. */
    static QUrl uriForURL(const QUrl &url);
};
