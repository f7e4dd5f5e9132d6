#ifndef IO_FILTER_TEST_HELPERS_H
#define IO_FILTER_TEST_HELPERS_H

// Shared by the filter tests: streams over bytes in memory, test data, and one-call round trips
// through any stack of filters.

#include "ioBufferedStream.h"
#include "qvTestMemoryStream.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace ioTest {

enum class Filter { compress, checksum, encrypt };

// Pushes the filters in order (on), or pops them in reverse order (off).
inline void setFilters(ioBufferedStream& stream, const std::vector<Filter>& filters, bool on)
{
    static void (ioBufferedStream::*const set[])(bool) = {&ioBufferedStream::compress, &ioBufferedStream::checksum,
                                                          &ioBufferedStream::encrypt};
    for (size_t i = 0; i < filters.size(); ++i)
        (stream.*set[static_cast<int>(filters[on ? i : filters.size() - 1 - i])])(on);
}

// Bytes that compress the way real files do: runs, repeated words, numbers and noise.
inline std::string mixedData(size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    static const char* words[] = {"mesh ", "node ", "0.5 ", "{ 12 1 ", "}\n", "material ", "-3.25e-07 ",
                                  "\"name\" ", "[ ", "] "};
    std::string out;
    while (out.size() < size) {
        unsigned pick = random() % 4;
        if (pick == 0)
            out.append(random() % 40, static_cast<char>(random()));
        else if (pick < 3)
            out += words[random() % 10];
        else
            for (int i = random() % 30; i > 0; --i)
                out += static_cast<char>(random());
    }
    out.resize(size);
    return out;
}

inline std::string randomData(size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    std::string out(size, '\0');
    for (char& c : out)
        c = static_cast<char>(random());
    return out;
}

// Writes payload inside the filters (pushed in order, popped in reverse), then trailer as plain
// bytes behind them, and closes the stream.
inline void writeFiltered(ioBufferedStreamOutput& out, const std::vector<Filter>& filters,
                          const std::string& payload, const std::string& trailer = "")
{
    setFilters(out, filters, true);
    out.writeData(payload.data(), static_cast<int>(payload.size()));
    setFilters(out, filters, false);
    out.writeData(trailer.data(), static_cast<int>(trailer.size()));
    out.close();
}

// The same into memory; returns the stream's bytes.
inline std::string writeFiltered(const std::vector<Filter>& filters, const std::string& payload,
                                 const std::string& trailer = "")
{
    std::string bytes;
    qvTest::MemoryOutput out(bytes);
    writeFiltered(out, filters, payload, trailer);
    return bytes;
}

struct FilteredRead {
    std::string payload;
    std::string trailer;
    ioStreamStatus status = ioStreamOk;       // after the payload
    ioStreamStatus endStatus = ioStreamOk;    // after reading past the payload
};

// Reads what writeFiltered wrote: payloadSize bytes inside the filters, then (after popping
// them) up to trailerSize plain bytes.
inline FilteredRead readFiltered(ioBufferedStreamInput& in, const std::vector<Filter>& filters,
                                 size_t payloadSize, size_t trailerSize = 0)
{
    FilteredRead result;
    setFilters(in, filters, true);
    result.payload.resize(payloadSize);
    int n = payloadSize ? in.readData(&result.payload[0], static_cast<int>(payloadSize)) : 0;
    result.payload.resize(static_cast<size_t>(std::max(n, 0)));
    result.status = in.getStatus();
    // A compressed section reports its end only on the read after its last byte.
    bool compressed = std::find(filters.begin(), filters.end(), Filter::compress) != filters.end();
    if (compressed && in.good()) {
        char extra;
        in.readData(&extra, 1);
        result.endStatus = in.getStatus();
    }
    setFilters(in, filters, false);
    if (trailerSize && in.good()) {
        result.trailer.resize(trailerSize);
        n = in.readData(&result.trailer[0], static_cast<int>(trailerSize));
        result.trailer.resize(static_cast<size_t>(std::max(n, 0)));
    }
    return result;
}

inline FilteredRead readFiltered(const std::vector<Filter>& filters, const std::string& bytes,
                                 size_t payloadSize, size_t trailerSize = 0)
{
    qvTest::MemoryInput in(bytes);
    return readFiltered(in, filters, payloadSize, trailerSize);
}

// Every ordered choice of one, two or three different filters.
inline std::vector<std::vector<Filter>> everyStack()
{
    std::vector<std::vector<Filter>> stacks;
    std::vector<Filter> all = {Filter::compress, Filter::checksum, Filter::encrypt};
    do
        for (size_t n = 1; n <= all.size(); ++n)
            stacks.emplace_back(all.begin(), all.begin() + static_cast<long>(n));
    while (std::next_permutation(all.begin(), all.end()));
    std::sort(stacks.begin(), stacks.end());
    stacks.erase(std::unique(stacks.begin(), stacks.end()), stacks.end());
    return stacks;
}

} // namespace ioTest

#endif
