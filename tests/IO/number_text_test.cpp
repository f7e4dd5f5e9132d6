#include "internal/ioNumberText.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

using namespace io::internal;

namespace {

std::string viaPrintf(const char* format, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string formatted(char* (*format)(char*, double), double value)
{
    char text[maxNumberText + 1];
    char* end = format(text, value);
    return std::string(text, end);
}

char* formatFloatFromDouble(char* out, double value)
{
    return formatFloat(out, static_cast<float>(value));
}

// Doubles from random bit patterns cover every exponent, subnormals included.
double randomDouble(std::mt19937_64& random)
{
    for (;;) {
        uint64_t bits = random();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value))
            return value;
    }
}

} // namespace

// The file text must be the C runtime's "%.16g" and "%.7g" digits, and reading must give what
// atof gives, on every platform: checked over many random values.
TEST(NumberText, MatchesPrintfAndStrtodOverRandomValues)
{
    std::mt19937_64 random(2024);
    for (int i = 0; i < 200000; ++i) {
        double value = i % 2 ? randomDouble(random)
                             : std::ldexp(static_cast<double>(random() % 2000000) - 1e6,
                                          static_cast<int>(random() % 80) - 40);
        std::string text = formatted(formatDouble, value);
        ASSERT_EQ(text, viaPrintf("%.16g", value)) << i;
        const char* at = text.data();
        double back = parseDouble(at, text.data() + text.size());
        ASSERT_EQ(at, text.data() + text.size()) << text;
        ASSERT_EQ(back, std::strtod(text.c_str(), nullptr)) << text;

        float single = static_cast<float>(value);
        if (std::isfinite(single)) {
            std::string shortText = formatted(formatFloatFromDouble, single);
            ASSERT_EQ(shortText, viaPrintf("%.7g", static_cast<double>(single))) << i;
            const char* shortAt = shortText.data();
            ASSERT_EQ(static_cast<float>(parseDouble(shortAt, shortText.data() + shortText.size())),
                      static_cast<float>(std::strtod(shortText.c_str(), nullptr)))
                << shortText;
        }
        // Full-precision text converts as strtod converts it.
        std::string longText = viaPrintf("%.25g", value);
        const char* longAt = longText.data();
        ASSERT_EQ(parseDouble(longAt, longText.data() + longText.size()),
                  std::strtod(longText.c_str(), nullptr))
            << longText;
    }
}

TEST(NumberText, ParsingFollowsTheCConversions)
{
    auto d = [](const char* text) { const char* end = text + std::strlen(text); return parseDouble(text, end); };
    EXPECT_EQ(d("  +1.5e3 "), 1500.0);
    EXPECT_EQ(d("-0"), 0.0);
    EXPECT_TRUE(std::signbit(d("-0")));
    EXPECT_EQ(d("abc"), 0.0);
    EXPECT_EQ(d(""), 0.0);
    EXPECT_EQ(d("+-1"), 0.0);
    EXPECT_EQ(d("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(d("-1e400"), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(d("1e-400"), 0.0);
    EXPECT_EQ(d("12abc"), 12.0);
    EXPECT_TRUE(std::isnan(d("nan")));
    EXPECT_EQ(d("-inf"), -std::numeric_limits<double>::infinity());
    const float inf = std::numeric_limits<float>::infinity();
    const float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(narrowToFloat(1e300), inf);
    EXPECT_EQ(narrowToFloat(-1e39), -inf);
    EXPECT_EQ(narrowToFloat(static_cast<double>(largest)), largest);
    EXPECT_EQ(narrowToFloat(static_cast<double>(largest) * (1 + 1e-9)), largest);
    EXPECT_EQ(narrowToFloat(0.1), 0.1f);

    auto i32 = [](const char* text) { const char* end = text + std::strlen(text); return parseInt32(text, end); };
    EXPECT_EQ(i32(" -12x"), -12);
    EXPECT_EQ(i32("2147483647"), 2147483647);
    EXPECT_EQ(i32("2147483648"), 2147483647);
    EXPECT_EQ(i32("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(i32("-99999999999999999999999"), -2147483647 - 1);
    EXPECT_EQ(i32("x"), 0);

    auto u32 = [](const char* text) { const char* end = text + std::strlen(text); return parseUInt32(text, end); };
    EXPECT_EQ(u32("4294967295"), 4294967295u);
    EXPECT_EQ(u32("4294967296"), 4294967295u);
    EXPECT_EQ(u32("-1"), 4294967295u);
    EXPECT_EQ(u32("+7"), 7u);

    auto i64 = [](const char* text) { const char* end = text + std::strlen(text); return parseInt64(text, end); };
    auto u64 = [](const char* text) { const char* end = text + std::strlen(text); return parseUInt64(text, end); };
    EXPECT_EQ(i64("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(i64("9223372036854775808"), INT64_MAX);
    EXPECT_EQ(u64("18446744073709551615"), UINT64_MAX);
    EXPECT_EQ(u64("18446744073709551616"), UINT64_MAX);
    EXPECT_EQ(u64("-1"), UINT64_MAX);

    std::mt19937_64 random(3);
    for (int i = 0; i < 20000; ++i) {
        int64_t value = static_cast<int64_t>(random());
        char text[maxNumberText + 1];
        *formatInteger(text, value) = '\0';
        char expected[32];
        std::snprintf(expected, sizeof expected, "%" PRId64, value);
        ASSERT_STREQ(text, expected);
        const char* at = text;
        ASSERT_EQ(parseInt64(at, text + std::strlen(text)), value);
        ASSERT_EQ(*at, '\0');
        uint32_t small = static_cast<uint32_t>(value);
        *formatInteger(text, small) = '\0';
        at = text;
        ASSERT_EQ(parseUInt32(at, text + std::strlen(text)), small);
    }
}
