// Form posts, downloads and uploads beside libcurl's easy interface, both to the same nginx on the loopback. The peer keeps
// one handle, and with it its connection, and does the whole work on the calling thread; "peer thread" gives each post a
// thread and a handle of its own, as a program that must not wait does.

#include "VXWebConnection.h"
#include "VXWebDownload.h"

#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>

#include <cstdio>
#include <sys/resource.h>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 largeSize = qint64{1} << 30;
constexpr int port = 18'787;

/** Serves "/post", which answers at once, and a file of 1 GiB, "/large". */
class Server
{
public:
    Server()
    {
        QFile configuration(_folder.filePath(u"nginx.conf"_s));
        QFile large(largePath());
        if (!configuration.open(QIODevice::WriteOnly) || !large.open(QIODevice::WriteOnly) || !large.resize(largeSize))
            return;
        configuration.write(
            u"daemon off; user root; worker_processes 1; pid %1/pid; error_log %1/errors; events { worker_connections "
            u"512; }\n"
            "http { access_log off; client_max_body_size 0; keepalive_requests 10000000; client_body_temp_path %1/b;\n"
            "proxy_temp_path %1/p; fastcgi_temp_path %1/f; uwsgi_temp_path %1/u; scgi_temp_path %1/s; sendfile on;\n"
            "server { listen 127.0.0.1:%2 backlog=512; root %1; location = /post { return 200 \"ok\"; }\n"
            "location / { error_page 405 =200 $uri; } } }\n"_s.arg(_folder.path())
                .arg(port)
                .toUtf8());
        configuration.close();
        _process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        _process.start(u"/usr/sbin/nginx"_s, {u"-c"_s, configuration.fileName()});
        _process.waitForStarted();
        for (int tries = 0; tries < 500 && !isAnswering(); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ~Server()
    {
        _process.terminate();
        _process.waitForFinished();
    }
    QString largePath() const { return _folder.filePath(u"large"_s); }

private:
    static bool isAnswering();

    const QTemporaryDir _folder;
    QProcess _process;
};

QByteArray urlOf(const char *path)
{
    return "http://127.0.0.1:" + QByteArray::number(port) + path;
}

Server &server()
{
    static Server server;
    return server;
}

// -- Ours

class Counter : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE void requestDidComplete(VXWebRequest *request)
    {
        failures += request->error() ? 1 : 0;
        if (++calls == expected)
            loop.quit();
    }

    int expected = 1;
    int calls = 0;
    int failures = 0;
    QEventLoop loop;
};

template <class Request>
std::shared_ptr<Request> runOurs(benchmark::State &state, const char *path, const QVariantMap &form, int atOnce)
{
    const auto counter = std::make_shared<Counter>();
    counter->expected = atOnce;
    std::vector<std::shared_ptr<Request>> requests;
    for (int i = 0; i < atOnce; ++i)
        requests.push_back(Request::requestURL(QUrl::fromEncoded(urlOf(path)), form, counter));
    counter->loop.exec();
    if (counter->failures > 0)
        state.SkipWithError(requests.back()->error().description().toUtf8().constData());
    return requests.back();
}

void postOurs(benchmark::State &state)
{
    server();
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i)
            runOurs<VXWebConnection>(state, "/post", {{u"name"_s, u"value"_s}}, 1);
    }
    state.counters["allowed"] = 1.5;
}

void postManyOurs(benchmark::State &state)
{
    server();
    for (auto _ : state)
        runOurs<VXWebConnection>(state, "/post", {{u"name"_s, u"value"_s}}, 100);
    state.counters["allowed"] = 1.5;
}

double peakMegabytes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024;
}

void downloadOurs(benchmark::State &state)
{
    server();
    const double before = peakMegabytes();
    for (auto _ : state) {
        const auto download = runOurs<VXWebDownload>(state, "/large", {}, 1);
        state.PauseTiming();
        if (download->bytesReceived() != largeSize)
            state.SkipWithError("the download is not whole");
        QDir(download->folderPath()).removeRecursively();
        state.ResumeTiming();
    }
    state.counters["allowed"] = 1.2;
    state.counters["grown_MB"] = peakMegabytes() - before;
}

void uploadOurs(benchmark::State &state)
{
    const QString path = server().largePath();
    const double before = peakMegabytes();
    for (auto _ : state)
        runOurs<VXWebConnection>(state, "/post", {{u"file"_s, u'@' + path}}, 1);
    state.counters["allowed"] = 1.2;
    state.counters["grown_MB"] = peakMegabytes() - before;
}

// -- The peer

size_t pass(char *, size_t size, size_t count, void *)
{
    return size * count;
}

bool postPeer(CURL *curl, const char *path, const char *name, const char *text, const char *file)
{
    curl_mime *const mime = curl_mime_init(curl);
    curl_mimepart *const part = curl_mime_addpart(mime);
    curl_mime_name(part, name);
    if (file != nullptr)
        curl_mime_filedata(part, file);
    else
        curl_mime_data(part, text, CURL_ZERO_TERMINATED);
    curl_slist *const headers = curl_slist_append(nullptr, "Expect:");
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_URL, urlOf(path).constData());
    curl_easy_setopt(curl, CURLOPT_MIMEPOST, mime);
    curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, 256 * 1024L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, pass);
    const bool isDone = curl_easy_perform(curl) == CURLE_OK;
    curl_mime_free(mime);
    curl_slist_free_all(headers);
    return isDone;
}

void postOnePeer(benchmark::State &state)
{
    server();
    CURL *const curl = curl_easy_init();
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i) {
            if (!postPeer(curl, "/post", "name", "value", nullptr))
                state.SkipWithError("curl failed");
        }
    }
    curl_easy_cleanup(curl);
}

void postWithOwnHandle()
{
    CURL *const curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    postPeer(curl, "/post", "name", "value", nullptr);
    curl_easy_cleanup(curl);
}

void postThreadPeer(benchmark::State &state)
{
    server();
    for (auto _ : state) {
        for (int i = 0; i < 1000; ++i)
            std::thread(postWithOwnHandle).join();
    }
}

void postManyPeer(benchmark::State &state)
{
    server();
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (int i = 0; i < 100; ++i)
            threads.emplace_back(postWithOwnHandle);
        for (std::thread &thread : threads)
            thread.join();
    }
}

void downloadPeer(benchmark::State &state)
{
    server();
    const QTemporaryDir folder(u"/tmp/XXXXXX"_s); // where ours goes
    const QByteArray path = QFile::encodeName(folder.filePath(u"large"_s));
    CURL *const curl = curl_easy_init();
    for (auto _ : state) {
        std::FILE *const file = std::fopen(path.constData(), "wb");
        curl_easy_setopt(curl, CURLOPT_URL, urlOf("/large").constData());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, "");
        curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 256 * 1024L);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, file);
        if (curl_easy_perform(curl) != CURLE_OK)
            state.SkipWithError("curl failed");
        std::fclose(file);
        state.PauseTiming();
        std::remove(path.constData());
        state.ResumeTiming();
    }
    curl_easy_cleanup(curl);
}

void uploadPeer(benchmark::State &state)
{
    const QByteArray path = QFile::encodeName(server().largePath());
    CURL *const curl = curl_easy_init();
    for (auto _ : state) {
        if (!postPeer(curl, "/post", "file", nullptr, path.constData()))
            state.SkipWithError("curl failed");
    }
    curl_easy_cleanup(curl);
}

bool Server::isAnswering()
{
    CURL *const curl = curl_easy_init();
    const bool isThere = postPeer(curl, "/post", "a", "b", nullptr);
    curl_easy_cleanup(curl);
    return isThere;
}

} // namespace

BENCHMARK(postOurs)->Name("web-posts/ours")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(postOnePeer)->Name("web-posts/peer")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(postThreadPeer)->Name("web-posts/peer thread")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(postManyOurs)->Name("web-at-once/ours")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(postManyPeer)->Name("web-at-once/peer")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(downloadOurs)->Name("web-download/ours")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(downloadPeer)->Name("web-download/peer")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(uploadOurs)->Name("web-upload/ours")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(uploadPeer)->Name("web-upload/peer")->UseRealTime()->Unit(benchmark::kMillisecond);

#include "WebBenchmark.moc"
