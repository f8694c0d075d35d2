#include "VXWebServer.h"

#include "VornixWebServerPaths.h"

#include <gtest/gtest.h>
#include <QtCore/QFile>

#include <cstdlib>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

int freePort()
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *const any = reinterpret_cast<sockaddr *>(&address);
    const bool isBound = ::bind(descriptor, any, size) == 0 && ::getsockname(descriptor, any, &size) == 0;
    ::close(descriptor);
    return isBound ? ntohs(address.sin_port) : 0;
}

} // namespace

VXWebServer::VXWebServer(Kind kind) : _kind(kind)
{
    if (kind != Kind::Plain)
        makeCertificate();
    start();
    if (kind == Kind::Nginx)
        startNginx();
}

void VXWebServer::makeCertificate()
{
    const QString command = u"openssl req -x509 -newkey ed25519 -nodes -days 2 -subj /CN=localhost "
                            "-addext subjectAltName=DNS:localhost -keyout '%1' -out '%2' 2>/dev/null"_s;
    EXPECT_EQ(std::system(qPrintable(command.arg(_folder.filePath(u"key.pem"_s), certificatePath()))), 0);
}

// It cannot choose a free port itself: another program may be quicker to take the one found here.
void VXWebServer::startNginx()
{
    constexpr int tries = 20;
    for (int i = 0; i < tries && _nginxPort == 0; ++i) {
        const int port = freePort();
        if (tryNginx(port))
            _nginxPort = port;
    }
    EXPECT_NE(_nginxPort, 0) << "nginx did not start";
}

bool VXWebServer::tryNginx(int port)
{
    const QString folder = _folder.path();
    QFile configuration(_folder.filePath(u"nginx.conf"_s));
    EXPECT_TRUE(configuration.open(QIODevice::WriteOnly));
    configuration.write(
        u"daemon off; master_process off; pid %1/pid; events {}\n"
        "http { access_log off; client_max_body_size 0; client_body_temp_path %1/b; proxy_temp_path %1/p;\n"
        "fastcgi_temp_path %1/f; uwsgi_temp_path %1/u; scgi_temp_path %1/s;\n"
        "server { listen 127.0.0.1:%2 ssl http2; ssl_certificate %1/certificate.pem; ssl_certificate_key %1/key.pem;\n"
        "location / { proxy_pass http://127.0.0.1:%3; proxy_http_version 1.1; proxy_request_buffering off; } } }\n"_s
            .arg(folder)
            .arg(port)
            .arg(_port)
            .toUtf8());
    configuration.close();
    _nginx.emplace(u"/usr/sbin/nginx -c '%1' -e '%2'"_s.arg(configuration.fileName(), folder + u"/errors"_s));
    // It listens before it writes the file.
    while (_nginx->isRunning() && !QFile::exists(folder + u"/pid"_s))
        std::this_thread::yield();
    return _nginx->isRunning();
}

void VXWebServer::start()
{
    QString command = u"python3 '%1' '%2' %3"_s.arg(QStringLiteral(VORNIX_WEB_SERVER), requestsPath()).arg(_port);
    if (_kind == Kind::Secure)
        command += u" '%1' '%2'"_s.arg(certificatePath(), _folder.filePath(u"key.pem"_s));
    _process.emplace(command);
    _port = _process->readLine().toInt();
    EXPECT_NE(_port, 0) << "the web server did not start";
}

QUrl VXWebServer::url(const QString &pathAndQuery) const
{
    const QString start = _kind == Kind::Plain ? u"http://127.0.0.1:%1"_s : u"https://localhost:%1"_s;
    return QUrl(start.arg(_kind == Kind::Nginx ? _nginxPort : _port) + pathAndQuery);
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
