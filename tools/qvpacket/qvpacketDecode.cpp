#include "qvpacketDecode.h"

#include "ioPacketFileDebug.h"
#include "internal/ioNumberText.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace qvPacket {

namespace {

const char scalarTags[] = "bcChHiIlLfd";
const char arrayTags[] = "B1234567890";
constexpr int maxDepth = 64;
// The binary decoder keeps one reading per byte of a body: bodies above this are refused.
constexpr int maxBody = 8 << 20;
constexpr int maxUnconfirmed = 1024;

bool isUnsignedTag(char tag)
{
    return tag == 'C' || tag == 'H' || tag == 'I' || tag == 'L';
}

bool isScalarTag(char tag)
{
    return tag != 0 && std::strchr(scalarTags, tag) != nullptr;
}

using io::internal::NumberKind;

// The kind of a scalar tag, for the checks the library's strict readers make.
NumberKind kindOf(char tag)
{
    static const NumberKind kinds[] = {NumberKind::Bool,  NumberKind::Char,   NumberKind::UChar,
                                       NumberKind::Short, NumberKind::UShort, NumberKind::Int,
                                       NumberKind::UInt,  NumberKind::Int64,  NumberKind::UInt64,
                                       NumberKind::Float, NumberKind::Double};
    return kinds[std::strchr(scalarTags, tag) - scalarTags];
}

// Whether an untyped token is a number under some kind: the strict readers accept it at least
// as one type.
bool isAnyNumber(const char* begin, const char* end)
{
    return io::internal::isStrictNumber(NumberKind::Int64, begin, end)
           || io::internal::isStrictNumber(NumberKind::UInt64, begin, end)
           || io::internal::isStrictNumber(NumberKind::Double, begin, end);
}

std::string quoted(char c)
{
    return c >= 0x20 && c < 0x7F ? std::string("'") + c + "'" : "byte " + std::to_string(static_cast<unsigned char>(c));
}

class AsciiDecoder {
public:
    AsciiDecoder(const char* text, int size, bool debug) : t(text), n(size), debug(debug) {}

    DecodeResult run(std::vector<Item>& items)
    {
        int pos = 0;
        sequence(pos, 0, items, 0);
        return result;
    }

private:
    bool fail(int at, const std::string& what)
    {
        result.ok = false;
        result.at = at;
        result.what = what;
        return false;
    }

    bool startsWith(int pos, const char* s) const
    {
        int len = static_cast<int>(std::strlen(s));
        return pos + len <= n && std::memcmp(t + pos, s, static_cast<size_t>(len)) == 0;
    }

    // Index of the blank that ends the token at pos, or -1.
    int tokenEnd(int pos) const
    {
        const void* blank = pos < n ? std::memchr(t + pos, ' ', static_cast<size_t>(n - pos)) : nullptr;
        return blank ? static_cast<int>(static_cast<const char*>(blank) - t) : -1;
    }

    // The number of tag at pos up to its blank; the index after the blank, or -1. Valid
    // exactly when the library's strict readers accept it.
    int number(char tag, int pos, Number& value) const
    {
        int end = tokenEnd(pos);
        if (end <= pos || !io::internal::isStrictNumber(kindOf(tag), t + pos, t + end))
            return -1;
        // The library's own conversions, as the readers see the value.
        const char* p = t + pos;
        if (isRealTag(tag)) {
            value.d = io::internal::parseDouble(p, t + end);
            if (tag == 'f')
                value.d = io::internal::narrowToFloat(value.d);
        } else if (isUnsignedTag(tag)) {
            value.i = static_cast<int64_t>(io::internal::parseUInt64(p, t + end));
        } else {
            value.i = io::internal::parseInt64(p, t + end);
        }
        return end + 1;
    }

    bool string(int& pos, Item& item)
    {
        int start = pos;
        if (pos >= n || t[pos] != '"')
            return fail(pos, "a string must begin with a double quote");
        for (++pos; pos < n && t[pos] != '"'; ++pos) {
            if (t[pos] == '\\' && ++pos >= n)
                break;
            item.text += t[pos];
        }
        if (pos + 1 >= n || t[pos + 1] != ' ')
            return fail(start, "a string is not closed (quote and blank)");
        pos += 2;
        return true;
    }

    bool value(int& pos, std::vector<Item>& out, bool hasHint, int64_t hint)
    {
        char tag = t[pos];
        Item item;
        item.tag = tag;
        if (tag == 's') {
            item.kind = Item::String;
            ++pos;
            if (!string(pos, item))
                return false;
        } else if (tag == 'r') {
            item.kind = Item::Reference;
            Number number;
            int next = pos + 1 < n && t[pos + 1] == 'I' ? this->number('I', pos + 2, number) : -1;
            if (next < 0)
                return fail(pos, "a reference must be 'r', 'I' and an unsigned number");
            item.numbers.push_back(number);
            pos = next;
        } else if (isScalarTag(tag)) {
            Number number;
            int next = this->number(tag, pos + 1, number);
            if (next < 0)
                return fail(pos, std::string("malformed ") + ioDebugTagName(tag) + " value");
            item.numbers.push_back(number);
            pos = next;
        } else if (char element = elementTag(tag)) {
            item.kind = Item::Array;
            // The elements: each is its scalar tag, the number and a blank.
            std::vector<Number> run;
            int at = pos + 1;
            Number number;
            while (at < n && t[at] == element) {
                int next = this->number(element, at + 1, number);
                if (next < 0)
                    break;
                run.push_back(number);
                at = next;
            }
            size_t count = hasHint && hint >= 0 && static_cast<uint64_t>(hint) <= run.size()
                               ? static_cast<size_t>(hint) : run.size();
            run.resize(count);
            item.numbers = std::move(run);
            for (pos = pos + 1; count > 0; --count)
                pos = tokenEnd(pos) + 1;
        } else {
            return fail(pos, "unknown type tag " + quoted(tag));
        }
        out.push_back(std::move(item));
        return true;
    }

    bool token(int& pos, std::vector<Item>& out)
    {
        Item item;
        if (t[pos] == '"') {
            item.kind = Item::String;
            if (!string(pos, item))
                return false;
        } else {
            int end = tokenEnd(pos);
            const void* brace = std::memchr(t + pos, '{', static_cast<size_t>((end < 0 ? n : end) - pos));
            if (brace)
                return fail(static_cast<int>(static_cast<const char*>(brace) - t),
                            "a '{' inside a packet: the packet before it has lost its closing '}'");
            if (end <= pos)
                return fail(pos, end < 0 ? "a value is not followed by a blank" : "unexpected blank");
            if (!isAnyNumber(t + pos, t + end))
                return fail(pos, "malformed or out-of-range number '" + std::string(t + pos, static_cast<size_t>(std::min(end - pos, 40))) + "'");
            item.kind = Item::Token;
            item.text.assign(t + pos, static_cast<size_t>(end - pos));
            pos = end + 1;
        }
        out.push_back(std::move(item));
        return true;
    }

    bool sequence(int& pos, char closer, std::vector<Item>& out, int depth)
    {
        bool hasHint = false;
        int64_t hint = 0;
        for (;;) {
            if (pos >= n) {
                if (closer == 0)
                    return true;
                return fail(pos, closer == ']' ? "a sub-packet is not closed" : "a chunk is not closed");
            }
            bool sub = startsWith(pos, "\n  [ ");
            if (sub || startsWith(pos, "\n  < ")) {
                if (depth >= maxDepth)
                    return fail(pos, "sub-packets and chunks nested too deeply");
                Item item;
                item.kind = sub ? Item::SubPacket : Item::Chunk;
                pos += 5;
                if (!sequence(pos, sub ? ']' : '>', item.items, depth + 1))
                    return false;
                out.push_back(std::move(item));
                hasHint = false;
                continue;
            }
            char c = t[pos];
            if (c == '{' || (c == '\n' && pos + 1 < n && t[pos + 1] == '{'))
                return fail(c == '{' ? pos : pos + 1,
                            "a '{' inside a packet: the packet before it has lost its closing '}'");
            if (c == ']' || c == '>') {
                if (c != closer)
                    return fail(pos, "unexpected " + quoted(c));
                if (pos + 1 >= n || t[pos + 1] != ' ')
                    return fail(pos, quoted(c) + " must be followed by a blank");
                pos += 2;
                return true;
            }
            if (!(debug ? value(pos, out, hasHint, hint) : token(pos, out)))
                return false;
            const Item& last = out.back();
            hasHint = last.kind == Item::Value && !isRealTag(last.tag) && last.tag != 0;
            hint = hasHint ? last.numbers[0].i : 0;
        }
    }

    const char* t;
    int n;
    bool debug;
    DecodeResult result;
};

// Decodes a type-checked binary body. Where array lengths make several readings possible, it
// chooses, over the whole region, the reading whose arrays best match the integer written just
// before them, then the one with the fewest implausible real numbers, then the one with the
// fewest unconfirmed arrays, then the one with the most items, nested
// ones included: spurious arrays come from data bytes that happen to look like tags, and an
// array that swallows real items leaves fewer of them. Regions are solved backwards, one
// best reading per position, so the work stays bounded.
class BinaryDecoder {
public:
    BinaryDecoder(const char* bytes, int size, bool swapped)
        : b(reinterpret_cast<const unsigned char*>(bytes)), n(size), swap(swapped),
          budget(20000000 + 64LL * size), exhausted(false)
    {
    }

    DecodeResult run(std::vector<Item>& items)
    {
        DecodeResult result;
        if (n > maxBody) {
            result.ok = false;
            result.what = "a body of " + std::to_string(n) + " bytes is too large to decode without its program";
            return result;
        }
        countOddReals();
        if (region(0, n, items, 0))
            return result;
        result.ok = false;
        if (exhausted) {
            result.what = "the array lengths cannot be determined (too many possible readings)";
            return result;
        }
        result.at = stuckAt(0, n, result.what, 0);
        return result;
    }

private:
    struct Score {
        int mismatches = 0; // arrays whose length differs from the integer just before them
        int implausible = 0; // real elements that are no number a program would store
        int arrays = 0; // arrays whose length no integer before them confirms
        int items = 0;
        bool valid = false;
        bool better(const Score& other) const
        {
            if (!other.valid)
                return valid;
            if (!valid)
                return false;
            if (mismatches != other.mismatches)
                return mismatches < other.mismatches;
            if (implausible != other.implausible)
                return implausible < other.implausible;
            if (arrays != other.arrays)
                return arrays < other.arrays;
            return items > other.items;
        }
    };
    // The best reading from one position: its first item (and, after an integer, the array
    // that follows it) and where the rest starts.
    struct Step {
        Score score;
        int next = 0;
        int arrayAt = -1; // position of a following array's tag, or -1
        int count = 0;    // its length
    };

    static bool validStart(unsigned char c)
    {
        return c == ',' || c == '.' || c == 's' || c == 'r' || isScalarTag(static_cast<char>(c)) ||
               elementTag(static_cast<char>(c)) != 0;
    }

    Number scalar(char tag, int pos) const
    {
        unsigned char raw[8];
        int size = scalarSize(tag);
        for (int i = 0; i < size; ++i)
            raw[i] = b[pos + (swap ? size - 1 - i : i)];
        Number value;
        switch (tag) {
        case 'b': value.i = raw[0] != 0; break;
        case 'c': value.i = static_cast<signed char>(raw[0]); break;
        case 'C': value.i = raw[0]; break;
        case 'h': { int16_t v; std::memcpy(&v, raw, 2); value.i = v; break; }
        case 'H': { uint16_t v; std::memcpy(&v, raw, 2); value.i = v; break; }
        case 'i': { int32_t v; std::memcpy(&v, raw, 4); value.i = v; break; }
        case 'I': { uint32_t v; std::memcpy(&v, raw, 4); value.i = v; break; }
        case 'f': { float v; std::memcpy(&v, raw, 4); value.d = v; break; }
        case 'd': std::memcpy(&value.d, raw, 8); break;
        default: std::memcpy(&value.i, raw, 8); break; // 'l', 'L'
        }
        return value;
    }

    // Stride of one array element: Bool arrays repeat "b" and a byte.
    static int stride(char tag) { return tag == 'B' ? 2 : scalarSize(elementTag(tag)); }

    // The end of the one item at pos that is not an array (-1 when none fits); sub-packets and
    // chunks are decoded into children.
    int item(int pos, int end, int depth, std::vector<Item>* children, Score* inner = nullptr)
    {
        unsigned char c = b[pos];
        if (c == ',' || c == '.') {
            if (end - pos < 6 || b[pos + 1] != 'i')
                return -1;
            int32_t length = static_cast<int32_t>(scalar('i', pos + 2).i);
            // A sub-packet that holds another one directly keeps the length 0 (the writer has one
            // length slot per chunk level, and the inner sub-packet takes it): it runs to the end
            // of its region.
            if (c == ',' && length == 0)
                length = end - pos - 1;
            if (length < 5 || length > end - pos - 1)
                return -1;
            if (depth >= maxDepth) {
                exhausted = true;
                return -1;
            }
            std::vector<Item> ignored;
            if (!region(pos + 6, pos + 1 + length, children ? *children : ignored, depth + 1, inner))
                return -1;
            return pos + 1 + length;
        }
        if (c == 's') {
            const void* nul = std::memchr(b + pos + 1, 0, static_cast<size_t>(end - pos - 1));
            return nul ? static_cast<int>(static_cast<const unsigned char*>(nul) - b) + 1 : -1;
        }
        if (c == 'r')
            return end - pos >= 6 && b[pos + 1] == 'I' ? pos + 6 : -1;
        int size = scalarSize(static_cast<char>(c));
        return size && end - pos - 1 >= size ? pos + 1 + size : -1;
    }

    Item makeItem(int pos, int next, std::vector<Item>&& children) const
    {
        Item item;
        char tag = static_cast<char>(b[pos]);
        item.tag = tag;
        if (tag == ',' || tag == '.') {
            item.kind = tag == ',' ? Item::SubPacket : Item::Chunk;
            item.tag = 0;
            item.items = std::move(children);
        } else if (tag == 's') {
            item.kind = Item::String;
            item.text.assign(reinterpret_cast<const char*>(b + pos + 1), static_cast<size_t>(next - pos - 2));
        } else if (tag == 'r') {
            item.kind = Item::Reference;
            item.numbers.push_back(scalar('I', pos + 2));
        } else {
            item.numbers.push_back(scalar(tag, pos + 1));
        }
        return item;
    }

    Item makeArray(int pos, int count) const
    {
        Item item;
        item.kind = Item::Array;
        item.tag = static_cast<char>(b[pos]);
        int step = stride(item.tag);
        int offset = item.tag == 'B' ? 1 : 0;
        char element = elementTag(item.tag);
        item.numbers.reserve(static_cast<size_t>(count));
        for (int k = 0; k < count; ++k)
            item.numbers.push_back(scalar(element, pos + 1 + k * step + offset));
        return item;
    }

    // The best reading of an array at pos followed by the rest of the region, given the
    // integer before it (hint < 0: none).
    void bestArray(int pos, int end, int64_t hint, const std::vector<Step>& steps, int base, Step& best)
    {
        char tag = static_cast<char>(b[pos]);
        int step = stride(tag);
        int most = (end - pos - 1) / step;
        if (tag == 'B') {
            most = 0;
            while (pos + 1 + 2 * most + 2 <= end && b[pos + 1 + 2 * most] == 'b')
                ++most;
        }
        char element = elementTag(tag);
        const std::vector<int>* odd = element == 'f' ? &oddFloats : element == 'd' ? &oddDoubles : nullptr;
        auto consider = [&](int count) {
            int next = pos + 1 + count * step;
            const Score& rest = steps[static_cast<size_t>(next - base)].score;
            if (!rest.valid)
                return;
            Score score = rest;
            score.arrays += hint >= 0 && count == hint ? 0 : 1;
            score.items += 1;
            score.mismatches += hint >= 0 && count != hint ? 1 : 0;
            if (odd)
                score.implausible += (*odd)[static_cast<size_t>(pos + 1)] - (*odd)[static_cast<size_t>(next)];
            if (score.better(best.score)) {
                best.score = score;
                best.next = next;
                best.arrayAt = pos;
                best.count = count;
            }
        };
        if (hint >= 0 && hint <= most) {
            consider(static_cast<int>(hint));
            if (best.score.valid && best.score.mismatches == steps[static_cast<size_t>(best.next - base)].score.mismatches)
                return; // the written length fits: no other reading is worth more
        }
        // Longer arrays without their length before them are taken only where they fill the
        // rest of their region: the work per position stays bounded.
        int longest = std::min(most, maxUnconfirmed);
        budget -= longest + 1;
        if (budget < 0) {
            exhausted = true;
            return;
        }
        for (int count = 0; count <= longest; ++count)
            consider(count);
        if (most > longest)
            consider(most);
    }

    // For each position, how many of the reals from there on, element by element, are no number a
    // program would store: infinities, not-a-numbers, denormals, absurd magnitudes. Reals read
    // from bytes that were never one (tags, integers) mostly are.
    void countOddReals()
    {
        oddFloats.assign(static_cast<size_t>(n) + 9, 0);
        oddDoubles.assign(static_cast<size_t>(n) + 9, 0);
        for (int q = n - 1; q >= 0; --q) {
            auto odd = [&](char tag, double low, double high) {
                double x = std::fabs(scalar(tag, q).d);
                return !(x <= high) || (x != 0 && x < low) ? 1 : 0;
            };
            if (q + 4 <= n)
                oddFloats[static_cast<size_t>(q)] = odd('f', 1e-30, 1e30) + oddFloats[static_cast<size_t>(q) + 4];
            if (q + 8 <= n)
                oddDoubles[static_cast<size_t>(q)] = odd('d', 1e-100, 1e100) + oddDoubles[static_cast<size_t>(q) + 8];
        }
    }

    bool region(int start, int end, std::vector<Item>& out, int depth, Score* total = nullptr)
    {
        std::vector<Step> steps(static_cast<size_t>(end - start + 1));
        steps.back().score.valid = true;
        std::vector<std::pair<int, std::vector<Item>>> nested; // decoded sub-packets by position
        for (int pos = end - 1; pos >= start && !exhausted; --pos) {
            if (--budget < 0) {
                exhausted = true;
                break;
            }
            Step& best = steps[static_cast<size_t>(pos - start)];
            unsigned char c = b[pos];
            if (elementTag(static_cast<char>(c))) {
                bestArray(pos, end, -1, steps, start, best);
                continue;
            }
            std::vector<Item> children;
            Score inner;
            inner.valid = true;
            int next = item(pos, end, depth, &children, &inner);
            if (next < 0)
                continue;
            if (c == ',' || c == '.')
                nested.emplace_back(pos, std::move(children));
            bool integer = isScalarTag(static_cast<char>(c)) && !isRealTag(static_cast<char>(c));
            if (integer && next < end && elementTag(static_cast<char>(b[next]))) {
                // An integer just before an array: most likely its length.
                Step hinted;
                bestArray(next, end, std::max<int64_t>(scalar(static_cast<char>(c), pos + 1).i, -1), steps, start,
                          hinted);
                if (hinted.score.valid) {
                    best = hinted;
                    best.score.items += 1;
                }
                continue;
            }
            const Score& rest = steps[static_cast<size_t>(next - start)].score;
            if (rest.valid) {
                best.score = rest;
                best.score.items += 1 + inner.items;
                best.score.arrays += inner.arrays;
                best.score.mismatches += inner.mismatches;
                best.score.implausible += inner.implausible;
                best.next = next;
            }
        }
        if (exhausted || !steps[0].score.valid)
            return false;
        if (total)
            *total = steps[0].score;
        for (int pos = start; pos < end;) {
            const Step& step = steps[static_cast<size_t>(pos - start)];
            if (step.arrayAt == pos) {
                out.push_back(makeArray(pos, step.count));
            } else {
                std::vector<Item> children;
                for (auto& sub : nested)
                    if (sub.first == pos)
                        children = std::move(sub.second);
                int next = step.arrayAt >= 0 ? step.arrayAt : step.next;
                out.push_back(makeItem(pos, next, std::move(children)));
                if (step.arrayAt >= 0)
                    out.push_back(makeArray(step.arrayAt, step.count));
            }
            pos = step.next;
        }
        return true;
    }

    // Where a reading from start gets stuck: the first byte that no item can start, taking
    // each array at the length written before it, else at the shortest length that fits.
    int stuckAt(int start, int end, std::string& what, int depth)
    {
        int64_t hint = -1;
        for (int pos = start; pos < end;) {
            char tag = static_cast<char>(b[pos]);
            if (elementTag(tag)) {
                int step = stride(tag), most = (end - pos - 1) / step, count = 0;
                if (hint >= 0 && hint <= most)
                    count = static_cast<int>(hint);
                else
                    while (count < most && !validStart(b[pos + 1 + count * step]))
                        ++count;
                pos += 1 + count * step;
                hint = -1;
                continue;
            }
            if (!validStart(static_cast<unsigned char>(tag))) {
                what = "unknown type tag " + quoted(tag);
                return pos;
            }
            budget = 1000000;
            int next = item(pos, end, maxDepth - 1, nullptr);
            if (next < 0) {
                if (tag == ',' || tag == '.') {
                    // Look inside: the damage is more likely there than in the frame.
                    int32_t length = end - pos >= 6 ? static_cast<int32_t>(scalar('i', pos + 2).i) : 0;
                    if (tag == ',' && length == 0)
                        length = end - pos - 1;
                    if (length >= 5 && length <= end - pos - 1 && depth < maxDepth)
                        return stuckAt(pos + 6, pos + 1 + length, what, depth + 1);
                }
                what = std::string(ioDebugTagName(tag)) + " value does not fit its packet";
                return pos;
            }
            hint = isScalarTag(tag) && !isRealTag(tag) ? scalar(tag, pos + 1).i : -1;
            pos = next;
        }
        what = "the values cannot be read as a sequence of typed items";
        return start;
    }

    const unsigned char* b;
    int n;
    bool swap;
    int64_t budget;
    bool exhausted;
    std::vector<int> oddFloats;
    std::vector<int> oddDoubles;
};

} // namespace

char elementTag(char arrayTag)
{
    const char* at = arrayTag ? std::strchr(arrayTags, arrayTag) : nullptr;
    return at ? scalarTags[at - arrayTags] : 0;
}

int scalarSize(char tag)
{
    switch (tag) {
    case 'b': case 'c': case 'C': return 1;
    case 'h': case 'H': return 2;
    case 'i': case 'I': case 'f': return 4;
    case 'l': case 'L': case 'd': return 8;
    default: return 0;
    }
}

bool isRealTag(char tag)
{
    return tag == 'f' || tag == 'd';
}

DecodeResult decodeAscii(const char* text, int size, bool debug, std::vector<Item>& items)
{
    items.clear();
    return AsciiDecoder(text, size, debug).run(items);
}

DecodeResult decodeBinary(const char* bytes, int size, bool swapped, std::vector<Item>& items)
{
    items.clear();
    return BinaryDecoder(bytes, size, swapped).run(items);
}

} // namespace qvPacket
