#ifndef IOPACKETREGISTRY_H
#define IOPACKETREGISTRY_H

#include "qvBaseExport.h"
#include "ioHeader.h"

class ioBufferedStreamInput;
class ioBufferedStreamOutput;
class ioPacketType;
class ioPacketRegistryImpl;

// The packet types a program knows, by name, and the numbering of those used in one file. A
// writing registry numbers its types as they are added; a reading registry takes the numbers
// from the file's registry. The host derives a class and adds its types in registerTypes().
class QV_BASE_API ioPacketRegistry {
public:
    explicit ioPacketRegistry(bool reading);
    ioPacketRegistry(const ioPacketRegistry&) = delete;
    ioPacketRegistry& operator=(const ioPacketRegistry&) = delete;
    virtual ~ioPacketRegistry();

    // Adds the built-in types, then the host's; later calls do nothing.
    void init();
    // Adds a type; the registry owns it from now on. A type whose name the file's registry
    // cannot carry (empty, with white space, beginning with "@", too long for a registry line,
    // or already registered) is refused with a report: it is neither named nor numbered, and a
    // write context refuses to start a file with this registry (see refusal()).
    void supportedType(ioPacketType* type);

    ioPacketType* lookup(const char* name) const;
    // The type numbered id in this file, or null.
    ioPacketType* lookup(int id) const;

    // One "%4d %s" line per numbered type, then "@".
    void writeRegistry(ioBufferedStreamOutput& stream);
    // Numbers the types listed in a file; ioBadData for ids that are not consecutive or a line
    // that is not "<id> <name>", ioError when the stream fails before the "@" line.
    ioStatus readRegistry(ioBufferedStreamInput& stream);
    // Why the last readRegistry failed ("" after success).
    const char* readProblem() const;
    // Why supportedType() refused a type ("" when it refused none).
    const char* refusal() const;

    // Longest line of the file's registry that a reader takes whole, newline included.
    static constexpr int maxLineLength = 89;

    bool isReading() const { return reading; }

protected:
    // Calls supportedType() once for each of the host's packet types.
    virtual void registerTypes() = 0;

private:
    ioPacketRegistryImpl* impl;
    bool initialized;
    bool reading;
};

#endif
