#ifndef QVTCP_SOCKET_H
#define QVTCP_SOCKET_H

// Connected TCP stream sockets: blocking, complete reads and writes, length-prefixed strings,
// a poll and a timed wait, an optional C stream, and half-close by side. ClientSocket connects to
// an Address; a Server (qvTCPServer.h) hands out accepted connections as ServerSocket objects.
//
//     qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", port));
//     qvUtil::Error error = client.connect();
//     if (!error)
//         error = client.write(qvString::CString("hello"));
//
// A socket belongs to one thread at a time.

#include "qvBaseExport.h"
#include "qvStringCString.h"
#include "qvTCPAddress.h"
#include "qvUtilError.h"
#include "qvUtilInterval.h"

#include <cstdint>
#include <cstdio>
#include <utility>

namespace qvTCP {

class Server;

class QV_BASE_API Socket {
public:
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    // Closes both sides.
    virtual ~Socket();

    bool connected() const;
    // Whether a read would find data (or the peer's close) without waiting.
    bool dataAvailable() const;
    // The socket's own and its peer's address, kept by the socket.
    std::pair<const Address*, qvUtil::Error> localAddress();
    std::pair<const Address*, qvUtil::Error> remoteAddress();

    // Moves exactly size bytes, blocking until all have gone or the connection fails.
    // Error(4, "connection closed") when the peer closed first; done receives the count moved.
    // In throw mode a failure is also thrown.
    qvUtil::Error read(void* buffer, unsigned int size, unsigned int* done);
    qvUtil::Error write(const void* buffer, unsigned int size, unsigned int* done);

    // Strings travel as a 16-bit big-endian length and the bytes. Strings over 65535 bytes are
    // refused with Error(3, ...) before anything is sent; a failed read leaves the string as it was.
    qvUtil::Error read(qvString::CString& string);
    qvUtil::Error write(const qvString::CString& string);

    // Waits until data arrives, at most the socket's time-out (no limit when it is zero). A
    // time-out is not an error.
    qvUtil::Error wait();

    // A C stream over the socket, made on the first call and closed with the socket. Later
    // calls return it with Error(2, "socket is not connected").
    std::pair<FILE*, qvUtil::Error> getCStream();
    qvUtil::Error getCStream(FILE*& stream);

    // sides: 1 receiving, 2 sending, 3 both. Once both sides are shut the socket is closed.
    qvUtil::Error close(int sides);

    bool getThrowMode() const;
    void setThrowMode(bool on);
    qvUtil::Interval getTimeout() const;
    void setTimeout(const qvUtil::Interval& timeout);

protected:
    Socket();

    struct Record;
    Record* record;

private:
    friend class Server;
    qvUtil::Error finish(const qvUtil::Error& error) const;
};

class QV_BASE_API ClientSocket : public Socket {
public:
    explicit ClientSocket(const Address& address);

    // Connects to the address. Error(4, ...) for a refused or unreachable peer, Error(2, ...)
    // when the socket cannot be set up or the connection fails otherwise; look-up errors of the
    // address are returned as they are.
    qvUtil::Error connect();
};

// The socket a Server listens on.
class QV_BASE_API ListeningSocket : public Socket {
public:
    ListeningSocket();

private:
    friend class Server;
};

// One accepted connection, handed out by Server::accept.
class QV_BASE_API ServerSocket : public Socket {
private:
    friend class Server;
    explicit ServerSocket(std::uintptr_t acceptedHandle);
};

} // namespace qvTCP

#endif
