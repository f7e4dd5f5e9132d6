#include "internal/ioFileDescriptor.h"
#include "ioFilterTestHelpers.h"
#include "qvTestEnvironment.h"
#include "qvTestScene.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <csignal>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;
using io::internal::FdFault;

namespace {

std::set<std::string> entriesOf(const std::string& dir)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir))
        names.insert(entry.path().filename().string());
    return names;
}

// A whole save of scene as a program should make it; ioOk only when the stream closed good.
// writeBehind -1 keeps the stream's own choice; replacing: openFileReplacing, else openFile.
ioStatus saveScene(const qvTest::Scene& scene, const std::string& path, ioWriteMethod method,
                   const std::vector<ioTest::Filter>& filters, int writeBehind = -1,
                   bool replacing = true)
{
    ioBufferedStreamOutput out;
    if (writeBehind >= 0)
        out.setWriteBehind(writeBehind);
    if (replacing)
        out.openFileReplacing(path.c_str());
    else
        out.openFile(path.c_str());
    if (!out.good())
        return ioOpenFailed;
    ioStatus status = qvTest::writeScene(scene, out, method,
                                         [&] { ioTest::setFilters(out, filters, true); });
    ioTest::setFilters(out, filters, false);
    if (status != ioOk)
        return status; // not closed: the stream's end abandons the new file
    out.close();
    return out.good() ? ioOk : ioError;
}

// A whole load; ioOk only when the reader and the stream both ended good.
ioStatus loadScene(qvTest::Scene& scene, const std::string& path,
                   const std::vector<ioTest::Filter>& filters)
{
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    if (!in.good())
        return ioOpenFailed;
    const qvTest::SceneReadResult result =
        qvTest::readScene(scene, in, [&](ioReadContext&) { ioTest::setFilters(in, filters, true); });
    ioTest::setFilters(in, filters, false);
    in.close();
    return result.opened ? result.status : ioError;
}

} // namespace

TEST(ReplacingSave, TheOldFileStaysUntilACloseThatFoundEveryWriteDone)
{
    qvTest::TempDir dir;
    const std::string path = dir.file("scene.qv");
    qvTest::writeFileBytes(path, "old bytes");
    const auto mode = fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read;
    fs::permissions(path, mode);
    {
        ioBufferedStreamOutput out;
        out.openFileReplacing(path.c_str());
        out.writeString("new bytes");
        out.flush();
        EXPECT_EQ(qvTest::readFileBytes(path), "old bytes");
        // Destroyed without close(): the save is abandoned and its new file removed.
    }
    EXPECT_EQ(qvTest::readFileBytes(path), "old bytes");
    EXPECT_EQ(entriesOf(dir.path()), std::set<std::string>{"scene.qv"});

    ioBufferedStreamOutput out;
    out.openFileReplacing(path.c_str());
    out.writeString("new bytes");
    out.close();
    EXPECT_TRUE(out.good());
    EXPECT_EQ(qvTest::readFileBytes(path), "new bytes");
    EXPECT_EQ(entriesOf(dir.path()), std::set<std::string>{"scene.qv"});
    if (!qvTest::runningOnWindows()) {
        EXPECT_EQ(fs::status(path).permissions(), mode);
    }

    // A read-only file gets the new bytes and stays read-only (on Windows, the attribute).
    const auto readOnly = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read;
    fs::permissions(path, readOnly);
    out.openFileReplacing(path.c_str());
    out.writeString("read-only");
    out.close();
    EXPECT_TRUE(out.good());
    EXPECT_EQ(qvTest::readFileBytes(path), "read-only");
    EXPECT_EQ(fs::status(path).permissions() & fs::perms::all, readOnly);
    fs::permissions(path, mode);

    fs::create_directory(dir.file("sub"));
    out.openFileReplacing(dir.file("sub").c_str());
    EXPECT_EQ(out.getStatus(), ioStreamOpenFailed);
    EXPECT_TRUE(fs::is_directory(dir.file("sub")));

    if (qvTest::runningOnWindows())
        return; // links need privileges there
    // A link keeps its place; the file it points to gets the new bytes.
    fs::create_symlink("scene.qv", dir.file("link.qv"));
    out.openFileReplacing(dir.file("link.qv").c_str());
    out.writeString("through the link");
    out.close();
    EXPECT_TRUE(fs::is_symlink(dir.file("link.qv")));
    EXPECT_EQ(qvTest::readFileBytes(path), "through the link");
}

// Every call of the descriptor layer during a whole save and a whole load, for every write
// method and filter, fails in turn each way. Failures end in a status, with the previous file
// intact after a failed save and never a wrong scene read back as good; interruptions and short
// counts are retried to success.
// Write-behind changes how many system writes a save makes, never its bytes, and a failure of
// the writes it holds back is reported by the flush or close that makes them.
TEST(WriteBehind, SavesTheSameBytesInFewerWritesAndReportsAFullDiskWhenItWrites)
{
    const qvTest::Scene scene = qvTest::makeScene({300, 7, 5, 0});
    using F = ioTest::Filter;
    qvTest::TempDir dir;
    for (int m = 0; m < 4; ++m) {
        for (const std::vector<F>& filters : {std::vector<F>{}, {F::checksum, F::compress, F::encrypt}}) {
            const auto method = static_cast<ioWriteMethod>(m);
            SCOPED_TRACE("method " + std::to_string(m) + ", filters " + std::to_string(filters.size()));
            ASSERT_EQ(saveScene(scene, dir.file("plain"), method, filters, 0, false), ioOk);
            const std::string bytes = qvTest::readFileBytes(dir.file("plain"));
            // Area sizes below, at and across the 4096-byte areas handed down, and the default
            // of a replacing save.
            for (int size : {-1, 1, 4095, 4096, 4097, 3 * 4096 + 100, 1 << 20}) {
                ASSERT_EQ(saveScene(scene, dir.file("behind"), method, filters, size, size < 0), ioOk);
                EXPECT_TRUE(qvTest::readFileBytes(dir.file("behind")) == bytes) << "size " << size;
            }
        }
    }

    // Fewer system calls: one write per 64 KiB instead of one per 4096 bytes.
    const std::string bytes = ioTest::randomData(300000, 3);
    long calls[2];
    for (int behind : {0, 1}) {
        ioBufferedStreamOutput out;
        out.setWriteBehind(behind ? 1 << 16 : 0);
        out.openFile(dir.file("calls").c_str());
        io::internal::injectFdFault(0, FdFault::ioError);
        for (size_t at = 0; at < bytes.size(); at += 1000)
            out.writeData(bytes.data() + at, static_cast<int>(std::min<size_t>(1000, bytes.size() - at)));
        out.flush();
        calls[behind] = io::internal::fdCallCount();
        out.close();
        EXPECT_TRUE(out.good());
        EXPECT_TRUE(qvTest::readFileBytes(dir.file("calls")) == bytes);
    }
    EXPECT_EQ(calls[0], 74); // 73 full areas and the rest
    EXPECT_EQ(calls[1], 5);  // 4 full write-behind areas and the rest

    // The write that fails is made by flush() or close(), and they say so.
    for (bool byClose : {false, true}) {
        ioBufferedStreamOutput out;
        out.setWriteBehind(1 << 16);
        out.openFile(dir.file("full").c_str());
        out.writeData(bytes.data(), 10000);
        EXPECT_TRUE(out.good()); // held back so far
        io::internal::injectFdFault(1, FdFault::noSpace);
        if (!byClose)
            out.flush();
        out.close();
        io::internal::injectFdFault(0, FdFault::noSpace);
        EXPECT_EQ(out.getStatus(), ioStreamNoSpace) << (byClose ? "close" : "flush");
    }
    if (std::ifstream("/dev/full")) {
        ioBufferedStreamOutput full;
        full.setWriteBehind(1 << 16);
        full.openFile("/dev/full");
        full.writeString("some bytes");
        EXPECT_TRUE(full.good());
        full.close();
        EXPECT_EQ(full.getStatus(), ioStreamNoSpace);
    }
}

TEST(FaultInjection, EveryFailingCallOfASaveOrALoadEndsInAnHonestStatus)
{
    // Big enough for several writes of the descriptor layer, small enough to be quick.
    const qvTest::Scene previous = qvTest::makeScene({40, 5, 3, 0});
    const qvTest::Scene scene = qvTest::makeScene({120, 6, 4, 0});
    const char* methodNames[] = {"ascii", "binary", "ascii-debug", "binary-debug"};
    using F = ioTest::Filter;
    const std::vector<std::vector<F>> filterSets = {
        {}, {F::compress}, {F::checksum}, {F::encrypt}, {F::checksum, F::compress, F::encrypt}};
    const char* filterNames[] = {"none", "compress", "checksum", "encrypt", "all three"};
    qvTest::TempDir dir;
    const std::string path = dir.file("scene.qv");
    for (int m = 0; m < 4; ++m) {
        for (size_t f = 0; f < filterSets.size(); ++f) {
            // Each area written through (many small writes), and the save's own write-behind.
            for (int behind : {0, -1}) {
                SCOPED_TRACE(std::string(methodNames[m]) + ", " + filterNames[f] +
                             (behind ? ", write-behind" : ""));
                const auto method = static_cast<ioWriteMethod>(m);
                const std::vector<F>& filters = filterSets[f];
                ASSERT_EQ(saveScene(previous, dir.file("old.qv"), method, filters, behind), ioOk);
                const std::string oldBytes = qvTest::readFileBytes(dir.file("old.qv"));
                fs::remove(dir.file("old.qv"));
                // The calls that a clean save and a clean load make.
                io::internal::injectFdFault(0, FdFault::ioError);
                ASSERT_EQ(saveScene(scene, path, method, filters, behind), ioOk);
                const long saveCalls = io::internal::fdCallCount();
                const std::string newBytes = qvTest::readFileBytes(path);
                qvTest::Scene clean;
                io::internal::injectFdFault(0, FdFault::ioError);
                ASSERT_EQ(loadScene(clean, path, filters), ioOk);
                const long loadCalls = io::internal::fdCallCount();
                int failed[2] = {0, 0};
                for (FdFault fault : {FdFault::ioError, FdFault::noSpace, FdFault::interrupted, FdFault::shortCount}) {
                    const bool retried = fault == FdFault::interrupted || fault == FdFault::shortCount;
                    for (long call = 1; call <= saveCalls + loadCalls; ++call) {
                        const bool saving = call <= saveCalls;
                        qvTest::writeFileBytes(path, saving ? oldBytes : newBytes);
                        qvTest::Scene copy;
                        io::internal::injectFdFault(saving ? call : call - saveCalls, fault);
                        const ioStatus status = saving ? saveScene(scene, path, method, filters, behind)
                                                       : loadScene(copy, path, filters);
                        io::internal::injectFdFault(0, fault);
                        failed[saving ? 0 : 1] += status != ioOk;
                        EXPECT_TRUE(status == ioOk || !retried) << "call " << call << " not retried";
                        if (saving) {
                            EXPECT_TRUE(qvTest::readFileBytes(path) == (status == ioOk ? newBytes : oldBytes))
                                << "call " << call;
                            ASSERT_EQ(entriesOf(dir.path()).size(), 1u) << "call " << call; // no leftovers
                        } else if (status == ioOk) {
                            EXPECT_EQ(qvTest::compareScenes(scene, copy), "") << "call " << call;
                        }
                    }
                }
                std::cout << "[ faults   ] " << methodNames[m] << ", " << filterNames[f]
                          << (behind ? ", write-behind" : "") << ": save "
                          << saveCalls << " calls x 4 ways, " << failed[0] << " failed; load "
                          << loadCalls << " calls x 4 ways, " << failed[1] << " failed\n";
            }
        }
    }
}

#if !defined(_WIN32)
// A child saves two scenes in turn, over and over, and is killed at a random moment: the file
// always reads back as one of them, whole.
TEST(ReplacingSave, AKilledSaveLeavesTheOldOrTheNewSceneWhole)
{
    const qvTest::Scene scenes[2] = {qvTest::makeScene({300, 8, 6, 0}),
                                     qvTest::makeScene({320, 9, 6, 0})};
    qvTest::TempDir dir;
    const std::string path = dir.file("scene.qv");
    ASSERT_EQ(saveScene(scenes[0], path, ioWriteBinary, {}), ioOk);
    // Kills land anywhere in the child's first few saves, renames included.
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(saveScene(scenes[1], dir.file("timing.qv"), ioWriteAscii, {}), ioOk);
    const long saveMicros = static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(
                                                  std::chrono::steady_clock::now() - start).count());
    std::mt19937 random(77);
    int sawEach[2] = {0, 0};
    for (int round = 0; round < 12; ++round) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            for (int i = 0;; ++i)
                saveScene(scenes[i % 2], path, i % 3 ? ioWriteBinary : ioWriteAscii, {});
        }
        ::usleep(static_cast<useconds_t>(random() % (4 * saveMicros + 1)));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        qvTest::Scene copy;
        ASSERT_EQ(loadScene(copy, path, {}), ioOk) << "round " << round;
        const bool first = qvTest::compareScenes(scenes[0], copy).empty();
        EXPECT_TRUE(first || qvTest::compareScenes(scenes[1], copy).empty()) << "round " << round;
        ++sawEach[first ? 0 : 1];
    }
    std::cout << "[ killed   ] 12 saves killed: old scene " << sawEach[0] << ", new scene "
              << sawEach[1] << "\n";
}

// A save by a process that may give files away (root, saving a user's file) leaves the file
// its owner's, as writing it in place would.
TEST(ReplacingSave, TheNewFileKeepsTheOwnerOfTheOld)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only a privileged process can give a file to another owner";
    qvTest::TempDir dir;
    const std::string path = dir.file("owned.qv");
    ASSERT_EQ(saveScene(qvTest::makeScene({20, 2, 2, 0}), path, ioWriteBinary, {}), ioOk);
    ASSERT_EQ(::chown(path.c_str(), 4321, 8765), 0);
    ASSERT_EQ(saveScene(qvTest::makeScene({30, 2, 2, 0}), path, ioWriteAscii, {}), ioOk);
    struct stat info;
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, 4321u);
    EXPECT_EQ(info.st_gid, 8765u);
}
#endif
