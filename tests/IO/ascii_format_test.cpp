#include "ioPacketFileAscii.h"
#include "ioTestHelpers.h"

#include <gtest/gtest.h>

using ioTest::ErrorCapture;
using ioTest::LambdaType;
using ioTest::TestRegistry;

TEST(AsciiFormat, EveryValueIsWrittenByteForByteAndReadBack)
{
    qvTest::TempDir dir;
    TestRegistry registry(false, {new LambdaType("point"), new LambdaType("label")});
    int object = 0;
    const double seventeenDigits = 0.1234567890123456789;
    const std::string special = "\"<>[\\]{}\nline\ttab \xC3\xA9";
    std::string file = ioTest::writeMethodFile(dir.file("x.qv"), registry, ioWriteAscii, [&](ioWriteContext& ctx) {
        ctx.startPacket("point", &object);
        ctx.writeDoubleArray(std::vector<double>{1.0, -2.5, 1e300}.data(), 3);
        ctx.writeReference(&object, false);
        ctx.startChunk();
        ctx.writeInt64(-9223372036854775807LL - 1);
        ctx.writeUInt64(18446744073709551615ULL);
        ctx.endPacket();
        ctx.writeCStringPacket("say \"hi\"");
        ctx.writeCStringPacket(nullptr);
        ctx.startPacket("label");
        ctx.writeReference(&object, false);
        ctx.writeBool(true);
        ctx.writeChar(static_cast<char>(-1));
        ctx.writeUChar(255);
        ctx.writeShort(-32768);
        ctx.writeUShort(65535);
        ctx.writeUInt(4294967295u);
        ctx.writeFloat(0.1f);
        ctx.writeDouble(seventeenDigits);
        ctx.writeCString("one");
        ctx.writeCString(special.c_str());
        ctx.startSubPacket();
        ctx.writeFloat(1.5f);
        ctx.writeDouble(0.1);
        ctx.endSubPacket();
        ctx.startSubPacket();
        ctx.endSubPacket();
        ctx.endPacket();
    });
    EXPECT_EQ(file, std::string(ioTest::asciiHeader())
                        + "   0 packetFile_string\n   1 packetFile_EOF\n   2 point\n   3 label\n@\n"
                          "{ 2 1 1 1 -2.5 1e+300 1 \n  < -9223372036854775808 18446744073709551615 > }\n"
                          "{ 0 1 2 \"say \\\"hi\\\"\" }\n"
                          "{ 3 0 1 1 -1 255 -32768 65535 4294967295 0.1 0.1234567890123457 \"one\" "
                          "\"\\\"\\<\\>\\[\\\\\\]\\{\\}\nline\ttab \xC3\xA9\" \n  [ 1.5 0.1 ] \n  [ ] }\n"
                          "{ 1 0 }\n");

    unsigned char fromMinus1 = 0;
    double d17 = 0;
    const char* first = nullptr;
    std::string firstText, specialText;
    void* pointRead = nullptr;
    auto point = [&](ioClientReadContext& ctx) { ctx->definePacketReference(&pointRead); };
    TestRegistry reader(true, {new LambdaType("point", point), new LambdaType("label", [&](ioClientReadContext& ctx) {
                                   EXPECT_EQ(ctx->readReferenceUsage(), &pointRead);
                                   ctx->readBool();
                                   ctx->readUChar(fromMinus1);
                                   for (int i = 0; i < 4; ++i)
                                       ctx->readInt();
                                   ctx->readFloat();
                                   ctx->readDouble(d17);
                                   first = ctx->readCString();
                                   firstText = first;
                                   specialText = ctx->readCString();
                               })});
    EXPECT_EQ(ioTest::readFile(dir.file("x.qv"), reader).status, ioOk);
    EXPECT_EQ(fromMinus1, 255);
    EXPECT_NE(d17, seventeenDigits);
    EXPECT_NEAR(d17, seventeenDigits, 1e-16);
    EXPECT_EQ(firstText, "one");
    EXPECT_EQ(specialText, special);
    // One process-wide string buffer: the first pointer now shows the latest string.
    EXPECT_STREQ(first, special.c_str());
}

TEST(AsciiFormat, ReaderSkipsStrayTextAndKeepsEscapedBraces)
{
    qvTest::TempDir dir;
    std::string path = dir.file("stray.qv");
    qvTest::writeFileBytes(path, std::string(ioTest::asciiHeader())
                                     + "   0 packetFile_string\n   1 packetFile_EOF\n   2 v\n@\n"
                                       "stray text } here\n{ 2 0 \"x\\}y\" 7 }junk{ 1 0 }\n");
    std::string text;
    int number = 0;
    TestRegistry reader(true, {new LambdaType("v", [&](ioClientReadContext& ctx) {
        text = ctx->readCString();
        number = ctx->readInt();
    })});
    ioTest::ReadOutcome outcome = ioTest::readFile(path, reader);
    EXPECT_EQ(outcome.status, ioOk);
    EXPECT_EQ(outcome.packets, 1);
    EXPECT_EQ(text, "x}y");
    EXPECT_EQ(number, 7);
}

TEST(AsciiFormat, SubPacketsAndChunksNestAndSkip)
{
    qvTest::TempDir dir;
    TestRegistry writer(false, {new LambdaType("n")});
    ioTest::writeMethodFile(dir.file("n.qv"), writer, ioWriteAscii, [&](ioWriteContext& ctx) {
        ctx.startPacket("n");
        ctx.writeInt(1);
        ctx.startSubPacket();
        ctx.writeInt(2);
        ctx.startSubPacket();
        ctx.writeCString("]>");
        ctx.endSubPacket();
        ctx.startChunk();
        ctx.writeInt(3);
        ctx.endSubPacket();
        ctx.startSubPacket();
        ctx.endSubPacket();
        ctx.startChunk();
        ctx.writeInt(4);
        ctx.startChunk();
        ctx.writeInt(5);
        ctx.endPacket();
    });
    std::vector<int> values;
    std::vector<bool> hasData;
    TestRegistry reader(true, {new LambdaType("n", [&](ioClientReadContext& ctx) {
        values.push_back(ctx->readInt());
        ctx->startSubPacket();
        hasData.push_back(ctx->subPacketHasData());
        // Skips the rest of the sub-packet unread, nested sub-packet and chunk included.
        ctx->endSubPacket();
        ctx->startSubPacket();
        hasData.push_back(ctx->subPacketHasData());
        ctx->endSubPacket();
        ctx->nextChunk();
        ctx->nextChunk(); // leaves the first chunk unread
        values.push_back(ctx->readInt());
        ctx->endChunk();
    })});
    ioTest::ReadOutcome outcome = ioTest::readFile(dir.file("n.qv"), reader);
    EXPECT_EQ(outcome.status, ioOk);
    EXPECT_EQ(values, (std::vector<int>{1, 5}));
    EXPECT_EQ(hasData, (std::vector<bool>{true, false}));
}
