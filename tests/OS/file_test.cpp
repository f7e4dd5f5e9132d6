#include "qvOSFileOps.h"
#include "qvOSLocalFile.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

using qvOS::File;
using qvOS::FileFactory;
using qvOS::FileStatus;
using qvString::CString;
using qvUtil::Error;

namespace {

std::unique_ptr<File> fileFor(const std::string& name)
{
    return std::unique_ptr<File>(FileFactory::getFileFactory()->getFile(CString(name.c_str())));
}

bool startsWith(const char* text, const std::string& prefix)
{
    return std::string(text).compare(0, prefix.size(), prefix) == 0;
}

// Serves "mem:" names with files that implement nothing.
class MemTransport : public qvOS::FileTransport {
public:
    File* getFile(const CString& name) override
    {
        return name.find("mem:") == 0 ? new File(name) : nullptr;
    }
};

} // namespace

TEST(FileFactory, LocalNamesWorkFromTheStartAndTheTableHoldsTen)
{
    EXPECT_EQ(fileFor("x")->transportId(), 0x66696C65L);
    EXPECT_EQ(std::string(fileFor("file:/C:/x")->getFullName().asChar()), "C:/x");
    EXPECT_EQ(std::string(fileFor("file:///tmp/y")->getFullName().asChar()), "tmp/y");
    qvOS::LocalFileTransport* local = qvOS::LocalFileTransport::getFileTransport();
    EXPECT_EQ(local, qvOS::FileTransport::thisTransport);
    EXPECT_EQ(local->getFile(CString("mem:x")), nullptr);

    FileFactory* factory = FileFactory::getFileFactory();
    static MemTransport mem;
    while (factory->transportCount() < FileFactory::maxTransports)
        ASSERT_FALSE(factory->registerTransport(&mem));
    const Error full = factory->registerTransport(&mem);
    EXPECT_EQ(full.num(), -1);
    EXPECT_STREQ(full.message(), "Too Many transports in use.");

    // The base class answers "Not Implemented" to everything.
    std::unique_ptr<File> base = fileFor("mem:thing");
    ASSERT_TRUE(base);
    EXPECT_STREQ(base->open(File::ModeRead).message(), "Not Implemented");
    char buffer[4];
    unsigned int done = 7;
    EXPECT_EQ(base->read(buffer, 4, done).num(), 1);
    EXPECT_EQ(done, 0u);
    FileStatus status;
    EXPECT_EQ(File::query(CString("nobody:x"), status).num(), 1);
    std::vector<qvOS::ResourceInfo> entries;
    EXPECT_EQ(base->readDir(entries, false).num(), 10);
}

TEST(LocalFile, ReadWriteAndEndOfFile)
{
    qvTest::TempDir temp;
    // Joined with the platform's separator, which the name accessors split at.
    const std::string path =
        temp.path() + (qvTest::runningOnWindows() ? "\\" : "/") + "data.bin";
    std::unique_ptr<File> f = fileFor(path);
    char buffer[16];
    unsigned int done = 0;
    EXPECT_EQ(f->read(buffer, 4, done).num(), 4); // not open
    const Error missing = f->open(File::ModeRead);
    EXPECT_EQ(missing.num(), 2);
    EXPECT_STREQ(missing.message(), "File Exists");
    EXPECT_FALSE(f->isOpen());

    ASSERT_FALSE(f->open(File::ModeWrite));
    EXPECT_FALSE(f->open(File::ModeRead)); // already open: nothing happens
    EXPECT_EQ(f->makeDirectory().num(), 9);
    EXPECT_EQ(f->deleteSelf(0).num(), 9);
    EXPECT_FALSE(f->write("hello\0\r\n", 8, done));
    EXPECT_EQ(done, 8u);
    EXPECT_FALSE(f->close());
    EXPECT_EQ(qvTest::readFileBytes(path), std::string("hello\0\r\n", 8));

    ASSERT_FALSE(f->open(File::ModeRead));
    EXPECT_FALSE(f->read(buffer, 3, done));
    EXPECT_EQ(done, 3u);
    const Error end = f->read(buffer, 16, done);
    EXPECT_EQ(end.num(), 3);
    EXPECT_STREQ(end.message(), "End Of File");
    EXPECT_EQ(done, 5u);
    EXPECT_EQ(std::string(buffer, 5), std::string("lo\0\r\n", 5));
    f->close();

    ASSERT_FALSE(f->open(File::ModeAppend));
    EXPECT_FALSE(f->write("++", 2, done));
    f->close();
    EXPECT_EQ(qvTest::readFileBytes(path).size(), 10u);

    FileStatus status;
    ASSERT_FALSE(f->query(status));
    EXPECT_TRUE(status.isFile() && status.isWritable() && !status.isDirectory());
    EXPECT_EQ(status.getSize(), 10u);
    EXPECT_GT(status.getLastModifiedDate(), 1500000000L);
    EXPECT_TRUE(DoesFileExist(path.c_str()) && isFileWriteable(path.c_str()));

    EXPECT_EQ(f->getNameTitle() + f->getNameBase(), CString(path.c_str()));
    EXPECT_EQ(std::string(f->getNameBase().asChar()), "data.bin");
    EXPECT_EQ(std::string(fileFor("C:\\d\\n.txt")->getNameTitle().asChar()), "C:\\d\\");
}

TEST(LocalFile, DirectoriesListDeleteAndRefuse)
{
    qvTest::TempDir temp;
    const std::string dirPath = temp.file("d");
    std::unique_ptr<File> dir = fileFor(dirPath);
    EXPECT_FALSE(dir->isDirectory());
    ASSERT_FALSE(dir->makeDirectory());
    EXPECT_EQ(dir->makeDirectory().num(), 4); // exists already
    std::unique_ptr<File> again = fileFor(dirPath + "/");
    EXPECT_TRUE(again->isDirectory());
    qvTest::writeFileBytes(dirPath + "/b.txt", "12345");
    ASSERT_FALSE(fileFor(dirPath + "/a")->makeDirectory());

    std::vector<qvOS::ResourceInfo> entries(3);
    ASSERT_FALSE(dir->readDir(entries, true));
    ASSERT_EQ(entries.size(), 2u);
    std::sort(entries.begin(), entries.end(), [](const auto& x, const auto& y) {
        return x.getName() < y.getName();
    });
    EXPECT_EQ(std::string(entries[0].getName().asChar()), "a");
    EXPECT_TRUE(entries[0].isDirectory());
    EXPECT_EQ(entries[1].getType(), 0);
    EXPECT_EQ(entries[1].getSize(), 5);
    ASSERT_FALSE(dir->readDir(entries, false));
    EXPECT_EQ(entries[0].getSize(), -1);
    EXPECT_EQ(fileFor(dirPath + "/b.txt")->readDir(entries, true).num(), 10);
    EXPECT_TRUE(entries.empty());

    // A directory where a file was expected.
    EXPECT_EQ(dir->open(File::ModeWrite).num(), 2);
    std::unique_ptr<File> b = fileFor(dirPath + "/b.txt");
    std::unique_ptr<File> ontoDir = fileFor(dirPath + "/a");
    EXPECT_EQ(b->copyTo(*ontoDir).num(), 2);
    EXPECT_TRUE(ontoDir->isDirectory());
    EXPECT_EQ(qvOS::fileCopy((dirPath + "/b.txt").c_str(), (dirPath + "/a").c_str(), true).num(), 1);

    const Error notEmpty = dir->deleteSelf(File::DeleteNonRecursive);
    EXPECT_EQ(notEmpty.num(), 13);
    EXPECT_STREQ(notEmpty.message(), "The directory is not empty");
    EXPECT_EQ(fileFor(temp.file("gone"))->deleteSelf(0).num(), 4);
    EXPECT_FALSE(fileFor(dirPath + "/a")->deleteSelf(File::DeleteNonRecursive));
    EXPECT_FALSE(dir->deleteSelf(0)); // recursive
    EXPECT_FALSE(DoesFileExist(dirPath.c_str()));

    // A name too long for the system is simply not there.
    std::unique_ptr<File> deep = fileFor(temp.path() + "/" + std::string(300, 'n'));
    FileStatus status;
    EXPECT_FALSE(deep->query(status));
    EXPECT_FALSE(status.exists());
    if (!qvTest::runningOnWindows()) {
        // A directory whose listing path passes the classic limit.
        std::string longDir = temp.path();
        for (int i = 0; i < 3; ++i) {
            longDir += "/" + std::string(100, static_cast<char>('a' + i));
            ASSERT_TRUE(qvOS::Filename(CString(longDir.c_str())).makeDir());
        }
        const Error tooLong = fileFor(longDir)->readDir(entries, false);
        EXPECT_EQ(tooLong.num(), 12);
        EXPECT_STREQ(tooLong.message(), "The path is too long");
    }
}

TEST(LocalFile, CopyAndMoveReportEveryFailure)
{
    qvTest::TempDir temp;
    std::string content(10000, 'x');
    for (std::size_t i = 0; i < content.size(); ++i)
        content[i] = static_cast<char>(i * 7);
    qvTest::writeFileBytes(temp.file("src"), content);
    std::unique_ptr<File> src = fileFor(temp.file("src"));
    std::unique_ptr<File> same = fileFor(temp.file("src"));
    EXPECT_FALSE(src->copyTo(*same));
    EXPECT_FALSE(src->moveTo(*same));
    EXPECT_EQ(qvTest::readFileBytes(temp.file("src")), content);

    std::unique_ptr<File> dst = fileFor(temp.file("dst"));
    ASSERT_FALSE(src->copyTo(*dst));
    EXPECT_EQ(qvTest::readFileBytes(temp.file("dst")), content);

    ASSERT_FALSE(src->open(File::ModeRead));
    EXPECT_EQ(src->copyTo(*dst).num(), 9);
    src->close();

    std::unique_ptr<File> none = fileFor(temp.file("none"));
    EXPECT_EQ(none->moveTo(*dst).num(), 2);
    EXPECT_EQ(none->copyTo(*dst).num(), 2); // the source cannot be opened
    EXPECT_EQ(qvTest::readFileBytes(temp.file("dst")), content); // and dst is untouched
    std::unique_ptr<File> noDir = fileFor(temp.file("no/dir/x"));
    EXPECT_TRUE(src->copyTo(*noDir));

    std::unique_ptr<File> moved = fileFor(temp.file("moved"));
    ASSERT_FALSE(dst->moveTo(*moved));
    EXPECT_FALSE(DoesFileExist(temp.file("dst").c_str()));
    EXPECT_EQ(qvTest::readFileBytes(temp.file("moved")), content);

    if (!qvTest::runningOnWindows()) {
        // A full disk: the copy fails and says so.
        std::unique_ptr<File> full = fileFor("/dev/full");
        const Error err = src->copyTo(*full);
        EXPECT_EQ(err.num(), 4);
        EXPECT_STREQ(err.message(), "An I/O problem has occurred");
        // A small write sits in the stream's buffer: the close finds the disk full.
        unsigned int done = 0;
        ASSERT_FALSE(full->open(File::ModeWrite));
        EXPECT_FALSE(full->write("abc", 3, done));
        EXPECT_EQ(full->close().num(), 4);
        EXPECT_EQ(qvOS::fileCopy(temp.file("src").c_str(), "/dev/full", true).num(), 1);
    }
}

TEST(FileOps, CopyMoveRenameDeleteWithTheirOwnCodes)
{
    qvTest::TempDir temp;
    const std::string a = temp.file("a.txt"), b = temp.file("b.txt");
    qvTest::writeFileBytes(a, "alpha");

    const Error noSource = qvOS::fileCopy(temp.file("none").c_str(), b.c_str(), false);
    EXPECT_EQ(noSource.num(), 2);
    EXPECT_TRUE(startsWith(noSource.message(), "Error copying "));
    EXPECT_FALSE(DoesFileExist(b.c_str()));

    ASSERT_FALSE(qvOS::fileCopy(a.c_str(), b.c_str(), false));
    EXPECT_EQ(qvTest::readFileBytes(b), "alpha");
    qvTest::writeFileBytes(a, "beta");
    EXPECT_EQ(qvOS::fileCopy(a.c_str(), b.c_str(), false).num(), 3);
    EXPECT_EQ(qvTest::readFileBytes(b), "alpha");
    EXPECT_FALSE(qvOS::fileCopy(a.c_str(), b.c_str(), true));
    EXPECT_EQ(qvTest::readFileBytes(b), "beta");

    const std::string c = temp.file("c.txt");
    ASSERT_FALSE(qvOS::fileMove(b.c_str(), c.c_str(), false));
    EXPECT_FALSE(DoesFileExist(b.c_str()));
    EXPECT_EQ(qvTest::readFileBytes(c), "beta");

    // Same directory: the runtime's rename, which never replaces a file.
    ASSERT_FALSE(qvOS::fileRename(c.c_str(), b.c_str()));
    EXPECT_EQ(qvTest::readFileBytes(b), "beta");
    const Error exists = qvOS::fileRename(a.c_str(), b.c_str());
    EXPECT_EQ(exists.num(), 6);
    EXPECT_STREQ(exists.message(), "Unkown system error.");
    EXPECT_EQ(qvTest::readFileBytes(a), "beta");
    // Another directory: a move.
    qvOS::Filename sub(CString(temp.file("sub").c_str()));
    ASSERT_TRUE(sub.makeDir());
    ASSERT_FALSE(qvOS::fileRename(b.c_str(), temp.file("sub/moved.txt").c_str()));
    EXPECT_EQ(qvTest::readFileBytes(temp.file("sub/moved.txt")), "beta");

    EXPECT_FALSE(qvOS::fileDelete(a.c_str()));
    const Error gone = qvOS::fileDelete(a.c_str());
    EXPECT_EQ(gone.num(), 1);
    EXPECT_GT(std::strlen(gone.message()), 0u);
}

TEST(FileOps, CallableFromC)
{
    qvTest::TempDir temp;
    const std::string a = temp.file("head.bin");
    qvTest::writeFileBytes(a, "0123456789");
    char buffer[16] = {};
    EXPECT_EQ(ReadHeaderFromFile(a.c_str(), buffer, 4), 4);
    EXPECT_EQ(std::string(buffer, 4), "0123");
    EXPECT_EQ(ReadHeaderFromFile(a.c_str(), buffer, 11), -1); // short: end of file
    EXPECT_EQ(ReadHeaderFromFile(a.c_str(), nullptr, 4), -1);
    EXPECT_EQ(ReadHeaderFromFile(temp.file("none").c_str(), buffer, 4), -1);

    EXPECT_TRUE(CopyFileTo(a.c_str(), temp.file("copy.bin").c_str()));
    EXPECT_EQ(qvTest::readFileBytes(temp.file("copy.bin")), "0123456789");
    EXPECT_FALSE(CopyFileTo(temp.file("none").c_str(), temp.file("x").c_str()));

    {
        qvTest::ScopedEnvironment env("TEMP", temp.path().c_str());
        char* first = CreateTemporaryFileName("dat");
        char* second = CreateTemporaryFileName(nullptr);
        ASSERT_TRUE(first && second);
        const std::string one(first), two(second);
        std::free(first);
        std::free(second);
        EXPECT_NE(one, two);
        // Some runtimes keep only the first three characters of the prefix.
        EXPECT_NE(one.find("QV_"), std::string::npos);
        EXPECT_EQ(one.substr(one.size() - 4), ".dat");
        // The name lies in TEMP (the runtime may spell the directory differently on Windows).
        if (!qvTest::runningOnWindows()) {
            EXPECT_EQ(one.compare(0, temp.path().size(), temp.path()), 0);
        }
        EXPECT_FALSE(DoesFileExist(two.c_str()));
    }
    if (!qvTest::runningOnWindows()) {
        qvTest::ScopedEnvironment noTemp("TEMP", nullptr);
        qvTest::ScopedEnvironment tmpdir("TMPDIR", temp.path().c_str());
        char* name = CreateTemporaryFileName(nullptr);
        ASSERT_TRUE(name);
        EXPECT_EQ(std::string(name).compare(0, temp.path().size(), temp.path()), 0); // TMPDIR next
        std::free(name);
    }
}

namespace fs = std::filesystem;

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
    return fileFor(path.string());
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
