#ifndef TCPTESTHELPERS_H
#define TCPTESTHELPERS_H

// A connected pair of sockets over loopback, made through the library's own server.

#include "qvTCPServer.h"
#include "qvTCPSocket.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace tcpTest {

struct Connection {
    std::unique_ptr<qvTCP::Server> server;
    std::unique_ptr<qvTCP::ClientSocket> client;
    std::unique_ptr<qvTCP::Socket> accepted;
};

// Listens on a system-chosen port, connects a client and accepts it (the accept waits 5 s at most).
inline Connection connectPair()
{
    Connection c;
    c.server.reset(new qvTCP::Server(-1, 5));
    qvUtil::Error error = c.server->listen();
    EXPECT_FALSE(error) << error.message();
    c.client.reset(new qvTCP::ClientSocket(qvTCP::Address("127.0.0.1", c.server->getPort())));
    error = c.client->connect();
    EXPECT_FALSE(error) << error.message();
    std::pair<qvTCP::Socket*, qvUtil::Error> next = c.server->accept(qvUtil::Interval(5.0));
    EXPECT_FALSE(next.second) << next.second.message();
    c.accepted.reset(next.first);
    return c;
}

inline std::string bytesOf(const qvString::CString& s)
{
    return std::string(s.asChar(), s.length());
}

inline qvString::CString cstringOf(const std::string& s)
{
    qvString::CString result(static_cast<unsigned int>(s.size()), '\0');
    for (size_t i = 0; i < s.size(); ++i)
        result[static_cast<unsigned int>(i)] = s[i];
    return result;
}

} // namespace tcpTest

#endif
