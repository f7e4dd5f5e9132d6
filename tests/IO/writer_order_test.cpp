#include "ioPacketFileAscii.h"
#include "ioTestHelpers.h"

#include <gtest/gtest.h>

using ioTest::ErrorCapture;
using ioTest::LambdaType;
using ioTest::TestRegistry;

namespace {

const ioWriteMethod allMethods[] = {ioWriteAscii, ioWriteBinary, ioWriteAsciiDebug, ioWriteBinaryDebug};

} // namespace

// Every call out of order is reported with status ioError, and what is written still reads back.
TEST(WriterOrder, CallsOutOfOrderAreReportedAndTheFileStaysReadable)
{
    struct Case {
        const char* mention;
        std::function<void(ioWriteContext&)> body;
    } cases[] = {
        {"endSubPacket without an open sub-packet", [](ioWriteContext& ctx) {
             ctx.startPacket("t");
             ctx.writeInt(1);
             ctx.endSubPacket();
             ctx.endPacket();
         }},
        {"startSubPacket outside a packet", [](ioWriteContext& ctx) { ctx.startSubPacket(); }},
        {"startChunk outside a packet", [](ioWriteContext& ctx) { ctx.startChunk(); }},
        {"A value was written outside a packet", [](ioWriteContext& ctx) { ctx.writeDouble(2); }},
        {"endPacket while a sub-packet is open", [](ioWriteContext& ctx) {
             ctx.startPacket("t");
             ctx.writeInt(1);
             ctx.startSubPacket();
             ctx.endPacket();
         }},
        {"endChunk while a sub-packet is open", [](ioWriteContext& ctx) {
             ctx.startPacket("t");
             ctx.writeInt(1);
             ctx.startChunk();
             ctx.startSubPacket();
             ctx.endChunk();
             ctx.endPacket();
         }},
        {"startFile was called twice", [](ioWriteContext& ctx) { ctx.startFile(); }},
    };
    qvTest::TempDir dir;
    for (ioWriteMethod method : allMethods) {
        for (const Case& c : cases) {
            ErrorCapture errors;
            TestRegistry writer(false, {new LambdaType("t")});
            ioStatus status = ioOk;
            std::string path = dir.file("order.qv");
            ioTest::writeMethodFile(path, writer, method, c.body, &status);
            EXPECT_EQ(status, ioError) << c.mention;
            EXPECT_NE(errors.messages().find(c.mention), std::string::npos) << errors.messages();
            int value = 0;
            TestRegistry reader(true, {new LambdaType("t", [&](ioClientReadContext& ctx) { value = ctx->readInt(); })});
            ioTest::ReadOutcome outcome = ioTest::readFile(path, reader);
            EXPECT_EQ(outcome.status, ioOk) << c.mention << " method " << method;
        }
    }

    // A binary packet larger than its length field can hold is dropped, not written in part.
    {
        ErrorCapture errors;
        TestRegistry writer(false, {new LambdaType("t")});
        ioStatus status = ioOk;
        std::string path = dir.file("huge.qv");
        const double values[1] = {0};
        ioTest::writeMethodFile(path, writer, ioWriteBinary, [&](ioWriteContext& ctx) {
            ctx.startPacket("t");
            ctx.writeDoubleArray(values, 300000000); // 2.4 GB: refused before a byte is copied
            ctx.endPacket();
        }, &status);
        EXPECT_EQ(status, ioError);
        EXPECT_NE(errors.messages().find("larger than a packet can be"), std::string::npos);
        TestRegistry reader(true, {new LambdaType("t")});
        ioTest::ReadOutcome outcome = ioTest::readFile(path, reader);
        EXPECT_EQ(outcome.status, ioOk);
        EXPECT_EQ(outcome.packets, 0);
    }

    // After endFile, packets are dropped and reported.
    ErrorCapture errors;
    TestRegistry registry(false, {new LambdaType("t")});
    qvTest::TempDir other;
    ioBufferedStreamOutput out;
    out.openFile(other.file("late.qv").c_str());
    std::unique_ptr<ioWriteContext> ctx(ioWriteContextAlloc(out, ioWriteAscii, &registry));
    ctx->startFile();
    ctx->endFile();
    ctx->startPacket("t");
    ctx->endPacket();
    out.close();
    EXPECT_EQ(ctx->getStatus(), ioError);
    EXPECT_EQ(ioTest::packetsOf(qvTest::readFileBytes(other.file("late.qv"))), "{ 1 0 }\n");
}

// Sub-packets nested directly in each other keep their own lengths, so that a reader that asks
// whether each holds data finds every value.
TEST(WriterOrder, NestedSubPacketsReadBackInEveryMethod)
{
    qvTest::TempDir dir;
    for (ioWriteMethod method : allMethods) {
        TestRegistry writer(false, {new LambdaType("t")});
        std::string path = dir.file("nested.qv");
        ioTest::writeMethodFile(path, writer, method, [](ioWriteContext& ctx) {
            ctx.startPacket("t");
            ctx.startSubPacket();
            ctx.startSubPacket();
            ctx.writeInt(1);
            ctx.endSubPacket();
            ctx.writeInt(2);
            ctx.endSubPacket();
            ctx.writeInt(3);
            ctx.endPacket();
        });
        std::vector<int> seen;
        TestRegistry reader(true, {new LambdaType("t", [&](ioClientReadContext& ctx) {
            ctx->startSubPacket();
            if (ctx->subPacketHasData()) {
                ctx->startSubPacket();
                if (ctx->subPacketHasData())
                    seen.push_back(ctx->readInt());
                ctx->endSubPacket();
                seen.push_back(ctx->readInt());
            }
            ctx->endSubPacket();
            seen.push_back(ctx->readInt());
        })});
        EXPECT_EQ(ioTest::readFile(path, reader).status, ioOk);
        EXPECT_EQ(seen, (std::vector<int>{1, 2, 3})) << "method " << method;
    }
}

// A number taken explicitly is not given to an object as well: each object keeps its own.
TEST(WriterOrder, ExplicitReferenceNumbersAreSkippedForObjects)
{
    qvTest::TempDir dir;
    for (ioWriteMethod method : allMethods) {
        TestRegistry writer(false, {new LambdaType("named"), new LambdaType("object")});
        int x = 0;
        std::string path = dir.file("refs.qv");
        ioTest::writeMethodFile(path, writer, method, [&](ioWriteContext& ctx) {
            ctx.startPacket("named");
            ctx.writeReference(1, true);
            ctx.writeInt(10);
            ctx.endPacket();
            ctx.startPacket("object", &x);
            ctx.writeInt(20);
            ctx.endPacket();
            EXPECT_EQ(ctx.getReference(&x), 2);
        });
        int named = 0, object = 0;
        TestRegistry reader(true, {new LambdaType("named", [&](ioClientReadContext& ctx) {
                                       ctx->readReferenceDefinition(&named);
                                       named = ctx->readInt();
                                   }),
                                   new LambdaType("object", [&](ioClientReadContext& ctx) {
                                       ctx->definePacketReference(&object);
                                       object = ctx->readInt();
                                       EXPECT_EQ(ctx->getReferenceDefinition(1), &named);
                                   })});
        EXPECT_EQ(ioTest::readFile(path, reader).status, ioOk);
        EXPECT_EQ(named + object, 30);
    }
}

// Names the reader's registry lines cannot carry are refused where they enter the registry, and
// a file is then not started; the longest name that fits reads back.
TEST(WriterOrder, RegistryRefusesNamesItsReaderCannotRead)
{
    const std::string longest(83, 'n');
    for (const std::string& bad : {longest + "n", std::string("two words"), std::string("@at"), std::string(""),
                                   std::string("t")}) {
        ErrorCapture errors;
        TestRegistry registry(false, {new LambdaType("t"), new LambdaType(bad.c_str())});
        qvTest::TempDir dir;
        ioStatus status = ioOk;
        std::string file = ioTest::writeMethodFile(dir.file("r.qv"), registry, ioWriteBinary,
                                                   [](ioWriteContext&) {}, &status);
        EXPECT_EQ(status, ioError) << bad;
        EXPECT_EQ(file, "") << bad;
        EXPECT_NE(errors.messages().find("is refused"), std::string::npos) << bad;
    }
    qvTest::TempDir dir;
    TestRegistry writer(false, {new LambdaType(longest.c_str())});
    std::string path = dir.file("long.qv");
    ioTest::writeMethodFile(path, writer, ioWriteAscii, [&](ioWriteContext& ctx) {
        ctx.startPacket(longest.c_str());
        ctx.endPacket();
    });
    bool read = false;
    TestRegistry reader(true, {new LambdaType(longest.c_str(), [&](ioClientReadContext&) { read = true; })});
    EXPECT_EQ(ioTest::readFile(path, reader).status, ioOk);
    EXPECT_TRUE(read);
}
