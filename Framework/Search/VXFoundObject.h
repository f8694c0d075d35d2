#pragma once

#include "VXFrameworkExport.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QUrl>

#include <optional>

/** A party of a message or call, as it was recorded. */
struct VXFoundParty
{
    QString name = {}; // empty for none, as is the address
    QString address = {};
    unsigned type = 0; // VXPhonebookType
};

/** How a call that a search found went. */
struct VX_EXPORT VXFoundCall
{
    enum class Way { Out, In, Missed };
    Way way = Way::Out;
    qint64 seconds = 0; // from connected to ended; 0 for none

    /** In the user's language: "Missed call", "Incoming call · 1 min 5 s". */
    QString text() const;
};

/** An object that a search found. */
struct VX_EXPORT VXFoundObject
{
    QString place = {}; // STORE/ENTITY/pNUMBER
    QString kind = {};  // "contact", "message", "call"
    QString title = {}; // null for none, as is the detail; for a message or call the other party by its present name
    QString detail = {};
    QDateTime date = {}; // invalid for none
    QList<VXFoundParty> parties = {};
    std::optional<VXFoundCall> call = {}; // none for one that is no call
    bool isInTrash = false;

    /** "x-coredata://STORE/ENTITY/pNUMBER". */
    QUrl uri() const;
    /** By which the application opens it: "vxbook://STORE/ENTITY/pNUMBER". */
    QUrl url() const;
    /** Returns the object's URI for such a URL; null for any other URL. */
    static QUrl uriForURL(const QUrl &url);

    /** By which the application with windows shows what these words find: "vxbook://search?words=WORDS". */
    static QUrl searchURL(const QString &words);
    /** The words of such a URL; null for any other. */
    static QString wordsInURL(const QUrl &url);
};
