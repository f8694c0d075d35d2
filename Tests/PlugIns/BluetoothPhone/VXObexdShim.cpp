// Preloaded into obexd: its Bluetooth sockets become local ones, at which phone.py answers, so that it can be tested where there is no
// radio. Of VX_PHONE_SOCKETS, a folder, "rfcommN" is the channel N and "l2capN" the service N of the one phone there is.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace {

constexpr int bluetooth = 31;
constexpr int rfcomm = 3;
constexpr int levelL2CAP = 6;
constexpr int levelRFCOMM = 18;
constexpr int levelBluetooth = 274;
constexpr socklen_t sizeOfSerialAddress = 10;
constexpr std::array<unsigned char, 6> phone{0x66, 0x55, 0x44, 0x33, 0x22, 0x11}; // the last octet first

struct Socket
{
    bool isOurs = false;
    int protocol = 0;
    int channel = 0;
};
std::array<Socket, 4096> sockets; // by descriptor

// Null for those of others.
Socket *ours(int descriptor)
{
    if (descriptor < 0 || size_t(descriptor) >= sockets.size() || !sockets[size_t(descriptor)].isOurs)
        return nullptr;
    return &sockets[size_t(descriptor)];
}

// The function behind this one.
template <class Function>
Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

int tellPhone(int descriptor, sockaddr *address, socklen_t *size)
{
    std::memset(address, 0, *size);
    address->sa_family = bluetooth;
    auto *const octets = reinterpret_cast<char *>(address);
    std::memcpy(octets + 2, phone.data(), phone.size());
    const Socket *const known = ours(descriptor);
    octets[8] = char(known == nullptr ? 0 : known->channel);
    return 0;
}

} // namespace

extern "C" {

int socket(int domain, int type, int protocol)
{
    const auto real = next(&socket, "socket");
    if (domain != bluetooth)
        return real(domain, type, protocol);
    const int descriptor = real(AF_UNIX, type, 0);
    if (descriptor >= 0 && size_t(descriptor) < sockets.size())
        sockets[size_t(descriptor)] = {.isOurs = true, .protocol = protocol, .channel = 0};
    return descriptor;
}

int bind(int descriptor, const sockaddr *address, socklen_t size)
{
    return ours(descriptor) != nullptr ? 0 : next(&bind, "bind")(descriptor, address, size);
}

// sockaddr_rc is family, address, channel; sockaddr_l2 is family, service, address.
int connect(int descriptor, const sockaddr *address, socklen_t size)
{
    const auto real = next(&connect, "connect");
    Socket *const own = ours(descriptor);
    if (own == nullptr)
        return real(descriptor, address, size);
    const auto *const octets = reinterpret_cast<const unsigned char *>(address);
    const bool isSerial = own->protocol == rfcomm;
    own->channel = isSerial ? octets[8] : octets[2] | octets[3] << 8;
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    std::snprintf(local.sun_path, sizeof local.sun_path, "%s/%s%d", std::getenv("VX_PHONE_SOCKETS"),
                  isSerial ? "rfcomm" : "l2cap", own->channel);
    const int result = real(descriptor, reinterpret_cast<const sockaddr *>(&local), sizeof local);
    if (result < 0 && (errno == ENOENT || errno == ECONNREFUSED))
        errno = EHOSTDOWN;
    return result;
}

int close(int descriptor)
{
    if (Socket *const own = ours(descriptor))
        own->isOurs = false;
    return next(&close, "close")(descriptor);
}

int setsockopt(int descriptor, int level, int option, const void *value, socklen_t size)
{
    return ours(descriptor) != nullptr && level != SOL_SOCKET
               ? 0
               : next(&setsockopt, "setsockopt")(descriptor, level, option, value, size);
}

int getsockopt(int descriptor, int level, int option, void *value, socklen_t *size)
{
    if (level == levelBluetooth || level == levelL2CAP || level == levelRFCOMM) {
        constexpr std::array<unsigned short, 2> mostOctets{672, 672}; // in one piece, there and back
        std::memset(value, 0, *size);
        if (level == levelL2CAP && *size >= sizeof mostOctets)
            std::memcpy(value, mostOctets.data(), sizeof mostOctets);
        return 0;
    }
    const int result = next(&getsockopt, "getsockopt")(descriptor, level, option, value, size);
    if (result != 0 || level != SOL_SOCKET)
        return result;
    int *const number = static_cast<int *>(value);
    if (option == SO_DOMAIN && *number == AF_UNIX)
        *number = bluetooth;
    const Socket *const own = ours(descriptor);
    if (option == SO_PROTOCOL && *number == 0)
        *number = own != nullptr ? own->protocol : rfcomm;
    return 0;
}

// What others handed over is a local socket too, and asked for with room for a serial one's address.
int getsockname(int descriptor, sockaddr *address, socklen_t *size)
{
    return ours(descriptor) != nullptr || *size == sizeOfSerialAddress
               ? tellPhone(descriptor, address, size)
               : next(&getsockname, "getsockname")(descriptor, address, size);
}

int getpeername(int descriptor, sockaddr *address, socklen_t *size)
{
    return ours(descriptor) != nullptr || *size == sizeOfSerialAddress
               ? tellPhone(descriptor, address, size)
               : next(&getpeername, "getpeername")(descriptor, address, size);
}

} // extern "C"
