#pragma once

#include "VXError.h"
#include "VXFrameworkExport.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <optional>

/** A signed property list in which the author of a plugin describes its newest version. A value type; any thread. */
struct VX_EXPORT VXPluginFeed
{
    QString identifier;        // of the plugin
    QString version;           // its CFBundleVersion
    QString url;               // of a zip archive with the bundle
    qint64 size = 0;           // of a zip archive with the bundle
    QByteArray sha256;         // of the archive, 32 bytes
    QByteArray signature = {}; // 64 bytes; empty when not signed

    /** None, with the reason, when the data is no feed. A signature is neither required nor checked here. */
    static std::optional<VXPluginFeed> fromData(const QByteArray &data, VXError *error = nullptr);
    /** The property list, as XML. */
    QByteArray data() const;

    /** The bytes that are signed. */
    QByteArray signedText() const;
    /** Whether the signature matches the public Ed25519 key of 32 bytes. */
    bool isSignedBy(const QByteArray &publicKey) const;
    /** Signs the feed with a private Ed25519 key in PEM. False, and not signed, when the key is invalid. */
    [[nodiscard]] bool sign(const QByteArray &privateKey, VXError *error = nullptr);

    /** The public key, 32 bytes, of a private Ed25519 key in PEM; none when that is invalid. */
    static std::optional<QByteArray> publicKeyOf(const QByteArray &privateKey, VXError *error = nullptr);
};

/** The SHA-256 of a file; none when it cannot be read. */
[[nodiscard]] VX_EXPORT std::optional<QByteArray> VXHashOfFile(const QString &path, VXError *error = nullptr);
