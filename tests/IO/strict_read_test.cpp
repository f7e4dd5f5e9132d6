#include "ioTestHelpers.h"

#include <gtest/gtest.h>

#include <cmath>

using ioTest::ErrorCapture;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

const std::string registryText = "   0 packetFile_string\n   1 packetFile_EOF\n   2 item\n@\n";

struct StrictOutcome {
    ioStatus status = ioError;
    std::string messages;
    std::vector<double> values;
};

// Reads packets of "item" (an Int, then a Double) from an ASCII file of the given packets.
StrictOutcome readItems(const std::string& packets, bool strict, const char* header = nullptr)
{
    qvTest::TempDir dir;
    std::string path = dir.file("s.qv");
    qvTest::writeFileBytes(path, std::string(header ? header : ioTest::asciiHeader()) + registryText + packets);
    StrictOutcome outcome;
    ErrorCapture errors;
    TestRegistry registry(true, {new LambdaType("item", [&](ioClientReadContext& ctx) {
        outcome.values.push_back(ctx->readInt());
        outcome.values.push_back(ctx->readDouble());
    })});
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(in, &registry));
    ctx->setStrict(strict);
    ioClientReadContext client(*ctx);
    ctx->readFile(client);
    outcome.status = ctx->getStatus();
    outcome.messages = errors.messages();
    return outcome;
}

} // namespace

// Damaged numbers and a lost closing brace end a strict read with ioBadData and a report naming
// the packet; without strict reading the file reads as the C conversions make of it.
TEST(StrictRead, DamagedTextEndsAStrictReadAndReadsAsBeforeOtherwise)
{
    const std::string second = "{ 2 0 7 0.5 }\n{ 1 0 }\n";
    struct Case {
        std::string packets;
        const char* mention;
        double lenientValue; // the first packet's second value read without strict checks
    } cases[] = {
        {"{ 2 0 abc 2.5 }\n" + second, "Int value 'abc'", 2.5},
        {"{ 2 0 5 1.5.7 }\n" + second, "Double value '1.5.7'", 1.5},
        {"{ 2 0 5 1e999 }\n" + second, "Double value '1e999'", HUGE_VAL},
        {"{ 2 0 5 2.5 \n" + second, "values its type does not read", 2.5},
        {"{ 2 0 5 }\n" + second, "fewer values than its type reads", 0},
    };
    for (const Case& c : cases) {
        StrictOutcome lenient = readItems(c.packets, false);
        EXPECT_EQ(lenient.status, ioOk) << c.packets;
        ASSERT_GE(lenient.values.size(), 2u);
        EXPECT_EQ(lenient.values[1], c.lenientValue) << c.packets;

        StrictOutcome strict = readItems(c.packets, true);
        EXPECT_EQ(strict.status, ioBadData) << c.packets;
        EXPECT_NE(strict.messages.find("packet 0 (type 'item')"), std::string::npos) << strict.messages;
        EXPECT_NE(strict.messages.find(c.mention), std::string::npos) << strict.messages;
    }
    // What the writer writes passes: extreme integers, infinities and not-a-numbers.
    StrictOutcome written = readItems("{ 2 0 -2147483648 -inf }\n{ 2 0 7 nan }\n{ 2 0 0 1e-300 }\n{ 1 0 }\n", true);
    EXPECT_EQ(written.status, ioOk) << written.messages;
    // A checking file: the value after its tag is held to the same rules.
    StrictOutcome tagged = readItems("{ 2 0 i5 dabc }\n{ 1 0 }\n", true, "^@\n1\n1 2 1\n1 2 4 8 4 8 4\n@\n");
    EXPECT_EQ(tagged.status, ioBadData);
    EXPECT_NE(tagged.messages.find("Double value 'abc'"), std::string::npos) << tagged.messages;
}

// A host whose abort function throws gets its exception from a fatal error in every method, with
// the context in ioBadData; destroying the context and closing the stream release everything
// (the sanitizer build checks for leaks).
TEST(StrictRead, AThrowingAbortFunctionReturnsControlFromEveryMethod)
{
    const ioWriteMethod methods[] = {ioWriteAscii, ioWriteBinary, ioWriteAsciiDebug, ioWriteBinaryDebug};
    qvTest::TempDir dir;
    for (ioWriteMethod method : methods) {
        std::string path = dir.file("fatal.qv");
        TestRegistry writer(false, {new LambdaType("item")});
        int object = 0;
        ioTest::writeMethodFile(path, writer, method, [&](ioWriteContext& ctx) {
            for (int i = 0; i < 3; ++i) {
                ctx.startPacket("item", &object + i);
                ctx.writeFloat(1.5f);
                ctx.writeCString("text");
                ctx.endPacket();
                ctx.writeCStringPacket("a string packet");
            }
        });
        // Plain files: the reader never defines the packet's object. Checking files: it reads an
        // Int where a Float was written.
        bool plain = method == ioWriteAscii || method == ioWriteBinary;
        TestRegistry reader(true, {new LambdaType("item", [&](ioClientReadContext& ctx) {
            if (!plain)
                ctx->definePacketReference(&object);
            ctx->readInt();
        })});
        ErrorCapture errors;
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(in, &reader));
        ASSERT_TRUE(ctx);
        ioClientReadContext client(*ctx);
        EXPECT_THROW(ctx->readFile(client), ErrorCapture::FatalError) << method;
        EXPECT_EQ(ctx->getStatus(), ioBadData);
        EXPECT_EQ(ctx->getPacketDepth(), -1);
        EXPECT_NE(errors.messages().find("Fatal error"), std::string::npos);
        ctx.reset();
        in.close();
        EXPECT_TRUE(in.good());
    }
}

// A string pointer handed out by the ASCII reader stays readable when a longer string follows.
TEST(StrictRead, AsciiStringPointersNeverDangle)
{
    std::string longText(20000, 'x');
    qvTest::TempDir dir;
    std::string path = dir.file("strings.qv");
    qvTest::writeFileBytes(path, std::string(ioTest::asciiHeader()) + registryText + "{ 2 0 \"short\" \"longer\" \"" +
                                     longText + "\" }\n{ 1 0 }\n");
    const char* first = nullptr;
    std::string afterSecond, afterLong;
    TestRegistry registry(true, {new LambdaType("item", [&](ioClientReadContext& ctx) {
        first = ctx->readCString();
        ctx->readCString();
        afterSecond = first; // the one buffer now shows the second string
        ctx->readCString();
        afterLong = first;
    })});
    EXPECT_EQ(ioTest::readFile(path, registry).status, ioOk);
    EXPECT_EQ(afterSecond, "longer");
    // The start of the long one, as far as the first block holds it.
    EXPECT_FALSE(afterLong.empty());
    EXPECT_EQ(afterLong.find_first_not_of('x'), std::string::npos);
}
