#include "../internal/qvTCPPlatform.h"

#include "internal/qvUtilPlatform.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qvTCP {
namespace internal {

namespace {

int fd(NativeSocket s)
{
    return static_cast<int>(s);
}

sockaddr_in ipv4(std::uint32_t networkAddress, int port)
{
    sockaddr_in address;
    std::memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(port));
    address.sin_addr.s_addr = networkAddress;
    return address;
}

HostEntry lookUpFailure(int code)
{
    HostEntry entry;
    // Only an unknown name: a name without an address, like a failed resolver, is another failure.
    entry.notFound = code == EAI_NONAME;
    entry.message = code == EAI_SYSTEM ? qvUtil::internal::systemErrorText(errno) : gai_strerror(code);
    return entry;
}

// A send to a closed peer fails instead of raising SIGPIPE, where the system offers a socket option.
void noSigPipe(int s)
{
#ifdef SO_NOSIGPIPE
    int on = 1;
    setsockopt(s, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
#else
    (void)s;
#endif
}

} // namespace

int startNetworking()
{
    return 0;
}

int lastError()
{
    return errno;
}

int lastSystemError()
{
    return errno;
}

Failure classify(int error)
{
    switch (error) {
    case ECONNREFUSED:
    case ENETUNREACH: return Failure::refusedOrUnreachable;
    case EADDRINUSE: return Failure::addressInUse;
    default: return Failure::other;
    }
}

HostEntry lookUpName(const char* name)
{
    addrinfo hints;
    std::memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    int code = getaddrinfo(name, nullptr, &hints, &found);
    if (code != 0)
        return lookUpFailure(code);
    HostEntry entry;
    entry.found = true;
    entry.name = found->ai_canonname ? found->ai_canonname : name;
    entry.address = reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
    freeaddrinfo(found);
    return entry;
}

HostEntry lookUpAddress(std::uint32_t networkAddress)
{
    sockaddr_in address = ipv4(networkAddress, 0);
    char host[NI_MAXHOST];
    int code = getnameinfo(reinterpret_cast<sockaddr*>(&address), sizeof address, host, sizeof host,
                           nullptr, 0, NI_NAMEREQD);
    if (code != 0)
        return lookUpFailure(code);
    HostEntry entry;
    entry.found = true;
    entry.name = host;
    entry.address = networkAddress;
    return entry;
}

std::uint32_t parseDotted(const char* text)
{
    return inet_addr(text);
}

int hostName(char* buffer, unsigned int size)
{
    return gethostname(buffer, size);
}

NativeSocket createStreamSocket()
{
    int s = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (s < 0)
        return invalidSocket;
    noSigPipe(s);
    return static_cast<NativeSocket>(s);
}

int setLinger(NativeSocket s, int seconds)
{
    linger value;
    value.l_onoff = 1;
    value.l_linger = seconds;
    return setsockopt(fd(s), SOL_SOCKET, SO_LINGER, &value, sizeof value) == 0 ? 0 : -1;
}

int setNoDelay(NativeSocket s)
{
    int on = 1;
    return setsockopt(fd(s), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) == 0 ? 0 : -1;
}

int allowAddressReuse(NativeSocket s)
{
    int on = 1;
    return setsockopt(fd(s), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 ? 0 : -1;
}

int connectTo(NativeSocket s, std::uint32_t networkAddress, int port)
{
    sockaddr_in address = ipv4(networkAddress, port);
    if (connect(fd(s), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
        return 0;
    if (errno != EINTR)
        return -1;
    // Interrupted: the connection goes on by itself (calling connect() again would fail with
    // EALREADY), so wait until it is made or refused and take its outcome.
    pollfd watched;
    watched.fd = fd(s);
    watched.events = POLLOUT;
    watched.revents = 0;
    int ready;
    do
        ready = poll(&watched, 1, -1);
    while (ready < 0 && errno == EINTR);
    int failure = 0;
    socklen_t length = sizeof failure;
    if (ready < 0 || getsockopt(fd(s), SOL_SOCKET, SO_ERROR, &failure, &length) != 0)
        return -1;
    if (failure != 0) {
        errno = failure;
        return -1;
    }
    return 0;
}

int bindAny(NativeSocket s, int port)
{
    sockaddr_in address = ipv4(htonl(INADDR_ANY), port);
    return bind(fd(s), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : -1;
}

int listenOn(NativeSocket s, int backlog)
{
    return listen(fd(s), backlog) == 0 ? 0 : -1;
}

NativeSocket acceptOn(NativeSocket s)
{
    int accepted;
    do
        accepted = accept4(fd(s), nullptr, nullptr, SOCK_CLOEXEC);
    while (accepted < 0 && errno == EINTR);
    if (accepted < 0)
        return invalidSocket;
    noSigPipe(accepted);
    return static_cast<NativeSocket>(accepted);
}

int waitReadable(NativeSocket s, const qvUtil::Interval* timeout)
{
    // poll() would skip a negative descriptor and wait on nothing; select() refuses a non-socket.
    if (s == invalidSocket) {
        errno = EBADF;
        return -1;
    }
    // poll() rather than select(): no limit on the descriptor's number.
    pollfd watched;
    watched.fd = fd(s);
    watched.events = POLLIN;
    watched.revents = 0;
    auto deadline = std::chrono::steady_clock::now();
    if (timeout)
        deadline += std::chrono::seconds(timeout->seconds()) + std::chrono::microseconds(timeout->microseconds());
    for (;;) {
        int milliseconds = -1;
        if (timeout) {
            auto left = std::chrono::duration_cast<std::chrono::microseconds>(
                deadline - std::chrono::steady_clock::now()).count();
            // Rounded up, so a short time-out still waits instead of spinning.
            milliseconds = left <= 0 ? 0 : static_cast<int>(std::min<long long>((left + 999) / 1000, 1 << 30));
        }
        int result = poll(&watched, 1, milliseconds);
        if (result < 0 && errno == EINTR)
            continue;
        if (result < 0)
            return -1;
        if (result > 0 && (watched.revents & POLLNVAL)) {
            errno = EBADF;
            return -1;
        }
        return result;
    }
}

long receiveSome(NativeSocket s, void* buffer, unsigned int size)
{
    ssize_t result;
    do
        result = recv(fd(s), buffer, size, 0);
    while (result < 0 && errno == EINTR);
    return result < 0 ? -1 : static_cast<long>(result);
}

long sendSome(NativeSocket s, const void* buffer, unsigned int size)
{
#ifdef MSG_NOSIGNAL
    const int flags = MSG_NOSIGNAL;
#else
    const int flags = 0;
#endif
    ssize_t result;
    do
        result = send(fd(s), buffer, size, flags);
    while (result < 0 && errno == EINTR);
    return result < 0 ? -1 : static_cast<long>(result);
}

int shutdownSocket(NativeSocket s, int how)
{
    static const int hows[] = {SHUT_RD, SHUT_WR, SHUT_RDWR};
    return shutdown(fd(s), hows[how]);
}

int closeSocket(NativeSocket s)
{
    return close(fd(s)) == 0 ? 0 : -1;
}

int socketName(NativeSocket s, bool peer, std::uint32_t& networkAddress, int& port)
{
    sockaddr_in address;
    socklen_t length = sizeof address;
    sockaddr* name = reinterpret_cast<sockaddr*>(&address);
    if ((peer ? getpeername(fd(s), name, &length) : getsockname(fd(s), name, &length)) != 0)
        return -1;
    networkAddress = address.sin_addr.s_addr;
    port = ntohs(address.sin_port);
    return 0;
}

int openCDescriptor(NativeSocket s)
{
    return fcntl(fd(s), F_DUPFD_CLOEXEC, 0);
}

int closeCDescriptor(int descriptor)
{
    return close(descriptor) == 0 ? 0 : -1;
}

FILE* openCStream(int descriptor)
{
    return fdopen(descriptor, "rb+");
}

bool streamClosesSocket()
{
    return false;
}

} // namespace internal
} // namespace qvTCP
