#include "internal/qvUtilInitializerState.h"
#include "qvStringCharClass.h"
#include "qvUtilError.h"
#include "qvUtilInitializer.h"
#include "qvUtilInterval.h"
#include "qvUtilSplit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
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

TEST(Split, ANullDelimiterTestIsABadArgument)
{
    auto code = [](const std::function<void()>& call) {
        try {
            call();
        } catch (const Error& err) {
            return err.num();
        }
        return 0;
    };
    using Narrow = bool (*)(char);
    using Wide = bool (*)(unsigned short);
    EXPECT_EQ(code([] { qvUtil::split(CString("a,b"), Narrow(nullptr), false, false); }), 2);
    EXPECT_EQ(code([] { qvUtil::split(IString("a,b"), Wide(nullptr), false, false); }), 2);
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

using qvUtil::Interval;

namespace {

Error fromVariadicHelper(int code, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    Error err(code, format, qvUtil::VaList(args));
    va_end(args);
    return err;
}

} // namespace

TEST(Error, TruthIsTheCodeEqualityNeedsCodeAndTextCopiesOwnTheirText)
{
    EXPECT_FALSE(Error(0, "nothing wrong"));
    EXPECT_TRUE(Error(-1, "x"));
    EXPECT_TRUE(Error(3, "same") != Error(4, "same"));
    EXPECT_TRUE(Error(3, "one") != Error(3, "two"));

    std::string text(100, 'q');
    Error a(5, "%s", text.c_str());
    Error b(a), c;
    c = a;
    c = c;
    EXPECT_NE(a.message(), b.message());
    EXPECT_NE(c.message(), a.message());
    EXPECT_TRUE(a == b && a == c);
    EXPECT_STREQ(c.message(), text.c_str());
}

// On 32-bit Windows va_list is char*: a plain call with a text argument must still format.
TEST(Error, TextArgumentsFormatOnEveryPlatformAndLongTextIsCut)
{
    char buffer[] = "mutable";
    char* mutableText = buffer;
    EXPECT_STREQ(Error(4, "%s", "config.txt").message(), "config.txt");
    EXPECT_STREQ(Error(4, "%s", mutableText).message(), "mutable");
    Error viaList = fromVariadicHelper(9, "%s=%d", mutableText, 12);
    EXPECT_EQ(viaList.num(), 9);
    EXPECT_STREQ(viaList.message(), "mutable=12");

    EXPECT_EQ(std::strlen(Error(1, "%s", std::string(20000, 'x').c_str()).message()), 8191u);
    std::string exact(8191, 'y');
    EXPECT_STREQ(Error(1, "%s", exact.c_str()).message(), exact.c_str());

    // The formatting function the library uses needs room to spare.
    char ten[10];
    EXPECT_EQ(QL_snprintf(ten, sizeof ten, "%s", "123456789"), -1);
    EXPECT_EQ(QL_snprintf(ten, sizeof ten, "%s", "12345678"), 8);
    EXPECT_STREQ(ten, "12345678");
}

TEST(Interval, SecondsMagnitudeTruncationAndOrder)
{
    Interval a(-2.25);
    EXPECT_EQ(a.seconds(), 2);
    EXPECT_EQ(a.microseconds(), 250000);
    EXPECT_EQ(Interval(0.0000009).microseconds(), 0);
    EXPECT_FALSE(Interval(0.000001).isZero());

    EXPECT_TRUE(Interval(1.999999) < Interval(2.0));
    EXPECT_TRUE(Interval(3.25) < Interval(3.5));

    // Spans the fields cannot hold: the largest span, or none for a NaN; never negative.
    for (double huge : {2147483648.0, 1e300, HUGE_VAL, -HUGE_VAL}) {
        EXPECT_EQ(Interval(huge).seconds(), 2147483647L) << huge;
        EXPECT_EQ(Interval(huge).microseconds(), 999999L) << huge;
    }
    EXPECT_EQ(Interval(2147483646.5).seconds(), 2147483646L);
    EXPECT_TRUE(Interval(std::nan("")).isZero());
    // Rejected text: see the error code table.
}

using qvUtil::Initializer;

namespace {

// Each test builds its own steps; a step leaves the registry when it goes out of scope, so the
// tests do not see each other's steps.
class Step : public Initializer {
public:
    Step(std::string name, std::vector<std::string>& log, Error result = Error())
        : name(std::move(name)), log(log), result(result)
    {
    }
    void needs(Step& prerequisite) { dependsOn(&prerequisite); }
    Error initialize() override
    {
        log.push_back(name);
        return result;
    }

private:
    std::string name;
    std::vector<std::string>& log;
    Error result;
};

} // namespace

// Declared the way modules declare their steps: registered while static objects are built.
class StaticStep : public Initializer {
public:
    Error initialize() override
    {
        ++runs;
        return Error();
    }
    int runs = 0;
};
StaticStep staticStep;

TEST(Initializer, StaticStepRegistersBeforeMainAndRuns)
{
    int before = staticStep.runs;
    EXPECT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(staticStep.runs, before + 1);
    EXPECT_GT(staticStep.getCount(), 0);
}

TEST(Initializer, PrerequisitesRunFirstAndCountsAccumulateOverRuns)
{
    std::vector<std::string> log;
    Step a("A", log), b("B", log), c("C", log);
    a.needs(b);
    b.needs(c);
    ASSERT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(log, (std::vector<std::string>{"C", "B", "A"}));
    EXPECT_EQ(c.getCount(), 3);
    ASSERT_FALSE(Initializer::initializeAll()); // counts are not reset: they add up
    EXPECT_EQ(c.getCount(), 6);

    // A diamond: the shared bottom outweighs everything above it and runs first.
    std::vector<std::string> diamond;
    Step top("top", diamond), l("l", diamond), r("r", diamond), bottom("bottom", diamond);
    top.needs(l);
    top.needs(r);
    l.needs(bottom);
    r.needs(bottom);
    log.clear();
    ASSERT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(bottom.getCount(), 5);
    ASSERT_EQ(diamond.size(), 4u);
    EXPECT_EQ(diamond.front(), "bottom");
    EXPECT_EQ(diamond.back(), "top");
}

TEST(Initializer, FailuresRefusalsAndGoneSteps)
{
    std::vector<std::string> log;
    {
        Step first("first", log), broken("broken", log, Error(42, "disk %s missing", "D")), last("last", log);
        last.needs(broken);
        broken.needs(first);
        Error result = Initializer::initializeAll();
        EXPECT_EQ(result.num(), 42);
        EXPECT_STREQ(result.message(), "disk D missing");
        EXPECT_EQ(log, (std::vector<std::string>{"first", "broken"})); // the run stops
    }
    log.clear();
    Step original("original", log);
    qvUtil::internal::initializerAlreadyCalled() = 1;
    Error refused = Initializer::initializeAll();
    qvUtil::internal::initializerAlreadyCalled() = 0;
    EXPECT_EQ(refused.num(), 1);
    EXPECT_STREQ(refused.message(), "Initializer::initializeAll() already called");
    EXPECT_TRUE(log.empty());

    // A prerequisite that went leaves no trace; a copy is not registered.
    {
        Step prerequisite("gone", log);
        original.needs(prerequisite);
    }
    Step copy(original);
    ASSERT_FALSE(Initializer::initializeAll());
    EXPECT_EQ(log, (std::vector<std::string>{"original"}));
    EXPECT_EQ(copy.getCount(), 0);
}
