#include "qvOSFilename.h"
#include "qvOSURL.h"
#include "qvTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using qvOS::Filename;
using qvString::CString;

namespace {

struct SplitCase {
    const char* input;
    const char* name;
    const char* prefix;
    const char* dirname;
    const char* basename;
    const char* trunk;
    const char* suffix;
    bool absolute;
};

std::string str(const CString& s)
{
    return s.asChar();
}

} // namespace

TEST(Filename, CanonicalFormAndSplitFollowTheWin32TextRules)
{
    const SplitCase cases[] = {
        {"C:/dir//sub/", "C:\\dir\\sub", "C:", "C:\\dir", "sub", "sub", "", true},
        {"C:\\", "C:\\", "C:", "C:", "\\", "\\", "", true},
        {"C:", "C:", "C:", "C:", "", "", "", false},
        {"C:foo.txt", "C:foo.txt", "C:", "C:", "foo.txt", "foo", "txt", false},
        {"\\\\server\\share\\dir\\file.txt", "\\\\server\\share\\dir\\file.txt",
         "\\\\server\\share", "\\\\server\\share\\dir", "file.txt", "file", "txt", true},
        {"\\\\server\\share\\file.txt", "\\\\server\\share\\file.txt", "\\\\server\\share",
         "\\\\server\\share", "file.txt", "file", "txt", true},
        {"\\\\server\\share", "\\\\server\\share", "\\\\server\\share", "\\\\server\\share", "",
         "", "", true},
        {"\\\\server\\\\\\share\\\\", "\\\\server\\share", "\\\\server\\share",
         "\\\\server\\share", "", "", "", true},
        {"//server/", "\\\\server\\", "\\\\server\\", "\\\\server\\", "", "", "", true},
        {"\\file", "\\file", "", "\\", "file", "file", "", false},
        {"/", "\\", "", "", "\\", "\\", "", false},
        {"\\\\", "\\", "", "", "\\", "\\", "", false},
        {"file", "file", "", "", "file", "file", "", false},
        {"a/b/c.tar.gz", "a\\b\\c.tar.gz", "", "a\\b", "c.tar.gz", "c.tar", "gz", false},
        {".cshrc", ".cshrc", "", "", ".cshrc", "", "cshrc", false},
        {".", ".", "", "", ".", "", "", false},
        {"..", "..", "", "", "..", ".", "", false},
        {"dir/name.", "dir\\name.", "", "dir", "name.", "name", "", false},
        {"", "", "", "", "", "", "", false},
    };
    for (const SplitCase& c : cases) {
        SCOPED_TRACE(c.input);
        Filename f{CString(c.input)};
        EXPECT_EQ(str(f.name()), c.name);
        EXPECT_EQ(str(f.prefix()), c.prefix);
        EXPECT_EQ(str(f.dirname()), c.dirname);
        EXPECT_EQ(str(f.basename()), c.basename);
        EXPECT_EQ(str(f.baseTrunk()), c.trunk);
        EXPECT_EQ(str(f.baseSuffix()), c.suffix);
        EXPECT_EQ(f.isAbsolute(), c.absolute);
        const std::vector<CString> parts = f.components();
        ASSERT_EQ(parts.size(), 5u);
        EXPECT_EQ(str(parts[1]), c.dirname);
        EXPECT_EQ(str(parts[4]), c.suffix);
    }
}

TEST(Filename, TwoStringJoinKeepsSlashesAndGluesBareDrives)
{
    EXPECT_EQ(str(Filename(CString("a/b"), CString("c")).name()), "a/b\\c");
    EXPECT_EQ(str(Filename(CString("dir\\"), CString("")).name()), "dir");
    EXPECT_EQ(str(Filename(CString(""), CString("x\\\\y")).name()), "x\\y");
    EXPECT_EQ(str(Filename(CString("C:"), CString("x")).name()), "C:x");
    EXPECT_EQ(str(Filename(CString("C:\\"), CString("x")).name()), "C:\\x");
    EXPECT_EQ(str(Filename(CString("dir\\"), CString("\\name\\")).name()), "dir\\name");
    const Filename dir(CString("C:/top")), base(CString("f.txt"));
    EXPECT_EQ(str(Filename(dir, base).name()), "C:\\top\\f.txt");
}

TEST(Filename, AssignmentDropsTheSplitAndCopiesTheNameAsItStands)
{
    Filename f(CString("C:/one/two.txt"));
    EXPECT_EQ(str(f.dirname()), "C:\\one");
    f = CString("D:/three/four.dat");
    EXPECT_EQ(str(f.dirname()), "D:\\three");

    // A joined name keeps its slash; copying must not canonicalise it again.
    const Filename joined(CString("a/b"), CString("c"));
    Filename copy;
    copy = joined;
    EXPECT_EQ(str(copy.name()), "a/b\\c");
    EXPECT_EQ(str(Filename(joined).basename()), "c");
}

TEST(Filename, WorkingDirectoryAndMakeDir)
{
    qvTest::TempDir temp;
    Filename start;
    start.getCwd();
    ASSERT_FALSE(start.name().isEmpty());

    Filename dir(CString(temp.file("made").c_str()));
    EXPECT_TRUE(dir.makeDir());
    EXPECT_FALSE(dir.makeDir()); // already there
    EXPECT_FALSE(Filename(CString(temp.file("no/such/parent").c_str())).makeDir());

    ASSERT_TRUE(dir.setCwd());
    Filename now;
    now.getCwd();
    EXPECT_EQ(str(now.basename()), "made");
    EXPECT_TRUE(start.setCwd());
    EXPECT_FALSE(Filename(CString(temp.file("missing").c_str())).setCwd());
}

using qvOS::URL;

TEST(URL, SchemeLessAndFileNamesAreLocal)
{
    const URL drive(CString("C://dir"));
    EXPECT_EQ(str(drive.getProtocol()), "file");
    EXPECT_EQ(str(drive.name()), "C:\\dir");
    EXPECT_TRUE(drive.IsLocalFile() && drive.IsAbsolutePath());

    const URL file(CString("FILE:///C:/dir/f.txt"));
    EXPECT_EQ(str(file.getProtocol()), "file");
    EXPECT_EQ(str(file.name()), "C:\\dir\\f.txt");
    EXPECT_EQ(str(file.getDirname()), "C:\\dir\\");
    EXPECT_EQ(str(file.getName()), "f.txt");

    EXPECT_FALSE(URL(CString("relative/name")).IsAbsolutePath());
    EXPECT_TRUE(URL(CString("dir\\")).isDirectoryName());
}

TEST(URL, NetworkNamesSplitIntoTheirParts)
{
    const URL u(CString("HTTPS://Server:8443/a//b?x=1#top"));
    EXPECT_EQ(str(u.getProtocol()), "https");
    EXPECT_EQ(str(u.getAuthority()), "server:8443");
    EXPECT_EQ(str(u.getHost()), "server");
    EXPECT_EQ(u.getPort(), 8443);
    EXPECT_EQ(str(u.getPath()), "/a/b");
    EXPECT_EQ(str(u.getQuery()), "x=1");
    EXPECT_EQ(str(u.getRef()), "top");
    EXPECT_EQ(str(u.getCanonicalPath()), "\\a\\b");
    EXPECT_EQ(str(u.getDirname()), "/a/");
    EXPECT_EQ(str(u.getName()), "b");
    EXPECT_FALSE(u.IsLocalFile());

    EXPECT_EQ(URL(CString("ftp://server")).getPort(), 21);
    EXPECT_EQ(URL(CString("gopher://server")).getPort(), 80);
    // No path at all is an empty path.
    EXPECT_EQ(str(URL(CString("http://server")).getPath()), "");
    EXPECT_TRUE(IsAbsolutePath("http://server"));

    // The first '?' ends the path, and the first '#' after it the query: a '#' before the '?'
    // is part of the path.
    const URL hashFirst(CString("http://host/p#frag?q"));
    EXPECT_EQ(str(hashFirst.getPath()), "/p#frag");
    EXPECT_EQ(str(hashFirst.getQuery()), "q");
    EXPECT_EQ(str(hashFirst.getRef()), "");
    const URL twoRefs(CString("http://host/p?a#b#c"));
    EXPECT_EQ(str(twoRefs.getQuery()) + "|" + str(twoRefs.getRef()), "a|b#c");
    const URL noHost(CString("http://?q"));
    EXPECT_EQ(str(noHost.getAuthority()), "");
    EXPECT_EQ(str(noHost.getQuery()), "q");
}

TEST(URL, CopiesKeepEveryFieldAndComparePathFollowsTheProtocol)
{
    const URL original(CString("http://h:81/dir/Name.txt?q#r"));
    URL assigned(CString("x"));
    assigned = original;
    EXPECT_EQ(assigned.getPort(), 81);
    EXPECT_EQ(str(assigned.getDirname()) + str(assigned.getQuery()) + str(assigned.getRef()), "/dir/qr");

    EXPECT_FALSE(original.comparePath(URL(CString("http://h/other/name.txt"))));
    EXPECT_TRUE(original.comparePath(URL(CString("ftp://x/other/Name.txt"))));
    EXPECT_TRUE(URL(CString("C:\\a\\File.TXT")).comparePath(URL(CString("d:/file.txt"))));
}

TEST(URL, IllegalCharacters)
{
    for (const char* bad : {"a b", "100%", "tab\there"})
        EXPECT_TRUE(URL::hasIllegalCharacters(CString(bad))) << bad;
    EXPECT_FALSE(URL::hasIllegalCharacters(CString("C:\\x/y[1]-b_c.d")));

    for (const char* bad : {"http://host/a[1]", "http://ho$t/a", "ht[tp://host/a"})
        EXPECT_TRUE(URL(CString(bad)).hasIllegalCharacters()) << bad;
    EXPECT_FALSE(URL(CString("C:\\dir\\file.txt")).hasIllegalCharacters());
}
