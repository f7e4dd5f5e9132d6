#include "qvTCPAddress.h"

#include <gtest/gtest.h>

#include <string>

using qvTCP::Address;

namespace {

qvUtil::Error parseFailure(const char* text)
{
    try {
        Address address{qvString::CString(text)};
    } catch (const qvUtil::Error& error) {
        return error;
    }
    return qvUtil::Error();
}

} // namespace

TEST(TCPAddress, HostAndPortTextIsSplitAndTheHostFormIsRecognised)
{
    Address byName("localhost:8080");
    EXPECT_EQ(byName.getPort(), 8080);
    EXPECT_TRUE(byName.isNameCached());
    EXPECT_FALSE(byName.isNumbersAndDotsCached());

    Address byNumber("127.0.0.1:80");
    EXPECT_EQ(byNumber.getPort(), 80);
    EXPECT_TRUE(byNumber.isNumbersAndDotsCached());
    EXPECT_FALSE(byNumber.isNameCached());

    // The port is the leading number after the first colon.
    EXPECT_EQ(Address("host:").getPort(), 0);
    EXPECT_EQ(Address("host:12ab").getPort(), 12);
    // All ones is no address for the parser, so it stands for a name.
    EXPECT_TRUE(Address("255.255.255.255:1").isNameCached());

    for (const char* text : {":80", "hostonly", ""}) {
        qvUtil::Error error = parseFailure(text);
        EXPECT_EQ(error.num(), 2) << text;
        EXPECT_STREQ(error.message(), "qvTCP::Address: port number is missing") << text;
    }
    qvUtil::Error empty;
    try {
        Address address("", 80);
    } catch (const qvUtil::Error& error) {
        empty = error;
    }
    EXPECT_EQ(empty.num(), 2);
    EXPECT_STREQ(empty.message(), "qvTCP::Address: empty address specified");
}

TEST(TCPAddress, EqualityNeedsTheSamePortAndComparesNamesUnlessBothAreDotted)
{
    EXPECT_FALSE(Address("a:1") == Address("a:2"));
    EXPECT_TRUE(Address("a:1") == Address("a", 1));
    EXPECT_TRUE(Address("10.0.0.1:5") == Address("10.0.0.1", 5));
    EXPECT_FALSE(Address("10.0.0.1:5") == Address("10.0.0.2:5"));
    // One by number and one by name: the names are compared as they stand, without a look-up.
    EXPECT_FALSE(Address("127.0.0.1:5") == Address("localhost:5"));
}

TEST(TCPAddress, LoopbackLookUpsFillAndCacheTheMissingForm)
{
    Address byName("localhost", 7);
    std::pair<qvString::CString, qvUtil::Error> dotted = byName.getNumbersAndDots();
    ASSERT_FALSE(dotted.second) << dotted.second.message();
    EXPECT_EQ(std::string(dotted.first.asChar()).rfind("127.", 0), 0u) << dotted.first.asChar();
    EXPECT_TRUE(byName.isNumbersAndDotsCached());
    // Both dotted now: they compare by number.
    EXPECT_TRUE(byName == Address(dotted.first, 7));

    Address byNumber("127.0.0.1", 7);
    std::pair<qvString::CString, qvUtil::Error> name = byNumber.getName();
    ASSERT_FALSE(name.second) << name.second.message();
    EXPECT_GT(name.first.length(), 0u);
    EXPECT_TRUE(byNumber.isNameCached());
    EXPECT_EQ(byNumber.getName().first, name.first);

    // resolve() fills both forms but leaves the flags as they were.
    Address resolved("localhost", 7);
    qvUtil::Error error = resolved.resolve();
    EXPECT_FALSE(error) << error.message();
    EXPECT_FALSE(resolved.isNumbersAndDotsCached());
    EXPECT_TRUE(resolved.isNameCached());
}
