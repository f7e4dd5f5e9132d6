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

TEST(Error, SuccessIsCodeZeroWhateverTheMessage)
{
    Error ok;
    EXPECT_EQ(ok.num(), 0);
    EXPECT_STREQ(ok.message(), "");
    EXPECT_FALSE(ok);

    Error withText(0, "nothing wrong");
    EXPECT_FALSE(withText);
    EXPECT_STREQ(withText.message(), "nothing wrong");

    Error failed(-1, "x");
    EXPECT_TRUE(failed);
}

TEST(Error, EqualityNeedsCodeAndTextToMatch)
{
    EXPECT_TRUE(Error(3, "same") == Error(3, "same"));
    EXPECT_FALSE(Error(3, "same") != Error(3, "same"));
    EXPECT_TRUE(Error(3, "same") != Error(4, "same"));
    EXPECT_TRUE(Error(3, "one") != Error(3, "two"));
    EXPECT_FALSE(Error(3, "one") == Error(3, "two"));
}

TEST(Error, CopiesOwnTheirMessages)
{
    std::string text(100, 'q');
    Error a(5, "%s", text.c_str());
    Error b(a);
    EXPECT_NE(a.message(), b.message());
    EXPECT_TRUE(a == b);

    Error c;
    c = a;
    EXPECT_NE(c.message(), a.message());
    EXPECT_EQ(c.num(), 5);
    c = c;
    EXPECT_STREQ(c.message(), text.c_str());
}

// On 32-bit Windows va_list is char*: a plain call with a text argument must still format.
TEST(Error, TextArgumentsFormatOnEveryPlatform)
{
    const char* name = "config.txt";
    char buffer[] = "mutable";
    char* mutableText = buffer;
    EXPECT_STREQ(Error(4, "%s", name).message(), "config.txt");
    EXPECT_STREQ(Error(4, "%s", mutableText).message(), "mutable");
    EXPECT_STREQ(Error(2, "%s: %d of %s", "read", 3, mutableText).message(), "read: 3 of mutable");
    Error viaList = fromVariadicHelper(9, "%s=%d", mutableText, 12);
    EXPECT_EQ(viaList.num(), 9);
    EXPECT_STREQ(viaList.message(), "mutable=12");
}

TEST(Error, LongMessagesAreCutTo8191Characters)
{
    std::string longText(20000, 'x');
    Error err(1, "%s", longText.c_str());
    EXPECT_EQ(std::strlen(err.message()), 8191u);

    std::string exact(8191, 'y');
    EXPECT_STREQ(Error(1, "%s", exact.c_str()).message(), exact.c_str());
}

TEST(Format, QLSnprintfNeedsRoomToSpare)
{
    char buffer[10];
    EXPECT_EQ(QL_snprintf(buffer, sizeof buffer, "%s", "123456789"), -1);
    EXPECT_EQ(QL_snprintf(buffer, sizeof buffer, "%s", "12345678"), 8);
    EXPECT_STREQ(buffer, "12345678");
    EXPECT_EQ(QL_snprintf(buffer, sizeof buffer, "%d-%d", 1, 2), 3);
    EXPECT_STREQ(buffer, "1-2");
    EXPECT_EQ(QL_snprintf(buffer, sizeof buffer, "%s", ""), 0);
}

TEST(Interval, FromSecondsTakesMagnitudeAndTruncatesMicroseconds)
{
    Interval a(-2.25);
    EXPECT_EQ(a.seconds(), 2);
    EXPECT_EQ(a.microseconds(), 250000);
    EXPECT_TRUE(a == Interval(2.25));
    EXPECT_DOUBLE_EQ(a.dseconds(), 2.25);

    Interval b(1.5);
    EXPECT_EQ(b.seconds(), 1);
    EXPECT_EQ(b.microseconds(), 500000);
    EXPECT_EQ(Interval(0.0000009).microseconds(), 0);
    EXPECT_TRUE(Interval().isZero());
    EXPECT_FALSE(Interval(0.000001).isZero());
}

TEST(Interval, TextIsRejected)
{
    try {
        Interval bad("1:00");
        FAIL() << "no exception";
    } catch (const Error& err) {
        EXPECT_EQ(err.num(), 1);
        EXPECT_STREQ(err.message(), "Bad time string");
    }
}

TEST(Interval, OrdersBySecondsThenMicroseconds)
{
    EXPECT_TRUE(Interval(1.999999) < Interval(2.0));
    EXPECT_FALSE(Interval(2.0) < Interval(1.999999));
    EXPECT_TRUE(Interval(3.25) < Interval(3.5));
    EXPECT_FALSE(Interval(3.5) < Interval(3.5));
    EXPECT_TRUE(Interval(3.5) == Interval(3.5));
}
