#include "ioMethodHelpers.h"
#include "ioPacketFileDebug.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <tuple>
#include <type_traits>

// Random object graphs written in every method and byte order come back equal. An object is a
// flat list of operations: values and arrays of every type, strings, references forward,
// backward and null, sub-packets of plain values, then chunks. A sub-packet nested in another
// shares its end mark and ending a sub-packet ends an open chunk, so those shapes are not made.

namespace {

#define IO_TEST_VALUE_KINDS(X)                                                                     \
    X(Bool, bool) X(Char, char) X(UChar, unsigned char) X(Short, short) X(UShort, unsigned short)  \
    X(Int, int) X(UInt, unsigned int) X(Int64, int64_t) X(UInt64, uint64_t) X(Float, float)        \
    X(Double, double)

enum Kind {
#define IO_TEST_KIND(Name, T) k##Name,
    IO_TEST_VALUE_KINDS(IO_TEST_KIND)
#undef IO_TEST_KIND
    kText, kRef, kSubStart, kSubEnd, kChunk
};

struct Op {
    explicit Op(Kind kind) : kind(kind) {}
    Kind kind;
    bool array = false;
    std::vector<uint64_t> bits; // each value's bytes, low bytes first
    std::string text;
    int target = -1; // kRef: object index, -1 for null; while reading, the index of its slot
    bool operator==(const Op& o) const
    {
        return std::tie(kind, array, bits, text, target) == std::tie(o.kind, o.array, o.bits, o.text, o.target);
    }
};

using Graph = std::vector<std::pair<int, std::vector<Op>>>; // packet type, operations

// A value's bits as the low bits of 64, and back, the same on either byte order.
template <typename T> uint64_t bitsOf(T v)
{
    if constexpr (std::is_floating_point_v<T>) {
        std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t> bits;
        std::memcpy(&bits, &v, sizeof bits);
        return bits;
    } else if constexpr (std::is_same_v<T, bool>) {
        return v;
    } else {
        return static_cast<std::make_unsigned_t<T>>(v);
    }
}

template <typename T> T fromBits(uint64_t bits)
{
    if constexpr (std::is_floating_point_v<T>) {
        auto narrow = static_cast<std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>(bits);
        T v;
        std::memcpy(&v, &narrow, sizeof v);
        return v;
    } else {
        return static_cast<T>(bits);
    }
}

struct Generator {
    std::mt19937 random;
    int pick(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

    Graph graph(int objects)
    {
        Graph graph(static_cast<size_t>(objects));
        for (auto& [type, ops] : graph) {
            type = pick(4);
            for (int n = pick(6); n > 0; --n) {
                bool sub = pick(kSubStart + 1) == kSubStart;
                if (sub)
                    ops.emplace_back(kSubStart);
                for (int k = sub ? pick(6) : 1; k > 0; --k)
                    ops.push_back(plain(objects));
                if (sub)
                    ops.emplace_back(kSubEnd);
            }
            for (int c = pick(3) == 0 ? 1 + pick(2) : 0; c > 0; --c) {
                ops.emplace_back(kChunk);
                for (int k = pick(6); k > 0; --k)
                    ops.push_back(plain(objects));
            }
        }
        return graph;
    }
    Op plain(int objects)
    {
        Op op(static_cast<Kind>(pick(kRef + 1)));
        if (op.kind == kRef)
            op.target = pick(objects + 1) - 1;
        // Now and then longer than a buffer area, to grow the packet and string buffers.
        for (int n = op.kind != kText ? 0 : pick(30) == 0 ? 5000 + pick(5000) : pick(12); n > 0; --n)
            op.text.push_back(static_cast<char>(1 + pick(255)));
        op.array = op.kind < kText && pick(2) == 0;
        int count = op.kind >= kText ? 0 : !op.array ? 1 : pick(40) == 0 ? 1000 + pick(3000) : pick(8) == 0 ? pick(300) : pick(7);
        for (int i = 0; i < count; ++i) {
            // Floats and doubles with few decimal digits, which every encoding gives back exactly.
            uint64_t r = (static_cast<uint64_t>(random()) << 32) ^ random();
            const uint64_t masks[] = {1, 0xff, 0xff, 0xffff, 0xffff, 0xffffffff, 0xffffffff, ~0ull, ~0ull};
            op.bits.push_back(op.kind == kFloat ? bitsOf(static_cast<float>(static_cast<int>(r % 20001) - 10000) / 16.0f)
                              : op.kind == kDouble ? bitsOf(static_cast<double>(static_cast<int64_t>(r % 2000001) - 1000000) / 1024.0)
                                                   : r & masks[op.kind]);
        }
        return op;
    }
};

// An operation's values as T, one more than it holds so that a single value has room.
template <typename T> std::unique_ptr<T[]> unpack(const Op& op, size_t count)
{
    std::unique_ptr<T[]> values(new T[count + 1]());
    for (size_t i = 0; i < op.bits.size(); ++i)
        values[i] = fromBits<T>(op.bits[i]);
    return values;
}

void writeOps(ioWriteContext& ctx, const std::vector<Op>& ops, const std::deque<int>& ids)
{
    for (const Op& op : ops) {
        const int n = static_cast<int>(op.bits.size());
        switch (op.kind) {
#define IO_TEST_WRITE(Name, T)                                                                     \
    case k##Name: {                                                                                \
        auto values = unpack<T>(op, op.bits.size());                                               \
        op.array ? ctx.write##Name##Array(values.get(), n) : ctx.write##Name(values[0]);           \
        break;                                                                                     \
    }
            IO_TEST_VALUE_KINDS(IO_TEST_WRITE)
#undef IO_TEST_WRITE
        case kText: ctx.writeCString(op.text.c_str()); break;
        case kRef: ctx.writeReference(op.target < 0 ? nullptr : &ids[static_cast<size_t>(op.target)], false); break;
        case kSubStart: ctx.startSubPacket(); break;
        case kSubEnd: ctx.endSubPacket(); break;
        case kChunk: ctx.startChunk(); break;
        }
    }
}

std::vector<Op> readOps(ioReadContext& ctx, const std::vector<Op>& expected, std::deque<void*>& slots)
{
    std::vector<Op> ops;
    bool chunked = false;
    for (const Op& e : expected) {
        Op& op = ops.emplace_back(e.kind);
        op.array = e.array;
        const int n = static_cast<int>(e.bits.size());
        switch (e.kind) {
#define IO_TEST_READ(Name, T)                                                                      \
    case k##Name: {                                                                                \
        auto values = unpack<T>(op, e.bits.size());                                                \
        op.array ? ctx.read##Name##Array(values.get(), n) : void(values[0] = ctx.read##Name());    \
        for (size_t i = 0; i < e.bits.size(); ++i)                                                 \
            op.bits.push_back(bitsOf(values[i]));                                       \
        break;                                                                                     \
    }
            IO_TEST_VALUE_KINDS(IO_TEST_READ)
#undef IO_TEST_READ
        case kText: {
            const char* text = ctx.readCString();
            op.text = text ? text : "<null>";
            break;
        }
        case kRef:
            op.target = static_cast<int>(slots.size());
            ctx.readReferenceUsage(&slots.emplace_back(), 0);
            break;
        case kSubStart: ctx.startSubPacket(); break;
        case kSubEnd: ctx.endSubPacket(); break;
        case kChunk: ctx.nextChunk(), chunked = true; break;
        }
    }
    if (chunked)
        ctx.endChunk();
    return ops;
}

const char* const typeNames[] = {"alpha", "beta", "gamma", "delta"};

std::vector<ioPacketType*> types(const std::function<void(int, ioClientReadContext&)>& read)
{
    std::vector<ioPacketType*> out;
    for (int t = 0; t < 4; ++t)
        out.push_back(new ioTest::LambdaType(typeNames[t], [t, read](ioClientReadContext& c) { read(t, c); }));
    return out;
}

// Writes the graph in method (swapped: as a machine of the other byte order would) and reads it back.
Graph roundTrip(const Graph& graph, const std::string& path, ioWriteMethod method, bool swapped)
{
    std::deque<int> ids(graph.size()); // the object of index i is &ids[i]
    {
        ioTest::TestRegistry registry(false, types({}));
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        std::unique_ptr<ioWriteContext> ctx(!swapped ? ioWriteContextAlloc(out, method, nullptr)
                                            : method == ioWriteBinary
                                                ? static_cast<ioWriteContext*>(new ioTest::SwappingWriter<ioWriteContextBinary>(out))
                                                : new ioTest::SwappingWriter<ioWriteContextBinaryDebug>(out));
        ctx->associateRegistry(&registry);
        ctx->startFile();
        for (size_t i = 0; i < graph.size(); ++i) {
            ctx->startPacket(typeNames[graph[i].first], &ids[i]);
            writeOps(*ctx, graph[i].second, ids);
            ctx->endPacket();
        }
        ctx->endFile();
        out.close();
        EXPECT_EQ(ctx->getStatus(), ioOk);
    }
    if (swapped)
        qvTest::writeFileBytes(path, ioTest::otherOrderFile(qvTest::readFileBytes(path)));

    Graph actual;
    std::deque<int> readIds; // each object read holds its index
    std::deque<void*> slots;
    ioTest::TestRegistry registry(true, types([&](int type, ioClientReadContext& client) {
        if (actual.size() < graph.size()) {
            client->definePacketReference(&readIds.emplace_back(static_cast<int>(actual.size())));
            actual.emplace_back(type, readOps(client.context(), graph[actual.size()].second, slots));
        }
    }));
    EXPECT_EQ(ioTest::readFile(path, registry).status, ioOk);
    for (auto& object : actual)
        for (Op& op : object.second)
            if (op.kind == kRef) {
                void* slot = slots[static_cast<size_t>(op.target)];
                op.target = slot ? *static_cast<int*>(slot) : -1;
            }
    return actual;
}

} // namespace

TEST(PacketProperty, RandomGraphsRoundTripInEveryMethodAndByteOrder)
{
    // Fewer seeds where files are slow: Windows builds (long is 32 bits only there) run under Wine.
    const unsigned seeds = sizeof(long) == 8 ? 150 : 40;
    qvTest::TempDir dir;
    std::string path = dir.file("graph.qv");
    ioTest::ErrorCapture errors;
    const std::pair<ioWriteMethod, bool> methods[] = {{ioWriteAscii, false},      {ioWriteBinary, false},
                                                      {ioWriteAsciiDebug, false}, {ioWriteBinaryDebug, false},
                                                      {ioWriteBinary, true},      {ioWriteBinaryDebug, true}};
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        Generator generator{std::mt19937(seed)};
        Graph graph = generator.graph(1 + static_cast<int>(seed % 12));
        for (const auto& m : methods)
            ASSERT_TRUE(graph == roundTrip(graph, path, m.first, m.second))
                << "seed " << seed << " method " << m.first << (m.second ? " swapped" : "") << "\n" << errors.messages();
    }
    EXPECT_EQ(errors.messages(), "");
}
