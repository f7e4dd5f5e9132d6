#include "ioContext.h"

#include "ioBufferedStream.h"
#include "ioPacketFileAscii.h"
#include "ioPacketFileBinary.h"
#include "ioPacketFileDebug.h"

namespace {

// One entry per method, in the order of the method values.
using WriteFactory = ioWriteContext* (*)(ioBufferedStreamOutput&);
using ReadFactory = ioReadContext* (*)(ioBufferedStreamInput&);

template <class Context> ioWriteContext* newWriter(ioBufferedStreamOutput& stream)
{
    return new Context(stream);
}

template <class Context> ioReadContext* newReader(ioBufferedStreamInput& stream)
{
    return new Context(stream);
}

const WriteFactory writeFactories[] = {
    newWriter<ioWriteContextAscii>,       // ioWriteAscii
    newWriter<ioWriteContextBinary>,      // ioWriteBinary
    newWriter<ioWriteContextAsciiDebug>,  // ioWriteAsciiDebug
    newWriter<ioWriteContextBinaryDebug>, // ioWriteBinaryDebug
};

const ReadFactory readFactories[] = {
    nullptr,                                       // ioReadUnknown
    newReader<ioReadContextBinarySameEndian>,      // ioReadBinarySameEndian
    newReader<ioReadContextBinarySwapped>,         // ioReadBinarySwapped
    newReader<ioReadContextAscii>,                 // ioReadAscii
    newReader<ioReadContextBinaryDebugSameEndian>, // ioReadBinaryDebugSameEndian
    newReader<ioReadContextBinaryDebugSwapped>,    // ioReadBinaryDebugSwapped
    newReader<ioReadContextAsciiDebug>,            // ioReadAsciiDebug
};

} // namespace

ioWriteContext* ioWriteContextAlloc(ioBufferedStreamOutput& stream, ioWriteMethod method,
                                    ioPacketRegistry* registry)
{
    if (method < ioWriteAscii || method > ioWriteBinaryDebug)
        return nullptr;
    ioWriteContext* context = writeFactories[method](stream);
    if (registry)
        context->associateRegistry(registry);
    return context;
}

ioReadContext* ioReadContextAlloc(ioBufferedStreamInput& stream, ioPacketRegistry* registry)
{
    // Silent on purpose: hosts call this to find out whether a file is a packet file at all.
    ioHeader header;
    if (!header.readHeader(stream))
        return nullptr;
    ioReadMethod method = header.determineReadMethod();
    if (method < ioReadBinarySameEndian || method > ioReadAsciiDebug)
        return nullptr;
    ioReadContext* context = readFactories[method](stream);
    if (registry)
        context->associateRegistry(registry);
    return context;
}
