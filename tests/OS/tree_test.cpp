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
    // 4 directories x 4 sub-directories x 12 files of sizes around the copy block, an empty
    // directory in each, and files at the top (one of them empty).
    for (int d = 0; d < 4; ++d) {
        const fs::path top = src / ("dir" + std::to_string(d));
        for (int f = 0; f < 48; ++f) {
            const fs::path dir = top / ("sub" + std::to_string(f % 4));
            fs::create_directories(dir);
            std::string bytes(random() % 9000, '\0');
            for (char& c : bytes)
                c = static_cast<char>(random());
            qvTest::writeFileBytes((dir / ("f" + std::to_string(f) + ".bin")).string(), bytes);
        }
        fs::create_directories(top / "empty");
        qvTest::writeFileBytes((src / ("top" + std::to_string(d))).string(), std::string(4096u * d, 'q'));
    }
    const auto original = snapshot(src);
    ASSERT_EQ(original.size(), 4u * 49u);

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
}
