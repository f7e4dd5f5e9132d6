#ifndef FUZZ_PACKET_FILE_FUZZ_H
#define FUZZ_PACKET_FILE_FUZZ_H

// What the packet-file fuzz targets share: input served from memory, two packet types that use
// every kind of value, sub-packets, chunks and references (forward ones included), and a read of
// a whole file in which a fatal error throws instead of ending the process.
#include "ioBufferedStream.h"
#include "ioContext.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <memory>
#include <stdexcept>
#include <vector>

namespace fuzzPacketFile {

struct FatalError : std::runtime_error {
    FatalError() : std::runtime_error("fatal") {}
};

inline void ignoreText(char*) {}
inline void throwFatal()
{
    throw FatalError();
}

// Serves the input from memory, so that no file is touched.
class MemoryBuffer : public ioBuffer {
public:
    MemoryBuffer(const uint8_t* data, size_t size) : ioBuffer(true), data(data), size(size) {}
    int type() const override { return typeFD; }
    void close() override {}
    int read(char* out, int room) override
    {
        if (offset >= size) {
            setStatus(statusEndOfFile);
            return 0;
        }
        size_t n = size - offset < static_cast<size_t>(room) ? size - offset : static_cast<size_t>(room);
        std::memcpy(out, data + offset, n);
        offset += n;
        return static_cast<int>(n);
    }
    void write(const char*, int) override { setStatus(statusIOError); }

private:
    const uint8_t* data;
    size_t size;
    size_t offset = 0;
};

class MemoryInput : public ioBufferedStreamInput {
public:
    void openMemory(const uint8_t* data, size_t size)
    {
        setStatus(ioStreamOk);
        replaceChain(new MemoryBuffer(data, size));
    }
};

struct Node {
    int value = 0;
    double sum = 0;
    uint64_t bits = 0;
    Node* link = nullptr;
    Node* children[16] = {};
};

class NodeType : public ioPacketType {
public:
    explicit NodeType(std::deque<Node>& nodes) : ioPacketType("node"), nodes(nodes) {}
    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        nodes.emplace_back();
        Node& node = nodes.back();
        if (ctx.getPacketReference() != 0)
            ctx.definePacketReference(&node);
        const char* name = ctx.readCString();
        node.value = name ? static_cast<int>(std::strlen(name)) : -1;
        node.bits = static_cast<unsigned>(ctx.readInt());
        ctx.readReferenceUsage(&node.link, 1);
        int count = ctx.readInt();
        ctx.startSubPacket();
        if (ctx.subPacketHasData())
            for (int i = 0; i < count && i < 16; ++i)
                ctx.readReferenceUsage(&node.children[i], i);
        ctx.endSubPacket();
        ctx.nextChunk();
        node.sum = ctx.readDouble() + ctx.readFloat();
        node.bits = static_cast<uint64_t>(ctx.readInt64()) + ctx.readUInt64();
        ctx.nextChunk();
        node.bits += static_cast<unsigned char>(ctx.readRawChar());
        if (ctx.readReferenceUsage() != nullptr)
            ++node.bits;
        ctx.endChunk();
    }

private:
    std::deque<Node>& nodes;
};

class BlobType : public ioPacketType {
public:
    BlobType() : ioPacketType("blob") {}
    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        int count = ctx.readInt();
        if (count < 0 || count > 4096) {
            ctx.setStatus(ioBadData);
            return;
        }
        std::vector<double> doubles(static_cast<size_t>(count));
        std::vector<float> floats(static_cast<size_t>(count));
        std::vector<int64_t> longs(static_cast<size_t>(count));
        std::unique_ptr<bool[]> bools(new bool[static_cast<size_t>(count) + 1]);
        std::vector<char> chars(static_cast<size_t>(count));
        std::vector<unsigned short> shorts(static_cast<size_t>(count));
        std::vector<unsigned int> uints(static_cast<size_t>(count));
        ctx.readDoubleArray(doubles.data(), count);
        ctx.startSubPacket();
        ctx.readFloatArray(floats.data(), count);
        ctx.readInt64Array(longs.data(), count);
        ctx.endSubPacket();
        ctx.readBoolArray(bools.get(), count);
        ctx.readCharArray(chars.data(), count);
        ctx.readUShortArray(shorts.data(), count);
        ctx.readUIntArray(uints.data(), count);
        ctx.readReferenceDefinition(&doubles);
        ctx.undefineReference(&doubles);
    }
};

class FuzzRegistry : public ioPacketRegistry {
public:
    explicit FuzzRegistry(std::deque<Node>& nodes) : ioPacketRegistry(true), nodes(nodes) {}

protected:
    void registerTypes() override
    {
        supportedType(new NodeType(nodes));
        supportedType(new BlobType());
    }

private:
    std::deque<Node>& nodes;
};

// Reads data as a whole packet file (header, registry, packets).
inline void readPacketFile(const uint8_t* data, size_t size)
{
    ioPacketFileErrorInit(&ignoreText);
    ioPacketFileAbortInit(&throwFatal);
    std::deque<Node> nodes;
    FuzzRegistry registry(nodes);
    MemoryInput input;
    input.openMemory(data, size);
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(input, &registry));
    if (!ctx)
        return;
    ctx->setStrict(size % 2 == 1); // both reading modes, chosen by the input
    ioClientReadContext client(*ctx);
    try {
        ctx->readFile(client);
    } catch (const FatalError&) {
    }
    input.close();
}

} // namespace fuzzPacketFile

#endif
