#include "../IO/ioFilterTestHelpers.h"
#include "../IO/ioMethodHelpers.h"
#include "ioBufferedStream.h"
#include "ioPacketFileDebug.h"
#include "qvOSProcess.h"
#include "qvTestScene.h"
#include "qvTestSupport.h"
#include "qvpacketCommands.h"
#include "qvpacketDecode.h"
#include "toolRun.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

using ioTest::Filter;
using Filters = std::vector<Filter>;

// A scene file in method with the filters pushed after the registry, in the given order.
void writeScene(const qvTest::Scene& scene, const std::string& path, ioWriteMethod method, const Filters& filters)
{
    ioBufferedStreamOutput stream;
    stream.openFile(path.c_str());
    ASSERT_EQ(qvTest::writeScene(scene, stream, method, [&] { ioTest::setFilters(stream, filters, true); }), ioOk);
    ioTest::setFilters(stream, filters, false);
    stream.close();
    ASSERT_TRUE(stream.good());
}

// The offset that a report gives ("byte offset N").
int reportedOffset(const std::string& err)
{
    size_t at = err.find("byte offset ");
    return at == std::string::npos ? -1 : std::atoi(err.c_str() + at + 12);
}

const char* const methods[] = {"ascii", "binary", "ascii-debug", "binary-debug"};

} // namespace

TEST(QvPacket, DamageIsReportedWithItsOffset)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({120, 5, 5, 0});
    struct Case {
        ioWriteMethod method;
        Filters filters;
        double where;    // fraction of the file
        int slack;       // how far past the damage the report may point
    };
    const Case cases[] = {
        {ioWriteBinaryDebug, {}, 0.5, 0},   // a value byte: its tag no longer decodes
        {ioWriteAsciiDebug, {}, 0.5, 0},
        {ioWriteBinary, {Filter::checksum}, 0.5, 4096 + 10},
    };
    for (const Case& c : cases) {
        std::string path = dir.file("damaged.qv");
        writeScene(scene, path, c.method, c.filters);
        std::string bytes = qvTest::readFileBytes(path);
        size_t at = static_cast<size_t>(bytes.size() * c.where);
        if (c.filters.empty()) {
            // The Bool tag after a node's name and index: replaced by a byte that is no tag.
            const std::string marker = c.method == ioWriteAsciiDebug ? " b1 c" : std::string("b\x01" "c");
            at = bytes.find(marker, at);
            ASSERT_NE(at, std::string::npos);
            at += c.method == ioWriteAsciiDebug ? 1 : 0;
            bytes[at] = '\x01';
        } else {
            bytes[at] = static_cast<char>(bytes[at] ^ 0x5A);
        }
        qvTest::writeFileBytes(path, bytes);
        qvTest::ToolRun verify = qvTest::runTool({"verify", path.c_str()});
        EXPECT_EQ(verify.status, 1) << at;
        int offset = reportedOffset(verify.err);
        EXPECT_GE(offset, static_cast<int>(at)) << verify.err;
        EXPECT_LE(offset, static_cast<int>(at) + c.slack) << verify.err;
    }

    // Cut files: the end-of-file packet is missing.
    std::string path = dir.file("cut.qv");
    writeScene(scene, path, ioWriteBinary, {});
    std::string bytes = qvTest::readFileBytes(path);
    qvTest::writeFileBytes(path, bytes.substr(0, bytes.size() - 5));
    qvTest::ToolRun cut = qvTest::runTool({"verify", path.c_str()});
    EXPECT_EQ(cut.status, 1);
    EXPECT_NE(cut.err.find("the file ends"), std::string::npos) << cut.err;
    EXPECT_LE(reportedOffset(cut.err), static_cast<int>(bytes.size()));

    // Not a packet file, and trailing bytes after the end-of-file packet.
    qvTest::writeFileBytes(path, "hello\n");
    EXPECT_EQ(reportedOffset(qvTest::runTool({"info", path.c_str()}).err), 0);
    qvTest::writeFileBytes(path, bytes + "xyz");
    qvTest::ToolRun trailing = qvTest::runTool({"verify", path.c_str()});
    EXPECT_EQ(trailing.status, 1);
    EXPECT_EQ(reportedOffset(trailing.err), static_cast<int>(bytes.size())) << trailing.err;
}

TEST(QvPacket, ConvertKeepsEveryObjectAndReferenceFromEitherByteOrder)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({400, 7, 8, 3});
    std::string asciiDebug = dir.file("a.qv"), binaryDebug = dir.file("b.qv"), back = dir.file("c.qv");
    writeScene(scene, asciiDebug, ioWriteAsciiDebug, {Filter::compress});

    ASSERT_EQ(qvTest::runTool({"convert", asciiDebug.c_str(), binaryDebug.c_str(), "--method", "binary-debug"}).status, 0);
    ASSERT_EQ(qvTest::runTool({"convert", binaryDebug.c_str(), back.c_str(), "--method=ascii-debug"}).status, 0);
    std::string plain = dir.file("plain.qv");
    writeScene(scene, plain, ioWriteAsciiDebug, {});
    EXPECT_EQ(qvTest::readFileBytes(back), qvTest::readFileBytes(plain));

    // A file from a machine of the other byte order converts to the same text.
    std::string swapped = dir.file("swapped.qv");
    ioBufferedStreamOutput stream;
    stream.openFile(swapped.c_str());
    ASSERT_EQ(qvTest::writeScene(scene, stream, [](ioBufferedStreamOutput& out) -> ioWriteContext* {
        return new ioTest::SwappingWriter<ioWriteContextBinaryDebug>(out);
    }), ioOk);
    stream.close();
    qvTest::writeFileBytes(swapped, ioTest::otherOrderFile(qvTest::readFileBytes(swapped)));
    EXPECT_NE(qvTest::runTool({"info", swapped.c_str()}).out.find(qvOS::hostIsLittleEndian ? "big-endian" : "little-endian"),
              std::string::npos);
    ASSERT_EQ(qvTest::runTool({"convert", swapped.c_str(), back.c_str(), "--method", "ascii-debug"}).status, 0);
    EXPECT_EQ(qvTest::readFileBytes(back), qvTest::readFileBytes(plain));

    for (const char* method : methods) {
        std::string out = dir.file(std::string(method) + ".qv");
        qvTest::ToolRun convert = qvTest::runTool({"convert", binaryDebug.c_str(), out.c_str(), "--method", method});
        ASSERT_EQ(convert.status, 0) << convert.err;
        qvTest::Scene copy;
        qvTest::SceneReadResult result = qvTest::readSceneFile(copy, out);
        EXPECT_EQ(result.status, ioOk) << method;
        EXPECT_EQ(qvTest::compareScenes(scene, copy), "") << method;
        EXPECT_EQ(result.unresolved.size(), 3u) << method;
    }

    // Plain files record no types: refused with advice, and no output is left behind.
    std::string refused = dir.file("refused.qv");
    qvTest::ToolRun plainBinary = qvTest::runTool({"convert", dir.file("binary.qv").c_str(), refused.c_str(), "--method", "ascii"});
    EXPECT_EQ(plainBinary.status, 1);
    EXPECT_NE(plainBinary.err.find("debug"), std::string::npos) << plainBinary.err;
    EXPECT_EQ(qvTest::readFileBytes(refused), "");
    // A convert that fails half-way leaves the file it would have replaced as it was.
    qvTest::writeFileBytes(refused, "earlier");
    std::string cut = qvTest::readFileBytes(binaryDebug);
    qvTest::writeFileBytes(dir.file("cut.qv"), cut.substr(0, cut.size() / 2));
    EXPECT_EQ(qvTest::runTool({"convert", dir.file("cut.qv").c_str(), refused.c_str(), "--method", "ascii-debug"}).status, 1);
    EXPECT_EQ(qvTest::readFileBytes(refused), "earlier");
}

TEST(QvPacket, RandomDamageNeverCrashes)
{
    qvTest::TempDir dir;
    std::string path = dir.file("fuzz.qv"), out = dir.file("out.qv");
    writeScene(qvTest::makeScene({40, 13, 5, 0}), path, ioWriteBinaryDebug, {Filter::checksum});
    const std::string good = qvTest::readFileBytes(path);
    unsigned seed = 99;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u, seed >> 8; };
    for (int round = 0; round < 30; ++round) {
        std::string bytes = good;
        for (int flips = 1 + static_cast<int>(next() % 4); flips > 0; --flips)
            bytes[next() % bytes.size()] = static_cast<char>(next());
        qvTest::writeFileBytes(path, round % 5 == 0 ? bytes.substr(0, next() % bytes.size()) : bytes);
        for (int status : {qvTest::runTool({"dump", path.c_str()}).status,
                           qvTest::runTool({"convert", path.c_str(), out.c_str(), "--method", "ascii-debug"}).status})
            EXPECT_TRUE(status == 0 || status == 1) << round;
    }
}

TEST(QvPacket, UsageErrorsAndHelp)
{
    for (std::vector<const char*> bad : {std::vector<const char*>{}, {"frobnicate"}, {"info"}, {"convert", "a", "b"},
                                         {"convert", "a", "b", "--method", "zip"}})
        EXPECT_EQ(qvTest::runTool(bad).status, 2) << bad.size();
    qvTest::ToolRun help = qvTest::runTool({"convert", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("usage: qvpacket convert"), std::string::npos);
    qvTest::ToolRun missing = qvTest::runTool({"verify", "no/such/file.qv"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("cannot open"), std::string::npos);
}

TEST(QvPacket, TheInstalledProgramRuns)
{
    qvTest::TempDir dir;
    qvTest::Scene scene = qvTest::makeScene({60, 3, 4, 0});
    std::string path = dir.file("scene.qv"), out = dir.file("out.qv");
    writeScene(scene, path, ioWriteBinaryDebug, {Filter::checksum});
    auto exitCode = [](std::vector<qvString::CString> args) {
        int code = -1;
        qvUtil::Error error = qvOS::ProcessManager::getInstance()->runProcess(args, code);
        EXPECT_FALSE(error) << error.message();
        return code;
    };
    EXPECT_EQ(exitCode({QVPACKET_PROGRAM, "convert", path.c_str(), out.c_str(), "--method", "ascii"}), 0);
    EXPECT_EQ(exitCode({QVPACKET_PROGRAM, "verify", out.c_str()}), 0);
    qvTest::writeFileBytes(out, "^@\n");
    EXPECT_EQ(exitCode({QVPACKET_PROGRAM, "verify", out.c_str()}), 1);
}

using qvPacket::Item;

namespace {

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
    const auto int32 = &ioTest::int32Bytes;
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

// Damaged numbers and a lost closing brace: verify flags each at its byte offset, exactly when
// the library's strict reading of the file fails, and accepts what strict reading accepts.
TEST(QvPacket, VerifyAndStrictReadingAgreeOnDamagedText)
{
    const std::string registry = "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n@\n";
    const std::string plainHead = std::string(ioTest::asciiHeader()) + registry;
    const std::string debugHead = "^@\n1\n1 2 1\n1 2 4 8 4 8 4\n@\n" + registry;
    struct Case {
        bool debug;
        std::string packets;
        const char* damage; // text at the reported offset; null for an intact file
    } cases[] = {
        {false, "{ 2 0 5 2.5 }\n{ 2 0 -7 1e300 }\n{ 1 0 }\n", nullptr},
        {false, "{ 2 0 abc 2.5 }\n{ 1 0 }\n", "abc"},
        {false, "{ 2 0 5 1.5.7 }\n{ 1 0 }\n", "1.5.7"},
        {false, "{ 2 0 5 1e999 }\n{ 1 0 }\n", "1e999"},
        {false, "{ 2 0 5 2.5 \n{ 2 0 7 0.5 }\n{ 1 0 }\n", "{ 2 0 7"},
        {true, "{ 2 0 i5 d2.5 }\n{ 2 0 i-7 dinf }\n{ 1 0 }\n", nullptr},
        {true, "{ 2 0 i5 dabc }\n{ 1 0 }\n", "dabc"},
        {true, "{ 2 0 i5 d1e999 }\n{ 1 0 }\n", "d1e999"},
        {true, "{ 2 0 i99999999999 d1 }\n{ 1 0 }\n", "i9999"},
        {true, "{ 2 0 i5 d2.5 \n{ 2 0 i7 d0.5 }\n{ 1 0 }\n", "{ 2 0 i7"},
    };
    qvTest::TempDir dir;
    for (const Case& c : cases) {
        std::string text = (c.debug ? debugHead : plainHead) + c.packets;
        std::string path = dir.file("text.qv");
        qvTest::writeFileBytes(path, text);
        qvTest::ToolRun verify = qvTest::runTool({"verify", path.c_str()});
        EXPECT_EQ(verify.status, c.damage ? 1 : 0) << c.packets << verify.err;
        if (c.damage) {
            EXPECT_EQ(reportedOffset(verify.err), static_cast<int>(text.find(c.damage))) << verify.err;
        }

        ioTest::ErrorCapture errors;
        ioTest::TestRegistry types(true, {new ioTest::LambdaType("item", [](ioClientReadContext& ctx) {
            ctx->readInt();
            ctx->readDouble();
        })});
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(in, &types));
        ASSERT_TRUE(ctx);
        ctx->setStrict(true);
        ioClientReadContext client(*ctx);
        ctx->readFile(client);
        EXPECT_EQ(ctx->getStatus() == ioOk, verify.status == 0) << c.packets << errors.messages();
    }
}
