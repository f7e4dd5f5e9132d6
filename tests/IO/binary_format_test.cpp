#include "ioTestHelpers.h"
#include "ioPacketFileDebug.h"

#include <gtest/gtest.h>


using ioTest::ErrorCapture;
using ioTest::int32Bytes;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

std::string bytes(std::initializer_list<int> values)
{
    std::string out;
    for (int v : values)
        out.push_back(static_cast<char>(v));
    return out;
}

// A short as this machine writes it.
std::string shortBytes(short value)
{
    return std::string(reinterpret_cast<const char*>(&value), 2);
}

std::string head(int id, int hasObject, int body)
{
    return int32Bytes(id) + int32Bytes(hasObject) + int32Bytes(body);
}

// A packet with an Int, an empty sub-packet and a chunk holding a Short.
void writeFramed(ioWriteContext& ctx, ioPacketType* type)
{
    ctx.startPacket(type);
    ctx.writeInt(5);
    ctx.startSubPacket();
    ctx.endSubPacket();
    ctx.startChunk();
    ctx.writeShort(7);
    ctx.endPacket();
}

} // namespace

TEST(BinaryFormat, PacketsSubPacketsAndChunksHaveTheirExactBytes)
{
    qvTest::TempDir dir;
    TestRegistry registry(false, {new LambdaType("t")});
    std::string file = ioTest::writeMethodFile(dir.file("b.qv"), registry, ioWriteBinary, [&](ioWriteContext& ctx) {
        ioPacketType* type = registry.lookup("t");
        ctx.startPacket(type);
        ctx.endPacket();
        writeFramed(ctx, type);
        ctx.startPacket(type);
        ctx.writeBool(true);
        ctx.writeCString("ab");
        ctx.writeCString("cd");
        ctx.endPacket();
    });
    EXPECT_EQ(ioTest::headOf(file), ioTest::binaryHeader(ioWriteBinary) + "   0 packetFile_string\n"
                                                                         "   1 packetFile_EOF\n   2 t\n@\n");
    std::string framed = int32Bytes(5) + "," + int32Bytes(4) + "." + int32Bytes(6) + shortBytes(7);
    EXPECT_EQ(ioTest::packetsOf(file), head(2, 0, 0) + head(2, 0, 16) + framed + head(2, 0, 7)
                                           + bytes({1}) + std::string("ab\0cd\0", 6) + head(1, 0, 0));

    // Any non-zero byte reads as true; strings point into the packet, so the first survives
    // the second.
    file[file.size() - 12 - 7] = 7;
    qvTest::writeFileBytes(dir.file("b.qv"), file);
    int seen = 0;
    TestRegistry in(true, {new LambdaType("t", [&](ioClientReadContext& client) {
                        if (++seen < 3)
                            return;
                        EXPECT_TRUE(client->readBool());
                        const char* first = client->readCString();
                        const char* second = client->readCString();
                        EXPECT_STREQ(first, "ab");
                        EXPECT_EQ(second, first + 3);
                    })});
    EXPECT_EQ(ioTest::readFile(dir.file("b.qv"), in).status, ioOk);
    EXPECT_EQ(seen, 3);
}

TEST(BinaryFormat, CheckingVariantsTagEveryValueAndCountTagsInLengths)
{
    qvTest::TempDir dir;
    TestRegistry registry(false, {new LambdaType("t")});
    int object = 0;
    auto body = [&](ioWriteContext& ctx) {
        writeFramed(ctx, registry.lookup("t"));
        ctx.startPacket(registry.lookup("t"), &object);
        const int values[] = {1, 2};
        ctx.writeIntArray(values, 2);
        const bool flags[] = {true, false};
        ctx.writeBoolArray(flags, 2);
        ctx.writeDoubleArray(nullptr, 0);
        ctx.writeCString("a>");
        ctx.endPacket();
    };
    std::string binary = ioTest::writeMethodFile(dir.file("b.qv"), registry, ioWriteBinaryDebug, body);
    EXPECT_EQ(ioTest::headOf(binary).substr(0, 11), ioTest::binaryHeader(ioWriteBinaryDebug).substr(0, 11));
    std::string framed = "i" + int32Bytes(5) + ",i" + int32Bytes(5) + ".i" + int32Bytes(8) + "h" + shortBytes(7);
    std::string referenced = "rI" + int32Bytes(1) + "5" + int32Bytes(1) + int32Bytes(2) + "Bb" + bytes({1})
                             + "b" + bytes({0}) + "0" + "sa>" + bytes({0});
    EXPECT_EQ(ioTest::packetsOf(binary), head(2, 0, 20) + framed + head(2, 1, 25) + referenced + head(1, 0, 0));

    TestRegistry asciiRegistry(false, {new LambdaType("t")});
    std::string ascii = ioTest::writeMethodFile(dir.file("a.qv"), asciiRegistry, ioWriteAsciiDebug, body);
    EXPECT_EQ(ioTest::headOf(ascii).substr(0, 11), "^@\n1\n1 2 1\n");
    EXPECT_EQ(ioTest::packetsOf(ascii), "{ 2 0 i5 \n  [ ] \n  < h7 > }\n"
                                        "{ 2 1 rI1 5i1 i2 Bb1 b0 0s\"a\\>\" }\n{ 1 0 }\n");
}

// A mismatch is reported in three lines and is fatal; tags with the high bit set pass for every
// type (kept: older writers set it), and unknown tags are named.
TEST(DebugFormat, TagsAreCheckedOnReading)
{
    qvTest::TempDir dir;
    for (ioWriteMethod method : {ioWriteBinaryDebug, ioWriteAsciiDebug}) {
        TestRegistry out(false, {new LambdaType("t")});
        std::string file = ioTest::writeMethodFile(dir.file("d.qv"), out, method, [&](ioWriteContext& ctx) {
            ctx.startPacket("t");
            ctx.writeInt(1);
            ctx.writeDouble(2.5);
            ctx.endPacket();
        });
        ErrorCapture errors;
        int got = 0;
        TestRegistry in(true, {new LambdaType("t", [&](ioClientReadContext& client) {
                            got = client->readInt();
                            client->readInt();
                        })});
        EXPECT_THROW(ioTest::readFile(dir.file("d.qv"), in), ErrorCapture::FatalError);
        EXPECT_EQ(got, 1);
        std::string expected = "Packet file type mismatch:\n   got: Double (64)\n   expected: Int (69)\n"
                               "ioPacketFile: Fatal error.  Aborting.\n";
        EXPECT_EQ(errors.messages().substr(0, expected.size()), expected) << method;
        if (method != ioWriteBinaryDebug)
            continue;

        size_t at = file.size() - ioTest::packetsOf(file).size() + 12;
        file[at] = static_cast<char>(0x80);     // Int tag
        file[at + 5] = static_cast<char>(0xFF); // Double tag
        qvTest::writeFileBytes(dir.file("d.qv"), file);
        TestRegistry high(true, {new LambdaType("t", [&](ioClientReadContext& client) {
                              EXPECT_EQ(client->readInt(), 1);
                              EXPECT_EQ(client->readDouble(), 2.5);
                          })});
        EXPECT_EQ(ioTest::readFile(dir.file("d.qv"), high).status, ioOk);
        EXPECT_EQ(errors.messages().size(), expected.size());
    }
    EXPECT_STREQ(ioDebugTagName('0'), "DoubleArray");
    EXPECT_STREQ(ioDebugTagName('z'), "(invalid type)");
}
