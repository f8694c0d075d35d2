#include "VXWebServer.h"

#include "VornixWebServerPaths.h"

#include <gtest/gtest.h>
#include <QtCore/QFile>

using namespace Qt::StringLiterals;

VXWebServer::VXWebServer(Kind kind) : _kind(kind)
{
    if (kind == Kind::Secure) {
        QProcess maker;
        maker.start(u"openssl"_s, {u"req"_s, u"-x509"_s, u"-newkey"_s, u"ed25519"_s, u"-nodes"_s, u"-days"_s, u"2"_s,
                                   u"-subj"_s, u"/CN=localhost"_s, u"-addext"_s, u"subjectAltName=DNS:localhost"_s,
                                   u"-keyout"_s, _folder.filePath(u"key.pem"_s), u"-out"_s, certificatePath()});
        EXPECT_TRUE(maker.waitForFinished() && maker.exitCode() == 0) << maker.readAllStandardError().toStdString();
    }
    start();
}

VXWebServer::~VXWebServer()
{
    stop();
}

void VXWebServer::start()
{
    QStringList arguments{QStringLiteral(VORNIX_WEB_SERVER), requestsPath(), QString::number(_port)};
    if (_kind == Kind::Secure)
        arguments << certificatePath() << _folder.filePath(u"key.pem"_s);
    _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    _process.start(u"python3"_s, arguments);
    while (_process.state() != QProcess::NotRunning && !_process.canReadLine())
        _process.waitForReadyRead();
    _port = _process.readLine().trimmed().toInt();
    EXPECT_NE(_port, 0) << "the web server did not start";
}

void VXWebServer::stop()
{
    _process.closeWriteChannel();
    _process.waitForFinished();
}

QUrl VXWebServer::url(const QString &pathAndQuery) const
{
    const QString start = _kind == Kind::Secure ? u"https://localhost:%1"_s : u"http://127.0.0.1:%1"_s;
    return QUrl(start.arg(_port) + pathAndQuery);
}

QStringList VXWebServer::requests() const
{
    QFile file(requestsPath());
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

QString VXWebServer::certificatePath() const
{
    return _folder.filePath(u"certificate.pem"_s);
}
