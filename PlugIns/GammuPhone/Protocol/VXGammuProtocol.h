#pragma once

#include "VXGammuFailure.h"

#include <QtCore/QByteArray>
#include <QtCore/QCborArray>
#include <QtCore/QVariant>

#include <optional>
#include <tuple>

// What a device and the process that holds its phone say to each other: CBOR arrays of a kind and the message's fields,
// each preceded by its length in four bytes, least significant byte first. One process serves one connection: it is
// told how to reach the phone, connects, and answers one request at a time, until the device hangs up or the phone is
// lost.

namespace VXGammuProtocol {

// -- To the process
struct Configure // once, first
{
    static constexpr int kind = 1;
    QVariantMap values; // the preferences that VXGammuConfiguration names

    auto fields() { return std::tie(values); }
};
struct Request
{
    static constexpr int kind = 2;
    QString action; // of the device's actions; or "state", which is answered by Properties too
    QVariant object;

    auto fields() { return std::tie(action, object); }
};
struct Cancel // cancels the current request
{
    static constexpr int kind = 3;

    auto fields() { return std::tuple<>(); }
};

// -- From the process
// what the phone says about itself, first when it was reached: a value that it does not provide is invalid
struct Properties
{
    static constexpr int kind = 11;
    QVariantMap values;

    auto fields() { return std::tie(values); }
};
struct Expect // how many steps the request will take
{
    static constexpr int kind = 12;
    double maximum = 0;

    auto fields() { return std::tie(maximum); }
};
struct Step // one of them is done
{
    static constexpr int kind = 13;

    auto fields() { return std::tuple<>(); }
};
struct Item // something that was read, sent at once
{
    static constexpr int kind = 14;
    QVariantMap value;

    auto fields() { return std::tie(value); }
};
struct Concluded // the request is over: the result's map lacks the items, and is empty if there is no result
{
    static constexpr int kind = 15;
    QVariantMap result;
    VXGammuFailure failure;

    auto fields() { return std::tie(result, failure); }
};
struct Event // something happened on the phone
{
    static constexpr int kind = 16;
    QString name;
    QString step; // null for none
    QVariantMap object;

    auto fields() { return std::tie(name, step, object); }
};
struct Lost // the phone is gone or could not be reached: the process ends, after at most one last conclusion
{
    static constexpr int kind = 17;
    VXGammuFailure failure;

    auto fields() { return std::tie(failure); }
};

void append(QCborArray &array, const QString &value);
void append(QCborArray &array, double value);
void append(QCborArray &array, const QVariant &value);
void append(QCborArray &array, const QVariantMap &value);
void append(QCborArray &array, const VXGammuFailure &value);
bool extract(const QCborValue &from, QString &value);
bool extract(const QCborValue &from, double &value);
bool extract(const QCborValue &from, QVariant &value);
bool extract(const QCborValue &from, QVariantMap &value);
bool extract(const QCborValue &from, VXGammuFailure &value);

/** The array preceded by its length. */
QByteArray frame(const QCborArray &message);

/** A message in the form in which it is sent. */
template <class Message>
QByteArray encode(Message message)
{
    QCborArray array{Message::kind};
    std::apply([&](const auto &...field) { (append(array, field), ...); }, message.fields());
    return frame(array);
}

/** The message, if the array is of that kind and has all its fields. */
template <class Message>
std::optional<Message> decode(const QCborArray &array)
{
    Message message;
    auto fields = message.fields();
    if (array.at(0).toInteger() != Message::kind || array.size() != qsizetype(std::tuple_size_v<decltype(fields)>) + 1)
        return std::nullopt;
    qsizetype at = 1;
    const bool isComplete = std::apply([&](auto &...field) { return (extract(array.at(at++), field) && ...); }, fields);
    return isComplete ? std::optional(message) : std::nullopt;
}

} // namespace VXGammuProtocol

/** Extracts messages from a stream of bytes. */
class VXGammuFrames
{
public:
    void add(const QByteArray &bytes) { _bytes.append(bytes); }
    /** The next complete message; none if more bytes are needed, and always once the stream is damaged. */
    std::optional<QCborArray> next();
    bool isDamaged() const { return _isDamaged; }

private:
    QByteArray _bytes;
    bool _isDamaged = false;
};
