#include "qvUtilSplit.h"

#include "qvStringCharClass.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using qvString::CString;
using qvString::IString;
using qvUtil::Error;

namespace {

std::vector<std::string> texts(const std::vector<CString>& v)
{
    std::vector<std::string> out;
    for (const CString& s : v)
        out.emplace_back(s.asChar(), s.length());
    return out;
}

using Texts = std::vector<std::string>;

bool isComma(char c)
{
    return c == ',';
}

} // namespace

TEST(Split, EmptyTokensDelimitersAndTheTrailingRule)
{
    EXPECT_EQ(texts(qvUtil::split("a,,b", ',', false, false)), (Texts{"a", "", "b"}));
    EXPECT_EQ(texts(qvUtil::split("a,,b", ',', true, false)), (Texts{"a", "b"}));
    EXPECT_EQ(texts(qvUtil::split("a,,b", ',', false, true)), (Texts{"a", ",", ",", "b"}));
    EXPECT_EQ(texts(qvUtil::split(",a,", ',', false, false)), (Texts{"", "a"}));
    EXPECT_TRUE(qvUtil::split("", ',', false, false).empty());
    EXPECT_EQ(texts(qvUtil::split("a,,b", isComma, false, false)), (Texts{"a", "", "b"}));
    EXPECT_EQ(texts(qvUtil::split(CString("x y\tz"), static_cast<bool (*)(char)>(qvString::isSpace),
                                         true, false)),
              (Texts{"x", "y", "z"}));
}

TEST(Split, WideFormsFollowTheSameRules)
{
    const unsigned short text[] = {'a', ',', ',', 0x263A, 0};
    std::vector<IString> parts = qvUtil::split(IString(text), (unsigned short)',', false, false);
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_EQ(parts[0].length(), 1u);
    EXPECT_TRUE(parts[1].isEmpty());
    EXPECT_EQ(parts[2][0], 0x263A);
    EXPECT_TRUE(qvUtil::join(qvUtil::split(IString(text), qvString::isPunct, false, true))
                == IString(text));
}

// join undoes split whenever the delimiters are kept, whatever the text.
TEST(Split, JoinOfSplitWithDelimitersGivesTheInputBack)
{
    const char alphabet[] = {'a', 'b', ',', ',', ' ', 'x'};
    for (unsigned seed = 1; seed <= 300; ++seed) {
        std::mt19937 rng(seed);
        std::string text;
        int length = static_cast<int>(rng() % 40);
        for (int i = 0; i < length; ++i)
            text += alphabet[rng() % sizeof alphabet];
        CString s(text.c_str());
        EXPECT_TRUE(qvUtil::join(qvUtil::split(s, ',', false, true)) == s) << text;
        // Without kept delimiters the pieces still hold every other character, in order.
        std::string rest;
        for (char c : text)
            if (c != ',')
                rest += c;
        EXPECT_STREQ(qvUtil::join(qvUtil::split(s, ',', seed % 2 == 0, false)).asChar(),
                     rest.c_str());
    }
    EXPECT_TRUE(qvUtil::join(std::vector<CString>()).isEmpty());
}

TEST(Split, MultiLinesTreatCarriageReturnAndLineFeedAlike)
{
    EXPECT_EQ(texts(qvUtil::splitMultiLines("")), (Texts{""}));
    EXPECT_EQ(texts(qvUtil::splitMultiLines("one\r\ntwo")), (Texts{"one", "", "two"}));
    EXPECT_EQ(texts(qvUtil::splitMultiLines("one\n")), (Texts{"one", ""}));
    EXPECT_EQ(qvUtil::numMultiLines("a\nb\rc"), 3);
}

TEST(Split, QuotedTokensAndTheirErrors)
{
    std::vector<CString> tokens;
    EXPECT_FALSE(qvUtil::splitWithQuotes("  one \"two three\"  ", tokens));
    EXPECT_EQ(texts(tokens), (Texts{"one", "two three"}));
    EXPECT_FALSE(qvUtil::splitWithQuotesAndBackslash("a\"b c\"d", tokens));
    EXPECT_EQ(texts(tokens), (Texts{"ab cd"}));
    EXPECT_FALSE(qvUtil::splitWithQuotesAndBackslash("x\\\\y \\\"q\\\" \"\"", tokens));
    EXPECT_EQ(texts(tokens), (Texts{"x\\y", "\"q\"", ""}));

    // Positions count from 1; tokens completed before the fault are kept.
    struct Case {
        bool backslash;
        const char* text;
        int code;
        const char* message;
        Texts kept;
    } cases[] = {
        {false, "a\"b", 1, "Unexpected character before a double quote: 'a'", {}},
        {false, "\"ab\"c", 5, "Unexpected character after double quote: 'c'", {}},
        {false, "ok fine \"", 9, "Unmatched double quote", {"ok", "fine"}},
        {true, "a\\b", 3, "Illegal escape of character 'b'", {}},
        {true, "ab\\", 3, "Single backslash character", {}},
        {true, "one t\"wo", 6, "Unmatched double quote", {"one"}},
    };
    for (const Case& c : cases) {
        Error err = c.backslash ? qvUtil::splitWithQuotesAndBackslash(c.text, tokens)
                                : qvUtil::splitWithQuotes(c.text, tokens);
        EXPECT_EQ(err.num(), c.code) << c.text;
        EXPECT_STREQ(err.message(), c.message) << c.text;
        EXPECT_EQ(texts(tokens), c.kept) << c.text;
    }
}
