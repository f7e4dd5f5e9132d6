#include "qvTCPAddress.h"
#include "tcpTestHelpers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

using tcpTest::bytesOf;
using tcpTest::connectPair;
using tcpTest::cstringOf;

namespace {

std::string randomBytes(size_t length, unsigned seed)
{
    std::mt19937 random(seed);
    std::string bytes(length, '\0');
    for (char& c : bytes)
        c = static_cast<char>(random());
    return bytes;
}

bool startsWith(const char* text, const char* prefix)
{
    return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

// Writes to socket until it fails (at most 64 MB), the way a writer meets a vanished peer.
qvUtil::Error writeUntilFailure(qvTCP::Socket& socket)
{
    std::vector<char> block(1 << 16, 'x');
    qvUtil::Error error;
    for (int i = 0; i < 1024 && !error; ++i)
        error = socket.write(block.data(), static_cast<unsigned int>(block.size()), nullptr);
    return error;
}

} // namespace

TEST(TCPSocket, StringsUpTo65535BytesRoundTripAndLongerOnesAreRefusedUnsent)
{
    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    // On the wire: a big-endian length, then the bytes.
    ASSERT_FALSE(c.client->write(qvString::CString("abc")));
    char wire[5];
    unsigned int done = 0;
    ASSERT_FALSE(c.accepted->read(wire, 5, &done));
    ASSERT_EQ(std::string(wire, done), std::string("\0\3abc", 5));

    for (size_t length : {size_t(0), size_t(1), size_t(100), size_t(65535)}) {
        std::string bytes = randomBytes(length, static_cast<unsigned>(length));
        // A 64 KB string does not fit the socket buffers at once: the reader runs alongside.
        qvString::CString received("unchanged");
        qvUtil::Error readError;
        std::thread reader([&] { readError = c.accepted->read(received); });
        qvUtil::Error writeError = c.client->write(cstringOf(bytes));
        if (writeError)
            c.client->close(3); // the reader gets an error instead of waiting for ever
        reader.join();
        EXPECT_FALSE(writeError) << writeError.message();
        EXPECT_FALSE(readError) << readError.message();
        EXPECT_EQ(bytesOf(received), bytes) << length << " bytes";
    }

    // Refused before anything is sent: the next string is the first thing the peer sees.
    qvUtil::Error tooLong = c.client->write(qvString::CString(65536u, 'a'));
    EXPECT_EQ(tooLong.num(), 3);
    EXPECT_STREQ(tooLong.message(), "buffer passed to Socket::write() is too long");
    ASSERT_FALSE(c.client->write(qvString::CString("after")));
    qvString::CString next;
    ASSERT_FALSE(c.accepted->read(next));
    EXPECT_EQ(bytesOf(next), "after");
}

TEST(TCPSocket, PeerClosingMidBufferEndsTheReadWithCode4AndTheCountReceived)
{
    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    std::string sent = randomBytes(100, 5);
    ASSERT_FALSE(c.accepted->write(sent.data(), 100, nullptr));
    c.accepted->close(3);
    std::vector<char> buffer(1000);
    unsigned int done = 0;
    qvUtil::Error error = c.client->read(buffer.data(), 1000, &done);
    EXPECT_EQ(error.num(), 4);
    EXPECT_STREQ(error.message(), "connection closed");
    ASSERT_EQ(done, 100u);
    EXPECT_EQ(std::string(buffer.data(), 100), sent);

    // A string read that fails, before or inside the string, leaves the string alone; in throw
    // mode the failure is thrown.
    qvString::CString kept("kept");
    EXPECT_EQ(c.client->read(kept).num(), 4);
    tcpTest::Connection cut = connectPair();
    ASSERT_TRUE(cut.accepted);
    ASSERT_FALSE(cut.accepted->write("\0\12abc", 5, nullptr)); // 10 bytes announced, 3 sent
    cut.accepted->close(3);
    EXPECT_EQ(cut.client->read(kept).num(), 4);
    EXPECT_EQ(bytesOf(kept), "kept");
    c.client->setThrowMode(true);
    EXPECT_THROW(c.client->read(buffer.data(), 1, &done), qvUtil::Error);
    c.client->setThrowMode(false);

    // Writing to the vanished peer fails with an error instead of ending the process.
    qvUtil::Error writeError = writeUntilFailure(*c.client);
    EXPECT_EQ(writeError.num(), 1);
    EXPECT_TRUE(startsWith(writeError.message(), "send() failed: ")) << writeError.message();
}

TEST(TCPServer, AcceptTimesOutWithNoSocketAndSuccessThenSeesAPendingClient)
{
    qvTCP::Server server(-1, 5);
    // accept() listens first when needed.
    auto start = std::chrono::steady_clock::now();
    std::pair<qvTCP::Socket*, qvUtil::Error> none = server.accept(qvUtil::Interval(0.3));
    double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(none.first, nullptr);
    EXPECT_EQ(none.second.num(), 0);
    EXPECT_GE(waited, 0.25);
    EXPECT_FALSE(server.connectionPending());

    qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", server.getPort()));
    ASSERT_FALSE(client.connect());
    bool pending = false;
    for (int i = 0; i < 200 && !pending; ++i) {
        pending = server.connectionPending();
        if (!pending)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(pending);
    std::unique_ptr<qvTCP::Socket> accepted(server.accept(qvUtil::Interval(5.0)).first);
    ASSERT_TRUE(accepted);

    // Each side knows both ends.
    auto local = accepted->localAddress(), peer = accepted->remoteAddress(), clientLocal = client.localAddress();
    ASSERT_FALSE(local.second || peer.second || clientLocal.second);
    EXPECT_EQ(local.first->getPort(), server.getPort());
    EXPECT_TRUE(*peer.first == *clientLocal.first);

    server.shutdown();
    EXPECT_FALSE(server.connectionPending());
}

TEST(TCPServer, EphemeralPortIsReportedAndAPortInUseIsRefused)
{
    qvTCP::Server server(-1, 5);
    ASSERT_FALSE(server.listen());
    int port = server.getPort();
    EXPECT_GT(port, 0);

    qvTCP::Server second(port, 5);
    qvUtil::Error inUse = second.listen();
    EXPECT_EQ(inUse.num(), 3);
    EXPECT_TRUE(startsWith(inUse.message(), "bind() failed: ")) << inUse.message();

    // A server restarted after serving a connection binds its port again at once.
    {
        qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", port));
        ASSERT_FALSE(client.connect());
        std::unique_ptr<qvTCP::Socket> accepted(server.accept(qvUtil::Interval(5.0)).first);
        ASSERT_TRUE(accepted);
        accepted->close(3);
    }
    server.shutdown();
    qvTCP::Server restarted(port, 5);
    EXPECT_FALSE(restarted.listen());
}

TEST(TCPSocket, HalfCloseBySideEndsInAFullClose)
{
    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    // Shutting the sending side tells the peer the data has ended ...
    ASSERT_FALSE(c.client->write(qvString::CString("last words")));
    EXPECT_FALSE(c.client->close(2));
    qvString::CString words;
    ASSERT_FALSE(c.accepted->read(words));
    EXPECT_EQ(bytesOf(words), "last words");
    qvString::CString nothing;
    EXPECT_EQ(c.accepted->read(nothing).num(), 4);

    // ... while the other direction still works.
    ASSERT_FALSE(c.accepted->write(qvString::CString("reply")));
    qvString::CString reply;
    ASSERT_FALSE(c.client->read(reply));
    EXPECT_EQ(bytesOf(reply), "reply");

    // Shutting the other side as well closes the socket. The full close reports a shutdown()
    // that returned 0 (kept for existing callers), so its result is code 1.
    EXPECT_EQ(c.client->close(1).num(), 1);
    EXPECT_FALSE(c.client->connected());
    EXPECT_FALSE(c.client->close(3));

    // Shutting only the receiving side of a live socket reports the same way.
    qvUtil::Error receiving = c.accepted->close(1);
    EXPECT_EQ(receiving.num(), 1);
    EXPECT_TRUE(startsWith(receiving.message(), "shutdown(socket,0) failed: ")) << receiving.message();
    EXPECT_TRUE(c.accepted->connected());
}

TEST(TCPSocket, ConnectingToAClosedPortIsRefused)
{
    int port = 0;
    {
        qvTCP::Server server(-1, 1);
        ASSERT_FALSE(server.listen());
        port = server.getPort();
    }
    qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", port));
    qvUtil::Error error = client.connect();
    EXPECT_EQ(error.num(), 4);
    EXPECT_TRUE(startsWith(error.message(), "connect() failed: ")) << error.message();
    EXPECT_EQ(client.localAddress().second.num(), 2);
    // Waiting on a socket that has no handle fails at once instead of blocking.
    EXPECT_EQ(client.wait().num(), 1);
}

TEST(TCPSocket, WaitPollAndCStreamSeeTheBytes)
{
    tcpTest::Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    c.accepted->setTimeout(qvUtil::Interval(0.05));
    EXPECT_FALSE(c.accepted->wait()); // times out quietly
    EXPECT_FALSE(c.accepted->dataAvailable());
    ASSERT_FALSE(c.client->write(qvString::CString("x")));
    c.accepted->setTimeout(qvUtil::Interval(5.0));
    EXPECT_FALSE(c.accepted->wait());
    EXPECT_TRUE(c.accepted->dataAvailable());
    char text[13];
    ASSERT_FALSE(c.accepted->read(text, 3, nullptr));

    // A C stream over the socket, made once.
    std::pair<FILE*, qvUtil::Error> stream = c.client->getCStream();
    ASSERT_TRUE(stream.first) << stream.second.message();
    std::fputs("through stdio", stream.first);
    std::fflush(stream.first);
    ASSERT_FALSE(c.accepted->read(text, sizeof text, nullptr));
    EXPECT_EQ(std::string(text, sizeof text), "through stdio");

    FILE* again = nullptr;
    qvUtil::Error second = c.client->getCStream(again);
    EXPECT_EQ(second.num(), 2);
    EXPECT_STREQ(second.message(), "socket is not connected");
    EXPECT_EQ(again, stream.first);

    // Closing the socket closes the stream with it; the peer sees the end.
    c.client->close(3);
    EXPECT_EQ(c.accepted->read(text, 1, nullptr).num(), 4);
}

using qvTCP::Address;

namespace {

// "<code> <message>" of the failure that constructing an address throws; "" when none.
template <class... Args> std::string failure(Args... args)
{
    try {
        Address address(args...);
    } catch (const qvUtil::Error& error) {
        return std::to_string(error.num()) + " " + error.message();
    }
    return "";
}

} // namespace

TEST(TCPAddress, HostAndPortTextIsSplitAndTheHostFormIsRecognised)
{
    Address byName("localhost:8080");
    EXPECT_EQ(byName.getPort(), 8080);
    EXPECT_TRUE(byName.isNameCached());
    EXPECT_FALSE(byName.isNumbersAndDotsCached());
    Address byNumber("127.0.0.1:80");
    EXPECT_TRUE(byNumber.isNumbersAndDotsCached());
    EXPECT_FALSE(byNumber.isNameCached());

    // The port is the leading number after the first colon.
    EXPECT_EQ(Address("host:12ab").getPort(), 12);
    // All ones is no address for the parser, so it stands for a name.
    EXPECT_TRUE(Address("255.255.255.255:1").isNameCached());

    for (const char* text : {":80", "hostonly", ""})
        EXPECT_EQ(failure(qvString::CString(text)), "2 qvTCP::Address: port number is missing") << text;
    EXPECT_EQ(failure("", 80), "2 qvTCP::Address: empty address specified");

    // Equal addresses need the same port; names are compared as they stand unless both are
    // dotted numbers, without a look-up.
    EXPECT_FALSE(Address("a:1") == Address("a:2"));
    EXPECT_TRUE(Address("a:1") == Address("a", 1));
    EXPECT_FALSE(Address("10.0.0.1:5") == Address("10.0.0.2:5"));
    EXPECT_FALSE(Address("127.0.0.1:5") == Address("localhost:5"));
}

TEST(TCPAddress, LoopbackLookUpsFillAndCacheTheMissingForm)
{
    Address byName("localhost", 7);
    std::pair<qvString::CString, qvUtil::Error> dotted = byName.getNumbersAndDots();
    ASSERT_FALSE(dotted.second) << dotted.second.message();
    EXPECT_EQ(std::string(dotted.first.asChar()).rfind("127.", 0), 0u) << dotted.first.asChar();
    EXPECT_TRUE(byName.isNumbersAndDotsCached());
    // Both dotted now: they compare by number.
    EXPECT_TRUE(byName == Address(dotted.first, 7));

    Address byNumber("127.0.0.1", 7);
    std::pair<qvString::CString, qvUtil::Error> name = byNumber.getName();
    ASSERT_FALSE(name.second) << name.second.message();
    EXPECT_GT(name.first.length(), 0u);
    EXPECT_TRUE(byNumber.isNameCached());
}
