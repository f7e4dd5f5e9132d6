#include "qvOSFileStatus.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
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
    qvOS::Filesystem later(CString(temp.file("not-yet").c_str()));
    EXPECT_FALSE(later.stat());

    // The volume is asked about the directory that holds the name, with its separator.
    const std::string dir = qvTest::runningOnWindows() ? "C:\\qv-no-such-dir\\" : "/qv-no-such-dir/";
    qvOS::Filesystem missing(CString((dir + "file").c_str()));
    const qvUtil::Error gone = missing.stat();
    EXPECT_EQ(gone.num(), 1);
    EXPECT_EQ(std::string(gone.message()).rfind("Filesystem::stat(): GetDiskFreeSpaceEx(" + dir + ") failed: ", 0), 0u)
        << gone.message();
}

TEST(MemMapFile, ConstructorRejectsBadParametersPermissionsFirst)
{
    try {
        MemMapFile bad("x", 0, 2);
        FAIL();
    } catch (const qvUtil::Error& e) {
        EXPECT_EQ(e.num(), 1);
        EXPECT_STREQ(e.message(), "Bad parameters to MemMapFile(): permissions");
    }
    try {
        MemMapFile bad("x", 0, 0);
        FAIL();
    } catch (const qvUtil::Error& e) {
        EXPECT_STREQ(e.message(), "Bad parameters to MemMapFile(): size");
    }
}

TEST(MemMapFile, FailuresLeaveItUnmapped)
{
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
    result = tooLong.map();
    EXPECT_EQ(result.second.num(), 2);
    EXPECT_FALSE(tooLong.isMapped());
}

TEST(MemMapFile, ReadsAndWritesA64MegabyteFile)
{
    qvTest::TempDir temp;
    const std::string path = temp.file("big.bin");
    const unsigned int size = 64u << 20;
    const unsigned int words = size / 4;
    {
        std::vector<std::uint32_t> data(1 << 16);
        std::ofstream out(path, std::ios::binary);
        for (unsigned int base = 0; base < words; base += static_cast<unsigned int>(data.size())) {
            for (std::size_t i = 0; i < data.size(); ++i)
                data[i] = (base + static_cast<std::uint32_t>(i)) * 2654435761u;
            out.write(reinterpret_cast<const char*>(data.data()), data.size() * 4);
        }
    }
    {
        MemMapFile ro(path.c_str(), size, 0);
        EXPECT_FALSE(ro.isWritable());
        auto mapped = ro.map();
        ASSERT_FALSE(mapped.second) << mapped.second.message();
        ASSERT_TRUE(ro.isMapped());
        const auto* p = static_cast<const std::uint32_t*>(mapped.first);
        unsigned int wrong = 0;
        for (unsigned int i = 0; i < words; ++i)
            wrong += p[i] != i * 2654435761u;
        EXPECT_EQ(wrong, 0u);
        EXPECT_FALSE(ro.unmap());
        EXPECT_FALSE(ro.isMapped());
    }
    {
        MemMapFile rw(path.c_str(), size, 1);
        auto mapped = rw.map();
        ASSERT_FALSE(mapped.second) << mapped.second.message();
        auto* p = static_cast<std::uint32_t*>(mapped.first);
        for (unsigned int i = 0; i < words; i += 1024)
            p[i] = ~i;
        // The destructor unmaps and the changes reach the file.
    }
    std::ifstream in(path, std::ios::binary);
    std::vector<std::uint32_t> chunk(1024);
    unsigned int wrong = 0;
    for (unsigned int base = 0; base < words; base += 1024) {
        in.read(reinterpret_cast<char*>(chunk.data()), 4096);
        wrong += chunk[0] != ~base;
        wrong += chunk[1] != (base + 1) * 2654435761u;
    }
    EXPECT_EQ(wrong, 0u);
}
