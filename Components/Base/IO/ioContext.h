#ifndef IOCONTEXT_H
#define IOCONTEXT_H

#include "qvBaseExport.h"
#include "ioHeader.h"

#include <cstdint>
#include <vector>

class ioBufferedStream;
class ioBufferedStreamInput;
class ioBufferedStreamOutput;
class ioClientReadContext;
class ioPacketRegistry;
class ioPacketType;
class ioReadContext;
class ioReferenceMap;
class ioWriteContext;

// One packet being written or read, framed the way its encoding frames packets. A context
// keeps one per nesting level.
class QV_BASE_API ioPacketFileBuffer {
public:
    ioPacketFileBuffer();
    ioPacketFileBuffer(const ioPacketFileBuffer&) = delete;
    ioPacketFileBuffer& operator=(const ioPacketFileBuffer&) = delete;
    virtual ~ioPacketFileBuffer();

    // Writing.
    virtual void beginPacket(ioWriteContext& context, bool hasObject, ioPacketType* type) = 0;
    // Writes the finished packet to the context's stream when the output flag is set.
    virtual void endPacket(ioWriteContext& context) = 0;
    virtual void beginSubPacket(ioWriteContext& context) = 0;
    virtual void endSubPacket(ioWriteContext& context) = 0;
    virtual void beginChunk(ioWriteContext& context) = 0;
    virtual void endChunk(ioWriteContext& context) = 0;

    // Reading. readPacketHeader reads the next packet and returns its flags (1 when it carries
    // an object reference), setting the type (null when the stream failed or the id is unknown).
    virtual int readPacketHeader(ioReadContext& context, ioBufferedStreamInput& input) = 0;
    virtual void skipPacket(ioReadContext& context) = 0;
    virtual void enterSubPacket(ioReadContext& context) = 0;
    virtual bool subPacketHasData() const = 0;
    virtual void leaveSubPacket(ioReadContext& context) = 0;
    virtual void enterChunk(ioReadContext& context) = 0;
    virtual void leaveChunk(ioReadContext& context) = 0;
    // Whether the values of the packet read last have all been taken (strict reading).
    virtual bool bodyConsumed() const = 0;

    // Ready for the next packet: no type, output on, no reference, no open chunk.
    void reset();
    ioPacketType* getType() const { return type; }
    void setType(ioPacketType* packetType) { type = packetType; }
    // The type id as read from the file (-1 before a header was read).
    int getTypeId() const { return typeId; }
    bool getOutput() const { return output; }
    void setOutput(bool on) { output = on; }
    bool getHasReference() const { return hasReference; }
    void setHasReference(bool on) { hasReference = on; }
    bool isChunkOpen() const { return chunkOpen; }
    void setChunkOpen(bool open) { chunkOpen = open; }
    // Why the last header read gave no type although the stream is good (null: the id is
    // simply not in the registry).
    const char* getHeaderFault() const { return headerFault; }

    // The most bytes one packet may have: its length must fit a 32-bit field.
    static constexpr int64_t maxPacketSize = INT32_MAX - 16;

    // Writing: the sub-packets and chunks open in this packet, innermost last.
    enum Scope : char { subPacketScope, chunkScope };
    std::vector<Scope>& openScopes() { return scopes; }

protected:
    ioPacketType* type;
    int typeId;
    bool output;
    bool hasReference;
    bool chunkOpen;
    const char* headerFault;
    std::vector<Scope> scopes;
};

// What writing and reading share: the registry, the references, the packet stack and the status.
class QV_BASE_API ioContext {
public:
    ioContext();
    ioContext(const ioContext&) = delete;
    ioContext& operator=(const ioContext&) = delete;
    virtual ~ioContext();

    // A packet buffer of the context's encoding, for one more nesting level.
    virtual ioPacketFileBuffer* newPacketBuffer() = 0;
    // The packet buffer that becomes current (null outside packets).
    virtual void setPacketBuffer(ioPacketFileBuffer* buffer) = 0;

    // The registry is not owned.
    void associateRegistry(ioPacketRegistry* registry);
    ioPacketRegistry* getRegistry() const { return registry; }
    bool good() const { return status == ioOk; }
    ioStatus getStatus() const { return status; }
    void setStatus(ioStatus value) { status = value; }

    ioPacketType* lookupType(int id) const;
    bool isReferenceDefined(int number) const;
    bool isReferenceDefined(const void* object) const;
    int getReference(const void* object) const;
    void* getReferenceDefinition(int number) const;

    // The current packet's type cannot be read by this program: reports it, status ioBadData.
    void invalidPacket();
    // Reports the packet stack and ends the process through the abort function. A host whose
    // abort function throws gets the exception here; the context is then in status ioBadData
    // and can be destroyed, and its stream closed, as after any failed read.
    void fatalError();
    // function(slot, extra) for every pointer slot still waiting that type registered (every
    // type when type is null).
    void reportUnresolvedPtrs(ioPacketType* type, void (*function)(void*, int));

    // Nesting depth of open packets (-1 outside packets).
    int getPacketDepth() const { return depth; }
    int getPacketStackCapacity() const { return capacity; }

protected:
    void pushPacket();
    void popPacket();
    void promoteStreamStatus(const ioBufferedStream& stream);
    ioPacketFileBuffer* currentPacket() const { return current; }
    ioReferenceMap& references() const { return *referenceMap; }

private:
    ioPacketRegistry* registry;
    ioReferenceMap* referenceMap;
    ioPacketFileBuffer* current;
    ioPacketFileBuffer** stack;
    int capacity;
    int depth;
    ioStatus status;
};

// Writes a packet file: startFile(), then packets of typed values, then endFile().
class QV_BASE_API ioWriteContext : public ioContext {
public:
    explicit ioWriteContext(ioBufferedStreamOutput& stream);

    // Writes a reference number; with define, the current packet defines it. Returns it.
    virtual int writeReference(int number, bool define);
    // Writes the number of an object, giving it one on first sight (0 for null). Returns it.
    virtual int writeReference(const void* object, bool define);

    virtual void writeBool(bool value) = 0;
    virtual void writeChar(char value) = 0;
    virtual void writeUChar(unsigned char value) = 0;
    virtual void writeShort(short value) = 0;
    virtual void writeUShort(unsigned short value) = 0;
    virtual void writeInt(int value) = 0;
    virtual void writeUInt(unsigned int value) = 0;
    virtual void writeInt64(int64_t value) = 0;
    virtual void writeUInt64(uint64_t value) = 0;
    virtual void writeFloat(float value) = 0;
    virtual void writeDouble(double value) = 0;
    virtual void writeCString(const char* text) = 0;
    virtual void writeBoolArray(const bool* values, int count) = 0;
    virtual void writeCharArray(const char* values, int count) = 0;
    virtual void writeUCharArray(const unsigned char* values, int count) = 0;
    virtual void writeShortArray(const short* values, int count) = 0;
    virtual void writeUShortArray(const unsigned short* values, int count) = 0;
    virtual void writeIntArray(const int* values, int count) = 0;
    virtual void writeUIntArray(const unsigned int* values, int count) = 0;
    virtual void writeInt64Array(const int64_t* values, int count) = 0;
    virtual void writeUInt64Array(const uint64_t* values, int count) = 0;
    virtual void writeFloatArray(const float* values, int count) = 0;
    virtual void writeDoubleArray(const double* values, int count) = 0;
    virtual void writeRawChar(char c) = 0;
    // The header that announces this context's method.
    virtual ioHeader header() const = 0;

    // Writes the header and the registry.
    void startFile();
    // Opens a packet of type; a non-null object is defined as the packet's reference.
    void startPacket(ioPacketType* type, const void* object = nullptr);
    void startPacket(const char* typeName, const void* object = nullptr);
    void endPacket();
    // Ends an open chunk and starts a new one.
    void startChunk();
    void endChunk();
    void startSubPacket();
    // Ends an open chunk first.
    void endSubPacket();
    // A "packetFile_string" packet whose reference is the text's address (nothing for null).
    void writeCStringPacket(const char* text);
    // Writes the end-of-file packet and flushes the stream.
    void endFile();

    ioBufferedStreamOutput& getStream() const { return stream; }
    bool isStarted() const { return started; }

protected:
    // A value writer called outside a packet: reported once, status ioError.
    void valueOutsidePacket();

private:
    // A call out of order: reported (once per run of failures), status ioError.
    void misuse(const char* what);
    // The open packet, or null after reporting that call needs one.
    ioPacketFileBuffer* packetFor(const char* call);
    // Closes the innermost scope of packet.
    void closeScope(ioPacketFileBuffer* packet);

    ioBufferedStreamOutput& stream;
    bool started;
    ioPacketType* stringType;
    bool ended; // endFile() ran
};

// Reads a packet file: readFile() dispatches each packet to its type's read().
class QV_BASE_API ioReadContext : public ioContext {
public:
    explicit ioReadContext(ioBufferedStreamInput& stream);

    // Whether the sub-packet just entered holds data.
    virtual bool subPacketHasData() const = 0;
    // Binds the current packet's own reference to object.
    virtual void definePacketReference(void* object);
    // Reads a reference and fills *slot (a pointer variable) now or once the number is
    // defined; extra comes back with the slot if it never is. Returns the number.
    virtual int readReferenceUsage(void* slot, int extra);
    // Reads a reference; the object when it is already defined (one use), else null.
    virtual void* readReferenceUsage(int& number);
    virtual void* readReferenceUsage();
    // Reads a reference and binds it to object. Returns the number.
    virtual int readReferenceDefinition(void* object);
    virtual int readReference();
    virtual void defineReference(int number, void* object);
    virtual void defineReferenceSynonym(int number, void* object);
    virtual void resolveReference(int number, void* slot, int extra);
    virtual void useReference(void* object);
    virtual void useReference(int number);
    virtual void undefineReference(int number);
    virtual void undefineReference(void* object);

    virtual bool readBool() = 0;
    virtual char readChar() = 0;
    virtual unsigned char readUChar() = 0;
    virtual short readShort() = 0;
    virtual unsigned short readUShort() = 0;
    virtual int readInt() = 0;
    virtual unsigned int readUInt() = 0;
    virtual int64_t readInt64() = 0;
    virtual uint64_t readUInt64() = 0;
    virtual float readFloat() = 0;
    virtual double readDouble() = 0;
    // Text owned by the reader, valid until the next string is read; null when malformed.
    virtual const char* readCString() = 0;
    virtual void readBoolArray(bool* values, int count) = 0;
    virtual void readCharArray(char* values, int count) = 0;
    virtual void readUCharArray(unsigned char* values, int count) = 0;
    virtual void readShortArray(short* values, int count) = 0;
    virtual void readUShortArray(unsigned short* values, int count) = 0;
    virtual void readIntArray(int* values, int count) = 0;
    virtual void readUIntArray(unsigned int* values, int count) = 0;
    virtual void readInt64Array(int64_t* values, int count) = 0;
    virtual void readUInt64Array(uint64_t* values, int count) = 0;
    virtual void readFloatArray(float* values, int count) = 0;
    virtual void readDoubleArray(double* values, int count) = 0;
    virtual char readRawChar() = 0;

    void readBool(bool& value) { value = readBool(); }
    void readChar(char& value) { value = readChar(); }
    void readUChar(unsigned char& value) { value = readUChar(); }
    void readShort(short& value) { value = readShort(); }
    void readUShort(unsigned short& value) { value = readUShort(); }
    void readInt(int& value) { value = readInt(); }
    void readUInt(unsigned int& value) { value = readUInt(); }
    void readInt64(int64_t& value) { value = readInt64(); }
    void readUInt64(uint64_t& value) { value = readUInt64(); }
    void readFloat(float& value) { value = readFloat(); }
    void readDouble(double& value) { value = readDouble(); }

    // Reads the registry, then every packet up to the end-of-file packet; reports the
    // references left open. Ends with ioOk, or the status that stopped it.
    void readFile(ioClientReadContext& client);
    // Reads the registry now; readFile then starts with the packets. A host whose writer pushed
    // filters after startFile() (which leaves the header and the registry plain) calls this,
    // pushes the same filters on the stream, then calls readFile. Returns the status.
    ioStatus readRegistry();
    // Reads the registry (when readRegistry has not), then pushes on the stream the filters
    // that the writer pushed behind it, recognised by their first bytes; readFile then reads
    // the packets through them. Stores the kinds pushed, outermost first (ioBuffer::typeCompress,
    // typeChecksum, typeEncrypt), in kinds, up to capacity of them, and returns their number.
    int detectFilters(int* kinds = nullptr, int capacity = 0);
    // Strict reading: a malformed or out-of-range number, a malformed string, a read past the
    // end of a packet, or a packet whose values its type does not read to the end (the sign of
    // a lost closing brace) ends the read with ioBadData and a report naming the packet. Off by
    // default, so that files other readers accept stay readable.
    void setStrict(bool on) { strict = on; }
    bool isStrict() const { return strict; }
    // A fault found by strict reading in the current packet: reported once, status ioBadData.
    void strictFault(const char* what);

    // Stops readFile after the current packet (status ioHalted).
    void halt() { halted = true; }
    bool isHalted() const { return halted; }

    void startSubPacket();
    void endSubPacket();
    // Leaves an open chunk and enters the next one.
    void nextChunk();
    void endChunk();

    int getPacketReference() const { return packetReference; }
    int getPacketsRead() const { return packetsRead; }
    ioBufferedStreamInput& getStream() const { return stream; }

private:
    void readPackets(ioClientReadContext& client);
    void readPacket(ioClientReadContext& client);
    void resolveRemainingReferences(ioClientReadContext& client);
    void reportStreamFailure();
    void hintFilters() const;

    ioBufferedStreamInput& stream;
    int packetReference;
    bool packetReferenceDefined;
    ioPacketType* eofType;
    int packetsRead;
    bool halted;
    bool registryRead; // readRegistry() ran
    bool strict;
};

// The handle through which a packet type's read() reaches the read context. Hosts derive from
// it to act around every packet.
class QV_BASE_API ioClientReadContext {
public:
    explicit ioClientReadContext(ioReadContext& context);
    virtual ~ioClientReadContext();

    virtual void prePacketRead();
    virtual void postPacketRead();

    ioReadContext& context() const { return readContext; }
    ioReadContext* operator->() const { return &readContext; }

private:
    ioReadContext& readContext;
};

// A write context of the method over stream, or null for a method this library cannot write.
QV_BASE_API ioWriteContext* ioWriteContextAlloc(ioBufferedStreamOutput& stream,
                                                 ioWriteMethod method, ioPacketRegistry* registry);
// Reads the header and returns the matching read context, or null, without a report, when the
// stream holds no usable header or a method this library cannot read.
QV_BASE_API ioReadContext* ioReadContextAlloc(ioBufferedStreamInput& stream,
                                               ioPacketRegistry* registry);

// Error text of the packet-file contexts goes to the installed function, or to standard error.
QV_BASE_API void ioPacketFileErrorInit(void (*function)(char*));
// The function called before a fatal error aborts the process.
QV_BASE_API void ioPacketFileAbortInit(void (*function)());
QV_BASE_API void ioPacketFileError(const char* format, ...) QV_PRINTF_FORMAT(1, 2);

#endif
