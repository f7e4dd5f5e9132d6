#ifndef IOPACKETFILEDEBUG_H
#define IOPACKETFILEDEBUG_H

#include "qvBaseExport.h"
#include "ioContext.h"
#include "ioPacketFileAscii.h"
#include "ioPacketFileBinary.h"

// The type tags of the checking contexts: one character before every value.
enum ioDebugTag : char {
    ioTagBool = 'b',
    ioTagChar = 'c',
    ioTagUChar = 'C',
    ioTagShort = 'h',
    ioTagUShort = 'H',
    ioTagInt = 'i',
    ioTagUInt = 'I',
    ioTagInt64 = 'l',
    ioTagUInt64 = 'L',
    ioTagFloat = 'f',
    ioTagDouble = 'd',
    ioTagCString = 's',
    ioTagReference = 'r',
    ioTagBoolArray = 'B',
    ioTagCharArray = '1',
    ioTagUCharArray = '2',
    ioTagShortArray = '3',
    ioTagUShortArray = '4',
    ioTagIntArray = '5',
    ioTagUIntArray = '6',
    ioTagInt64Array = '7',
    ioTagUInt64Array = '8',
    ioTagFloatArray = '9',
    ioTagDoubleArray = '0'
};

// The type name that mismatch reports give a tag ("(invalid type)" for any other code).
QV_BASE_API const char* ioDebugTagName(char tag);
// Compares a tag read from a file with the expected one. Codes of 0x80 and above pass
// unchecked; any other difference is reported in three lines and ends in context.fatalError().
QV_BASE_API void ioCheckDebugTag(ioContext& context, char got, char expected);

// A write context that puts a type tag before every value of its base encoding (the base
// operation is called by name, never through a member pointer, which would dispatch back
// here). The base operations dispatch through this object's slots, so tags nest wherever the base encoding
// writes through another value writer (a reference is "r" then the "I" of its number; binary
// length fields carry "i").
template <class Base, int Method> class ioWriteContextDebug : public Base {
public:
    explicit ioWriteContextDebug(ioBufferedStreamOutput& stream) : Base(stream) {}

    using Base::writeReference;
    int writeReference(int number, bool define) override
    {
        this->writeRawChar(ioTagReference);
        return Base::writeReference(number, define);
    }

    void writeBool(bool value) override
    {
        this->writeRawChar(ioTagBool);
        Base::writeBool(value);
    }
    void writeChar(char value) override
    {
        this->writeRawChar(ioTagChar);
        Base::writeChar(value);
    }
    void writeUChar(unsigned char value) override
    {
        this->writeRawChar(ioTagUChar);
        Base::writeUChar(value);
    }
    void writeShort(short value) override
    {
        this->writeRawChar(ioTagShort);
        Base::writeShort(value);
    }
    void writeUShort(unsigned short value) override
    {
        this->writeRawChar(ioTagUShort);
        Base::writeUShort(value);
    }
    void writeInt(int value) override
    {
        this->writeRawChar(ioTagInt);
        Base::writeInt(value);
    }
    void writeUInt(unsigned int value) override
    {
        this->writeRawChar(ioTagUInt);
        Base::writeUInt(value);
    }
    void writeInt64(int64_t value) override
    {
        this->writeRawChar(ioTagInt64);
        Base::writeInt64(value);
    }
    void writeUInt64(uint64_t value) override
    {
        this->writeRawChar(ioTagUInt64);
        Base::writeUInt64(value);
    }
    void writeFloat(float value) override
    {
        this->writeRawChar(ioTagFloat);
        Base::writeFloat(value);
    }
    void writeDouble(double value) override
    {
        this->writeRawChar(ioTagDouble);
        Base::writeDouble(value);
    }
    void writeCString(const char* text) override
    {
        this->writeRawChar(ioTagCString);
        Base::writeCString(text);
    }
    void writeBoolArray(const bool* values, int count) override
    {
        this->writeRawChar(ioTagBoolArray);
        Base::writeBoolArray(values, count);
    }
    void writeCharArray(const char* values, int count) override
    {
        this->writeRawChar(ioTagCharArray);
        Base::writeCharArray(values, count);
    }
    void writeUCharArray(const unsigned char* values, int count) override
    {
        this->writeRawChar(ioTagUCharArray);
        Base::writeUCharArray(values, count);
    }
    void writeShortArray(const short* values, int count) override
    {
        this->writeRawChar(ioTagShortArray);
        Base::writeShortArray(values, count);
    }
    void writeUShortArray(const unsigned short* values, int count) override
    {
        this->writeRawChar(ioTagUShortArray);
        Base::writeUShortArray(values, count);
    }
    void writeIntArray(const int* values, int count) override
    {
        this->writeRawChar(ioTagIntArray);
        Base::writeIntArray(values, count);
    }
    void writeUIntArray(const unsigned int* values, int count) override
    {
        this->writeRawChar(ioTagUIntArray);
        Base::writeUIntArray(values, count);
    }
    void writeInt64Array(const int64_t* values, int count) override
    {
        this->writeRawChar(ioTagInt64Array);
        Base::writeInt64Array(values, count);
    }
    void writeUInt64Array(const uint64_t* values, int count) override
    {
        this->writeRawChar(ioTagUInt64Array);
        Base::writeUInt64Array(values, count);
    }
    void writeFloatArray(const float* values, int count) override
    {
        this->writeRawChar(ioTagFloatArray);
        Base::writeFloatArray(values, count);
    }
    void writeDoubleArray(const double* values, int count) override
    {
        this->writeRawChar(ioTagDoubleArray);
        Base::writeDoubleArray(values, count);
    }
    ioHeader header() const override { return ioHeader(static_cast<ioWriteMethod>(Method)); }
};

// A read context that checks the tag before every value against the value asked for, then
// reads the value with its base encoding (so a mismatch consumes the same bytes).
template <class Base> class ioReadContextDebug : public Base {
public:
    explicit ioReadContextDebug(ioBufferedStreamInput& stream) : Base(stream) {}

    using Base::readBool;
    using Base::readChar;
    using Base::readUChar;
    using Base::readShort;
    using Base::readUShort;
    using Base::readInt;
    using Base::readUInt;
    using Base::readInt64;
    using Base::readUInt64;
    using Base::readFloat;
    using Base::readDouble;

    int readReference() override
    {
        check(ioTagReference);
        return Base::readReference();
    }

    bool readBool() override { return check(ioTagBool), Base::readBool(); }
    char readChar() override { return check(ioTagChar), Base::readChar(); }
    unsigned char readUChar() override { return check(ioTagUChar), Base::readUChar(); }
    short readShort() override { return check(ioTagShort), Base::readShort(); }
    unsigned short readUShort() override { return check(ioTagUShort), Base::readUShort(); }
    int readInt() override { return check(ioTagInt), Base::readInt(); }
    unsigned int readUInt() override { return check(ioTagUInt), Base::readUInt(); }
    int64_t readInt64() override { return check(ioTagInt64), Base::readInt64(); }
    uint64_t readUInt64() override { return check(ioTagUInt64), Base::readUInt64(); }
    float readFloat() override { return check(ioTagFloat), Base::readFloat(); }
    double readDouble() override { return check(ioTagDouble), Base::readDouble(); }
    const char* readCString() override { return check(ioTagCString), Base::readCString(); }
    void readBoolArray(bool* values, int count) override
    {
        check(ioTagBoolArray);
        Base::readBoolArray(values, count);
    }
    void readCharArray(char* values, int count) override
    {
        check(ioTagCharArray);
        Base::readCharArray(values, count);
    }
    void readUCharArray(unsigned char* values, int count) override
    {
        check(ioTagUCharArray);
        Base::readUCharArray(values, count);
    }
    void readShortArray(short* values, int count) override
    {
        check(ioTagShortArray);
        Base::readShortArray(values, count);
    }
    void readUShortArray(unsigned short* values, int count) override
    {
        check(ioTagUShortArray);
        Base::readUShortArray(values, count);
    }
    void readIntArray(int* values, int count) override
    {
        check(ioTagIntArray);
        Base::readIntArray(values, count);
    }
    void readUIntArray(unsigned int* values, int count) override
    {
        check(ioTagUIntArray);
        Base::readUIntArray(values, count);
    }
    void readInt64Array(int64_t* values, int count) override
    {
        check(ioTagInt64Array);
        Base::readInt64Array(values, count);
    }
    void readUInt64Array(uint64_t* values, int count) override
    {
        check(ioTagUInt64Array);
        Base::readUInt64Array(values, count);
    }
    void readFloatArray(float* values, int count) override
    {
        check(ioTagFloatArray);
        Base::readFloatArray(values, count);
    }
    void readDoubleArray(double* values, int count) override
    {
        check(ioTagDoubleArray);
        Base::readDoubleArray(values, count);
    }

private:
    void check(char expected) { ioCheckDebugTag(*this, this->readRawChar(), expected); }
};

using ioWriteContextAsciiDebug = ioWriteContextDebug<ioWriteContextAscii, ioWriteAsciiDebug>;
using ioWriteContextBinaryDebug = ioWriteContextDebug<ioWriteContextBinary, ioWriteBinaryDebug>;
using ioReadContextAsciiDebug = ioReadContextDebug<ioReadContextAscii>;
using ioReadContextBinaryDebugSameEndian = ioReadContextDebug<ioReadContextBinarySameEndian>;
using ioReadContextBinaryDebugSwapped = ioReadContextDebug<ioReadContextBinarySwapped>;

#endif
