// The error codes of the whole library, as one table: each message that the table of codes
// names, made by the call that produces it, carries the code the table gives.
#include "qvOSFile.h"
#include "qvOSFileStatus.h"
#include "qvOSProcess.h"
#include "qvTCPAddress.h"
#include "qvTCPServer.h"
#include "qvTCPSocket.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"
#include "qvThreadThread.h"
#include "qvUtilError.h"
#include "qvUtilInterval.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using qvString::CString;
using qvUtil::Error;

namespace {

// The error a call returns, or the one it throws.
Error caught(const std::function<Error()>& call)
{
    try {
        return call();
    } catch (const Error& thrown) {
        return thrown;
    }
}

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

void nothing(void*) {}

} // namespace

TEST(ErrorCodes, EveryListedMessageCarriesItsCode)
{
    qvOS::ProcessManager* processes = qvOS::ProcessManager::getInstance();
    qvTest::TempDir dir;
    // A file that may be run but is no program: the system cannot create the process.
    const std::string notAProgram = dir.file("not-a-program");
    qvTest::writeFileBytes(notAProgram, "plain text\n");
    std::filesystem::permissions(notAProgram, std::filesystem::perms::owner_all);
    // A name whose status cannot be asked: a link to itself (where links are plain to make).
    const std::string loop = dir.file("loop");
    std::error_code noLinks = std::make_error_code(std::errc::not_supported);
    if (!qvTest::runningOnWindows())
        std::filesystem::create_symlink(loop, loop, noLinks);
    CString found;
    int exitCode = 0;

    struct Row {
        int code;
        std::string message; // the message, or its start when it ends in ": "
        std::function<Error()> call;
    };
    std::vector<Row> table = {
        {1, "Bad time string", [] { return qvUtil::Interval("1:00"), Error(); }},
        {2, "no executable specified", [&] { return processes->findProgram(CString(""), found); }},
        {2, "cannot wait for a stopped thread", [] { return qvThread::Thread(&nothing, nullptr).wait(); }},
        {2, "qvTCP::Address: port number is missing",
         [] { return qvTCP::Address(CString("host")), Error(); }},
        {2, "qvTCP::Address: empty address specified",
         [] { return qvTCP::Address(CString(""), 80), Error(); }},
        {2, "No socket has been created",
         [] { return qvTCP::ClientSocket(qvTCP::Address("127.0.0.1", 1)).localAddress().second; }},
        {2, "socket is not connected",
         [] { return qvTCP::ClientSocket(qvTCP::Address("127.0.0.1", 1)).getCStream().second; }},
        {3, "/no/such/dir/prog: program not found.",
         [&] { return processes->findProgram(CString("/no/such/dir/prog"), found); }},
        {3, "PATH environment variable not set.",
         [&] {
             qvTest::ScopedEnvironment path("PATH", nullptr);
             return processes->findProgram(CString("prog"), found);
         }},
        {3, "qv-no-such-program: program not found.",
         [&] { return processes->findProgram(CString("qv-no-such-program"), found); }},
    };
    // qemu's user-mode emulation (the big-endian test run sets QVBASE_EMULATED) runs a spawned
    // child as a forked process, so a failed exec shows as exit status 127, not as an error.
    if (!std::getenv("QVBASE_EMULATED")) {
        table.push_back({1, "CreateProcess() failed: ",
                         [&] { return processes->runProcess({CString(notAProgram.c_str())}, exitCode); }});
    }
    if (!noLinks) {
        table.push_back({14, "An I/O problem has occurred", [&] {
                             std::unique_ptr<qvOS::File> looped(
                                 qvOS::FileFactory::getFileFactory()->getFile(CString(loop.c_str())));
                             qvOS::FileStatus status;
                             return looped->query(status);
                         }});
    }
    for (const Row& row : table) {
        const Error error = caught(row.call);
        const std::string text = error.message();
        EXPECT_EQ(error.num(), row.code) << text;
        if (row.message.size() > 2 && row.message.compare(row.message.size() - 2, 2, ": ") == 0)
            EXPECT_TRUE(startsWith(text, row.message)) << text;
        else
            EXPECT_EQ(text, row.message);
    }

    // "PATH environment variable is empty." where the runtime keeps an empty variable.
    {
        qvTest::ScopedEnvironment path("PATH", "");
        const Error empty = processes->findProgram(CString("prog"), found);
        EXPECT_EQ(empty.num(), 3) << empty.message();
        EXPECT_TRUE(startsWith(empty.message(), "PATH environment variable "));
    }

    // "Socket not connected": the peer of a connection that has closed on both sides. (When a
    // closed connection stops having a peer differs between systems; the code is portable.)
    if (qvTest::runningOnWindows())
        return;
    qvTCP::Server server(-1, 5);
    ASSERT_FALSE(server.listen());
    qvTCP::ClientSocket client(qvTCP::Address("127.0.0.1", server.getPort()));
    ASSERT_FALSE(client.connect());
    std::pair<qvTCP::Socket*, Error> next = server.accept(qvUtil::Interval(5.0));
    ASSERT_FALSE(next.second) << next.second.message();
    std::unique_ptr<qvTCP::Socket> accepted(next.first);
    client.close(3);
    char byte = 0;
    EXPECT_EQ(accepted->read(&byte, 1, nullptr).num(), 4); // the client's close has arrived
    accepted->close(2);
    // The peer's answer to this side's close ends the connection (asked once: a known address
    // is kept).
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    const Error gone = accepted->remoteAddress().second;
    EXPECT_EQ(gone.num(), 4) << gone.message();
    EXPECT_STREQ(gone.message(), "Socket not connected");
}
