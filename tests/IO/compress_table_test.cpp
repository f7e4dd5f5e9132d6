#include "internal/ioLzwSlots.h"
#include "ioFilterTestHelpers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

using io::internal::lzwHomeSlot;

TEST(Compress, KeysCrowdedAroundOneSlotAreStillFound)
{
    // A run of 'a' defines the code 256 + j for the string of j 'a's.
    const int longest = 1300;
    std::string data(longest * (longest + 3) / 2, 'a');
    // Then "s a^m c" adds the key (code of a^j, c): the first m - j 'a's after the separator s
    // extend the strings that earlier uses of s started. Pick keys whose home slot lies in a
    // window of 512 slots, more than 511 + 512 of them: by counting, some key cannot sit within
    // the 511 slots after its home that a slot can record, and goes to the spill table.
    const uint32_t first = 70000, window = 512;
    int uses[256] = {};
    unsigned char separator = 'b';
    std::string segments;
    for (int j = 2; j < longest - 8; ++j) {
        for (int c = 0; c < 256; ++c) {
            const uint32_t key = static_cast<uint32_t>(256 + j) << 8 | static_cast<uint32_t>(c);
            if (c == 'a' || lzwHomeSlot(key) - first >= window)
                continue;
            segments += static_cast<char>(separator);
            segments.append(static_cast<size_t>(j + uses[separator]++), 'a');
            separator = static_cast<unsigned char>(c);
        }
    }
    // Twice: the second time, the coder searches again for keys it spilled and must find them.
    data += segments + static_cast<char>(separator) + segments;

    // The codes of plain LZW over a map, packed as the coder packs them (no clear happens: the
    // table never fills): codes from 9 bits wide, each new width starting a new group of eight.
    std::map<uint32_t, int32_t> codes;
    std::vector<int32_t> written;
    int32_t next = 258;
    uint32_t ent = static_cast<unsigned char>(data[0]);
    for (size_t i = 1; i < data.size(); ++i) {
        const uint32_t key = ent << 8 | static_cast<unsigned char>(data[i]);
        auto found = codes.find(key);
        if (found != codes.end()) {
            ent = static_cast<uint32_t>(found->second);
        } else {
            written.push_back(static_cast<int32_t>(ent));
            codes[key] = next++;
            ent = static_cast<unsigned char>(data[i]);
        }
    }
    written.push_back(static_cast<int32_t>(ent));
    written.push_back(257);
    ASSERT_LT(next, 32768);
    std::string expected = "\x1F\x9D\x90";
    uint64_t bits = 0;
    int count = 0, width = 9, inGroup = 0;
    auto put = [&](uint32_t code, int n) {
        bits |= static_cast<uint64_t>(code) << count;
        for (count += n; count >= 8; count -= 8, bits >>= 8)
            expected += static_cast<char>(bits & 0xFF);
    };
    for (size_t i = 0; i < written.size(); ++i) {
        put(static_cast<uint32_t>(written[i]), width);
        inGroup = (inGroup + 1) % 8;
        const bool wider = std::min<int32_t>(258 + static_cast<int32_t>(i), next) > (1 << width) - 1;
        if (wider || i + 1 == written.size()) {
            for (; inGroup && inGroup < 8; ++inGroup)
                put(0, width);
            inGroup = 0;
            width += wider;
        }
    }

    size_t crowded = 0;
    for (const auto& entry : codes)
        crowded += lzwHomeSlot(entry.first) - first < window;
    ASSERT_GT(crowded, 511 + window);

    const std::vector<ioTest::Filter> lzw = {ioTest::Filter::compress};
    std::string bytes = ioTest::writeFiltered(lzw, data, "end");
    EXPECT_TRUE(bytes == expected + "end");
    ioTest::FilteredRead read = ioTest::readFiltered(lzw, bytes, data.size(), 3);
    EXPECT_EQ(read.status, ioStreamOk);
    EXPECT_TRUE(read.payload == data);
    EXPECT_EQ(read.trailer, "end");
}
