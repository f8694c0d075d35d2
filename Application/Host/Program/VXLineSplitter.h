#pragma once

#include <QtCore/QByteArray>

#include <functional>

/** Splits a stream that arrives in chunks into lines; keeps no more than the current incomplete line. */
class VXLineSplitter
{
public:
    /** Receives each line without its line feed; the bytes are valid during the call only. */
    using LineHandler = std::function<void(const QByteArray &line)>;

    explicit VXLineSplitter(LineHandler handler);

    void feed(const QByteArray &chunk);
    /** The end of the stream: passes on a last line without line feed. */
    void finish();
    /** Discards the beginning of a line. */
    void reset() { _pending.clear(); }

private:
    const LineHandler _handler;
    QByteArray _pending;
};
