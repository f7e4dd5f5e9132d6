#include "qvOSFileOps.h"
#include "qvOSLocalFile.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>

namespace fs = std::filesystem;
using qvOS::File;
using qvString::CString;

namespace {

// Every regular file below root, by relative path, with its bytes.
std::map<std::string, std::string> snapshot(const fs::path& root)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), root).generic_string()] =
                qvTest::readFileBytes(entry.path().string());
    return files;
}

std::unique_ptr<File> fileFor(const fs::path& path)
{
    return std::unique_ptr<File>(
        qvOS::FileFactory::getFileFactory()->getFile(CString(path.string().c_str())));
}

} // namespace

TEST(FileTree, CopiedMovedAndDeletedByteForByte)
{
    qvTest::TempDir temp;
    const fs::path src = fs::path(temp.path()) / "src";
    std::mt19937 random(12345);
    unsigned int made = 0;
    // 4 top directories x 4 sub-directories x 20 files, plus empty directories and files at
    // every level: a few hundred entries of sizes around the copy block.
    for (int d = 0; d < 4; ++d) {
        for (int s = 0; s < 4; ++s) {
            const fs::path dir = src / ("dir" + std::to_string(d)) / ("sub" + std::to_string(s));
            fs::create_directories(dir);
            for (int f = 0; f < 20; ++f) {
                std::string bytes(random() % 9000, '\0');
                for (char& c : bytes)
                    c = static_cast<char>(random());
                qvTest::writeFileBytes((dir / ("f" + std::to_string(f) + ".bin")).string(), bytes);
                ++made;
            }
        }
        fs::create_directories(src / ("dir" + std::to_string(d)) / "empty");
        qvTest::writeFileBytes((src / ("top" + std::to_string(d) + ".txt")).string(),
                               std::string(4096 * static_cast<std::size_t>(d), 'q'));
        ++made;
    }
    const auto original = snapshot(src);
    ASSERT_EQ(original.size(), made);

    const fs::path copy = fs::path(temp.path()) / "copy";
    ASSERT_FALSE(fileFor(src)->copyTo(*fileFor(copy)));
    EXPECT_EQ(snapshot(copy), original);
    EXPECT_TRUE(fs::is_directory(copy / "dir3" / "empty"));
    EXPECT_EQ(snapshot(src), original);

    const fs::path moved = fs::path(temp.path()) / "moved";
    ASSERT_FALSE(fileFor(copy)->moveTo(*fileFor(moved)));
    EXPECT_FALSE(fs::exists(copy));
    EXPECT_EQ(snapshot(moved), original);

    ASSERT_FALSE(fileFor(moved)->deleteSelf(0));
    EXPECT_FALSE(fs::exists(moved));
    EXPECT_FALSE(DoesFileExist(moved.string().c_str()));
}
