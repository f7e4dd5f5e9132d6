#include "internal/qvOSPlatform.h"
#include "qvOSFileOps.h"
#include "qvOSLocalFile.h"
#include "qvTestEnvironment.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
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
    // A scheme that no transport serves: a local name on POSIX (where ':' is a name character),
    // nobody's on Windows.
    FileStatus status;
    const Error unclaimed = File::query(CString("nobody:x"), status);
    EXPECT_EQ(unclaimed.num(), qvTest::runningOnWindows() ? 1 : 0);
    EXPECT_FALSE(status.exists());
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

TEST(FileTree, LinksAreEntriesThatTreesNeverWalkInto)
{
    if (qvTest::runningOnWindows())
        GTEST_SKIP() << "links need privileges there";
    qvTest::TempDir temp;
    const fs::path root(temp.path());
    const fs::path outside = root / "outside";
    fs::create_directories(outside / "deep");
    qvTest::writeFileBytes((outside / "keep").string(), "kept");
    qvTest::writeFileBytes((outside / "deep" / "keep2").string(), "kept too");
    const auto outsideIntact = [&] {
        return qvTest::readFileBytes((outside / "keep").string()) == "kept"
            && qvTest::readFileBytes((outside / "deep" / "keep2").string()) == "kept too";
    };

    const fs::path tree = root / "t";
    fs::create_directories(tree / "sub");
    qvTest::writeFileBytes((tree / "sub" / "own").string(), "own");
    fs::create_directory_symlink(outside, tree / "sub" / "dirLink");
    fs::create_symlink(outside / "keep", tree / "fileLink");
    fs::create_symlink(root / "nowhere", tree / "dangling");
    std::vector<qvOS::ResourceInfo> entries;
    ASSERT_FALSE(fileFor(tree / "sub")->readDir(entries, true));
    for (const qvOS::ResourceInfo& entry : entries)
        EXPECT_EQ(entry.getType(), 0) << entry.getName().asChar(); // the link is no directory

    // A copy holds the links themselves, pointing where the originals point.
    const fs::path copy = root / "copy";
    ASSERT_FALSE(fileFor(tree)->copyTo(*fileFor(copy)));
    EXPECT_TRUE(fs::is_symlink(copy / "sub" / "dirLink"));
    EXPECT_EQ(fs::read_symlink(copy / "sub" / "dirLink"), outside);
    EXPECT_EQ(fs::read_symlink(copy / "dangling"), root / "nowhere");
    EXPECT_EQ(qvTest::readFileBytes((copy / "sub" / "own").string()), "own");

    const fs::path moved = root / "moved";
    ASSERT_FALSE(fileFor(copy)->moveTo(*fileFor(moved)));
    EXPECT_FALSE(fs::exists(copy));
    EXPECT_TRUE(fs::is_symlink(moved / "fileLink"));
    EXPECT_TRUE(outsideIntact());

    ASSERT_FALSE(fileFor(moved)->deleteSelf(0));
    ASSERT_FALSE(fileFor(tree)->deleteSelf(0));
    EXPECT_FALSE(fs::exists(tree) || fs::exists(moved));
    EXPECT_TRUE(outsideIntact());

    // A link named as the tree itself goes, not what it reaches.
    fs::create_directory_symlink(outside, root / "top");
    ASSERT_FALSE(fileFor(root / "top")->deleteSelf(0));
    EXPECT_FALSE(fs::is_symlink(root / "top"));
    EXPECT_TRUE(outsideIntact());
}

TEST(FileSafety, TheSameFileOrTheTreesOwnInsideIsRefused)
{
    qvTest::TempDir temp;
    const fs::path root(temp.path());
    const std::string a = (root / "a").string();
    const std::string content(20000, 'a');
    qvTest::writeFileBytes(a, content);
    std::vector<std::string> spellings = {(root / "." / "a").string()};
    if (!qvTest::runningOnWindows()) {
        fs::create_symlink(root / "a", root / "link");
        spellings.push_back((root / "link").string());
    }
    for (const std::string& other : spellings) {
        EXPECT_EQ(fileFor(a)->copyTo(*fileFor(other)).num(), 2) << other;
        EXPECT_EQ(fileFor(a)->moveTo(*fileFor(other)).num(), 2) << other;
        EXPECT_EQ(fileFor(other)->moveTo(*fileFor(a)).num(), 2) << other;
        EXPECT_EQ(qvOS::fileCopy(a.c_str(), other.c_str(), true).num(), 3) << other;
        EXPECT_EQ(qvOS::fileMove(other.c_str(), a.c_str(), true).num(), 3) << other;
        EXPECT_EQ(qvTest::readFileBytes(a), content) << other;
    }
    EXPECT_EQ(qvOS::fileCopy(a.c_str(), a.c_str(), true).num(), 3);
    EXPECT_EQ(qvOS::fileMove(a.c_str(), a.c_str(), true).num(), 3);
    EXPECT_EQ(qvTest::readFileBytes(a), content);

    // A tree copied or moved into itself: refused before anything is made.
    const fs::path tree = root / "t";
    fs::create_directories(tree / "sub");
    qvTest::writeFileBytes((tree / "sub" / "f").string(), "f");
    const auto before = snapshot(tree);
    for (const fs::path& inside : {tree / "sub" / "copy", tree / "sub" / ".." / "new" / "x"}) {
        EXPECT_EQ(fileFor(tree)->copyTo(*fileFor(inside)).num(), 2) << inside;
        EXPECT_EQ(fileFor(tree)->moveTo(*fileFor(inside)).num(), 2) << inside;
        EXPECT_EQ(snapshot(tree), before);
        EXPECT_FALSE(fs::exists(tree / "sub" / "copy") || fs::exists(tree / "new"));
    }
    // Beside the tree is fine, including a name that merely starts like it.
    ASSERT_FALSE(fileFor(tree)->copyTo(*fileFor(root / "t2")));
    EXPECT_EQ(snapshot(root / "t2"), before);
}

// Every system call of a copy over an existing file, and of a move, fails in turn each way. A
// failed copy leaves the old destination whole and no stray file, and a failed move keeps its
// source; interruptions and short counts are retried to a whole copy.
TEST(FileSafety, ACopyThatFailsLeavesTheOldDestinationWhole)
{
    using qvOS::internal::FileFault;
    qvTest::TempDir temp;
    const fs::path root(temp.path());
    const std::string from = (root / "from").string();
    const std::string to = (root / "to").string();
    std::string bytes(200000, '\0'); // several reads and writes
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i * 7);
    const std::string old = "the old destination";
    const auto entries = [&] {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(root))
            names.insert(entry.path().filename().string());
        return names;
    };
    std::map<int, long> runs; // per fault kind
    long opRuns[4] = {}; // per operation: each must reach the counted calls
    for (FileFault fault : {FileFault::ioError, FileFault::noSpace, FileFault::interrupted,
                            FileFault::shortCount}) {
        const bool fails = fault == FileFault::ioError || fault == FileFault::noSpace;
        // Copies and moves by name, and through the File objects.
        for (int op = 0; op < 4; ++op) {
            const bool moving = op % 2 == 1;
            const bool byName = op < 2;
            for (long call = 1;; ++call) {
                qvTest::writeFileBytes(from, bytes);
                qvTest::writeFileBytes(to, old);
                std::unique_ptr<File> source = fileFor(from);
                std::unique_ptr<File> dest = fileFor(to);
                qvOS::internal::injectFileFault(call, fault);
                const Error err = byName ? (moving ? qvOS::fileMove(from.c_str(), to.c_str(), true)
                                                   : qvOS::fileCopy(from.c_str(), to.c_str(), true))
                                         : (moving ? source->moveTo(*dest) : source->copyTo(*dest));
                const long made = qvOS::internal::fileCallCount();
                qvOS::internal::injectFileFault(0, fault);
                if (call > made)
                    break; // the whole operation ran without reaching the fault
                ++runs[static_cast<int>(fault)];
                ++opRuns[op];
                // Through File, a destination that cannot be made is code 2, a fault after it 4.
                const bool expectedCode = !fails ? err.num() == 0
                    : byName ? err.num() == 1
                             : err.num() == File::ErrIO_problem || err.num() == File::ErrExists;
                EXPECT_TRUE(expectedCode) << err.num() << " at call " << call << " of operation " << op;
                EXPECT_EQ(qvTest::readFileBytes(to), fails ? old : bytes) << call << " " << op;
                const bool sourceKept = fails || !moving;
                EXPECT_EQ(sourceKept && qvTest::readFileBytes(from) == bytes, sourceKept) << call;
                const std::set<std::string> expected =
                    sourceKept ? std::set<std::string>{"from", "to"} : std::set<std::string>{"to"};
                EXPECT_EQ(entries(), expected) << call;
            }
        }
    }
    for (const auto& kind : runs)
        EXPECT_GT(kind.second, 1) << "fault kind " << kind.first;
    for (int op = 0; op < 4; ++op)
        EXPECT_GT(opRuns[op], 4) << "operation " << op;
    std::cout << "[          ] injected copy and move faults: " << runs[0] << " I/O errors, "
              << runs[1] << " full disks, " << runs[2] << " interruptions, " << runs[3]
              << " short counts\n";

    if (qvTest::runningOnWindows())
        return; // links need privileges there
    // A destination that is a link stays one; the file it points to gets the copy.
    qvTest::writeFileBytes(from, bytes);
    qvTest::writeFileBytes(to, old);
    fs::create_symlink("to", root / "link");
    ASSERT_FALSE(qvOS::fileCopy(from.c_str(), (root / "link").string().c_str(), true));
    EXPECT_TRUE(fs::is_symlink(root / "link"));
    EXPECT_EQ(qvTest::readFileBytes(to), bytes);
}

TEST(FileNames, ColonNamesAndCanonicalNamesReachTheirFiles)
{
    qvTest::TempDir temp;
    const fs::path root(temp.path());
    // The library's canonical spelling reaches the file that LocalFile made, and back.
    const std::string plain = (root / "plain.txt").string();
    qvTest::writeFileBytes(plain, "p");
    const std::string canonical = qvOS::Filename(CString(plain.c_str())).name().asChar();
    EXPECT_TRUE(DoesFileExist(canonical.c_str())) << canonical;
    std::unique_ptr<File> made = fileFor(canonical + "2");
    ASSERT_FALSE(made->open(File::ModeWrite));
    made->close();
    EXPECT_TRUE(fs::exists(plain + "2"));
    EXPECT_FALSE(qvOS::fileDelete((canonical + "2").c_str()));
    EXPECT_FALSE(fs::exists(plain + "2"));

    if (qvTest::runningOnWindows())
        return; // ':' is no name character there
    const fs::path tree = root / "t";
    fs::create_directories(tree / "b:c");
    qvTest::writeFileBytes((tree / "a:b").string(), "colon");
    qvTest::writeFileBytes((tree / "b:c" / "file:x").string(), "colon2");
    EXPECT_TRUE(DoesFileExist((tree / "a:b").string().c_str()));
    const auto before = snapshot(tree);
    ASSERT_FALSE(fileFor(tree)->copyTo(*fileFor(root / "copy")));
    EXPECT_EQ(snapshot(root / "copy"), before);
    ASSERT_FALSE(fileFor(root / "copy")->deleteSelf(0));
    EXPECT_FALSE(fs::exists(root / "copy"));
}
