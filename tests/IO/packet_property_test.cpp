#include "ioMethodHelpers.h"
#include "ioPacketFileDebug.h"

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <random>

using ioTest::ErrorCapture;
using ioTest::LambdaType;
using ioTest::TestRegistry;

// Random object graphs (random packet types, values and arrays of every type, sub-packets and
// chunks, references forward, backward and null) written in every method and byte order come
// back equal.

namespace {

// The value kinds: name in the context's operations, and C++ type.
#define IO_TEST_VALUE_KINDS(X)                                                                     \
    X(Bool, bool) X(Char, char) X(UChar, unsigned char) X(Short, short) X(UShort, unsigned short)  \
    X(Int, int) X(UInt, unsigned int) X(Int64, int64_t) X(UInt64, uint64_t) X(Float, float)        \
    X(Double, double)

enum Kind {
#define IO_TEST_KIND(Name, T) k##Name,
    IO_TEST_VALUE_KINDS(IO_TEST_KIND)
#undef IO_TEST_KIND
    kText, kRef, kSub
};

struct Item {
    Kind kind = kInt;
    bool array = false;
    std::vector<uint64_t> bits; // each value's bytes, low bytes first
    std::string text;
    int target = -1; // kRef: object index, -1 for null
    std::vector<Item> body;                // kSub, and an object's packet
    std::vector<std::vector<Item>> chunks; // an object's packet
    bool operator==(const Item& o) const
    {
        return kind == o.kind && array == o.array && bits == o.bits && text == o.text && target == o.target
               && body == o.body && chunks == o.chunks;
    }
};

struct Object {
    int type = 0;
    Item root; // kSub
    bool operator==(const Object& o) const { return type == o.type && root == o.root; }
};

using Graph = std::vector<Object>;

template <typename T> T as(uint64_t bits)
{
    T v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

template <typename T> uint64_t bitsOf(T v)
{
    uint64_t bits = 0;
    std::memcpy(&bits, &v, sizeof v);
    return bits;
}

class Generator {
public:
    Generator(unsigned seed, int objectCount) : random(seed), objects(objectCount) {}

    // Sub-packets hold plain values and sit in the packet before its chunks: a sub-packet nested
    // in another shares its end mark, and ending a sub-packet ends an open chunk, as the format
    // has it.
    Item item(bool topLevel)
    {
        Item it;
        it.kind = static_cast<Kind>(pick(topLevel ? kSub + 1 : kSub));
        if (it.kind == kSub) {
            it.body = items(false);
        } else if (it.kind == kRef) {
            it.target = pick(objects + 1) - 1;
        } else if (it.kind == kText) {
            // Now and then longer than a buffer area, to grow the packet and string buffers.
            for (int n = pick(30) == 0 ? 5000 + pick(5000) : pick(12); n > 0; --n)
                it.text.push_back(static_cast<char>(1 + pick(255)));
        } else {
            it.array = pick(2) == 0;
            int count = !it.array ? 1 : pick(40) == 0 ? 1000 + pick(3000) : pick(8) == 0 ? pick(300) : pick(7);
            for (int i = 0; i < count; ++i)
                it.bits.push_back(value(it.kind));
        }
        return it;
    }
    std::vector<Item> items(bool topLevel)
    {
        std::vector<Item> out;
        for (int n = pick(6); n > 0; --n)
            out.push_back(item(topLevel));
        return out;
    }
    int pick(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }

private:
    // Values every encoding gives back exactly: floats and doubles with few decimal digits.
    uint64_t value(Kind kind)
    {
        uint64_t r = (static_cast<uint64_t>(random()) << 32) ^ random();
        if (kind == kFloat)
            return bitsOf(static_cast<float>(static_cast<int>(r % 20001) - 10000) / 16.0f);
        if (kind == kDouble)
            return bitsOf(static_cast<double>(static_cast<int64_t>(r % 2000001) - 1000000) / 1024.0);
        const uint64_t masks[] = {1, 0xff, 0xff, 0xffff, 0xffff, 0xffffffff, 0xffffffff, ~0ull, ~0ull};
        return r & masks[kind];
    }

    std::mt19937 random;
    int objects;
};

template <typename T>
void writeValues(ioWriteContext& ctx, const Item& it, void (ioWriteContext::*write)(T),
                 void (ioWriteContext::*writeArray)(const T*, int))
{
    std::unique_ptr<T[]> values(new T[it.bits.size() + 1]);
    for (size_t i = 0; i < it.bits.size(); ++i)
        values[i] = as<T>(it.bits[i]);
    if (it.array)
        (ctx.*writeArray)(values.get(), static_cast<int>(it.bits.size()));
    else
        (ctx.*write)(values[0]);
}

template <typename T>
void readValues(ioReadContext& ctx, const Item& expected, Item& it, T (ioReadContext::*read)(),
                void (ioReadContext::*readArray)(T*, int))
{
    std::unique_ptr<T[]> values(new T[expected.bits.size() + 1]());
    if (expected.array)
        (ctx.*readArray)(values.get(), static_cast<int>(expected.bits.size()));
    else
        values[0] = (ctx.*read)();
    for (size_t i = 0; i < expected.bits.size(); ++i)
        it.bits.push_back(bitsOf(values[i]));
}

struct Writer {
    ioWriteContext& ctx;
    const std::deque<int>& ids; // the object of index i is &ids[i]

    void body(const std::vector<Item>& items, const std::vector<std::vector<Item>>& chunks)
    {
        for (const Item& it : items)
            item(it);
        for (const auto& chunk : chunks) {
            ctx.startChunk();
            for (const Item& it : chunk)
                item(it);
        }
    }
    void item(const Item& it)
    {
        switch (it.kind) {
#define IO_TEST_WRITE(Name, T)                                                                     \
    case k##Name: writeValues<T>(ctx, it, &ioWriteContext::write##Name, &ioWriteContext::write##Name##Array); break;
            IO_TEST_VALUE_KINDS(IO_TEST_WRITE)
#undef IO_TEST_WRITE
        case kText: ctx.writeCString(it.text.c_str()); break;
        case kRef: ctx.writeReference(it.target < 0 ? nullptr : &ids[static_cast<size_t>(it.target)], false); break;
        case kSub:
            ctx.startSubPacket();
            body(it.body, it.chunks);
            ctx.endSubPacket();
            break;
        }
    }
};

struct Reader {
    ioReadContext& ctx;
    std::deque<void*>& slots; // kRef items keep the index of their slot in target until resolved

    void body(const std::vector<Item>& items, const std::vector<std::vector<Item>>& chunks, Item& out)
    {
        for (const Item& it : items)
            out.body.push_back(item(it));
        for (const auto& chunk : chunks) {
            ctx.nextChunk();
            out.chunks.emplace_back();
            for (const Item& it : chunk)
                out.chunks.back().push_back(item(it));
        }
        if (!chunks.empty())
            ctx.endChunk();
    }
    Item item(const Item& e)
    {
        Item it;
        it.kind = e.kind;
        it.array = e.array;
        using R = ioReadContext;
        switch (e.kind) {
#define IO_TEST_READ(Name, T)                                                                      \
    case k##Name: readValues<T>(ctx, e, it, static_cast<T (R::*)()>(&R::read##Name), &R::read##Name##Array); break;
            IO_TEST_VALUE_KINDS(IO_TEST_READ)
#undef IO_TEST_READ
        case kText: {
            const char* text = ctx.readCString();
            it.text = text ? text : "<null>";
            break;
        }
        case kRef:
            slots.push_back(nullptr);
            it.target = static_cast<int>(slots.size()) - 1;
            ctx.readReferenceUsage(&slots.back(), 0);
            break;
        case kSub:
            ctx.startSubPacket();
            body(e.body, e.chunks, it);
            ctx.endSubPacket();
            break;
        }
        return it;
    }
};

void resolve(Item& it, const std::deque<void*>& slots, const std::map<const void*, int>& index)
{
    if (it.kind == kRef) {
        auto found = index.find(slots[static_cast<size_t>(it.target)]);
        it.target = found == index.end() ? -1 : found->second;
    }
    for (Item& child : it.body)
        resolve(child, slots, index);
    for (auto& chunk : it.chunks)
        for (Item& child : chunk)
            resolve(child, slots, index);
}

const char* const typeNames[] = {"alpha", "beta", "gamma", "delta"};

std::vector<ioPacketType*> types(int count, std::function<void(int, ioClientReadContext&)> read)
{
    std::vector<ioPacketType*> out;
    for (int t = 0; t < count; ++t)
        out.push_back(new LambdaType(typeNames[t], [t, read](ioClientReadContext& c) { read(t, c); }));
    return out;
}

// Writes the graph in method (swapped: as a machine of the other byte order would), reads it
// back and returns the graph read.
Graph roundTrip(const Graph& graph, int typeCount, const std::string& path, ioWriteMethod method, bool swapped)
{
    std::deque<int> ids(graph.size());
    {
        TestRegistry registry(false, types(typeCount, {}));
        ioBufferedStreamOutput out;
        out.openFile(path.c_str());
        std::unique_ptr<ioWriteContext> ctx;
        if (!swapped)
            ctx.reset(ioWriteContextAlloc(out, method, nullptr));
        else if (method == ioWriteBinary)
            ctx.reset(new ioTest::SwappingWriter<ioWriteContextBinary>(out));
        else
            ctx.reset(new ioTest::SwappingWriter<ioWriteContextBinaryDebug>(out));
        ctx->associateRegistry(&registry);
        ctx->startFile();
        Writer writer{*ctx, ids};
        for (size_t i = 0; i < graph.size(); ++i) {
            ctx->startPacket(typeNames[graph[i].type], &ids[i]);
            writer.body(graph[i].root.body, graph[i].root.chunks);
            ctx->endPacket();
        }
        ctx->endFile();
        out.close();
        EXPECT_EQ(ctx->getStatus(), ioOk);
    }
    if (swapped)
        qvTest::writeFileBytes(path, ioTest::bigEndianFile(qvTest::readFileBytes(path)));

    Graph actual;
    std::deque<int> readIds;
    std::deque<void*> slots;
    TestRegistry registry(true, types(typeCount, [&](int type, ioClientReadContext& client) {
        size_t at = actual.size();
        if (at >= graph.size())
            return;
        readIds.push_back(0);
        client->definePacketReference(&readIds.back());
        actual.emplace_back();
        actual.back().type = type;
        actual.back().root.kind = kSub;
        Reader reader{client.context(), slots};
        reader.body(graph[at].root.body, graph[at].root.chunks, actual.back().root);
    }));
    ioTest::ReadOutcome outcome = ioTest::readFile(path, registry);
    EXPECT_EQ(outcome.status, ioOk);
    std::map<const void*, int> index;
    for (size_t i = 0; i < readIds.size(); ++i)
        index[&readIds[i]] = static_cast<int>(i);
    for (Object& object : actual)
        resolve(object.root, slots, index);
    return actual;
}

} // namespace

TEST(PacketProperty, RandomGraphsRoundTripInEveryMethodAndByteOrder)
{
    // Fewer seeds where files are slow (the 32-bit Windows build runs under an emulation layer).
    const unsigned seeds = sizeof(long) == 8 ? 150 : 40;
    qvTest::TempDir dir;
    std::string path = dir.file("graph.qv");
    ErrorCapture errors;
    struct Method {
        ioWriteMethod method;
        bool swapped;
    };
    const Method methods[] = {{ioWriteAscii, false},  {ioWriteBinary, false}, {ioWriteAsciiDebug, false},
                              {ioWriteBinaryDebug, false}, {ioWriteBinary, true}, {ioWriteBinaryDebug, true}};
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        Generator generator(seed, 1 + static_cast<int>(seed % 12));
        int typeCount = 1 + generator.pick(4);
        Graph graph(1 + seed % 12);
        for (Object& object : graph) {
            object.type = generator.pick(typeCount);
            object.root.kind = kSub;
            object.root.body = generator.items(true);
            if (generator.pick(3) == 0)
                for (int c = 1 + generator.pick(2); c > 0; --c)
                    object.root.chunks.push_back(generator.items(false));
        }
        for (const Method& m : methods) {
            Graph back = roundTrip(graph, typeCount, path, m.method, m.swapped);
            ASSERT_TRUE(graph == back) << "seed " << seed << " method " << m.method
                                                << (m.swapped ? " swapped" : "") << "\n" << errors.messages();
        }
    }
    EXPECT_EQ(errors.messages(), "");
}
