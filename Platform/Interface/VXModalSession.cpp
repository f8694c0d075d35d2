#include "VXModalSession.h"

#include "VXException.h"

#include <QtCore/QEventLoop>
#include <QtCore/QScopeGuard>

#include <utility>

using namespace Qt::StringLiterals;

int VXModalSession::run()
{
    VXAssert(!isRunning(), u"The modal session is already running"_s);
    if (!_code) {
        QEventLoop loop;
        _loop = &loop;
        const auto ended = qScopeGuard([this] { _loop = nullptr; });
        loop.exec();
    }
    return std::exchange(_code, std::nullopt).value_or(Aborted);
}

void VXModalSession::stop(int code)
{
    _code = code;
    if (isRunning())
        _loop->quit();
}
