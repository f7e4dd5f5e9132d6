#ifndef IOHEADER_H
#define IOHEADER_H

#include "qvBaseExport.h"
#include "qvOSByteOrder.h"

class ioBufferedStreamInput;
class ioBufferedStreamOutput;

// How the packets of a file were written; recorded in its header.
enum ioWriteMethod {
    ioWriteAscii = 0,
    ioWriteBinary = 1,
    ioWriteAsciiDebug = 2,
    ioWriteBinaryDebug = 3
};

// Which reader a file needs, derived from its header.
enum ioReadMethod {
    ioReadUnknown = 0,
    ioReadBinarySameEndian = 1,
    ioReadBinarySwapped = 2,
    ioReadAscii = 3,
    ioReadBinaryDebugSameEndian = 4,
    ioReadBinaryDebugSwapped = 5,
    ioReadAsciiDebug = 6
};

// Status of a read or write context.
enum ioStatus {
    ioOk = 0,
    ioError = 1,          // misuse, or a stream input/output error
    ioOpenFailed = 2,     // the stream could not be opened
    ioEndOfFile = 3,      // the end-of-file packet was read (internal to readFile)
    ioBadData = 4,        // bad or truncated data
    ioNoSpace = 5,        // disk full
    ioHalted = 6,         // reading halted by the client
    ioChecksumError = 7   // damaged data
};

// The status in words ("bad data"), for messages; "unknown status" for other values.
QV_BASE_API const char* ioStatusName(ioStatus status);

// The text header of a packet file: "^@", the version, the byte order and method, the sizes of
// the basic types, "@".
class QV_BASE_API ioHeader {
public:
    ioHeader();
    explicit ioHeader(ioWriteMethod method);

    void writeHeader(ioBufferedStreamOutput& stream) const;
    // Reads and checks a header; false when the stream holds none that can be used.
    bool readHeader(ioBufferedStreamInput& stream);
    ioReadMethod determineReadMethod() const;

    bool isValid() const { return valid; }
    bool isLittleEndian() const { return littleEndian; }
    // The method, or -1 after reading a value that is not one.
    int getMethod() const { return method; }

private:
    // The byte order of the build's target: a constant, not a run-time probe.
    static bool systemIsLittleEndian() { return qvOS::hostIsLittleEndian; }

    bool valid;
    bool littleEndian;
    int method;
};

#endif
