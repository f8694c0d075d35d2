#include "VXEvalSession.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonParseError>

#include <utility>

using namespace Qt::StringLiterals;

VXEvalSession::VXEvalSession(const VXEvalRegistry &registry, Sink sink)
    : _registry(registry), _sink(std::move(sink)), _lines([this](const QByteArray &line) { runLine(line); })
{
}

void VXEvalSession::runLine(const QByteArray &line)
{
    if (line.trimmed().isEmpty())
        return;
    QJsonParseError error;
    const QJsonDocument request = QJsonDocument::fromJson(line, &error);
    QJsonObject answer;
    if (error.error != QJsonParseError::NoError)
        answer = {{u"error"_s, u"no JSON object: %1 at byte %2"_s.arg(error.errorString()).arg(error.offset)}};
    else if (!request.isObject())
        answer = {{u"error"_s, u"no JSON object: an array"_s}};
    else
        answer = _registry.answer(request.object());
    _sink(QJsonDocument(answer).toJson(QJsonDocument::Compact));
}
