#include "ioPacketFileDebug.h"

namespace {

struct TagName {
    char tag;
    const char* name;
};

const TagName tagNames[] = {
    {ioTagBool, "Bool"},           {ioTagChar, "Char"},
    {ioTagUChar, "UChar"},         {ioTagShort, "Short"},
    {ioTagUShort, "UShort"},       {ioTagInt, "Int"},
    {ioTagUInt, "UInt"},           {ioTagInt64, "Int64"},
    {ioTagUInt64, "UInt64"},       {ioTagFloat, "Float"},
    {ioTagDouble, "Double"},       {ioTagCString, "CString"},
    {ioTagReference, "Reference"}, {ioTagBoolArray, "BoolArray"},
    {ioTagCharArray, "CharArray"}, {ioTagUCharArray, "UCharArray"},
    {ioTagShortArray, "ShortArray"}, {ioTagUShortArray, "UShortArray"},
    {ioTagIntArray, "IntArray"},   {ioTagUIntArray, "UIntArray"},
    {ioTagInt64Array, "Int64Array"}, {ioTagUInt64Array, "UInt64Array"},
    {ioTagFloatArray, "FloatArray"}, {ioTagDoubleArray, "DoubleArray"},
};

} // namespace

const char* ioDebugTagName(char tag)
{
    for (const TagName& entry : tagNames)
        if (entry.tag == tag)
            return entry.name;
    return "(invalid type)";
}

void ioCheckDebugTag(ioContext& context, char got, char expected)
{
    // Kept: codes of 0x80 and above pass unchecked, and files depend on it.
    if (static_cast<signed char>(got) < 0 || got == expected)
        return;
    ioPacketFileError("Packet file type mismatch:\n");
    ioPacketFileError("   got: %s (%02x)\n", ioDebugTagName(got), static_cast<unsigned char>(got));
    ioPacketFileError("   expected: %s (%02x)\n", ioDebugTagName(expected),
                      static_cast<unsigned char>(expected));
    context.fatalError();
}
