#include "ioPacketType.h"

#include "ioContext.h"

#include <cstdlib>
#include <cstring>

namespace {

char* copyText(const char* text)
{
    if (!text)
        text = "";
    size_t size = std::strlen(text) + 1;
    char* copy = static_cast<char*>(std::malloc(size));
    std::memcpy(copy, text, size);
    return copy;
}

} // namespace

ioPacketType::ioPacketType(const char* typeName)
    : name(copyText(typeName)), id(-1), numUsages(0), flags(0)
{
}

ioPacketType::~ioPacketType()
{
    std::free(name);
}

void ioPacketType::read(ioClientReadContext& context)
{
    context.context().invalidPacket();
}

void ioPacketType::memoryNotReferenced(ioClientReadContext&, void*) {}

void ioPacketType::hasUnresolvedPointer(ioClientReadContext&, void*, int) {}

void ioPacketType::handleUnreferencedMemory(ioClientReadContext& context, void* data)
{
    flags |= unreferencedFlag;
    memoryNotReferenced(context, data);
}

void ioPacketType::handleUnresolvedPtr(ioClientReadContext& context, void* data, int reference)
{
    flags |= unresolvedFlag;
    hasUnresolvedPointer(context, data, reference);
}

ioPacketString::ioPacketString() : ioPacketType("packetFile_string") {}

ioPacketString::~ioPacketString()
{
    for (char* text : strings)
        std::free(text);
}

void ioPacketString::read(ioClientReadContext& context)
{
    const char* text = context->readCString();
    if (!text) {
        ioPacketFileError("ioPacketFile: A string packet holds no well-formed string.\n");
        context->setStatus(ioBadData);
        return;
    }
    strings.push_back(copyText(text));
    context->definePacketReference(strings.back());
}

ioPacketEOF::ioPacketEOF() : ioPacketType("packetFile_EOF") {}

void ioPacketEOF::writePacket(ioWriteContext& context)
{
    context.startPacket(this, nullptr);
}

ioReadPacketByFunction::ioReadPacketByFunction(const char* typeName,
                                               void (*function)(ioClientReadContext&))
    : ioPacketType(typeName), readFunction(function)
{
}

void ioReadPacketByFunction::read(ioClientReadContext& context)
{
    if (readFunction)
        readFunction(context);
    else
        ioPacketType::read(context);
}
