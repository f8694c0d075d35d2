#pragma once

#include <QtCore/QByteArray>

#include <functional>

/** Cuts a stream that arrives in chunks into lines; keeps no more than the line that is not complete yet. */
class VXLineSplitter
{
public:
    /** Gets each line without its line feed; the bytes are valid during the call only. */
    using LineHandler = std::function<void(const QByteArray &line)>;

    explicit VXLineSplitter(LineHandler handler);

    void feed(const QByteArray &chunk);
    /** The end of the stream: hands over a last line that lacks its line feed. */
    void finish();
    /** Forgets the beginning of a line. */
    void reset() { _pending.clear(); }

private:
    const LineHandler _handler;
    QByteArray _pending;
};
