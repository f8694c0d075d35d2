#pragma once

#include "VXTestProcess.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>
#include <QtCore/QUrl>

#include <optional>

/** A web server on the loopback, in a process of its own, as Tests/Support/WebServer/server.py describes it. */
class VXWebServer
{
public:
    enum class Kind {
        Plain,
        Secure, // over TLS
        Nginx,  // behind nginx, which speaks HTTP/2 over TLS
    };

    /** Runs once it is made. */
    explicit VXWebServer(Kind kind = Kind::Plain);
    VXWebServer(const VXWebServer &) = delete;
    VXWebServer &operator=(const VXWebServer &) = delete;

    /** Down, and up again at the same port. */
    void stop() { _process.reset(); }
    void start();

    /** "http://127.0.0.1:PORT/PATH?QUERY", or "https://localhost:...". */
    QUrl url(const QString &pathAndQuery) const;
    /** What was asked for so far: "POST /form". */
    QStringList requests() const;
    /** The file that these are kept in, a line each. */
    QString requestsPath() const { return _folder.filePath(QStringLiteral("requests")); }
    /** The folder whose files are at "/files/NAME". */
    QString filesFolder() const { return _folder.filePath(QStringLiteral("files")); }
    /** The file with the certificate of a secure server, which nobody trusts yet. */
    QString certificatePath() const;

private:
    void makeCertificate();
    void startNginx();
    bool tryNginx(int port);

    QTemporaryDir _folder;
    const Kind _kind;
    std::optional<VXTestProcess> _process;
    int _port = 0;
    std::optional<VXTestProcess> _nginx; // ends before the server behind it
    int _nginxPort = 0;
};
