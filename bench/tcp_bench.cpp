// Socket throughput and latency over loopback against plain blocking BSD socket calls.
#include "qvTCPServer.h"
#include "qvTCPSocket.h"

#include "benchPin.h"

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

// Bytes moved per bulk iteration (override with QV_TCP_BENCH_MB on a slow machine).
long long bulkBytes()
{
    const char* mb = std::getenv("QV_TCP_BENCH_MB");
    long long megabytes = mb ? std::atoll(mb) : 1024;
    return (megabytes > 0 ? megabytes : 1) * 1024 * 1024;
}

constexpr unsigned int chunk = 64 * 1024;
constexpr unsigned int roundTripSize = 100;

// ---- the library's sockets

struct QvPair {
    qvTCP::Server server{-1, 1};
    std::unique_ptr<qvTCP::ClientSocket> client;
    std::unique_ptr<qvTCP::Socket> accepted;

    QvPair()
    {
        if (server.listen())
            throw std::runtime_error("listen");
        client.reset(new qvTCP::ClientSocket(qvTCP::Address("127.0.0.1", server.getPort())));
        if (client->connect())
            throw std::runtime_error("connect");
        accepted.reset(server.accept(qvUtil::Interval(5.0)).first);
        if (!accepted)
            throw std::runtime_error("accept");
    }
};

// ---- plain sockets

void sendAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = send(fd, data, size, MSG_NOSIGNAL);
        if (n <= 0)
            throw std::runtime_error("send");
        data += n;
        size -= static_cast<size_t>(n);
    }
}

bool recvAll(int fd, char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = recv(fd, data, size, 0);
        if (n <= 0)
            return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

struct PlainPair {
    int client = -1;
    int accepted = -1;

    PlainPair()
    {
        int listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 1) != 0
            || getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            throw std::runtime_error("listen");
        client = socket(AF_INET, SOCK_STREAM, 0);
        if (connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("connect");
        accepted = accept(listener, nullptr, nullptr);
        close(listener);
        int on = 1;
        setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~PlainPair()
    {
        close(client);
        close(accepted);
    }
};

// ---- bulk: one iteration moves bulkBytes() from one thread to another in 64 KB calls

void bulkQv(benchmark::State& state)
{
    qvBench::PinToOneCpu pin; // the partner thread inherits the one CPU
    QvPair pair;
    long long total = bulkBytes();
    std::vector<char> out(chunk, 'q'), in(chunk);
    for (auto _ : state) {
        std::thread sender([&] {
            for (long long sent = 0; sent < total; sent += chunk)
                pair.accepted->write(out.data(), chunk, nullptr);
        });
        for (long long received = 0; received < total; received += chunk)
            if (pair.client->read(in.data(), chunk, nullptr))
                state.SkipWithError("read failed");
        sender.join();
    }
    state.SetBytesProcessed(state.iterations() * total);
}

void bulkAnchor(benchmark::State& state)
{
    qvBench::PinToOneCpu pin; // the partner thread inherits the one CPU
    PlainPair pair;
    long long total = bulkBytes();
    std::vector<char> out(chunk, 'q'), in(chunk);
    for (auto _ : state) {
        std::thread sender([&] {
            for (long long sent = 0; sent < total; sent += chunk)
                sendAll(pair.accepted, out.data(), chunk);
        });
        for (long long received = 0; received < total; received += chunk)
            if (!recvAll(pair.client, in.data(), chunk))
                state.SkipWithError("recv failed");
        sender.join();
    }
    state.SetBytesProcessed(state.iterations() * total);
}

// ---- round trips: a 100-byte string out, the same string echoed back

void roundTripQv(benchmark::State& state)
{
    qvBench::PinToOneCpu pin; // the partner thread inherits the one CPU
    QvPair pair;
    std::thread echo([&] {
        qvString::CString s;
        while (!pair.accepted->read(s) && !pair.accepted->write(s)) {
        }
    });
    qvString::CString message(roundTripSize, 'r'), back;
    for (auto _ : state) {
        pair.client->write(message);
        if (pair.client->read(back))
            state.SkipWithError("read failed");
    }
    pair.client->close(3);
    echo.join();
}

void roundTripAnchor(benchmark::State& state)
{
    qvBench::PinToOneCpu pin; // the partner thread inherits the one CPU
    PlainPair pair;
    std::thread echo([&] {
        char buffer[2 + 65535];
        for (;;) {
            if (!recvAll(pair.accepted, buffer, 2))
                return;
            size_t length = (static_cast<unsigned char>(buffer[0]) << 8) | static_cast<unsigned char>(buffer[1]);
            if (!recvAll(pair.accepted, buffer + 2, length))
                return;
            sendAll(pair.accepted, buffer, 2 + length);
        }
    });
    char message[2 + roundTripSize];
    message[0] = 0;
    message[1] = static_cast<char>(roundTripSize);
    std::memset(message + 2, 'r', roundTripSize);
    char back[2 + roundTripSize];
    for (auto _ : state) {
        sendAll(pair.client, message, sizeof message);
        if (!recvAll(pair.client, back, 2) || !recvAll(pair.client, back + 2, roundTripSize))
            state.SkipWithError("recv failed");
    }
    shutdown(pair.client, SHUT_RDWR);
    echo.join();
}

} // namespace

// The ratios compare wall-clock medians; each bulk iteration moves 1 GB (one or two iterations
// per repetition, as the receiving thread's time decides).
BENCHMARK(bulkQv)->Name("bulk_1GB_64KB/qv")->Unit(benchmark::kMillisecond);
BENCHMARK(bulkAnchor)->Name("bulk_1GB_64KB/anchor")->Unit(benchmark::kMillisecond);
BENCHMARK(roundTripQv)->Name("round_trip_100B/qv");
BENCHMARK(roundTripAnchor)->Name("round_trip_100B/anchor");

BENCHMARK_MAIN();
