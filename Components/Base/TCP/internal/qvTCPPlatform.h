#ifndef QVTCP_INTERNAL_PLATFORM_H
#define QVTCP_INTERNAL_PLATFORM_H

// Operating-system side of the TCP subsystem: Windows Sockets on Windows, BSD sockets elsewhere;
// posix/ and win32/ each implement it. Error numbers are the platform's own (WSAGetLastError or
// errno): the portable code passes them to systemErrorText() for messages and to classify() for
// codes, so both platforms report the same failure with the same code.

#include "qvUtilInterval.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace qvTCP {
namespace internal {

using NativeSocket = std::uintptr_t;
constexpr NativeSocket invalidSocket = ~NativeSocket(0);
// inet_addr's answer for text that is not a dotted address.
constexpr std::uint32_t noAddress = 0xFFFFFFFFu;

// Starts the socket library; 0 or the code the system returned.
int startNetworking();
// The error number of the last failed socket call on this thread.
int lastError();
// The last error of the operating system's own calls (GetLastError or errno).
int lastSystemError();

// The failures that carry a code of their own.
enum class Failure { other, refusedOrUnreachable, addressInUse };
Failure classify(int error);

// A host look-up: the official name and the first IPv4 address.
struct HostEntry {
    bool found = false;
    bool notFound = false; // the host is unknown (as opposed to any other failure)
    std::string message;   // the system text when not found
    std::string name;
    std::uint32_t address = 0; // network order
};
HostEntry lookUpName(const char* name);
HostEntry lookUpAddress(std::uint32_t networkAddress);
// inet_addr: the address in network order, or noAddress.
std::uint32_t parseDotted(const char* text);
// The dotted form of an address in network order (portable: qvTCPAddress.cpp).
std::string formatDotted(std::uint32_t networkAddress);
// gethostname into the buffer; 0 on success.
int hostName(char* buffer, unsigned int size);

// Each returns 0 on success and -1 on failure (see lastError()), unless said otherwise.
NativeSocket createStreamSocket();
int setLinger(NativeSocket s, int seconds);
int setNoDelay(NativeSocket s);
// Lets a restarted server bind its port at once where the system needs to be told so.
int allowAddressReuse(NativeSocket s);
int connectTo(NativeSocket s, std::uint32_t networkAddress, int port);
int bindAny(NativeSocket s, int port);
int listenOn(NativeSocket s, int backlog);
NativeSocket acceptOn(NativeSocket s);
// Readable within the time-out (null: block)? >0 yes, 0 no, -1 failure.
int waitReadable(NativeSocket s, const qvUtil::Interval* timeout);
// One recv()/send(); the count moved, 0 for an orderly close (recv), -1 for failure. A send to a
// closed peer fails and never raises a signal.
long receiveSome(NativeSocket s, void* buffer, unsigned int size);
long sendSome(NativeSocket s, const void* buffer, unsigned int size);
// how: 0 receiving, 1 sending, 2 both. Returns what the system returned.
int shutdownSocket(NativeSocket s, int how);
int closeSocket(NativeSocket s);
// The socket's own address (peer false) or its peer's; 0 on success.
int socketName(NativeSocket s, bool peer, std::uint32_t& networkAddress, int& port);

// A C descriptor for the socket, -1 on failure (Windows: the handle itself; POSIX: a duplicate).
int openCDescriptor(NativeSocket s);
int closeCDescriptor(int descriptor);
FILE* openCStream(int descriptor);
// Whether fclose() of the stream also closed the socket handle (the stream owns the handle).
bool streamClosesSocket();

} // namespace internal
} // namespace qvTCP

#endif
