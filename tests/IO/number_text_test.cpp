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

// Parses the whole text (all of it must be consumed) and gives what strtod gives.
void expectParsedAsStrtod(const std::string& text, bool single = false)
{
    const char* at = text.data();
    double value = parseDouble(at, text.data() + text.size());
    ASSERT_EQ(at, text.data() + text.size()) << text;
    double expected = std::strtod(text.c_str(), nullptr);
    if (single)
        ASSERT_EQ(static_cast<float>(value), static_cast<float>(expected)) << text;
    else
        ASSERT_EQ(value, expected) << text;
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

// The file text must be the C runtime's "%.16g" and "%.7g" digits (and printf's for integers),
// and reading must give what atof gives, on every platform: checked over many random values.
TEST(NumberText, MatchesPrintfAndStrtodOverRandomValues)
{
    std::mt19937_64 random(2024);
    char text[maxNumberText + 1];
    for (int i = 0; i < 200000; ++i) {
        double value = i % 2 ? randomDouble(random)
                             : std::ldexp(static_cast<double>(random() % 2000000) - 1e6,
                                          static_cast<int>(random() % 80) - 40);
        std::string digits(text, formatDouble(text, value));
        ASSERT_EQ(digits, viaPrintf("%.16g", value)) << i;
        expectParsedAsStrtod(digits);
        float single = static_cast<float>(value);
        if (std::isfinite(single)) {
            digits.assign(text, formatFloat(text, single));
            ASSERT_EQ(digits, viaPrintf("%.7g", static_cast<double>(single))) << i;
            expectParsedAsStrtod(digits, true);
        }
        expectParsedAsStrtod(viaPrintf("%.25g", value));

        int64_t integer = static_cast<int64_t>(random());
        digits.assign(text, formatInteger(text, integer));
        char expected[32];
        std::snprintf(expected, sizeof expected, "%" PRId64, integer);
        ASSERT_EQ(digits, expected);
        const char* at = digits.c_str();
        ASSERT_EQ(parseInt64(at, at + digits.size()), integer);
        ASSERT_EQ(at, digits.c_str() + digits.size());
    }
}

TEST(NumberText, ParsingFollowsTheCConversions)
{
    auto whole = [](auto parse) { return [parse](const char* text) { return parse(text, text + std::strlen(text)); }; };
    auto d = whole(parseDouble);
    const double inf = std::numeric_limits<double>::infinity();
    for (auto [text, value] : std::vector<std::pair<const char*, double>>{
             {"  +1.5e3 ", 1500}, {"abc", 0}, {"", 0}, {"+-1", 0}, {"1e400", inf}, {"-1e400", -inf}, {"1e-400", 0},
             {"12abc", 12}, {"-inf", -inf}})
        EXPECT_EQ(d(text), value) << text;
    // Read one unit in the last place low by the 32-bit Windows runtime's own conversion.
    EXPECT_EQ(d("4.284383704639525e+27"), 4.284383704639525e+27);
    EXPECT_TRUE(std::signbit(d("-0")));
    EXPECT_TRUE(std::isnan(d("nan")));
    // Out of range for a float: infinity, except just above the largest float, which rounds to it.
    const float largest = std::numeric_limits<float>::max();
    EXPECT_EQ(narrowToFloat(1e300), std::numeric_limits<float>::infinity());
    EXPECT_EQ(narrowToFloat(-1e39), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(narrowToFloat(static_cast<double>(largest) * (1 + 1e-9)), largest);
    EXPECT_EQ(narrowToFloat(0.1), 0.1f);

    // Integers saturate, and unsigned ones wrap a minus sign as strtoul does.
    auto i32 = whole(parseInt32);
    EXPECT_EQ(i32(" -12x"), -12);
    EXPECT_EQ(i32("2147483648"), INT32_MAX);
    EXPECT_EQ(i32("-2147483648"), INT32_MIN);
    EXPECT_EQ(i32("-99999999999999999999999"), INT32_MIN);
    EXPECT_EQ(i32("x"), 0);
    auto u32 = whole(parseUInt32);
    EXPECT_EQ(u32("4294967296"), UINT32_MAX);
    EXPECT_EQ(u32("-1"), UINT32_MAX);
    EXPECT_EQ(u32("+7"), 7u);
    EXPECT_EQ(whole(parseInt64)("-9223372036854775808"), INT64_MIN);
    EXPECT_EQ(whole(parseInt64)("9223372036854775808"), INT64_MAX);
    EXPECT_EQ(whole(parseUInt64)("18446744073709551616"), UINT64_MAX);
    EXPECT_EQ(whole(parseUInt64)("-1"), UINT64_MAX);
}
