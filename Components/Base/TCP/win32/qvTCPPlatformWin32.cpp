#include "../internal/qvTCPPlatform.h"

#include "internal/qvUtilPlatform.h"

#include <winsock2.h>
#include <windows.h>

#include <cstring>
#include <fcntl.h>
#include <io.h>

namespace qvTCP {
namespace internal {

namespace {

SOCKET handle(NativeSocket s)
{
    return static_cast<SOCKET>(s);
}

sockaddr_in ipv4(std::uint32_t networkAddress, int port)
{
    sockaddr_in address;
    std::memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(port));
    address.sin_addr.s_addr = networkAddress;
    return address;
}

// The resolver's entry is overwritten by the next call: copied out at once.
HostEntry copyEntry(const hostent* host)
{
    HostEntry entry;
    if (!host) {
        int error = WSAGetLastError();
        entry.notFound = error == WSAHOST_NOT_FOUND;
        entry.message = qvUtil::internal::systemErrorText(error);
        return entry;
    }
    entry.found = true;
    entry.name = host->h_name ? host->h_name : "";
    if (host->h_addr_list && host->h_addr_list[0])
        std::memcpy(&entry.address, host->h_addr_list[0], sizeof entry.address);
    return entry;
}

} // namespace

int startNetworking()
{
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 0), &data);
}

int lastError()
{
    return WSAGetLastError();
}

int lastSystemError()
{
    return static_cast<int>(GetLastError());
}

Failure classify(int error)
{
    switch (error) {
    case WSAECONNREFUSED:
    case WSAENETUNREACH: return Failure::refusedOrUnreachable;
    case WSAEADDRINUSE: return Failure::addressInUse;
    default: return Failure::other;
    }
}

HostEntry lookUpName(const char* name)
{
    return copyEntry(gethostbyname(name));
}

HostEntry lookUpAddress(std::uint32_t networkAddress)
{
    return copyEntry(gethostbyaddr(reinterpret_cast<const char*>(&networkAddress), 4, AF_INET));
}

std::uint32_t parseDotted(const char* text)
{
    return inet_addr(text);
}

int hostName(char* buffer, unsigned int size)
{
    return gethostname(buffer, static_cast<int>(size));
}

NativeSocket createStreamSocket()
{
    SOCKET s = WSASocketA(AF_INET, SOCK_STREAM, 0, nullptr, 0, 0);
    return s == INVALID_SOCKET ? invalidSocket : static_cast<NativeSocket>(s);
}

int setLinger(NativeSocket s, int seconds)
{
    linger value;
    value.l_onoff = 1;
    value.l_linger = static_cast<u_short>(seconds);
    return setsockopt(handle(s), SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&value),
                      sizeof value) == 0 ? 0 : -1;
}

int setNoDelay(NativeSocket s)
{
    BOOL on = TRUE;
    return setsockopt(handle(s), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on),
                      sizeof on) == 0 ? 0 : -1;
}

int allowAddressReuse(NativeSocket)
{
    // Windows lets a restarted server bind at once; SO_REUSEADDR there would let two servers
    // share a port.
    return 0;
}

int connectTo(NativeSocket s, std::uint32_t networkAddress, int port)
{
    sockaddr_in address = ipv4(networkAddress, port);
    return connect(handle(s), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : -1;
}

int bindAny(NativeSocket s, int port)
{
    sockaddr_in address = ipv4(htonl(INADDR_ANY), port);
    return bind(handle(s), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 ? 0 : -1;
}

int listenOn(NativeSocket s, int backlog)
{
    return listen(handle(s), backlog) == 0 ? 0 : -1;
}

NativeSocket acceptOn(NativeSocket s)
{
    SOCKET accepted = accept(handle(s), nullptr, nullptr);
    return accepted == INVALID_SOCKET ? invalidSocket : static_cast<NativeSocket>(accepted);
}

int waitReadable(NativeSocket s, const qvUtil::Interval* timeout)
{
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(handle(s), &readable);
    timeval limit;
    if (timeout) {
        limit.tv_sec = timeout->seconds();
        limit.tv_usec = timeout->microseconds();
    }
    int result = select(0, &readable, nullptr, nullptr, timeout ? &limit : nullptr);
    return result == SOCKET_ERROR ? -1 : result;
}

long receiveSome(NativeSocket s, void* buffer, unsigned int size)
{
    int result = recv(handle(s), static_cast<char*>(buffer), static_cast<int>(size), 0);
    return result == SOCKET_ERROR ? -1 : result;
}

long sendSome(NativeSocket s, const void* buffer, unsigned int size)
{
    int result = send(handle(s), static_cast<const char*>(buffer), static_cast<int>(size), 0);
    return result == SOCKET_ERROR ? -1 : result;
}

int shutdownSocket(NativeSocket s, int how)
{
    return shutdown(handle(s), how);
}

int closeSocket(NativeSocket s)
{
    return closesocket(handle(s)) == 0 ? 0 : -1;
}

int socketName(NativeSocket s, bool peer, std::uint32_t& networkAddress, int& port)
{
    sockaddr_in address;
    int length = sizeof address;
    sockaddr* name = reinterpret_cast<sockaddr*>(&address);
    if ((peer ? getpeername(handle(s), name, &length) : getsockname(handle(s), name, &length)) != 0)
        return -1;
    networkAddress = address.sin_addr.s_addr;
    port = ntohs(address.sin_port);
    return 0;
}

int openCDescriptor(NativeSocket s)
{
    return _open_osfhandle(static_cast<intptr_t>(s), _O_RDWR);
}

int closeCDescriptor(int descriptor)
{
    return _close(descriptor) == 0 ? 0 : -1;
}

FILE* openCStream(int descriptor)
{
    return _fdopen(descriptor, "rb+");
}

bool streamClosesSocket()
{
    return true;
}

} // namespace internal
} // namespace qvTCP
