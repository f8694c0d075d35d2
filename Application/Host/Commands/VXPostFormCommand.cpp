#include "VXActivityManager.h"
#include "VXApplication.h"
#include "VXErrorDomain.h"
#include "VXHostCommands.h"
#include "VXHostHelp.h"
#include "VXHostJSON.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXPropertyList.h"
#include "VXSignalWatcher.h"
#include "VXTextWithoutPasswords.h"
#include "VXWebConnection.h"
#include "VXWebDownload.h"

#include <QtCore/QDir>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds progressInterval{100};

/** Shows the progress of the request until it has completed. */
class RequestRun : public QObject
{
    Q_OBJECT

public:
    RequestRun(VXWebRequest &request, const QUrl &url)
        : _request(request), _window(VXApplication::sharedApplication().userInterface().makeProgressWindow(url.host()))
    {
    }

    void run(const QUrl &url)
    {
        QTimer progress;
        connect(&progress, &QTimer::timeout, this, &RequestRun::showProgress);
        progress.start(progressInterval);
        _window->setCancelHandler([this] { _request.cancel(); });
        const VXSignalWatcher others({SIGTERM, SIGHUP},
                                     [this](int) { _request.cancel(); }); // the window handles the interrupt
        _window->setIndeterminate(true);
        _request.setDelegate(std::shared_ptr<QObject>(std::shared_ptr<void>(), this)); // not owned
        // Within the session, which receives interrupts.
        QMetaObject::invokeMethod(
            this, [this, url] { _request.requestURL(url); }, Qt::QueuedConnection);
        static_cast<void>(_window->runModal());
        if (!_isComplete)
            _request.cancel(); // the program quits
    }

    Q_INVOKABLE void requestDidComplete(VXWebRequest *)
    {
        _isComplete = true;
        if (_window->isRunning())
            _window->ok();
    }

private:
    void showProgress()
    {
        const auto shown = VXActivityManager::sharedActivityManager().activityWithIdentifier(_request.uuid());
        if (!shown)
            return;
        _window->setTitle(shown->title());
        _window->setIndeterminate(shown->maxValue() <= 0);
        _window->setMaxValue(shown->maxValue());
        _window->setDoubleValue(shown->doubleValue());
    }

    VXWebRequest &_request;
    std::unique_ptr<VXProgressWindow> _window;
    bool _isComplete = false;
};

// Null with a reason if an option is not NAME=VALUE.
std::optional<QList<VXFormField>> formFields(const VXHostOptions &options, QString *reason)
{
    QList<VXFormField> fields;
    for (const auto &[name, value] : options.occurrences()) {
        if (name != "field"_L1 && name != "file"_L1)
            continue;
        const qsizetype equals = value.indexOf(u'=');
        if (equals <= 0) {
            *reason = u"--%1 needs NAME=%2, not \"%3\""_s.arg(name, name == "file"_L1 ? u"PATH"_s : u"VALUE"_s, value);
            return std::nullopt;
        }
        VXFormField field{.name = value.left(equals), .text = {}, .filePath = {}};
        (name == "file"_L1 ? field.filePath : field.text) = value.mid(equals + 1);
        fields.append(field);
    }
    return fields;
}

int fail(VXHostContext &context, const VXError &error)
{
    if (error.code() == VXErrorCancelled && error.domain() == VXErrorDomain)
        return context.output.fail(u"the request was cancelled"_s);
    const QString suggestion = error.localizedRecoverySuggestion();
    return context.output.fail(error.localizedDescription() +
                               (suggestion.isEmpty() ? QString() : " ("_L1 + suggestion + u')'));
}

int answer(VXHostContext &context, const VXWebConnection &connection)
{
    const QByteArray data = connection.data();
    const QVariant list = VXPropertyList::fromData(data);
    if (list.isValid())
        context.output.answer(VXJSONFromVariant(list));
    else if (context.output.isJSON())
        context.output.answer({}, QString::fromUtf8(data));
    else
        context.output.answerBytes(data);
    return VXHostOutput::Done;
}

int answer(VXHostContext &context, const VXWebDownload &download)
{
    const int status = download.downloadResponse().statusCode;
    const bool isDone = status / 100 == 2;
    if (status != 200)
        context.output.note(u"the server answered %1 %2%3"_s.arg(status).arg(
            download.downloadResponse().statusText(), isDone ? QString() : u"; the file holds what it said"_s));
    context.output.answer(
        download.filePath() + u'\n',
        QJsonObject{{u"path"_s, download.filePath()}, {u"status"_s, status}, {u"bytes"_s, download.bytesReceived()}});
    return isDone ? VXHostOutput::Done : VXHostOutput::Failed;
}

// The file of an incomplete answer is removed.
void tellFailed(VXHostContext &, const VXWebDownload &download)
{
    QDir(download.folderPath()).removeRecursively();
}

// The error contains the status in words only.
void tellFailed(VXHostContext &context, const VXWebConnection &connection)
{
    if (const int status = connection.statusCode(); status != 0 && status != 200)
        context.output.note(u"the server answered %1"_s.arg(status));
}

template <class Request>
int post(VXHostContext &context, const QUrl &url, const QList<VXFormField> &fields, float timeout)
{
    const std::shared_ptr<Request> request = Request::create();
    request->setFormFields(fields);
    request->setTimeout(timeout);
    RequestRun(*request, url).run(url);
    const VXFormRedirect redirect = request->formRedirect();
    if (redirect.status != 0)
        context.output.note(u"the server answered %1 and led to %2%3"_s.arg(redirect.status)
                                .arg(redirect.to.toDisplayString(),
                                     redirect.wasFollowed ? u", which was asked for without the form"_s : QString()));
    if (!request->error())
        return answer(context, *request);
    tellFailed(context, *request);
    return fail(context, request->error());
}

int runPostForm(VXHostContext &context)
{
    const VXHostOptions &options = context.options;
    const QString usage = VXHostUsage(options.command());
    const QUrl url(options.operand(0), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || (url.scheme() != "http"_L1 && url.scheme() != "https"_L1))
        return context.output.failUsage(u"\"%1\" is no URL of the web: those begin with http:// or https://"_s.arg(
                                            VXTextWithoutPasswords(options.operand(0))),
                                        usage);
    QString reason;
    const auto fields = formFields(options, &reason);
    if (!fields)
        return context.output.failUsage(reason, usage);
    const float timeout = options.isSet(u"timeout"_s) ? options.value(u"timeout"_s).toFloat() : 30;
    return options.isSet(u"download"_s) ? post<VXWebDownload>(context, url, *fields, timeout)
                                        : post<VXWebConnection>(context, url, *fields, timeout);
}

} // namespace

VXHostCommand VXPostFormCommand()
{
    return {.name = u"post-form"_s,
            .summary = u"Post a form to a web server"_s,
            .synopsis = u"URL"_s,
            .details =
                u"Writes the server's answer, a property list as JSON. With --download the answer goes into a file, "
                "whose path is written; the command fails all the same where that is the page of an error. Files are "
                "read from the disk while they are sent. Ctrl-C cancels.\nA server that took the form answers with the "
                "status 200; any other, 204 for no content too, is told and counts as failed, but --download takes all "
                "from 200 to 299."_s,
            .options = {{.name = u"field"_s,
                         .placeholder = u"NAME=VALUE"_s,
                         .summary = u"A field; may be repeated"_s,
                         .mayRepeat = true},
                        {.name = u"file"_s,
                         .placeholder = u"NAME=PATH"_s,
                         .summary = u"A field with the contents of a file; may be repeated"_s,
                         .mayRepeat = true},
                        {.name = u"download"_s, .placeholder = {}, .summary = u"Save the answer to a file"_s},
                        {.name = u"timeout"_s,
                         .placeholder = u"SECONDS"_s,
                         .summary = u"How long to wait without a byte sent or received (30; 0: without end)"_s}},
            .minimumOperands = 1,
            .maximumOperands = 1,
            .run = runPostForm};
}

#include "VXPostFormCommand.moc"
