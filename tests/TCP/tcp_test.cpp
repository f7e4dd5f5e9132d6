#include "ioBufferTCP.h"
#include "ioBufferedStream.h"
#include "qvTCPAddress.h"
#include "qvTestScene.h"
#include "qvTCPServer.h"
#include "qvTCPSocket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#ifdef __linux__
#include <dirent.h>
#endif

namespace {

// A connected pair of sockets over loopback, made through the library's own server.
struct Connection {
    std::unique_ptr<qvTCP::Server> server;
    std::unique_ptr<qvTCP::ClientSocket> client;
    std::unique_ptr<qvTCP::Socket> accepted;
};

// Listens on a system-chosen port, connects a client and accepts it (the accept waits 5 s at most).
Connection connectPair()
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

std::string bytesOf(const qvString::CString& s)
{
    return std::string(s.asChar(), s.length());
}

qvString::CString cstringOf(const std::string& s)
{
    qvString::CString result(static_cast<unsigned int>(s.size()), '\0');
    for (size_t i = 0; i < s.size(); ++i)
        result[static_cast<unsigned int>(i)] = s[i];
    return result;
}

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

} // namespace

TEST(TCPSocket, StringsUpTo65535BytesRoundTripAndLongerOnesAreRefusedUnsent)
{
    Connection c = connectPair();
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
    Connection c = connectPair();
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
    Connection cut = connectPair();
    ASSERT_TRUE(cut.accepted);
    ASSERT_FALSE(cut.accepted->write("\0\12abc", 5, nullptr)); // 10 bytes announced, 3 sent
    cut.accepted->close(3);
    EXPECT_EQ(cut.client->read(kept).num(), 4);
    EXPECT_EQ(bytesOf(kept), "kept");
    c.client->setThrowMode(true);
    EXPECT_THROW(c.client->read(buffer.data(), 1, &done), qvUtil::Error);
    c.client->setThrowMode(false);

    // Writing to the vanished peer fails with an error instead of ending the process (64 MB
    // at most, to get past the socket buffers).
    std::vector<char> block(1 << 16, 'x');
    qvUtil::Error writeError;
    for (int i = 0; i < 1024 && !writeError; ++i)
        writeError = c.client->write(block.data(), static_cast<unsigned int>(block.size()), nullptr);
    EXPECT_EQ(writeError.num(), 1);
    EXPECT_TRUE(startsWith(writeError.message(), "send() failed: ")) << writeError.message();
}

TEST(TCPServer, AcceptTimesOutOrTakesAPendingClientAndThePortIsExclusiveUntilShutdown)
{
    qvTCP::Server server(-1, 5);
    // accept() listens first when needed, on a port the system chooses.
    auto start = std::chrono::steady_clock::now();
    std::pair<qvTCP::Socket*, qvUtil::Error> none = server.accept(qvUtil::Interval(0.3));
    double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(none.first, nullptr);
    EXPECT_EQ(none.second.num(), 0);
    EXPECT_GE(waited, 0.25);
    EXPECT_FALSE(server.connectionPending());
    const int port = server.getPort();
    EXPECT_GT(port, 0);

    qvTCP::Server second(port, 5);
    qvUtil::Error inUse = second.listen();
    EXPECT_EQ(inUse.num(), 3);
    EXPECT_TRUE(startsWith(inUse.message(), "bind() failed: ")) << inUse.message();

    qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", port));
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

    // A server restarted after serving a connection binds its port again at once.
    accepted->close(3);
    client.close(3);
    server.shutdown();
    EXPECT_FALSE(server.connectionPending());
    qvTCP::Server restarted(port, 5);
    EXPECT_FALSE(restarted.listen());
}

TEST(TCPSocket, HalfCloseBySideEndsInAFullClose)
{
    Connection c = connectPair();
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
    Connection c = connectPair();
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
std::string failure(const qvString::CString& text)
{
    try {
        Address address(text);
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

    for (const char* text : {":80", ""})
        EXPECT_EQ(failure(text), "2 qvTCP::Address: port number is missing") << text;

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

namespace {

// Writes the scene through a socket stream, then ends the sending side.
void sendScene(const qvTest::Scene& scene, qvTCP::Socket& socket, ioStatus& status)
{
    ioBufferedStreamOutput out;
    out.openSocket(&socket);
    status = qvTest::writeScene(scene, out, ioWriteAscii);
    out.close();
    socket.close(2);
}

} // namespace

TEST(TCPPacketStream, AWholePacketFileCrossesAConnection)
{
    qvTest::Scene scene = qvTest::makeScene({2000, 11, 12, 0});
    Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    ioStatus written = ioError;
    std::thread writer(sendScene, std::cref(scene), std::ref(*c.accepted), std::ref(written));
    ioBufferedStreamInput in;
    in.openSocket(c.client.get());
    qvTest::Scene copy;
    qvTest::SceneReadResult result = qvTest::readScene(copy, in);
    writer.join();
    EXPECT_EQ(written, ioOk);
    ASSERT_TRUE(result.opened);
    EXPECT_EQ(result.status, ioOk);
    EXPECT_EQ(qvTest::compareScenes(scene, copy), "");
    in.close();
    // The stream leaves the socket to its owner.
    EXPECT_TRUE(c.client->connected());
}

TEST(TCPPacketStream, SocketFailuresAndMissingSocketsAreStatusValues)
{
    // No socket: the stream opens, and the first transfer fails.
    ioBufferedStreamInput none;
    none.openSocket(nullptr);
    none.readChar();
    EXPECT_EQ(none.getStatus(), ioStreamIOError);

    Connection c = connectPair();
    ASSERT_TRUE(c.accepted);
    ASSERT_FALSE(c.accepted->write("abc", 3, nullptr));
    c.accepted->close(3);
    ioBufferedStreamInput in;
    in.openSocket(c.client.get());
    // The bytes before the close still arrive; the read after them fails.
    std::string got;
    for (int i = 0; i < 3; ++i)
        got += in.readChar();
    EXPECT_EQ(got, "abc");
    EXPECT_TRUE(in.good());
    in.readChar();
    EXPECT_EQ(in.getStatus(), ioStreamIOError);

    // The buffer itself: a read without error and without bytes is no end of file.
    ioBufferTCP buffer(true, c.client.get());
    char byte;
    EXPECT_EQ(buffer.read(&byte, 0), 0);
    EXPECT_TRUE(buffer.good());
    buffer.close();
    EXPECT_EQ(buffer.read(&byte, 1), 0);
    EXPECT_EQ(buffer.status(), ioBuffer::statusIOError);
}

namespace {

// 64 clients at once; under Wine every socket call is a round trip through its server process,
// so a few hundred strings each already take seconds.
constexpr int clientCount = 64;
constexpr int stringsPerClient = 100;
constexpr int largestString = 400;

// Open descriptors of this process (-1 where the system does not list them).
int openDescriptors()
{
#ifdef __linux__
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return -1;
    int count = 0;
    while (readdir(dir))
        ++count;
    closedir(dir);
    return count;
#else
    return -1;
#endif
}

// Echoes every string back until the client closes.
void echo(qvTCP::Socket* socket, std::atomic<long>& echoed)
{
    qvString::CString s;
    while (!socket->read(s)) {
        if (socket->write(s))
            break;
        echoed.fetch_add(1, std::memory_order_relaxed);
    }
    delete socket;
}

// Sends strings of random sizes and checks each echo; the number of good echoes.
int runClient(int port, unsigned seed, std::string& failure)
{
    qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", port));
    qvUtil::Error error = client.connect();
    if (error) {
        failure = error.message();
        return 0;
    }
    client.setTimeout(qvUtil::Interval(20.0)); // a silent server fails the test, not hangs it
    std::mt19937 random(seed);
    std::string sent;
    qvString::CString back;
    int good = 0;
    for (; good < stringsPerClient; ++good) {
        sent.resize(random() % (largestString + 1));
        for (char& c : sent)
            c = static_cast<char>(random());
        if ((error = client.write(cstringOf(sent))))
            break;
        if (client.wait(), !client.dataAvailable()) {
            failure = "no echo in time";
            return good;
        }
        if ((error = client.read(back)))
            break;
        if (bytesOf(back) != sent) {
            failure = "echo differs at string " + std::to_string(good);
            return good;
        }
    }
    if (error)
        failure = error.message();
    return good;
}

} // namespace

TEST(TCPLoad, A64ClientServerEchoesEveryByteAndLeaksNoDescriptor)
{
    int descriptorsBefore = openDescriptors();
    std::atomic<long> echoed(0);
    std::vector<std::thread> handlers;
    std::vector<std::thread> clients;
    std::vector<int> good(clientCount, 0);
    std::vector<std::string> failures(clientCount);
    {
        qvTCP::Server server(-1, clientCount);
        ASSERT_FALSE(server.listen());
        int port = server.getPort();
        for (int i = 0; i < clientCount; ++i)
            clients.emplace_back([&, i] { good[i] = runClient(port, 1000u + i, failures[i]); });
        for (int i = 0; i < clientCount; ++i) {
            std::pair<qvTCP::Socket*, qvUtil::Error> next = server.accept(qvUtil::Interval(10.0));
            if (!next.first) {
                ADD_FAILURE() << "accept " << i << ": " << next.second.message();
                break;
            }
            handlers.emplace_back(echo, next.first, std::ref(echoed));
        }
        for (std::thread& t : clients)
            t.join();
        for (std::thread& t : handlers)
            t.join();
    }
    for (int i = 0; i < clientCount; ++i)
        EXPECT_EQ(good[i], stringsPerClient) << "client " << i << ": " << failures[i];
    EXPECT_EQ(echoed.load(), long(clientCount) * stringsPerClient);
    EXPECT_EQ(openDescriptors(), descriptorsBefore);
}
