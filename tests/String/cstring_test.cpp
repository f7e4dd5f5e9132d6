#include "qvStringCString.h"
#include "qvStringCharClass.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <sstream>
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
