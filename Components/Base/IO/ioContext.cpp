#include "ioContext.h"

#include "ioBufferedStream.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"
#include "ioReferenceMap.h"
#include "internal/ioContextInternal.h"

#include <cstdint>
#include <cstring>

// ---- packet buffer

ioPacketFileBuffer::ioPacketFileBuffer()
    : type(nullptr), typeId(-1), output(true), hasReference(false), chunkOpen(false),
      headerFault(nullptr)
{
}

ioPacketFileBuffer::~ioPacketFileBuffer() {}

void ioPacketFileBuffer::reset()
{
    type = nullptr;
    typeId = -1;
    output = true;
    hasReference = false;
    chunkOpen = false;
    headerFault = nullptr;
    scopes.clear();
}

// ---- common

ioContext::ioContext()
    : registry(nullptr), referenceMap(ioReferenceMap::create()), current(nullptr),
      stack(new ioPacketFileBuffer*[10]()), capacity(10), depth(-1), status(ioOk)
{
}

ioContext::~ioContext()
{
    for (int i = 0; i < capacity; ++i)
        delete stack[i];
    delete[] stack;
    delete referenceMap;
}

void ioContext::associateRegistry(ioPacketRegistry* r)
{
    registry = r;
}

ioPacketType* ioContext::lookupType(int id) const
{
    return registry ? registry->lookup(id) : nullptr;
}

bool ioContext::isReferenceDefined(int number) const
{
    return referenceMap->isDefined(number);
}

bool ioContext::isReferenceDefined(const void* object) const
{
    return referenceMap->isDefined(referenceMap->referenceOf(object));
}

int ioContext::getReference(const void* object) const
{
    return referenceMap->referenceOf(object);
}

void* ioContext::getReferenceDefinition(int number) const
{
    return referenceMap->objectOf(number);
}

void ioContext::invalidPacket()
{
    ioPacketType* type = current ? current->getType() : nullptr;
    ioPacketFileError("ioPacketFile: A packet type: '%s'\n", type ? type->getName() : "");
    ioPacketFileError("  is not supported by this program; its packets cannot be read.\n");
    setStatus(ioBadData);
}

void ioContext::fatalError()
{
    // A host whose abort function throws sees this status on the context it still holds.
    setStatus(ioBadData);
    ioPacketFileError("ioPacketFile: Fatal error.  Aborting.\n");
    for (int level = 0; level < depth; ++level) {
        ioPacketType* type = stack[level] ? stack[level]->getType() : nullptr;
        // Kept: the level's type name goes to a numeric conversion, printing its address.
        const char* name = type ? type->getName() : nullptr;
        ioPacketFileError("  %d: %d\n", level,
                          static_cast<int>(reinterpret_cast<std::intptr_t>(name)));
    }
    io::internal::abortPacketFile();
}

void ioContext::reportUnresolvedPtrs(ioPacketType* type, void (*function)(void*, int))
{
    if (function)
        referenceMap->reportUnresolved(type, function);
}

void ioContext::pushPacket()
{
    ++depth;
    if (depth >= capacity) {
        int grown = capacity * 2;
        ioPacketFileBuffer** larger = new ioPacketFileBuffer*[grown]();
        std::memcpy(larger, stack, sizeof(ioPacketFileBuffer*) * static_cast<size_t>(capacity));
        delete[] stack;
        stack = larger;
        capacity = grown;
    }
    if (!stack[depth])
        stack[depth] = newPacketBuffer();
    current = stack[depth];
    current->reset();
    setPacketBuffer(current);
}

void ioContext::popPacket()
{
    if (depth >= 0)
        --depth;
    current = depth >= 0 ? stack[depth] : nullptr;
    setPacketBuffer(current);
}

void ioContext::promoteStreamStatus(const ioBufferedStream& stream)
{
    switch (stream.getStatus()) {
    case ioStreamOk:
        break;
    case ioStreamOpenFailed:
        setStatus(ioOpenFailed);
        break;
    case ioStreamEOF:
    case ioStreamEndOfSection:
        setStatus(ioBadData);
        break;
    case ioStreamNoSpace:
        setStatus(ioNoSpace);
        break;
    case ioStreamChecksumError:
        setStatus(ioChecksumError);
        break;
    default:
        setStatus(ioError);
        break;
    }
}

// ---- writing

ioWriteContext::ioWriteContext(ioBufferedStreamOutput& s)
    : stream(s), started(false), stringType(nullptr), ended(false)
{
}

void ioWriteContext::misuse(const char* what)
{
    if (good())
        ioPacketFileError("ioPacketFile: %s.\n", what);
    setStatus(ioError);
}

void ioWriteContext::valueOutsidePacket()
{
    misuse("A value was written outside a packet; it is dropped");
}

ioPacketFileBuffer* ioWriteContext::packetFor(const char* call)
{
    ioPacketFileBuffer* packet = currentPacket();
    if (!packet) {
        ioPacketFileError("ioPacketFile: %s outside a packet.\n", call);
        setStatus(ioError);
    }
    return packet;
}

void ioWriteContext::closeScope(ioPacketFileBuffer* packet)
{
    std::vector<ioPacketFileBuffer::Scope>& scopes = packet->openScopes();
    ioPacketFileBuffer::Scope scope = scopes.back();
    scopes.pop_back();
    if (packet->getType()) {
        if (scope == ioPacketFileBuffer::chunkScope)
            packet->endChunk(*this);
        else
            packet->endSubPacket(*this);
    }
    packet->setChunkOpen(!scopes.empty() && scopes.back() == ioPacketFileBuffer::chunkScope);
}

int ioWriteContext::writeReference(int number, bool define)
{
    // The map notes every number written, so that numbers given to objects later skip it.
    ioPacketType* type = currentPacket() ? currentPacket()->getType() : nullptr;
    if (define)
        references().define(number, nullptr, type, false);
    else
        references().use(number, type);
    writeUInt(static_cast<unsigned int>(number));
    return number;
}

int ioWriteContext::writeReference(const void* object, bool define)
{
    if (!object)
        return writeReference(0, false); // a null pointer is "no reference"
    int number = references().referenceOf(object);
    if (number == 0)
        number = references().newReference(object);
    return writeReference(number, define);
}

void ioWriteContext::startFile()
{
    if (started) {
        // A second header and registry in the middle of the packets would be read as packets.
        misuse("startFile was called twice; the second call writes nothing");
        return;
    }
    started = true;
    if (!good())
        return;
    ioPacketRegistry* registry = getRegistry();
    if (!registry) {
        ioPacketFileError("ioPacketFile: startFile needs a packet type registry.\n");
        setStatus(ioError);
        return;
    }
    registry->init();
    if (*registry->refusal()) {
        ioPacketFileError("ioPacketFile: startFile: the registry refused a packet type (%s); "
                          "nothing is written.\n", registry->refusal());
        setStatus(ioError);
        return;
    }
    header().writeHeader(stream);
    registry->writeRegistry(stream);
    stringType = registry->lookup("packetFile_string");
    promoteStreamStatus(stream);
}

void ioWriteContext::startPacket(ioPacketType* type, const void* object)
{
    pushPacket();
    ioPacketFileBuffer* packet = currentPacket();
    ioPacketRegistry* registry = getRegistry();
    // A type the registry never numbered (refused, or one of a reading registry) has no id that
    // a reader could look up.
    if (type && (!registry || type->getId() < 0))
        type = nullptr;
    packet->setType(type);
    if (!type) {
        // Keeps startPacket/endPacket balanced; the packet is dropped at its end.
        ioPacketFileError("ioPacketFile: A packet was started without a registered type.\n");
        setStatus(ioError);
        packet->setOutput(false);
        return;
    }
    if (!started || ended) {
        // Before the header, or after the end-of-file packet, no reader would find it.
        misuse(ended ? "A packet was started after endFile; it is dropped"
                     : "A packet was started before startFile; it is dropped");
        packet->setOutput(false);
    }
    packet->beginPacket(*this, object != nullptr, type);
    if (object)
        writeReference(object, true);
    type->used();
}

void ioWriteContext::startPacket(const char* typeName, const void* object)
{
    ioPacketRegistry* registry = getRegistry();
    ioPacketType* type = registry && typeName ? registry->lookup(typeName) : nullptr;
    if (!type && typeName)
        ioPacketFileError("ioPacketFile: No packet type named '%s' is registered.\n", typeName);
    startPacket(type, object);
}

void ioWriteContext::endPacket()
{
    ioPacketFileBuffer* packet = currentPacket();
    if (!packet) {
        ioPacketFileError("ioPacketFile: endPacket without an open packet.\n");
        setStatus(ioError);
        return;
    }
    std::vector<ioPacketFileBuffer::Scope>& scopes = packet->openScopes();
    if (packet->isChunkOpen())
        closeScope(packet);
    if (!scopes.empty()) {
        // Closed here, so that the reader finds where they end.
        misuse("endPacket while a sub-packet is open; it is closed first");
        while (!scopes.empty())
            closeScope(packet);
    }
    if (packet->getType())
        packet->endPacket(*this);
    popPacket();
}

void ioWriteContext::startChunk()
{
    ioPacketFileBuffer* packet = packetFor("startChunk");
    if (!packet)
        return;
    if (packet->isChunkOpen())
        closeScope(packet);
    if (packet->getType())
        packet->beginChunk(*this);
    packet->openScopes().push_back(ioPacketFileBuffer::chunkScope);
    packet->setChunkOpen(true);
}

void ioWriteContext::endChunk()
{
    ioPacketFileBuffer* packet = packetFor("endChunk");
    if (!packet)
        return;
    if (packet->isChunkOpen()) {
        closeScope(packet);
        return;
    }
    for (ioPacketFileBuffer::Scope scope : packet->openScopes())
        if (scope == ioPacketFileBuffer::chunkScope) {
            misuse("endChunk while a sub-packet is open inside the chunk; nothing is closed");
            return;
        }
}

void ioWriteContext::startSubPacket()
{
    ioPacketFileBuffer* packet = packetFor("startSubPacket");
    if (!packet)
        return;
    if (packet->getType())
        packet->beginSubPacket(*this);
    packet->openScopes().push_back(ioPacketFileBuffer::subPacketScope);
    packet->setChunkOpen(false);
}

void ioWriteContext::endSubPacket()
{
    ioPacketFileBuffer* packet = packetFor("endSubPacket");
    if (!packet)
        return;
    std::vector<ioPacketFileBuffer::Scope>& scopes = packet->openScopes();
    if (packet->isChunkOpen())
        closeScope(packet);
    if (scopes.empty()) {
        misuse("endSubPacket without an open sub-packet; nothing is closed");
        return;
    }
    closeScope(packet);
}

void ioWriteContext::writeCStringPacket(const char* text)
{
    if (!text)
        return;
    startPacket(stringType, text);
    writeCString(text);
    endPacket();
}

void ioWriteContext::endFile()
{
    ioPacketRegistry* registry = getRegistry();
    ioPacketType* eofType = registry ? registry->lookup("packetFile_EOF") : nullptr;
    // After a call out of order (status ioError, the stream fine, the header written) the file
    // still gets its end, so that what was written reads back.
    bool misusedOnly = getStatus() == ioError && stream.good() && stringType && !ended;
    if (!good() && !misusedOnly)
        return;
    if (!started || ended) {
        misuse(ended ? "endFile was called twice" : "endFile needs a started file");
        return;
    }
    if (!eofType) {
        ioPacketFileError("ioPacketFile: endFile needs a started file.\n");
        setStatus(ioError);
        return;
    }
    if (getPacketDepth() >= 0) {
        ioPacketFileError("ioPacketFile: endFile while a packet of type '%s' is open.\n",
                          currentPacket()->getType() ? currentPacket()->getType()->getName() : "");
        setStatus(ioError);
    }
    static_cast<ioPacketEOF*>(eofType)->writePacket(*this);
    endPacket();
    ended = true;
    stream.flush();
    promoteStreamStatus(stream);
}

// ---- reading

ioReadContext::ioReadContext(ioBufferedStreamInput& s)
    : stream(s), packetReference(0), packetReferenceDefined(false), eofType(nullptr),
      packetsRead(0), halted(false), registryRead(false), strict(false)
{
}

void ioReadContext::strictFault(const char* what)
{
    if (!good())
        return;
    ioPacketType* type = currentPacket() ? currentPacket()->getType() : nullptr;
    ioPacketFileError("ioPacketFile: Strict reading: packet %d (type '%s') %s.\n", packetsRead,
                      type ? type->getName() : "", what);
    setStatus(ioBadData);
}

namespace {

ioPacketType* currentType(ioPacketFileBuffer* packet)
{
    return packet ? packet->getType() : nullptr;
}

} // namespace

void ioReadContext::definePacketReference(void* object)
{
    defineReference(packetReference, object);
}

int ioReadContext::readReferenceUsage(void* slot, int extra)
{
    int number = readReference();
    resolveReference(number, slot, extra);
    return number;
}

void* ioReadContext::readReferenceUsage(int& number)
{
    number = readReference();
    if (number != 0 && references().isDefined(number)) {
        useReference(number);
        return references().objectOf(number);
    }
    return nullptr;
}

void* ioReadContext::readReferenceUsage()
{
    int number = 0;
    return readReferenceUsage(number);
}

int ioReadContext::readReferenceDefinition(void* object)
{
    int number = readReference();
    defineReference(number, object);
    return number;
}

int ioReadContext::readReference()
{
    return static_cast<int>(readUInt());
}

void ioReadContext::defineReference(int number, void* object)
{
    references().define(number, object, currentType(currentPacket()), false);
    if (number != 0 && number == packetReference)
        packetReferenceDefined = true;
}

void ioReadContext::defineReferenceSynonym(int number, void* object)
{
    references().define(number, object, currentType(currentPacket()), true);
    if (number != 0 && number == packetReference)
        packetReferenceDefined = true;
}

void ioReadContext::resolveReference(int number, void* slot, int extra)
{
    if (!slot)
        return;
    references().addPendingSlot(number, static_cast<void**>(slot), currentType(currentPacket()),
                                extra);
}

void ioReadContext::useReference(void* object)
{
    useReference(references().referenceOf(object));
}

void ioReadContext::useReference(int number)
{
    references().use(number, currentType(currentPacket()));
}

void ioReadContext::undefineReference(int number)
{
    references().undefine(number);
}

void ioReadContext::undefineReference(void* object)
{
    references().undefine(references().referenceOf(object));
}

void ioReadContext::readFile(ioClientReadContext& client)
{
    ioPacketRegistry* registry = getRegistry();
    if (!registry) {
        ioPacketFileError("ioPacketFile: readFile needs a packet type registry.\n");
        setStatus(ioError);
        return;
    }
    if (!good() || readRegistry() != ioOk)
        return;
    eofType = registry->lookup("packetFile_EOF");
    readPackets(client);
    // However reading ended, the slots of every object read so far are filled.
    references().fillDefinedSlots();
    if (halted)
        setStatus(ioHalted);
    if (getStatus() == ioEndOfFile) {
        resolveRemainingReferences(client);
        setStatus(ioOk);
    }
}

void ioReadContext::readPackets(ioClientReadContext& client)
{
    pushPacket();
    // A host's abort function may throw out of a packet's read: the stack is left as found.
    struct PacketLevel {
        ioReadContext& context;
        ~PacketLevel() { context.popPacket(); }
    } level{*this};
    while (good() && !halted)
        readPacket(client);
}

ioStatus ioReadContext::readRegistry()
{
    ioPacketRegistry* registry = getRegistry();
    if (!registry) {
        ioPacketFileError("ioPacketFile: readFile needs a packet type registry.\n");
        setStatus(ioError);
        return getStatus();
    }
    if (registryRead || !good())
        return getStatus();
    registryRead = true;
    registry->init();
    if (registry->readRegistry(stream) != ioOk) {
        ioPacketFileError("ioPacketFile: The packet type registry of the file is damaged: %s.\n",
                          registry->readProblem());
        setStatus(ioBadData);
    }
    return getStatus();
}

namespace {

// Whether bytes begin a binary packet head (type id, object flag, body length) in either byte
// order, rather than an encryption marker and its first record. ASCII packets never begin with
// the bytes a marker can be.
bool plausiblePacketHead(const unsigned char* bytes, int available)
{
    if (available < 12)
        return false;
    for (bool swap : {false, true}) {
        int32_t field[3];
        for (int i = 0; i < 3; ++i) {
            const unsigned char* p = bytes + 4 * i;
            uint32_t v = swap ? (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3]
                              : (uint32_t(p[3]) << 24) | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
            field[i] = static_cast<int32_t>(v);
        }
        if (field[0] >= 0 && (field[1] == 0 || field[1] == 1) && field[2] >= 0)
            return true;
    }
    return false;
}

} // namespace

int ioReadContext::detectFilters(int* kinds, int capacity)
{
    if (readRegistry() != ioOk)
        return 0;
    // A stream failure met here is reported by readFile, which meets it next.
    return stream.pushDetectedFilters(kinds, capacity, plausiblePacketHead);
}

// Filtered bytes read as plain data make a nonsense first packet; say what usually causes it.
void ioReadContext::hintFilters() const
{
    if (packetsRead == 0)
        ioPacketFileError("ioPacketFile: If the writer pushed filters after the registry, push the "
                          "same ones before reading, or call detectFilters().\n");
}

void ioReadContext::reportStreamFailure()
{
    if (stream.getStatus() == ioStreamEOF) {
        ioPacketFileError("ioPacketFile: The file ends inside a packet or before its end-of-file "
                          "packet (after %d packets).\n", packetsRead);
        hintFilters();
    } else
        ioPacketFileError("ioPacketFile: Reading failed after %d packets (stream status %s, %d).\n",
                          packetsRead, ioStreamStatusName(stream.getStatus()),
                          static_cast<int>(stream.getStatus()));
    promoteStreamStatus(stream);
}

void ioReadContext::readPacket(ioClientReadContext& client)
{
    ioPacketFileBuffer* packet = currentPacket();
    packet->reset();
    packetReference = 0;
    packetReferenceDefined = false;
    int flags = packet->readPacketHeader(*this, stream);
    if (!stream.good()) {
        reportStreamFailure();
        return;
    }
    ioPacketType* type = packet->getType();
    if (!type) {
        if (packet->getHeaderFault()) {
            ioPacketFileError("ioPacketFile: A packet head is damaged: %s (after %d packets).\n",
                              packet->getHeaderFault(), packetsRead);
        } else {
            ioPacketFileError("ioPacketFile: A packet has the type id %d, which the file's "
                              "registry does not list (after %d packets).\n", packet->getTypeId(),
                              packetsRead);
        }
        hintFilters();
        setStatus(ioBadData);
        return;
    }
    type->used();
    if (type == eofType) {
        packet->skipPacket(*this);
        setStatus(ioEndOfFile);
        return;
    }
    if (flags != 0 && flags != 1) {
        packet->skipPacket(*this);
        ++packetsRead;
        return;
    }
    packet->setHasReference(flags == 1);
    if (flags == 1)
        packetReference = readReference();
    client.prePacketRead();
    type->read(client);
    client.postPacketRead();
    if (strict && !packet->bodyConsumed())
        strictFault("holds values its type does not read (a closing brace may be missing)");
    packet->skipPacket(*this);
    // A failed read (an unsupported type, bad data) has been reported already.
    if (good() && packetReference != 0 && !packetReferenceDefined && packet->getHasReference()) {
        ioPacketFileError("ioPacketFile: A packet type: '%s'\n", type->getName());
        ioPacketFileError("  had a reference associated with it but no \n");
        ioPacketFileError("  definition was provided by the client code.\n");
        // Kept: the value printed is the defined flag (0 here), not the reference number.
        ioPacketFileError("  The undefined reference is: %d.\n",
                          static_cast<int>(packetReferenceDefined));
        fatalError();
    }
    ++packetsRead;
}

void ioReadContext::resolveRemainingReferences(ioClientReadContext& client)
{
    references().reportRemaining(client);
}

void ioReadContext::startSubPacket()
{
    if (ioPacketFileBuffer* packet = currentPacket())
        packet->enterSubPacket(*this);
}

void ioReadContext::endSubPacket()
{
    ioPacketFileBuffer* packet = currentPacket();
    if (!packet)
        return;
    endChunk();
    packet->leaveSubPacket(*this);
}

void ioReadContext::nextChunk()
{
    ioPacketFileBuffer* packet = currentPacket();
    if (!packet)
        return;
    endChunk();
    packet->enterChunk(*this);
    packet->setChunkOpen(true);
}

void ioReadContext::endChunk()
{
    ioPacketFileBuffer* packet = currentPacket();
    if (!packet || !packet->isChunkOpen())
        return;
    packet->leaveChunk(*this);
    packet->setChunkOpen(false);
}

// ---- client handle

ioClientReadContext::ioClientReadContext(ioReadContext& context) : readContext(context) {}

ioClientReadContext::~ioClientReadContext() {}

void ioClientReadContext::prePacketRead() {}

void ioClientReadContext::postPacketRead() {}
