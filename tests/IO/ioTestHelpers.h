#ifndef IO_TEST_HELPERS_H
#define IO_TEST_HELPERS_H

// Shared by the packet-file tests: captured error text, a registry of ad-hoc types, and one-call
// writing and reading of small files.

#include "ioBufferedStream.h"
#include "ioContext.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"
#include "qvOSByteOrder.h"
#include "qvTestSupport.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace ioTest {

// Collects everything reported through ioPacketFileError while it lives; a fatal error throws
// FatalError instead of ending the test program.
class ErrorCapture {
public:
    struct FatalError : std::runtime_error {
        FatalError() : std::runtime_error("fatal packet file error") {}
    };

    ErrorCapture()
    {
        text().clear();
        ioPacketFileErrorInit([](char* message) { text() += message; });
        ioPacketFileAbortInit([] { throw FatalError(); });
    }
    ~ErrorCapture()
    {
        ioPacketFileErrorInit(nullptr);
        ioPacketFileAbortInit(nullptr);
    }
    const std::string& messages() const { return text(); }

private:
    static std::string& text()
    {
        static std::string captured;
        return captured;
    }
};

// A registry of the types given to it (owned by it once init() ran).
class TestRegistry : public ioPacketRegistry {
public:
    explicit TestRegistry(bool reading, std::vector<ioPacketType*> types = {}) : ioPacketRegistry(reading)
    {
        for (ioPacketType* type : types)
            pending.emplace_back(type);
    }

protected:
    void registerTypes() override
    {
        for (auto& type : pending)
            supportedType(type.release());
    }

private:
    std::vector<std::unique_ptr<ioPacketType>> pending;
};

// A type whose read runs a function, and which records what is reported to it.
class LambdaType : public ioPacketType {
public:
    LambdaType(const char* name, std::function<void(ioClientReadContext&)> reader = {})
        : ioPacketType(name), reader(std::move(reader)) {}
    void read(ioClientReadContext& ctx) override { reader ? reader(ctx) : ioPacketType::read(ctx); }
    void memoryNotReferenced(ioClientReadContext&, void* data) override { unreferenced.push_back(data); }
    void hasUnresolvedPointer(ioClientReadContext&, void* data, int extra) override
    {
        unresolved.emplace_back(data, extra);
    }

    std::function<void(ioClientReadContext&)> reader;
    std::vector<void*> unreferenced;
    std::vector<std::pair<void*, int>> unresolved;
};

// Writes a whole file in method: startFile, body(ctx), endFile. Returns the file's bytes.
inline std::string writeMethodFile(const std::string& path, ioPacketRegistry& registry,
                                   ioWriteMethod method,
                                   const std::function<void(ioWriteContext&)>& body,
                                   ioStatus* status = nullptr)
{
    ioBufferedStreamOutput out;
    out.openFile(path.c_str());
    std::unique_ptr<ioWriteContext> ctx(ioWriteContextAlloc(out, method, &registry));
    ctx->startFile();
    body(*ctx);
    ctx->endFile();
    if (status)
        *status = ctx->getStatus();
    out.close();
    return qvTest::readFileBytes(path);
}

struct ReadOutcome {
    bool opened = false;
    ioStatus status = ioError;
    int packets = 0;
};

inline ReadOutcome readFile(const std::string& path, ioPacketRegistry& registry)
{
    ReadOutcome outcome;
    ioBufferedStreamInput in;
    in.openFile(path.c_str());
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(in, &registry));
    if (!ctx)
        return outcome;
    outcome.opened = true;
    ioClientReadContext client(*ctx);
    ctx->readFile(client);
    outcome.status = ctx->getStatus();
    outcome.packets = ctx->getPacketsRead();
    in.close();
    return outcome;
}

inline const char* asciiHeader()
{
    return "^@\n1\n1 0 1\n1 2 4 8 4 8 4\n@\n";
}

// What follows the header and the registry (each ends with an "@" line), and what precedes it.
inline std::string packetsOf(const std::string& file)
{
    size_t registry = file.find("\n@\n", file.find("\n@\n") + 3);
    return registry == std::string::npos ? "" : file.substr(registry + 3);
}

inline std::string headOf(const std::string& file)
{
    return file.substr(0, file.size() - packetsOf(file).size());
}

// The byte-order flag this machine writes into binary headers, and the other one.
inline std::string hostOrderFlag()
{
    return qvOS::hostIsLittleEndian ? "1" : "0";
}
inline std::string otherOrderFlag()
{
    return qvOS::hostIsLittleEndian ? "0" : "1";
}

// The header this machine writes for a binary method.
inline std::string binaryHeader(ioWriteMethod method)
{
    return "^@\n1\n" + hostOrderFlag() + " " + std::to_string(method) + " 1\n1 2 4 8 4 8 4\n@\n";
}

// A 32-bit value as this machine writes it.
inline std::string int32Bytes(int32_t value)
{
    return std::string(reinterpret_cast<const char*>(&value), 4);
}

} // namespace ioTest

#endif
