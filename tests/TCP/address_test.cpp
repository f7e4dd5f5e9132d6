#include "qvTCPAddress.h"

#include <gtest/gtest.h>

#include <string>

using qvTCP::Address;

namespace {

// "<code> <message>" of the failure that constructing an address throws; "" when none.
template <class... Args> std::string failure(Args... args)
{
    try {
        Address address(args...);
    } catch (const qvUtil::Error& error) {
        return std::to_string(error.num()) + " " + error.message();
    }
    return "";
}

} // namespace

TEST(TCPAddress, HostAndPortTextIsSplitAndTheHostFormIsRecognised)
{
    Address byName("localhost:8080");
    EXPECT_EQ(byName.getPort(), 8080);
    EXPECT_TRUE(byName.isNameCached());
    EXPECT_FALSE(byName.isNumbersAndDotsCached());
    Address byNumber("127.0.0.1:80");
    EXPECT_TRUE(byNumber.isNumbersAndDotsCached());
    EXPECT_FALSE(byNumber.isNameCached());

    // The port is the leading number after the first colon.
    EXPECT_EQ(Address("host:12ab").getPort(), 12);
    // All ones is no address for the parser, so it stands for a name.
    EXPECT_TRUE(Address("255.255.255.255:1").isNameCached());

    for (const char* text : {":80", "hostonly", ""})
        EXPECT_EQ(failure(qvString::CString(text)), "2 qvTCP::Address: port number is missing") << text;
    EXPECT_EQ(failure("", 80), "2 qvTCP::Address: empty address specified");

    // Equal addresses need the same port; names are compared as they stand unless both are
    // dotted numbers, without a look-up.
    EXPECT_FALSE(Address("a:1") == Address("a:2"));
    EXPECT_TRUE(Address("a:1") == Address("a", 1));
    EXPECT_FALSE(Address("10.0.0.1:5") == Address("10.0.0.2:5"));
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
}
