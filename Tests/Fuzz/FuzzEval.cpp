// Lines of "vornix eval": whatever comes in, each line that is not blank has exactly one answer, a JSON
// object on one line. The first byte tells how large the pieces are in which the stream arrives.

#include "VXEvalSession.h"
#include "VXFolders.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

qsizetype linesWithText(const QByteArray &input)
{
    const QList<QByteArray> lines = input.split('\n');
    return std::ranges::count_if(lines, [](const QByteArray &line) { return !line.trimmed().isEmpty(); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir home;
    static const bool isSet = (VXSetHomeFolder(home.path()), true);
    require(isSet);
    if (size == 0)
        return 0;
    const qsizetype piece = 1 + data[0];
    const QByteArray input(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size) - 1);
    qsizetype answers = 0;
    VXEvalSession session(VXEvalRegistry::standard(), [&answers](const QByteArray &answer) {
        ++answers;
        require(!answer.contains('\n') && QJsonDocument::fromJson(answer).isObject());
    });
    for (qsizetype start = 0; start < input.size(); start += piece)
        session.feed(input.mid(start, piece));
    session.finish();
    require(answers == linesWithText(input));
    return 0;
}
