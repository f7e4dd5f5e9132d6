#ifndef QVSTRING_STRING_H
#define QVSTRING_STRING_H

#include "qvBaseExport.h"

namespace qvString {

// The common base of the narrow and the wide string. Positions and lengths are unsigned 32-bit
// values; npos stands for "no position" (a failed search, or "to the end").
class QV_BASE_API String {
public:
    static const unsigned int npos = 0xFFFFFFFFu;

    virtual ~String();

    // A null string and an empty string are the same thing.
    virtual bool isEmpty() const { return length() == 0; }
    virtual bool isNull() const { return isEmpty(); }
    virtual unsigned int length() const = 0;
    virtual unsigned int first() const { return 0; }
    virtual unsigned int last() const
    {
        unsigned int n = length();
        return n == 0 ? 0 : n - 1;
    }
    virtual unsigned int capacity() const = 0;
    // Asks for room for at least n characters; returns the capacity afterwards.
    virtual unsigned int reserve(unsigned int n) = 0;
    virtual unsigned int maxSize() const = 0;

protected:
    String() = default;
    String(const String&) = default;
    String& operator=(const String&) = default;

    // True when pos is a valid position.
    bool doBoundsCheck(int pos) const;
    // True when pos is a valid position and count is -1 ("to the end") or at most length().
    // The count is compared with the whole length, not with the room after pos: kept, callers
    // depend on exactly this answer.
    bool doBoundsCheck(int pos, int count) const;
};

} // namespace qvString

#endif
