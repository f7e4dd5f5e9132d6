// Arbitrary text through split, join, the line splitter and both quoted-token parsers, narrow
// and wide: no crash, and the documented invariants hold.
#include "qvStringIString.h"
#include "qvUtilSplit.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using qvString::CString;
using qvString::IString;

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

bool isPunct(char c)
{
    return c == ',' || c == ';' || c == ' ';
}

bool isPunctWide(unsigned short c)
{
    return c == ',' || c == ';' || c == ' ';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    // The first byte picks the delimiter, the rest is the text.
    const char delimiter = static_cast<char>(data[0]);
    CString s;
    for (std::size_t i = 1; i < size; ++i)
        if (data[i] != 0)
            s.append(static_cast<char>(data[i]));

    // Kept delimiters make split and join inverse.
    check(qvUtil::join(qvUtil::split(s, delimiter, false, true)) == s);
    check(qvUtil::join(qvUtil::split(s, &isPunct, true, true)) == s);
    for (const CString& token : qvUtil::split(s, delimiter, true, false))
        check(token.length() != 0 && token.find(delimiter) == CString::npos);
    (void)qvUtil::split(s, &isPunct, false, false);

    IString wide;
    for (unsigned int i = 0; i < s.length(); ++i)
        wide.append(static_cast<unsigned short>(static_cast<unsigned char>(s[i])));
    const unsigned short wideDelimiter = static_cast<unsigned char>(delimiter);
    check(qvUtil::join(qvUtil::split(wide, wideDelimiter, false, true)) == wide);
    (void)qvUtil::split(wide, &isPunctWide, true, false);

    check(qvUtil::numMultiLines(s) == static_cast<int>(qvUtil::splitMultiLines(s).size()));

    std::vector<CString> tokens;
    qvUtil::Error plain = qvUtil::splitWithQuotes(s, tokens);
    // A fault is reported at a 1-based position inside the text (one past it at most).
    check(!plain || (plain.num() >= 1 && static_cast<unsigned>(plain.num()) <= s.length() + 1));
    qvUtil::Error escaped = qvUtil::splitWithQuotesAndBackslash(s, tokens);
    check(!escaped
          || (escaped.num() >= 1 && static_cast<unsigned>(escaped.num()) <= s.length() + 1));
    return 0;
}
