#include "VXGammuProtocol.h"

#include <QtCore/QCborMap>
#include <QtCore/QCborStreamReader>
#include <QtCore/QCborValue>
#include <QtCore/QtEndian>

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 longestMessage = 64 * 1024 * 1024;

} // namespace

namespace VXGammuProtocol {

void append(QCborArray &array, const QString &value)
{
    array.append(value.isNull() ? QCborValue(QCborValue::Null) : QCborValue(value));
}

void append(QCborArray &array, double value)
{
    array.append(value);
}

void append(QCborArray &array, const QVariant &value)
{
    array.append(QCborValue::fromVariant(value));
}

void append(QCborArray &array, const QVariantMap &value)
{
    array.append(QCborMap::fromVariantMap(value));
}

void append(QCborArray &array, const VXGammuFailure &value)
{
    QCborArray failure{value.code};
    append(failure, value.text);
    failure.append(QCborArray::fromStringList(value.arguments));
    array.append(failure);
}

bool extract(const QCborValue &from, QString &value)
{
    value = from.toString(QString());
    return from.isString() || from.isNull();
}

bool extract(const QCborValue &from, double &value)
{
    value = from.toDouble();
    return from.isDouble() || from.isInteger();
}

bool extract(const QCborValue &from, QVariant &value)
{
    value = from.isNull() || from.isUndefined() ? QVariant() : from.toVariant();
    return true;
}

bool extract(const QCborValue &from, QVariantMap &value)
{
    value = from.toMap().toVariantMap();
    return from.isMap();
}

bool extract(const QCborValue &from, VXGammuFailure &value)
{
    const QCborArray failure = from.toArray();
    value.code = static_cast<int>(failure.at(0).toInteger());
    value.arguments = failure.at(2).toVariant().toStringList();
    return failure.size() == 3 && extract(failure.at(1), value.text);
}

QByteArray frame(const QCborArray &message)
{
    const QByteArray bytes = message.toCborValue().toCbor();
    QByteArray length(sizeof(quint32), Qt::Uninitialized);
    qToLittleEndian(static_cast<quint32>(bytes.size()), length.data());
    return length + bytes;
}

} // namespace VXGammuProtocol

std::optional<QCborArray> VXGammuFrames::next()
{
    constexpr qsizetype head = sizeof(quint32);
    if (_isDamaged || _bytes.size() < head)
        return std::nullopt;
    const quint32 length = qFromLittleEndian<quint32>(_bytes.constData());
    _isDamaged = length > longestMessage;
    if (_isDamaged || _bytes.size() - head < qsizetype(length))
        return std::nullopt;
    QCborParserError error;
    const QCborValue value = QCborValue::fromCbor(_bytes.sliced(head, qsizetype(length)), &error);
    _bytes.remove(0, head + qsizetype(length));
    _isDamaged = error.error != QCborError::NoError || !value.isArray();
    return _isDamaged ? std::nullopt : std::optional(value.toArray());
}
