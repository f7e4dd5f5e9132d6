#ifndef IOPACKETTYPE_H
#define IOPACKETTYPE_H

#include "qvBaseExport.h"

#include <memory>
#include <vector>

class ioClientReadContext;
class ioWriteContext;

// A kind of packet: its name binds it to a small id in each file's registry. A host derives a
// class per kind of object and implements read(); the registry owns its types.
class QV_BASE_API ioPacketType {
public:
    explicit ioPacketType(const char* name);
    ioPacketType(const ioPacketType&) = delete;
    ioPacketType& operator=(const ioPacketType&) = delete;
    virtual ~ioPacketType();

    // Reads one packet of this type; the base reports an invalid packet to the context.
    virtual void read(ioClientReadContext& context);
    // A packet's object was defined as a reference target and never used.
    virtual void memoryNotReferenced(ioClientReadContext& context, void* data);
    // A pointer slot registered by a packet of this type waits for a reference never defined.
    virtual void hasUnresolvedPointer(ioClientReadContext& context, void* data, int reference);

    const char* getName() const { return name; }
    int getId() const { return id; }
    void used() { ++numUsages; }
    int getNumUsages() const { return numUsages; }
    bool isUnresolved() const { return (flags & unresolvedFlag) != 0; }
    bool isUnreferenced() const { return (flags & unreferencedFlag) != 0; }

    void handleUnreferencedMemory(ioClientReadContext& context, void* data);
    void handleUnresolvedPtr(ioClientReadContext& context, void* data, int reference);

private:
    friend class ioPacketRegistry;
    enum { unresolvedFlag = 1, unreferencedFlag = 2 };

    char* name;
    int id;
    int numUsages;
    int flags;
};

// Built-in type "packetFile_string": a packet holding one C string, defined as a reference
// target. The strings read belong to the type (and so to its registry).
class QV_BASE_API ioPacketString : public ioPacketType {
public:
    ioPacketString();
    ~ioPacketString() override;
    void read(ioClientReadContext& context) override;

private:
    std::vector<char*> strings;
};

// Built-in type "packetFile_EOF": the empty packet that ends every file.
class QV_BASE_API ioPacketEOF : public ioPacketType {
public:
    ioPacketEOF();
    // Opens the end-of-file packet; the caller ends it.
    void writePacket(ioWriteContext& context);
};

// A type whose read is a plain function: registers a reader without writing a class.
class QV_BASE_API ioReadPacketByFunction : public ioPacketType {
public:
    ioReadPacketByFunction(const char* name, void (*function)(ioClientReadContext&));
    void read(ioClientReadContext& context) override;

private:
    void (*readFunction)(ioClientReadContext&);
};

#endif
