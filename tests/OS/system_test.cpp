#include "qvOSByteOrder.h"
#include "qvOSFileStatus.h"
#include "qvOSStopWatch.h"
#include "qvOSSysInfo.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

using qvOS::MemMapFile;
using qvString::CString;

TEST(Filesystem, ReportsTheVolumeOfAPath)
{
    qvTest::TempDir temp;
    qvTest::writeFileBytes(temp.file("f"), "x");
    qvOS::Filesystem fs(CString(temp.file("f").c_str()));
    const qvUtil::Error err = fs.stat();
    ASSERT_FALSE(err) << err.message();
    EXPECT_EQ(fs.blockSize(), 1024u);
    EXPECT_GT(fs.size(), 0u);
    EXPECT_LE(fs.avail(), fs.size());
    // A name that does not exist yet still has a volume: its directory's.
    EXPECT_FALSE(qvOS::Filesystem(CString(temp.file("not-yet").c_str())).stat());

    // The volume is asked about the directory that holds the name, with its separator.
    const std::string dir = qvTest::runningOnWindows() ? "C:\\qv-no-such-dir\\" : "/qv-no-such-dir/";
    qvOS::Filesystem missing(CString((dir + "file").c_str()));
    const qvUtil::Error gone = missing.stat();
    EXPECT_EQ(gone.num(), 1);
    EXPECT_EQ(std::string(gone.message()).rfind("Filesystem::stat(): GetDiskFreeSpaceEx(" + dir + ") failed: ", 0), 0u)
        << gone.message();
}

namespace {

std::string constructionFailure(unsigned int size, int permissions)
{
    try {
        MemMapFile bad("x", size, permissions);
    } catch (const qvUtil::Error& e) {
        return std::to_string(e.num()) + " " + e.message();
    }
    return "";
}

} // namespace

TEST(MemMapFile, BadParametersAndFailuresLeaveItUnmapped)
{
    EXPECT_EQ(constructionFailure(0, 2), "1 Bad parameters to MemMapFile(): permissions");
    EXPECT_EQ(constructionFailure(0, 0), "1 Bad parameters to MemMapFile(): size");

    qvTest::TempDir temp;
    const std::string missing = temp.file("missing");
    MemMapFile ro(missing.c_str(), 16, 0);
    auto result = ro.map();
    EXPECT_EQ(result.first, nullptr);
    EXPECT_EQ(result.second.num(), 3);
    EXPECT_EQ(std::string(result.second.message()).rfind("Cannot read file: " + missing + ": ", 0), 0u);
    EXPECT_FALSE(ro.isMapped());
    EXPECT_EQ(ro.unmap().num(), 4);

    MemMapFile rw(missing.c_str(), 16, 1);
    result = rw.map();
    EXPECT_EQ(std::string(result.second.message()).rfind("Cannot read/write file " + missing + ": ", 0), 0u);

    // A view longer than the file is refused.
    qvTest::writeFileBytes(temp.file("short"), "abc");
    MemMapFile tooLong(temp.file("short").c_str(), 1 << 20, 0);
    EXPECT_EQ(tooLong.map().second.num(), 2);
    EXPECT_FALSE(tooLong.isMapped());
}

TEST(MemMapFile, ReadsAndWritesAFileThroughItsViews)
{
    qvTest::TempDir temp;
    const std::string path = temp.file("big.bin");
    const unsigned int words = (1u << 20) / 4;
    std::vector<std::uint32_t> data(words);
    for (unsigned int i = 0; i < words; ++i)
        data[i] = i * 2654435761u;
    qvTest::writeFileBytes(path, std::string(reinterpret_cast<const char*>(data.data()), words * 4));
    {
        MemMapFile ro(path.c_str(), words * 4, 0);
        auto mapped = ro.map();
        ASSERT_FALSE(mapped.second) << mapped.second.message();
        EXPECT_EQ(std::memcmp(mapped.first, data.data(), words * 4), 0);
        EXPECT_FALSE(ro.unmap());
    }
    {
        MemMapFile rw(path.c_str(), words * 4, 1);
        auto mapped = rw.map();
        ASSERT_FALSE(mapped.second) << mapped.second.message();
        auto* p = static_cast<std::uint32_t*>(mapped.first);
        for (unsigned int i = 0; i < words; i += 1024)
            p[i] = data[i] = ~i;
        // The destructor unmaps and the changes reach the file.
    }
    EXPECT_TRUE(qvTest::readFileBytes(path) == std::string(reinterpret_cast<const char*>(data.data()), words * 4));
}

TEST(ByteOrder, SwapReversesSingleValuesAndArrays)
{
    EXPECT_EQ(qvOS::swap(0x11223344), 0x44332211);
    EXPECT_EQ(qvOS::swap(static_cast<short>(0x1122)), static_cast<short>(0x2211));
    const double d = 1234.5678, swapped = qvOS::swap(d);
    unsigned char a[8], b[8];
    std::memcpy(a, &d, 8);
    std::memcpy(b, &swapped, 8);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(a[i], b[7 - i]);

    int values[3] = {1, 2, 0x01020304};
    qvOS::swap(values, 3);
    EXPECT_EQ(values[1], 0x02000000);
    EXPECT_EQ(values[2], 0x04030201);
    // The build's byte order is the one the memory really has.
    const int one = 1;
    unsigned char first;
    std::memcpy(&first, &one, 1);
    EXPECT_EQ(qvOS::hostIsLittleEndian, first == 1);
    EXPECT_EQ(qvOS::getBytesex(), first == 1 ? 0 : 1);
}

TEST(SysInfo, ReportsThisMachine)
{
    qvOS::SysInfo& info = qvOS::sysInfo();
    EXPECT_EQ(info.pageSize() % 4096u, 0u);
    EXPECT_GE(info.numCPUs(), 1u);
    EXPECT_GT(info.totalPhysicalMemory(), 16u * 1024u); // more than 16 MiB, in KiB
    EXPECT_LE(info.availPhysicalMemory(), info.totalPhysicalMemory());
    EXPECT_LE(info.availVirtualMemory(), info.totalVirtualMemory());
    const char* host = info.hostname();
    ASSERT_NE(host, nullptr);
    EXPECT_GT(std::strlen(host), 0u);
    EXPECT_LE(std::strlen(host), 15u);
}

TEST(StopWatch, AccumulatesOnlyWhileRunning)
{
    qvOS::StopWatch watch;
    EXPECT_EQ(watch.check(), 0.0);
    EXPECT_EQ(watch.start(), 0.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double first = watch.stop();
    EXPECT_GE(first, 0.015);
    EXPECT_LT(first, 5.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(watch.check(), first); // stopped: unchanged
    EXPECT_EQ(watch.start(), first);
    watch.clear();
    EXPECT_EQ(watch.check(), 0.0);
}
