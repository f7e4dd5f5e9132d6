#include "ioMethodHelpers.h"
#include "ioPacketFileDebug.h"
#include "qvTestScene.h"

#include <gtest/gtest.h>

#include <cstring>

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
    });
    EXPECT_EQ(ioTest::headOf(file), "^@\n1\n1 1 1\n1 2 4 8 4 8 4\n@\n   0 packetFile_string\n"
                                    "   1 packetFile_EOF\n   2 t\n@\n");
    std::string framed = int32Bytes(5) + "," + int32Bytes(4) + "." + int32Bytes(6) + bytes({7, 0});
    EXPECT_EQ(ioTest::packetsOf(file), head(2, 0, 0) + head(2, 0, 16) + framed + head(1, 0, 0));
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
    EXPECT_EQ(ioTest::headOf(binary).substr(0, 11), "^@\n1\n1 3 1\n");
    std::string framed = "i" + int32Bytes(5) + ",i" + int32Bytes(5) + ".i" + int32Bytes(8) + "h" + bytes({7, 0});
    std::string referenced = "rI" + int32Bytes(1) + "5" + int32Bytes(1) + int32Bytes(2) + "Bb" + bytes({1})
                             + "b" + bytes({0}) + "0" + "sa>" + bytes({0});
    EXPECT_EQ(ioTest::packetsOf(binary), head(2, 0, 20) + framed + head(2, 1, 25) + referenced + head(1, 0, 0));

    TestRegistry asciiRegistry(false, {new LambdaType("t")});
    std::string ascii = ioTest::writeMethodFile(dir.file("a.qv"), asciiRegistry, ioWriteAsciiDebug, body);
    EXPECT_EQ(ioTest::headOf(ascii).substr(0, 11), "^@\n1\n1 2 1\n");
    EXPECT_EQ(ioTest::packetsOf(ascii), "{ 2 0 i5 \n  [ ] \n  < h7 > }\n"
                                        "{ 2 1 rI1 5i1 i2 Bb1 b0 0s\"a\\>\" }\n{ 1 0 }\n");
}

TEST(BinaryFormat, EveryValueTypeReadsBackInEveryMethodAndByteOrder)
{
    qvTest::TempDir dir;
    const short shorts[] = {-2, 300};
    const unsigned short ushorts[] = {65535, 1};
    const int ints[] = {-70000, 1 << 30};
    const unsigned uints[] = {4000000000u, 3};
    const int64_t int64s[] = {-(int64_t(1) << 40), 9};
    const uint64_t uint64s[] = {~uint64_t(0), 1};
    const float floats[] = {0.1f, -3.5f};
    const double doubles[] = {0.1, -1e300};
    const char chars[] = {'x', '\0', -1};
    const unsigned char uchars[] = {0, 255};
    const bool bools[] = {true, false, true};
    std::string big(60000, 'q'); // grows the buffer past its first 50000 bytes on both sides
    auto write = [&](ioWriteContext& ctx) {
        ctx.startPacket("values");
        ctx.writeBool(true);
        ctx.writeChar(-1);
        ctx.writeUChar(255);
        ctx.writeShort(-2);
        ctx.writeUShort(65535);
        ctx.writeInt(-70000);
        ctx.writeUInt(4000000000u);
        ctx.writeInt64(-(int64_t(1) << 40));
        ctx.writeUInt64(~uint64_t(0));
        ctx.writeFloat(0.1f);
        ctx.writeDouble(0.1);
        ctx.writeCString("");
        ctx.writeCString(big.c_str());
        ctx.startSubPacket();
        ctx.writeShortArray(shorts, 2);
        ctx.writeUShortArray(ushorts, 2);
        ctx.startChunk();
        ctx.writeIntArray(ints, 2);
        ctx.writeUIntArray(uints, 2);
        ctx.startChunk();
        ctx.writeInt64Array(int64s, 2);
        ctx.writeUInt64Array(uint64s, 2);
        ctx.endSubPacket();
        ctx.writeFloatArray(floats, 2);
        ctx.writeDoubleArray(doubles, 2);
        ctx.writeCharArray(chars, 3);
        ctx.writeUCharArray(uchars, 2);
        ctx.writeBoolArray(bools, 3);
        ctx.endPacket();
    };
    auto read = [&](ioClientReadContext& client) {
        ioReadContext& ctx = client.context();
        EXPECT_TRUE(ctx.readBool());
        EXPECT_EQ(ctx.readChar(), -1);
        EXPECT_EQ(ctx.readUChar(), 255);
        EXPECT_EQ(ctx.readShort(), -2);
        EXPECT_EQ(ctx.readUShort(), 65535);
        EXPECT_EQ(ctx.readInt(), -70000);
        EXPECT_EQ(ctx.readUInt(), 4000000000u);
        EXPECT_EQ(ctx.readInt64(), -(int64_t(1) << 40));
        EXPECT_EQ(ctx.readUInt64(), ~uint64_t(0));
        EXPECT_EQ(ctx.readFloat(), 0.1f);
        EXPECT_EQ(ctx.readDouble(), 0.1);
        EXPECT_STREQ(ctx.readCString(), "");
        EXPECT_EQ(std::string(ctx.readCString()), big);
        ctx.startSubPacket();
        EXPECT_TRUE(ctx.subPacketHasData());
        short s[2];
        unsigned short us[2];
        int i[2];
        unsigned ui[2];
        int64_t l[2];
        uint64_t ul[2];
        float f[2];
        double d[2];
        char c[3];
        unsigned char uc[2];
        bool b[3];
        ctx.readShortArray(s, 2);
        ctx.readUShortArray(us, 2);
        ctx.nextChunk();
        ctx.readIntArray(i, 2);
        ctx.readUIntArray(ui, 2);
        ctx.nextChunk();
        ctx.readInt64Array(l, 2);
        ctx.readUInt64Array(ul, 2);
        ctx.endSubPacket();
        ctx.readFloatArray(f, 2);
        ctx.readDoubleArray(d, 2);
        ctx.readCharArray(c, 3);
        ctx.readUCharArray(uc, 2);
        ctx.readBoolArray(b, 3);
        EXPECT_EQ(0, std::memcmp(s, shorts, sizeof s));
        EXPECT_EQ(0, std::memcmp(us, ushorts, sizeof us));
        EXPECT_EQ(0, std::memcmp(i, ints, sizeof i));
        EXPECT_EQ(0, std::memcmp(ui, uints, sizeof ui));
        EXPECT_EQ(0, std::memcmp(l, int64s, sizeof l));
        EXPECT_EQ(0, std::memcmp(ul, uint64s, sizeof ul));
        EXPECT_EQ(0, std::memcmp(f, floats, sizeof f));
        EXPECT_EQ(0, std::memcmp(d, doubles, sizeof d));
        EXPECT_EQ(0, std::memcmp(c, chars, sizeof c));
        EXPECT_EQ(0, std::memcmp(uc, uchars, sizeof uc));
        EXPECT_EQ(0, std::memcmp(b, bools, sizeof b));
    };
    struct Case {
        ioWriteMethod method;
        bool swapped;
    };
    for (Case c : {Case{ioWriteBinary, false}, Case{ioWriteBinaryDebug, false}, Case{ioWriteAsciiDebug, false},
                   Case{ioWriteBinary, true}, Case{ioWriteBinaryDebug, true}}) {
        SCOPED_TRACE(std::to_string(c.method) + (c.swapped ? " swapped" : ""));
        ErrorCapture errors;
        std::string path = dir.file("v.qv");
        TestRegistry out(false, {new LambdaType("values")});
        if (!c.swapped) {
            ioTest::writeMethodFile(path, out, c.method, write);
        } else {
            ioBufferedStreamOutput stream;
            stream.openFile(path.c_str());
            std::unique_ptr<ioWriteContext> ctx;
            if (c.method == ioWriteBinary)
                ctx.reset(new ioTest::SwappingWriter<ioWriteContextBinary>(stream));
            else
                ctx.reset(new ioTest::SwappingWriter<ioWriteContextBinaryDebug>(stream));
            ctx->associateRegistry(&out);
            ctx->startFile();
            write(*ctx);
            ctx->endFile();
            stream.close();
            qvTest::writeFileBytes(path, ioTest::bigEndianFile(qvTest::readFileBytes(path)));
        }
        int packets = 0;
        TestRegistry in(true, {new LambdaType("values", [&](ioClientReadContext& client) {
                            read(client);
                            ++packets;
                        })});
        ioTest::ReadOutcome outcome = ioTest::readFile(path, in);
        EXPECT_EQ(outcome.status, ioOk);
        EXPECT_EQ(packets, 1);
        EXPECT_EQ(errors.messages(), "");
    }
}

TEST(BinaryFormat, AnyNonZeroByteReadsAsTrueAndStringsPointIntoThePacket)
{
    qvTest::TempDir dir;
    TestRegistry out(false, {new LambdaType("t")});
    std::string file = ioTest::writeMethodFile(dir.file("b.qv"), out, ioWriteBinary, [&](ioWriteContext& ctx) {
        ctx.startPacket("t");
        ctx.writeBool(true);
        ctx.writeCString("ab");
        ctx.writeCString("cd");
        ctx.endPacket();
    });
    size_t at = file.size() - ioTest::packetsOf(file).size() + 12;
    file[at] = 7;
    qvTest::writeFileBytes(dir.file("b.qv"), file);
    TestRegistry in(true, {new LambdaType("t", [&](ioClientReadContext& client) {
                        EXPECT_TRUE(client->readBool());
                        const char* first = client->readCString();
                        const char* second = client->readCString();
                        EXPECT_STREQ(first, "ab"); // not overwritten by the second
                        EXPECT_EQ(second, first + 3);
                    })});
    EXPECT_EQ(ioTest::readFile(dir.file("b.qv"), in).status, ioOk);
}

TEST(DebugFormat, MismatchIsReportedInThreeLinesAndIsFatal)
{
    qvTest::TempDir dir;
    for (ioWriteMethod method : {ioWriteBinaryDebug, ioWriteAsciiDebug}) {
        TestRegistry out(false, {new LambdaType("t")});
        ioTest::writeMethodFile(dir.file("d.qv"), out, method, [&](ioWriteContext& ctx) {
            ctx.startPacket("t");
            ctx.writeInt(1);
            ctx.writeFloat(2.5f);
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
        std::string expected = "Packet file type mismatch:\n   got: Float (66)\n   expected: Int (69)\n"
                               "ioPacketFile: Fatal error.  Aborting.\n";
        EXPECT_EQ(errors.messages().substr(0, expected.size()), expected) << method;
    }
}

TEST(DebugFormat, TagsOfHighCodesPassForEveryTypeAndUnknownTagsAreNamed)
{
    qvTest::TempDir dir;
    TestRegistry out(false, {new LambdaType("t")});
    std::string file = ioTest::writeMethodFile(dir.file("d.qv"), out, ioWriteBinaryDebug, [&](ioWriteContext& ctx) {
        ctx.startPacket("t");
        ctx.writeInt(1);
        ctx.writeDouble(2);
        ctx.endPacket();
    });
    size_t at = file.size() - ioTest::packetsOf(file).size() + 12;
    file[at] = static_cast<char>(0x80);     // Int tag
    file[at + 5] = static_cast<char>(0xFF); // Double tag
    qvTest::writeFileBytes(dir.file("d.qv"), file);
    ErrorCapture errors;
    TestRegistry in(true, {new LambdaType("t", [&](ioClientReadContext& client) {
                        EXPECT_EQ(client->readInt(), 1);
                        EXPECT_EQ(client->readDouble(), 2.0);
                    })});
    EXPECT_EQ(ioTest::readFile(dir.file("d.qv"), in).status, ioOk);
    EXPECT_EQ(errors.messages(), "");
    EXPECT_STREQ(ioDebugTagName('0'), "DoubleArray");
    EXPECT_STREQ(ioDebugTagName('z'), "(invalid type)");
}

TEST(SceneRoundTrip, EveryMethodAndByteOrderGivesBackTheScene)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({1500, 4, 12, 3});
    auto check = [&](const std::string& path, const char* what) {
        ErrorCapture errors;
        qvTest::Scene copy;
        qvTest::SceneReadResult result;
        ASSERT_NO_THROW(result = qvTest::readSceneFile(copy, path)) << what << "\n" << errors.messages();
        ASSERT_TRUE(result.opened) << what;
        EXPECT_EQ(result.status, ioOk) << what;
        EXPECT_EQ(qvTest::compareScenes(scene, copy), "") << what;
        EXPECT_EQ(result.unresolved.size(), 3u) << what;
    };
    for (ioWriteMethod method : {ioWriteAscii, ioWriteBinary, ioWriteAsciiDebug, ioWriteBinaryDebug}) {
        std::string path = dir.file("scene" + std::to_string(method) + ".qv");
        ASSERT_EQ(qvTest::writeSceneFile(scene, path, method), ioOk);
        check(path, ("method " + std::to_string(method)).c_str());
    }
    for (bool debug : {false, true}) {
        std::string path = dir.file(debug ? "big-debug.qv" : "big.qv");
        ioBufferedStreamOutput stream;
        stream.openFile(path.c_str());
        ASSERT_EQ(qvTest::writeScene(scene, stream, [debug](ioBufferedStreamOutput& out) -> ioWriteContext* {
            if (debug)
                return new ioTest::SwappingWriter<ioWriteContextBinaryDebug>(out);
            return new ioTest::SwappingWriter<ioWriteContextBinary>(out);
        }), ioOk);
        stream.close();
        qvTest::writeFileBytes(path, ioTest::bigEndianFile(qvTest::readFileBytes(path)));
        check(path, debug ? "big-endian debug" : "big-endian");
    }
}
