#include "qvpacketDecode.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using qvPacket::Item;

namespace {

std::string int32(int value)
{
    std::string bytes(4, '\0');
    std::memcpy(&bytes[0], &value, 4);
    return bytes;
}

std::string doubles(std::vector<double> values)
{
    return std::string(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(double));
}

// "Int 5, DoubleArray[1]" and so on: kinds, tags and lengths of the top-level items.
std::string shape(const std::vector<Item>& items)
{
    std::string text;
    for (const Item& item : items) {
        text += text.empty() ? "" : ", ";
        text += item.kind == Item::SubPacket ? "[" + shape(item.items) + "]"
                : item.kind == Item::Chunk   ? "<" + shape(item.items) + ">"
                                             : std::string(1, item.tag);
        if (item.kind == Item::Array)
            text += std::to_string(item.numbers.size());
    }
    return text;
}

} // namespace

TEST(QvPacketDecode, AsciiArraysTakeTheLengthWrittenBeforeThem)
{
    std::vector<Item> items;
    // Three Ints written after an IntArray read as its elements only when no length says otherwise.
    std::string text = "i2 5i7 i8 i9 \n  [ 5i1 i2 ] \n  < s\"a\\\"b\" > ";
    ASSERT_TRUE(qvPacket::decodeAscii(text.data(), static_cast<int>(text.size()), true, items).ok);
    EXPECT_EQ(shape(items), "i, 52, i, [52], <s>");
    EXPECT_EQ(items[4].items[0].text, "a\"b");

    struct Bad {
        const char* text;
        int at;
    };
    const Bad bad[] = {{"i1 x2 ", 3}, {"i1 s\"open ", 4}, {"i1 \n  [ i2 ", 11}, {"i1 ] ", 3}, {"c300 ", 0},
                       {"f1.5", 0}};
    for (const Bad& b : bad) {
        qvPacket::DecodeResult result =
            qvPacket::decodeAscii(b.text, static_cast<int>(std::strlen(b.text)), true, items);
        EXPECT_FALSE(result.ok) << b.text;
        EXPECT_EQ(result.at, b.at) << b.text;
    }
}

TEST(QvPacketDecode, BinaryArraysAreSplitWhereTheRestReads)
{
    std::vector<Item> items;
    // A DoubleArray whose elements hold tag-like bytes, filling its chunk: one array, not two.
    double tagLike;
    std::memcpy(&tagLike, "2\0\0\0\0\0\x08\x40", 8); // 3.0000000000000111
    std::string chunk = "0" + doubles({1.5, tagLike, -2.25});
    std::string body = "i" + int32(2) + "9" + std::string(8, '\0') + "." + "i" + int32(5 + static_cast<int>(chunk.size())) + chunk;
    ASSERT_TRUE(qvPacket::decodeBinary(body.data(), static_cast<int>(body.size()), false, items).ok);
    EXPECT_EQ(shape(items), "i, 92, <03>");

    // A DoubleArray followed by a Float and a sub-packet whose length slot stayed 0 (it holds
    // another sub-packet directly): the outer one runs to the end of the packet.
    std::string inner = "," + std::string("i") + int32(10) + "i" + int32(7);
    body = "0" + doubles({1.0, 2.0, 3.0}) + "f" + std::string("\0\0\xc0\x3f", 4) + "," + "i" + int32(0) + inner;
    ASSERT_TRUE(qvPacket::decodeBinary(body.data(), static_cast<int>(body.size()), false, items).ok);
    EXPECT_EQ(shape(items), "03, f, [[i]]");

    // Damage is placed at the first byte that no item can start.
    body = "i" + int32(1) + "s" + std::string("ab\0", 3) + "\x01" + int32(4);
    qvPacket::DecodeResult result = qvPacket::decodeBinary(body.data(), static_cast<int>(body.size()), false, items);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.at, 9);
}
