#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

/** What the author of a plugin says of its newest version: a signed property list. A value; any thread. */
struct VX_EXPORT VXPluginFeed
{
    QString identifier;        // of the plugin
    QString version;           // its CFBundleVersion
    QString url;               // of a zip archive with the bundle
    qint64 size = 0;           // of the archive, in bytes
    QByteArray sha256;         // of the archive, 32 bytes
    QByteArray signature = {}; // 64 bytes; empty when it is not signed

    /** None, with the reason, when that is no feed. A signature is not needed here, and not checked. */
    static std::optional<VXPluginFeed> fromData(const QByteArray &data, VXError *error = nullptr);
    /** The property list, as XML. */
    QByteArray data() const;

    /** The bytes that the signature is made of. */
    QByteArray signedText() const;
    /** Whether the signature was made with the private half of the Ed25519 key, 32 bytes. */
    bool isSignedBy(const QByteArray &publicKey) const;
    /** Signs it with a private Ed25519 key in PEM. False, and not signed, when that is none. */
    [[nodiscard]] bool sign(const QByteArray &privateKey, VXError *error = nullptr);

    /** The public half of a private Ed25519 key in PEM, 32 bytes; none when that is none. */
    static std::optional<QByteArray> publicKeyOf(const QByteArray &privateKey, VXError *error = nullptr);
};

/** The SHA-256 of a file; none when it cannot be read. */
[[nodiscard]] VX_EXPORT std::optional<QByteArray> VXHashOfFile(const QString &path, VXError *error = nullptr);
