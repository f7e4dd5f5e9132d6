#include "qvStringCString.h"
#include "qvStringCharClass.h"
#include "qvStringIString.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

using qvString::CString;
using qvString::IString;

namespace {

constexpr unsigned int npos = 0xFFFFFFFFu;

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

IString wide(std::initializer_list<unsigned short> list)
{
    IString s;
    for (unsigned short u : list)
        s.append(u);
    return s;
}

} // namespace

TEST(IString, ConstructionAndStorage)
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
}

TEST(IString, SearchAndCompareFollowTheNarrowRules)
{
    // The random model test covers searches, comparisons and trims in general.
    EXPECT_EQ(IString("abc").find(static_cast<const unsigned short*>(nullptr), 0), npos);
    EXPECT_EQ(IString("ABC").compareNoCase(IString("abc")), 0);
    EXPECT_EQ(IString("ABC").collateNoCase(IString("abc")), 0);
    EXPECT_LT(IString("abc").collate(IString("abd")), 0);
    EXPECT_FALSE(wide({'a', 0x4E2D}).isAscii());
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

    // The free functions: the needed count, too small a buffer, an exact one, a limited source.
    const char* text = "\xc3\xa9t\xc3\xa9";
    EXPECT_EQ(qvString::MBStoWCS(text, 5, nullptr, 0), 3u);
    unsigned short out[4] = {9, 9, 9, 9};
    EXPECT_EQ(qvString::MBStoWCS(text, 5, out, 2), 0u);
    EXPECT_EQ(out[0], 9);
    EXPECT_EQ(qvString::MBStoWCS(text, 5, out, 3), 3u);
    EXPECT_EQ(out[1], 't');
    EXPECT_EQ(out[3], 9);  // no room for a terminator: none written
    EXPECT_EQ(qvString::MBStoWCS(text, 3, out, 4), 2u);
    EXPECT_EQ(out[2], 0);

    char bytes[8];
    EXPECT_EQ(qvString::WCStoMBS(out, 2, bytes, 2), 0u);
    EXPECT_EQ(qvString::WCStoMBS(out, 2, bytes, sizeof bytes), 3u);
    EXPECT_STREQ(bytes, "\xc3\xa9t");
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
    if (qvString::WCStoMBS(&euro, 1, nullptr, 0) != 0)
        GTEST_SKIP() << "this C locale converts the euro sign";
    IString s("ok");
    s.append(euro);
    // Not convertible: the (empty) form stays, and is now current.
    EXPECT_STREQ(s.asMultibyte(), "");
    if (!locale.useUtf8() && !locale.useWindowsWestern())
        GTEST_SKIP() << "no locale with a euro sign in this C runtime";
    char bytes[8] = {};
    ASSERT_GT(qvString::WCStoMBS(&euro, 1, bytes, sizeof bytes), 0u);
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
