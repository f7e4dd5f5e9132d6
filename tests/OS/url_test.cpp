#include "qvOSURL.h"

#include <gtest/gtest.h>

#include <string>

using qvOS::URL;
using qvString::CString;

namespace {

std::string str(const CString& s)
{
    return s.asChar();
}

} // namespace

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
    EXPECT_EQ(str(URL(CString("http://server")).getPath()), "/");
    EXPECT_TRUE(IsAbsolutePath("http://server"));

    const URL refOnly(CString("http://host/p#frag?not"));
    EXPECT_EQ(str(refOnly.getPath()), "/p");
    EXPECT_EQ(str(refOnly.getRef()), "frag?not");
    EXPECT_EQ(str(refOnly.getQuery()), "");
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
