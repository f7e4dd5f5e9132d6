#include "ioHeader.h"

#include "ioBufferedStream.h"

ioHeader::ioHeader() : valid(false), littleEndian(true), method(-1) {}

// Text packets do not depend on byte order, and readers ignore the flag for them: text files
// carry the little-endian flag on every machine, so they are the same bytes everywhere.
ioHeader::ioHeader(ioWriteMethod m)
    : valid(true), littleEndian(systemIsLittleEndian() || m == ioWriteAscii || m == ioWriteAsciiDebug),
      method(m)
{
}

void ioHeader::writeHeader(ioBufferedStreamOutput& stream) const
{
    stream.writeString("^@\n");
    stream.writeString("1\n");
    stream.writeString(littleEndian ? "1 " : "0 ");
    stream.printf("%d ", method);
    stream.writeString("1\n");
    // Sizes of char, short, int, 64-bit integer, float, double and pointer.
    const int sizes[] = {1, 2, 4, 8, 4, 8};
    for (int size : sizes)
        stream.printf("%d ", size);
    stream.printf("%d\n", 4);
    stream.writeString("@\n");
}

bool ioHeader::readHeader(ioBufferedStreamInput& stream)
{
    valid = true;
    char a = stream.readChar();
    char b = stream.readChar();
    char c = stream.readChar();
    if (a != '^' || b != '@' || c != '\n') {
        valid = false;
        return false;
    }
    stream.readInt(); // header version, not checked
    littleEndian = stream.readInt() != 0;
    int fileMethod = stream.readInt();
    int sizeLineValid = stream.readInt();
    int sizes[6];
    for (int& size : sizes)
        size = stream.readInt();
    stream.readInt(); // pointer size, ignored
    method = (fileMethod >= ioWriteAscii && fileMethod <= ioWriteBinaryDebug) ? fileMethod : -1;
    bool binary = method == ioWriteBinary || method == ioWriteBinaryDebug;
    if (sizeLineValid == 0 && binary)
        valid = false;
    // Skip whatever stands between the size line and the "@" line. A stream that ends first
    // stops the scan (readChar gives 0 from then on).
    char d = stream.readChar();
    while (d != '@' && stream.good())
        d = stream.readChar();
    if (!stream.good())
        valid = false;
    stream.readChar();
    if (binary) {
        const int expected[] = {1, 2, 4, 8, 4, 8};
        for (int i = 0; i < 6; ++i)
            if (sizes[i] != expected[i])
                valid = false;
    }
    return valid;
}

ioReadMethod ioHeader::determineReadMethod() const
{
    bool sameOrder = littleEndian == systemIsLittleEndian();
    switch (method) {
    case ioWriteAscii:
        return ioReadAscii;
    case ioWriteBinary:
        return sameOrder ? ioReadBinarySameEndian : ioReadBinarySwapped;
    case ioWriteAsciiDebug:
        return ioReadAsciiDebug;
    case ioWriteBinaryDebug:
        return sameOrder ? ioReadBinaryDebugSameEndian : ioReadBinaryDebugSwapped;
    default:
        return ioReadUnknown;
    }
}

const char* ioStatusName(ioStatus status)
{
    switch (status) {
    case ioOk: return "ok";
    case ioError: return "error";
    case ioOpenFailed: return "open failed";
    case ioEndOfFile: return "end of file";
    case ioBadData: return "bad data";
    case ioNoSpace: return "no space";
    case ioHalted: return "halted";
    case ioChecksumError: return "checksum error";
    }
    return "unknown status";
}
