#include "qvUtilError.h"
#include "qvUtilInterval.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using qvUtil::Error;
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
}

TEST(Format, QLSnprintfNeedsRoomToSpare)
{
    char buffer[10];
    EXPECT_EQ(QL_snprintf(buffer, sizeof buffer, "%s", "123456789"), -1);
    EXPECT_EQ(QL_snprintf(buffer, sizeof buffer, "%s", "12345678"), 8);
    EXPECT_STREQ(buffer, "12345678");
}

TEST(Interval, SecondsMagnitudeTruncationOrderAndRejectedText)
{
    Interval a(-2.25);
    EXPECT_EQ(a.seconds(), 2);
    EXPECT_EQ(a.microseconds(), 250000);
    EXPECT_EQ(Interval(0.0000009).microseconds(), 0);
    EXPECT_FALSE(Interval(0.000001).isZero());

    EXPECT_TRUE(Interval(1.999999) < Interval(2.0));
    EXPECT_TRUE(Interval(3.25) < Interval(3.5));

    try {
        Interval bad("1:00");
        FAIL() << "no exception";
    } catch (const Error& err) {
        EXPECT_STREQ(err.message(), "Bad time string");
    }
}
