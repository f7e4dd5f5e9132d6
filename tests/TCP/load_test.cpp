#include "tcpTestHelpers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#ifdef __linux__
#include <dirent.h>
#endif

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
        if ((error = client.write(tcpTest::cstringOf(sent))))
            break;
        if (client.wait(), !client.dataAvailable()) {
            failure = "no echo in time";
            return good;
        }
        if ((error = client.read(back)))
            break;
        if (tcpTest::bytesOf(back) != sent) {
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
