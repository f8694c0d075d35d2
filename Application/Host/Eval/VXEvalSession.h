#pragma once

#include "VXEvalRegistry.h"
#include "VXLineSplitter.h"

#include <QtCore/QByteArray>

#include <functional>

/**
 * Splits a stream into lines, carries out each, and passes every answer, one JSON object without line feed, to the
 * sink. Blank lines have no answer; any other line has exactly one. Keeps no more than the current incomplete line.
 */
class VXEvalSession
{
public:
    using Sink = std::function<void(const QByteArray &answer)>;

    VXEvalSession(const VXEvalRegistry &registry, Sink sink);

    void feed(const QByteArray &chunk) { _lines.feed(chunk); }
    /** The end of the stream: the last line may lack its line feed. */
    void finish() { _lines.finish(); }

private:
    void runLine(const QByteArray &line);

    const VXEvalRegistry &_registry;
    const Sink _sink;
    VXLineSplitter _lines;
};
