#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QUrl>

/** A party of a message or call, as it was recorded. */
struct VXFoundParty
{
    QString name = {}; // empty for none, as is the address
    QString address = {};
};

/** An object that a search found. */
struct VX_EXPORT VXFoundObject
{
    QUrl uri = {};      // x-coredata://STORE/ENTITY/pNUMBER
    QString kind = {};  // "contact", "message", "call"
    QString title = {}; // null for none, as is the detail; for a message or call the other party by its present name
    QString detail = {};
    QDateTime date = {}; // invalid for none
    QList<VXFoundParty> parties = {};
    bool isInTrash = false;

    /** The URL by which the application opens the object: "vxbook://STORE/ENTITY/pNUMBER". */
    QUrl url() const;
    /** Returns the object's URI for such a URL; null for any other URL. */
    static QUrl uriForURL(const QUrl &url);
};
