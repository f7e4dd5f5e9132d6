#include "qvStringCString.h"
#include "qvStringCharClass.h"
#include "qvStringIString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

using qvString::CString;

namespace {

constexpr unsigned int npos = 0xFFFFFFFFu;

// Exposes the protected bounds checks.
class Checked : public CString {
public:
    using CString::CString;
    using CString::doBoundsCheck;
};

std::string text(const CString& s)
{
    return std::string(s.asChar(), s.length());
}

} // namespace

TEST(CString, NullMovedAndSelfAssignedStringsStayUsable)
{
    CString fromNull(static_cast<const char*>(nullptr));
    EXPECT_TRUE(fromNull.isNull());
    EXPECT_EQ(fromNull, CString(""));
    char* block = fromNull.copyAsChar();
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block[0], '\0');
    std::free(block);

    CString a("hello");
    CString moved(std::move(a));
    EXPECT_EQ(text(moved), "hello");
    a.append("again");  // the moved-from string is still usable
    EXPECT_EQ(text(a), "again");
    CString& alias = a;
    a = alias;
    EXPECT_EQ(text(a), "again");
}

TEST(CString, BoundsChecksCompareTheCountWithTheWholeLength)
{
    Checked s("abc");
    EXPECT_TRUE(s.doBoundsCheck(2));
    EXPECT_FALSE(s.doBoundsCheck(3));
    EXPECT_FALSE(s.doBoundsCheck(-1));
    EXPECT_TRUE(s.doBoundsCheck(2, -1));
    EXPECT_TRUE(s.doBoundsCheck(2, 3));  // only one character left, yet accepted
    EXPECT_FALSE(s.doBoundsCheck(2, 4));
    EXPECT_FALSE(s.doBoundsCheck(3, 0));
    EXPECT_FALSE(Checked("").doBoundsCheck(0, -1));
}

// The random model test covers searches, comparisons and trims in general; these are the
// cases it does not reach.
TEST(CString, SearchCompareAndTrimCasesBeyondTheModel)
{
    CString s("abcabc");
    EXPECT_EQ(s.rfind("abc", 0), 0u);
    EXPECT_EQ(s.find(static_cast<const char*>(nullptr), 0), npos);
    EXPECT_EQ(s.rfind(CString(), npos), npos);
    CString words("  ab cd");
    EXPECT_EQ(words.find(qvString::isDigit, 0), npos);
    EXPECT_EQ(words.find(qvString::isSpace, 100), npos);
    EXPECT_EQ(words.rfind(qvString::isSpace, 3), 1u);
    EXPECT_EQ(words.rfind(qvString::isAlnum, 0), npos);

    CString spaced(" \t\r\n a b \n\t ");
    EXPECT_EQ(text(CString(spaced).stripSpaces()), "a b \n\t ");
    EXPECT_EQ(text(CString(spaced).rstripSpaces()), " \t\r\n a b");

    // An embedded NUL is a character like any other.
    CString withNul("a");
    withNul.append('\0');
    EXPECT_EQ(withNul.compare("a"), 1);
    EXPECT_EQ(CString("ab").compareNoCase("ABC"), -1);
    EXPECT_EQ(CString("\xe9").compareNoCase("A"), 1);
    EXPECT_LT(CString("abc").collate("abd"), 0);
    EXPECT_EQ(CString("ABC").collateNoCase("abc"), 0);
}

TEST(CString, CaseMappingAndAsciiTest)
{
    CString s("MiXeD 123 \xe9");
    s.toUpperCase();
    EXPECT_EQ(text(s), "MIXED 123 \xe9");
    s.toLowerCase();
    EXPECT_EQ(text(s), "mixed 123 \xe9");
    EXPECT_FALSE(s.isAscii());
    EXPECT_TRUE(CString().isAscii());
}

TEST(CString, JoiningOperatorsStreamsAndHashing)
{
    std::unordered_set<CString> keys{CString("alpha"), CString("beta")};
    EXPECT_EQ(keys.count(CString("alpha")), 1u);
    EXPECT_EQ(keys.count(CString("gamma")), 0u);
    std::ostringstream out;
    CString nul("a");
    out << nul.append('\0').append("b") << CString("!");
    EXPECT_EQ(out.str(), std::string("a\0b!", 4));
}

TEST(CString, FormatGrowsItsBufferUntilTheTextFits)
{
    CString s("old");
    EXPECT_EQ(s.format("%d", 42), 2u);
    EXPECT_EQ(text(s), "42");

    // Nothing produced counts as failure and keeps the text; so does a null format.
    EXPECT_EQ(s.format("%s", ""), npos);
    EXPECT_EQ(text(s), "42");
    EXPECT_EQ(s.format(static_cast<const char*>(nullptr)), npos);
    EXPECT_EQ(text(s), "42");
    // The text ends at a NUL that a %c puts into it.
    EXPECT_EQ(s.format("a%cb", 0), 1u);
    EXPECT_EQ(text(s), "a");

    // Around each doubling: a text of size - 1 characters does not fit in size bytes.
    for (unsigned n : {1u, 254u, 255u, 256u, 257u, 510u, 511u, 512u, 1023u, 5000u, 100000u}) {
        std::string expected(n, 'q');
        expected[0] = '<';
        expected[n - 1] = '>';
        EXPECT_EQ(s.format("%s", expected.c_str()), n);
        EXPECT_EQ(text(s), expected) << n;
        for (unsigned start : {0u, 1u, 2u, 255u, 256u, 511u, 512u, 1u << 20}) {
            s = "";
            EXPECT_EQ(s.format(start, "%s", expected.c_str()), n) << n << " from " << start;
            EXPECT_EQ(text(s), expected) << n << " from " << start;
        }
    }

    CString fmt("%s-%04d");
    EXPECT_EQ(s.format(&fmt, "id", 7), 7u);
    EXPECT_EQ(text(s), "id-0007");
    EXPECT_EQ(s.format(4u, &fmt, "longer", 123456), 13u);
    EXPECT_EQ(text(s), "longer-123456");
}

TEST(CString, StringsMayOutliveTheThreadThatMadeThem)
{
    // Each thread makes and drops many strings and hands some over to this one; sanitizer runs
    // check that nothing leaks or is freed twice when the threads end.
    std::vector<std::vector<CString>> kept(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t, &kept] {
            CString base(400u, static_cast<char>('a' + t));
            for (int i = 0; i < 2000; ++i) {
                CString part = base.substr(static_cast<unsigned>(i % 300), 40);
                CString copy(part);
                copy.append(CString(300u, 'x'));
                if (i % 100 == 0)
                    kept[t].push_back(copy);
            }
        });
    for (auto& thread : threads)
        thread.join();
    for (int t = 0; t < 4; ++t) {
        ASSERT_EQ(kept[t].size(), 20u);
        EXPECT_EQ(text(kept[t].back()), std::string(40, static_cast<char>('a' + t)) + std::string(300, 'x'));
    }
}

TEST(CharClass, NarrowClassesCoverEveryByteSafely)
{
    EXPECT_TRUE(qvString::isNewLine('\r'));
    EXPECT_FALSE(qvString::isAscii('\x80'));
    EXPECT_TRUE(qvString::isAscii('\x7f'));

    // Bytes above 0x7F: in the C locale they are in no class and map to themselves.
    for (int i = 0x80; i <= 0xFF; ++i) {
        char c = static_cast<char>(i);
        EXPECT_FALSE(qvString::isAlnum(c) || qvString::isSpace(c) || qvString::isPrint(c)
                     || qvString::isCntrl(c) || qvString::isPunct(c) || qvString::isUpper(c))
            << i;
        EXPECT_EQ(qvString::toUpper(c), c);
        EXPECT_EQ(qvString::toLower(c), c);
    }
}

using qvString::IString;

namespace {

// Switches the C locale for one test and restores the previous one afterwards.
class LocaleGuard {
public:
    LocaleGuard() : saved(std::setlocale(LC_ALL, nullptr)) {}
    ~LocaleGuard() { std::setlocale(LC_ALL, saved.c_str()); }

    // The first UTF-8 locale that the C runtime accepts; false when there is none.
    bool useUtf8()
    {
        for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8", ".UTF-8", ".utf8"})
            if (std::setlocale(LC_ALL, name))
                return true;
        return false;
    }
    void useC() { std::setlocale(LC_ALL, "C"); }
    bool useWindowsWestern()
    {
        return std::setlocale(LC_ALL, ".1252") || std::setlocale(LC_ALL, "English_United States.1252");
    }

private:
    std::string saved;
};

std::vector<unsigned short> units(const IString& s)
{
    return std::vector<unsigned short>(s.asWChar(), s.asWChar() + s.length());
}

} // namespace

TEST(IString, ConstructionStorageSearchAndCompare)
{
    EXPECT_TRUE(IString(static_cast<const char*>(nullptr)).isEmpty());
    EXPECT_TRUE(IString(static_cast<const unsigned short*>(nullptr)).isNull());
    EXPECT_EQ(IString().asWCharStoreSize(), 2u);

    IString narrow("abc");
    EXPECT_EQ(units(narrow), (std::vector<unsigned short>{'a', 'b', 'c'}));
    EXPECT_EQ(IString(narrow.asWChar()), narrow);
    EXPECT_EQ(narrow.asWCharStoreSize(), 8u);

    IString moved(std::move(narrow));
    narrow.append(static_cast<unsigned short>('x'));
    EXPECT_EQ(narrow, IString("x"));
    EXPECT_THROW(moved.insert(4, static_cast<unsigned short>('x')), std::out_of_range);
    EXPECT_THROW(moved.substr(4, 0), std::out_of_range);

    // The random model test covers searches, comparisons and trims in general.
    EXPECT_EQ(IString("abc").find(static_cast<const unsigned short*>(nullptr), 0), npos);
    EXPECT_EQ(IString("ABC").compareNoCase(IString("abc")), 0);
    EXPECT_EQ(IString("ABC").collateNoCase(IString("abc")), 0);
    EXPECT_LT(IString("abc").collate(IString("abd")), 0);
    narrow.append(static_cast<unsigned short>(0x4E2D));
    EXPECT_FALSE(narrow.isAscii());
}

TEST(IString, ConvertsMultibyteTextOfTheLocale)
{
    LocaleGuard locale;
    if (!locale.useUtf8())
        GTEST_SKIP() << "no UTF-8 locale in this C runtime";

    IString e("h\xc3\xa9llo");
    EXPECT_EQ(units(e), (std::vector<unsigned short>{'h', 0xE9, 'l', 'l', 'o'}));
    EXPECT_STREQ(e.asMultibyte(), "h\xc3\xa9llo");
    EXPECT_EQ(e.asMultibyteStoreSize(), 7u);

    // A character beyond 16 bits becomes a surrogate pair and comes back whole.
    IString emoji("<\xf0\x9f\x98\x80>");
    EXPECT_EQ(units(emoji), (std::vector<unsigned short>{'<', 0xD83D, 0xDE00, '>'}));
    EXPECT_STREQ(emoji.asMultibyte(), "<\xf0\x9f\x98\x80>");

    // Text the locale cannot convert leaves the string empty; a lone surrogate has no
    // multibyte form and leaves the previous one.
    EXPECT_TRUE(IString("bad \xff byte").isEmpty());
    IString lone("ok");
    EXPECT_STREQ(lone.asMultibyte(), "ok");
    lone[1] = 0xD800;
    EXPECT_STREQ(lone.asMultibyte(), "ok");

    // The free functions: the count is always that of the whole text; srcCount limits only what
    // is written, and a dst shorter than the whole text takes nothing.
    EXPECT_EQ(qvString::MBStoWCS("hello", 2, nullptr, 0), 5u);
    unsigned short out[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(qvString::MBStoWCS("hello", 2, out, 3), 0u);
    EXPECT_EQ(out[0], 9);
    EXPECT_EQ(qvString::MBStoWCS("hello", 2, out, 5), 2u);
    EXPECT_EQ(out[1], 'e');
    EXPECT_EQ(out[2], 9);  // cut by srcCount: no terminator
    const char* text = "\xc3\xa9t\xc3\xa9";
    EXPECT_EQ(qvString::MBStoWCS(text, 5, out, 3), 3u);
    EXPECT_EQ(out[3], 9);  // no room for a terminator: none written, and dst is not overrun
    EXPECT_EQ(qvString::MBStoWCS(text, 9, out, 4), 3u);
    EXPECT_EQ(out[3], 0);

    char bytes[8];
    std::memset(bytes, 'x', sizeof bytes);
    EXPECT_EQ(qvString::WCStoMBS(out, 1, nullptr, 0), 5u);
    EXPECT_EQ(qvString::WCStoMBS(out, 9, bytes, 4), 0u);
    // A limit inside a character writes only the characters before it.
    EXPECT_EQ(qvString::WCStoMBS(out, 4, bytes, sizeof bytes), 3u);
    EXPECT_EQ(std::string(bytes, 4), "\xc3\xa9tx");
    EXPECT_EQ(qvString::WCStoMBS(out, 9, bytes, sizeof bytes), 5u);
    EXPECT_STREQ(bytes, "\xc3\xa9t\xc3\xa9");
}

TEST(IString, ConvertsASingleByteCodePage)
{
    LocaleGuard locale;
    if (!locale.useWindowsWestern())
        GTEST_SKIP() << "no Windows western code page in this C runtime";
    IString s("caf\xe9 \x80");
    EXPECT_EQ(units(s), (std::vector<unsigned short>{'c', 'a', 'f', 0xE9, ' ', 0x20AC}));
    EXPECT_STREQ(s.asMultibyte(), "caf\xe9 \x80");
    EXPECT_EQ(qvString::MBStoWCS("\xe9t\xe9", 3, nullptr, 0), 3u);
}

TEST(IString, MultibyteFormIsRefreshedOnlyAfterAChange)
{
    // The euro sign has no form in the C locale of either runtime, but has one in UTF-8 and in
    // the Windows western code page.
    LocaleGuard locale;
    locale.useC();
    const unsigned short euro = 0x20AC;
    const unsigned short euroText[] = {euro, 0};
    if (qvString::WCStoMBS(euroText, 1, nullptr, 0) != 0)
        GTEST_SKIP() << "this C locale converts the euro sign";
    IString s("ok");
    s.append(euro);
    // Not convertible: the (empty) form stays, and is now current.
    EXPECT_STREQ(s.asMultibyte(), "");
    if (!locale.useUtf8() && !locale.useWindowsWestern())
        GTEST_SKIP() << "no locale with a euro sign in this C runtime";
    char bytes[8] = {};
    ASSERT_GT(qvString::WCStoMBS(euroText, sizeof bytes, bytes, sizeof bytes), 0u);
    const std::string euroBytes(bytes);

    // Unchanged text: no second conversion, though the locale could now convert it.
    EXPECT_STREQ(s.asMultibyte(), "");
    // Any change, even through element access, brings a new conversion.
    s[0] = 'O';
    EXPECT_EQ(std::string(s.asMultibyte()), "Ok" + euroBytes);
    EXPECT_EQ(s.asMultibyteStoreSize(), 3 + euroBytes.size());
    s.toUpperCase();
    EXPECT_EQ(std::string(s.asMultibyte()), "OK" + euroBytes);
    IString copy(IString("x"));
    EXPECT_STREQ(copy.asMultibyte(), "x");
    copy = IString("yz");
    EXPECT_STREQ(copy.asMultibyte(), "yz");
}

TEST(CharClass, WideLowerCaseUsesTheNarrowRule)
{
    LocaleGuard locale;
    EXPECT_EQ(qvString::toLower(static_cast<unsigned short>('A')), 'a');
    EXPECT_EQ(qvString::toUpper(static_cast<unsigned short>('a')), 'A');
    if (!locale.useUtf8())
        GTEST_SKIP() << "no UTF-8 locale in this C runtime";
    // Wide lower-case letters are raised; wide upper-case ones are not lowered.
    EXPECT_EQ(qvString::toUpper(static_cast<unsigned short>(0x0436)), 0x0416);
    EXPECT_EQ(qvString::toLower(static_cast<unsigned short>(0x00C9)), 0x00C9);
    EXPECT_EQ(qvString::toLower(static_cast<unsigned short>(0x0416)), 0x0416);
    EXPECT_TRUE(qvString::isUpper(static_cast<unsigned short>(0x0416)));
}
