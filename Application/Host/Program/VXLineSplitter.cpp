#include "VXLineSplitter.h"

#include <utility>

VXLineSplitter::VXLineSplitter(LineHandler handler) : _handler(std::move(handler)) {}

void VXLineSplitter::feed(const QByteArray &chunk)
{
    qsizetype start = 0;
    for (qsizetype end = chunk.indexOf('\n'); end >= 0; end = chunk.indexOf('\n', start)) {
        const auto piece = QByteArray::fromRawData(chunk.constData() + start, end - start);
        if (_pending.isEmpty())
            _handler(piece);
        else
            _handler(std::exchange(_pending, {}) + piece);
        start = end + 1;
    }
    _pending.append(chunk.constData() + start, chunk.size() - start);
}

void VXLineSplitter::finish()
{
    if (!_pending.isEmpty())
        _handler(std::exchange(_pending, {}));
}
