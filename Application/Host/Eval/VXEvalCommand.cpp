#include "VXEvalRegistry.h"
#include "VXEvalSession.h"
#include "VXHostCommands.h"
#include "VXHostOptions.h"
#include "VXHostOutput.h"
#include "VXModalSession.h"

#include <QtCore/QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype chunkSize = 64 * 1024;

int failReading(VXHostOutput &output)
{
    return output.fail(u"cannot read standard input: "_s + QString::fromLocal8Bit(std::strerror(errno)));
}

// Reads in the event loop, so that work passed to the main thread is done between the chunks.
int evaluateStandardInput(VXHostOutput &output)
{
    VXEvalSession evaluation(VXEvalRegistry::standard(), [&](const QByteArray &answer) { output.writePart(answer); });
    VXModalSession session;
    QByteArray buffer(chunkSize, Qt::Uninitialized);
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), static_cast<std::size_t>(buffer.size()));
        if (count > 0)
            evaluation.feed(QByteArray::fromRawData(buffer.constData(), count));
        else if (count == 0)
            evaluation.finish();
        else if (errno == EINTR || errno == EAGAIN)
            return;
        else
            return session.stop(failReading(output));
        if (!output.flush())
            session.stop(VXHostOutput::Failed);
        else if (count == 0)
            session.stop(VXHostOutput::Done);
    });
    return session.run() == VXHostOutput::Done ? VXHostOutput::Done : VXHostOutput::Failed;
}

int runEval(VXHostContext &context)
{
    context.output.beginParts();
    return evaluateStandardInput(context.output);
}

} // namespace

VXHostCommand VXEvalCommand()
{
    QStringList calls = VXEvalRegistry::standard().names();
    std::ranges::sort(calls);
    return {.name = u"eval"_s,
            .summary = u"Carry out calls for shell scripts, a JSON object a line"_s,
            .details = u"Reads {\"call\": NAME, \"args\": [...]} from each line of standard input and answers a line "
                       "{\"result\": ...} with further values by name, or {\"error\": TEXT}; then it goes on. With "
                       "--json the answers are the elements of one array.\nCalls: %1."_s.arg(calls.join(", "_L1)),
            .run = runEval};
}
