#ifndef QVTCP_SERVER_H
#define QVTCP_SERVER_H

// Listens on a port and hands out accepted connections.
//
//     qvTCP::Server server(-1, 5);          // any free port
//     qvUtil::Error error = server.listen();
//     int port = server.getPort();
//     std::pair<qvTCP::Socket*, qvUtil::Error> next = server.accept(qvUtil::Interval(1.0));
//     std::unique_ptr<qvTCP::Socket> connection(next.first); // null when none came in time

#include "qvBaseExport.h"
#include "qvTCPSocket.h"
#include "qvUtilError.h"
#include "qvUtilInterval.h"

#include <utility>

namespace qvTCP {

class QV_BASE_API Server {
public:
    // port -1 lets the system choose a free port when listening.
    Server(int port, int backlog);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    // (Re)creates the listening socket. Error(3, ...) when the port is in use.
    qvUtil::Error listen();
    // The next connection, owned by the caller; listens first if needed. A non-zero time-out
    // bounds the wait: when it passes, the socket is null and the error is success.
    std::pair<Socket*, qvUtil::Error> accept(qvUtil::Interval timeout);
    // Whether a connection waits to be accepted.
    bool connectionPending() const;
    int getPort() const;
    // Stops listening.
    void shutdown();

private:
    struct Record;
    Record* record;
};

} // namespace qvTCP

#endif
