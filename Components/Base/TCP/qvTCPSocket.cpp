#include "qvTCPSocket.h"

#include "internal/qvTCPSocketRecord.h"
#include "internal/qvTCPStartup.h"

#include <cstring>
#include <string>

namespace qvTCP {

namespace {

using internal::socketError;

// The largest piece handed to one recv()/send(): the Windows calls take an int.
constexpr unsigned int maxPiece = 1u << 30;

// Strings up to this length go out with their length prefix in one send() from the stack.
constexpr unsigned int stackStringLimit = 1022;

enum class Transfer { complete, failed, closed };

// Moves all size bytes with as many calls of once(offset, piece) as it takes; moved counts what
// went, failure holds the error number of a failed call. A call that moves nothing is an orderly
// close by the peer.
template <typename Once>
Transfer moveAll(unsigned int size, unsigned int& moved, int& failure, Once once)
{
    moved = 0;
    while (moved < size) {
        unsigned int piece = size - moved < maxPiece ? size - moved : maxPiece;
        long result = once(moved, piece);
        if (result < 0) {
            failure = internal::lastError();
            return Transfer::failed;
        }
        if (result == 0)
            return Transfer::closed;
        moved += static_cast<unsigned int>(result);
    }
    return Transfer::complete;
}

Transfer receiveAll(internal::NativeSocket s, char* bytes, unsigned int size, unsigned int& moved,
                    int& failure)
{
    return moveAll(size, moved, failure, [&](unsigned int offset, unsigned int piece) {
        return internal::receiveSome(s, bytes + offset, piece);
    });
}

Transfer sendAll(internal::NativeSocket s, const char* bytes, unsigned int size, unsigned int& moved,
                 int& failure)
{
    return moveAll(size, moved, failure, [&](unsigned int offset, unsigned int piece) {
        return internal::sendSome(s, bytes + offset, piece);
    });
}

// The error of a transfer that did not complete. Built only on failure, so a successful read or
// write creates a single empty Error (strings are exchanged at a high rate).
qvUtil::Error transferError(Transfer result, int failure, const char* format = "%s")
{
    if (result == Transfer::closed)
        return qvUtil::Error(4, "connection closed");
    return socketError(1, failure, format);
}

} // namespace

namespace internal {

namespace {

Address* makeAddress(std::uint32_t networkAddress, int port)
{
    return new Address(formatDotted(networkAddress).c_str(), port);
}

// The address kept in `kept`, asked of the system the first time: the socket's own or its peer's.
std::pair<const Address*, qvUtil::Error> knownAddress(Address*& kept, NativeSocket s, bool peer)
{
    if (!kept) {
        if (s == invalidSocket)
            return {nullptr, qvUtil::Error(2, "No socket has been created")};
        std::uint32_t address = 0;
        int port = 0;
        if (socketName(s, peer, address, port) != 0)
            return {nullptr, qvUtil::Error(4, "Socket not connected")};
        kept = makeAddress(address, port);
    }
    return {kept, qvUtil::Error()};
}

} // namespace

} // namespace internal

// ---- Socket

Socket::Socket() : record(new Record)
{
    internal::startup();
}

Socket::~Socket()
{
    close(shutBoth);
    delete record->local;
    delete record->remote;
    delete record;
}

bool Socket::connected() const
{
    return record->connected;
}

bool Socket::dataAvailable() const
{
    if (record->socket == internal::invalidSocket)
        return false;
    qvUtil::Interval now;
    return internal::waitReadable(record->socket, &now) > 0;
}

std::pair<const Address*, qvUtil::Error> Socket::localAddress()
{
    return internal::knownAddress(record->local, record->socket, false);
}

std::pair<const Address*, qvUtil::Error> Socket::remoteAddress()
{
    return internal::knownAddress(record->remote, record->socket, true);
}

qvUtil::Error Socket::finish(const qvUtil::Error& error) const
{
    if (error && record->throwMode)
        throw error;
    return error;
}

qvUtil::Error Socket::read(void* buffer, unsigned int size, unsigned int* done)
{
    unsigned int received = 0;
    int failure = 0;
    Transfer result = receiveAll(record->socket, static_cast<char*>(buffer), size, received, failure);
    if (done)
        *done = received;
    if (result == Transfer::complete)
        return qvUtil::Error();
    return finish(transferError(result, failure));
}

qvUtil::Error Socket::write(const void* buffer, unsigned int size, unsigned int* done)
{
    unsigned int sent = 0;
    int failure = 0;
    Transfer result = sendAll(record->socket, static_cast<const char*>(buffer), size, sent, failure);
    if (done)
        *done = sent;
    if (result == Transfer::complete)
        return qvUtil::Error();
    return finish(transferError(result, failure, "send() failed: %s"));
}

qvUtil::Error Socket::write(const qvString::CString& string)
{
    unsigned int length = string.length();
    if (length > 0xFFFF)
        return finish(qvUtil::Error(3, "buffer passed to Socket::write() is too long"));
    // Length and bytes leave in one send(): two small segments would wait on the peer's delayed
    // acknowledgement wherever Nagle's algorithm is on.
    unsigned char prefix[2] = {static_cast<unsigned char>(length >> 8),
                               static_cast<unsigned char>(length & 0xFF)};
    if (length <= stackStringLimit) {
        char message[2 + stackStringLimit];
        std::memcpy(message, prefix, 2);
        std::memcpy(message + 2, string.asChar(), length);
        return write(message, 2 + length, nullptr);
    }
    std::string message(reinterpret_cast<const char*>(prefix), 2);
    message.append(string.asChar(), length);
    return write(message.data(), static_cast<unsigned int>(message.size()), nullptr);
}

qvUtil::Error Socket::read(qvString::CString& string)
{
    unsigned char prefix[2];
    unsigned int received = 0;
    int failure = 0;
    Transfer result = receiveAll(record->socket, reinterpret_cast<char*>(prefix), 2, received, failure);
    if (result == Transfer::complete) {
        unsigned int length = (static_cast<unsigned int>(prefix[0]) << 8) | prefix[1];
        // Read into a string of its own, so a failure leaves the caller's string as it was.
        qvString::CString arrived(length, '\0');
        if (length > 0)
            result = receiveAll(record->socket, &arrived[0], length, received, failure);
        if (result == Transfer::complete) {
            string.swap(arrived);
            return qvUtil::Error();
        }
    }
    return finish(transferError(result, failure));
}

qvUtil::Error Socket::wait()
{
    const qvUtil::Interval& timeout = record->timeout;
    if (internal::waitReadable(record->socket, timeout.isZero() ? nullptr : &timeout) < 0)
        return socketError(1);
    return qvUtil::Error();
}

std::pair<FILE*, qvUtil::Error> Socket::getCStream()
{
    if (record->stream || record->socket == internal::invalidSocket)
        return {record->stream, qvUtil::Error(2, "socket is not connected")};
    int descriptor = internal::openCDescriptor(record->socket);
    if (descriptor < 0)
        return {nullptr, socketError(1, internal::lastSystemError(),
                                     "_open_osfhandle() failed for  socket: %s")};
    record->descriptor = descriptor;
    record->stream = internal::openCStream(descriptor);
    if (!record->stream)
        return {nullptr, qvUtil::Error(1, "_fdopen() failed for socket file descriptor")};
    return {record->stream, qvUtil::Error()};
}

qvUtil::Error Socket::getCStream(FILE*& stream)
{
    std::pair<FILE*, qvUtil::Error> result = getCStream();
    stream = result.first;
    return result.second;
}

qvUtil::Error Socket::close(int sides)
{
    Record& r = *record;
    qvUtil::Error error;
    if (r.socket == internal::invalidSocket)
        return error;
    if ((r.shut | sides) == shutBoth) {
        if (r.stream)
            std::fflush(r.stream);
        int how = (r.shut & shutReceiving) ? 1 : (r.shut & shutSending) ? 0 : 2;
        // Kept: a shutdown() that returns 0 is the one reported; callers depend on this result.
        if (internal::shutdownSocket(r.socket, how) == 0)
            error = socketError(1);
        bool socketClosed = false;
        if (r.stream) {
            // fclose() releases the descriptor under the stream as well.
            if (std::fclose(r.stream) != 0 && !error)
                error = qvUtil::Error(1, "fclose() on socket stream failed");
            r.stream = nullptr;
            r.descriptor = -1;
            socketClosed = internal::streamClosesSocket();
        }
        if (r.descriptor >= 0) {
            if (internal::closeCDescriptor(r.descriptor) != 0 && !error)
                error = qvUtil::Error(1, "_close() of C file descriptor failed");
            r.descriptor = -1;
            socketClosed = internal::streamClosesSocket();
        }
        if (!socketClosed && internal::closeSocket(r.socket) != 0 && !error)
            error = socketError(1);
        r.socket = internal::invalidSocket;
        r.shut = shutBoth;
        r.connected = false;
        return error;
    }
    if ((sides & shutReceiving) && !(r.shut & shutReceiving)) {
        // Kept, as for the full close: the reported case is a shutdown() that returns 0.
        if (internal::shutdownSocket(r.socket, 0) == 0)
            error = socketError(1, "shutdown(socket,0) failed: %s");
        r.shut |= shutReceiving;
    }
    if ((sides & shutSending) && !(r.shut & shutSending)) {
        if (r.stream)
            std::fflush(r.stream);
        if (internal::shutdownSocket(r.socket, 1) != 0)
            error = socketError(1, "shutdown(socket,1) failed: %s");
        r.shut |= shutSending;
    }
    return error;
}

bool Socket::getThrowMode() const
{
    return record->throwMode;
}

void Socket::setThrowMode(bool on)
{
    record->throwMode = on;
}

qvUtil::Interval Socket::getTimeout() const
{
    return record->timeout;
}

void Socket::setTimeout(const qvUtil::Interval& timeout)
{
    record->timeout = timeout;
}

// ---- ClientSocket

ClientSocket::ClientSocket(const Address& address)
{
    record->remote = new Address(address);
}

qvUtil::Error ClientSocket::connect()
{
    std::pair<qvString::CString, qvUtil::Error> dotted = record->remote->getNumbersAndDots();
    if (dotted.second)
        return dotted.second;
    // A socket connects once: a second connect() starts over on a fresh handle.
    close(shutBoth);
    record->shut = 0;
    delete record->local;
    record->local = nullptr;

    internal::NativeSocket s = internal::createStreamSocket();
    if (s == internal::invalidSocket)
        return socketError(2);
    qvUtil::Error error;
    if (internal::setLinger(s, internal::lingerSeconds) != 0)
        error = socketError(2, "Could not set LINGER socket option: %s");
    if (!error) {
        internal::setNoDelay(s); // a speed-up only: the connection works without it
        if (internal::connectTo(s, internal::parseDotted(dotted.first.asChar()),
                                record->remote->getPort()) != 0) {
            int failure = internal::lastError();
            bool refused = internal::classify(failure) == internal::Failure::refusedOrUnreachable;
            error = socketError(refused ? 4 : 2, failure, "connect() failed: %s");
        }
    }
    if (error) {
        internal::closeSocket(s);
        return error;
    }
    record->socket = s;
    record->connected = true;
    return error;
}

// ---- ListeningSocket, ServerSocket

ListeningSocket::ListeningSocket() {}

ServerSocket::ServerSocket(std::uintptr_t acceptedHandle)
{
    record->socket = acceptedHandle;
    record->connected = true;
}

} // namespace qvTCP
