#include "ioContext.h"

#include "ioBufferedStream.h"
#include "ioPacketFileAscii.h"

namespace {

// One entry per method, in the order of the method values. Encodings not built into this
// library yet have no factory and give null.
using WriteFactory = ioWriteContext* (*)(ioBufferedStreamOutput&);
using ReadFactory = ioReadContext* (*)(ioBufferedStreamInput&);

ioWriteContext* newAsciiWriter(ioBufferedStreamOutput& stream)
{
    return new ioWriteContextAscii(stream);
}

ioReadContext* newAsciiReader(ioBufferedStreamInput& stream)
{
    return new ioReadContextAscii(stream);
}

const WriteFactory writeFactories[] = {
    newAsciiWriter, // ioWriteAscii
    nullptr,        // ioWriteBinary
    nullptr,        // ioWriteAsciiDebug
    nullptr,        // ioWriteBinaryDebug
};

const ReadFactory readFactories[] = {
    nullptr,        // ioReadUnknown
    nullptr,        // ioReadBinarySameEndian
    nullptr,        // ioReadBinarySwapped
    newAsciiReader, // ioReadAscii
    nullptr,        // ioReadBinaryDebugSameEndian
    nullptr,        // ioReadBinaryDebugSwapped
    nullptr,        // ioReadAsciiDebug
};

} // namespace

ioWriteContext* ioWriteContextAlloc(ioBufferedStreamOutput& stream, ioWriteMethod method,
                                    ioPacketRegistry* registry)
{
    if (method < ioWriteAscii || method > ioWriteBinaryDebug || !writeFactories[method])
        return nullptr;
    ioWriteContext* context = writeFactories[method](stream);
    if (registry)
        context->associateRegistry(registry);
    return context;
}

ioReadContext* ioReadContextAlloc(ioBufferedStreamInput& stream, ioPacketRegistry* registry)
{
    ioHeader header;
    if (!header.readHeader(stream)) {
        ioPacketFileError("ioPacketFile: The file has no valid packet file header.\n");
        return nullptr;
    }
    ioReadMethod method = header.determineReadMethod();
    if (method < ioReadBinarySameEndian || method > ioReadAsciiDebug) {
        ioPacketFileError("ioPacketFile: The header names a write method that is not known.\n");
        return nullptr;
    }
    if (!readFactories[method]) {
        ioPacketFileError("ioPacketFile: Files of write method %d cannot be read by this "
                          "library.\n", header.getMethod());
        return nullptr;
    }
    ioReadContext* context = readFactories[method](stream);
    if (registry)
        context->associateRegistry(registry);
    return context;
}
