#include "VXBusAnswers.h"

#include "VXFileDescriptor.h"

#include <QtCore/QByteArrayList>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <optional>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

constexpr int longestWait = 1000; // milliseconds

/** The address of a socket, for connect(). */
struct SocketName
{
    sockaddr_un address{};
    socklen_t size = 0;
};

std::optional<SocketName> socketName(const QByteArray &path, bool isAbstract)
{
    SocketName name;
    const size_t start = isAbstract ? 1 : 0; // after a zero byte
    if (path.isEmpty() || size_t(path.size()) + start >= sizeof name.address.sun_path)
        return std::nullopt;
    name.address.sun_family = AF_UNIX;
    std::memcpy(name.address.sun_path + start, path.constData(), size_t(path.size()));
    name.size = socklen_t(offsetof(sockaddr_un, sun_path) + start + size_t(path.size()));
    return name;
}

// The first address with a socket: "unix:path=/run/user/1000/bus,guid=...;unix:abstract=...".
std::optional<SocketName> socketOfBus(const QByteArray &addresses)
{
    for (const QByteArray &address : addresses.split(';')) {
        if (!address.startsWith("unix:"))
            continue;
        for (const QByteArray &pair : address.sliced(5).split(',')) {
            const bool isAbstract = pair.startsWith("abstract=");
            if (isAbstract || pair.startsWith("path="))
                return socketName(QByteArray::fromPercentEncoding(pair.sliced(pair.indexOf('=') + 1)), isAbstract);
        }
    }
    return std::nullopt;
}

// Sends a question that every bus answers at once: which authentication mechanisms it supports.
bool answersQuestion(int descriptor)
{
    static constexpr char question[] = "\0AUTH\r\n";
    if (::send(descriptor, question, sizeof question - 1, MSG_NOSIGNAL) < 0)
        return true; // it has closed the connection, which is an answer
    pollfd awaited{descriptor, POLLIN, 0};
    return ::poll(&awaited, 1, longestWait) != 0;
}

} // namespace

bool VXBusAnswers(const QByteArray &address)
{
    const std::optional<SocketName> name = socketOfBus(address);
    if (!name)
        return true;
    const VXFileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const bool isConnected =
        ::connect(socket.number(), reinterpret_cast<const sockaddr *>(&name->address), name->size) == 0;
    const bool isFull = !isConnected && errno == EAGAIN; // nobody accepts the connections that are waiting
    return !isFull && (!isConnected || answersQuestion(socket.number()));
}
