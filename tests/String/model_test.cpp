// Random sequences of operations on CString and IString, checked step by step against a plain
// standard string that follows the same rules (a model written independently of the library).

#include "qvStringCString.h"
#include "qvStringCharClass.h"
#include "qvStringIString.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

using qvString::CString;
using qvString::IString;

namespace {

constexpr unsigned int npos = 0xFFFFFFFFu;

struct Narrow {
    using Str = CString;
    using Unit = char;
    using Model = std::string;
    // Few distinct units so that searches hit; two spaces, and bytes above 0x7F.
    static Unit unit(unsigned r) { return "ab \t\x80\xff"[r % 6]; }
    static Model model(const Str& s) { return Model(s.asChar(), s.length()); }
    static const Unit* terminated(const Str& s) { return s.asChar(); }
};

struct Wide {
    using Str = IString;
    using Unit = unsigned short;
    using Model = std::u16string;
    static Unit unit(unsigned r)
    {
        static const Unit units[] = {'a', 'b', ' ', '\t', 0x00E9, 0xFFFF};
        return units[r % 6];
    }
    static Model model(const Str& s)
    {
        return Model(reinterpret_cast<const char16_t*>(s.asWChar()), s.length());
    }
    static const Unit* terminated(const Str& s) { return s.asWChar(); }
};

// The standard searches, except that an empty text or pattern is never found.
template <class Model>
unsigned int refFind(const Model& text, const Model& pattern, unsigned int pos, bool reverse = false)
{
    if (text.empty() || pattern.empty())
        return npos;
    return static_cast<unsigned int>(reverse ? text.rfind(pattern, pos) : text.find(pattern, pos));
}

// Units compare as unsigned values (as the standard character traits do), then by length.
template <class Model>
int refCompare(const Model& a, const Model& b)
{
    int order = a.compare(b);
    return (order > 0) - (order < 0);
}

template <class Unit>
bool refSpace(Unit c)
{
    return c == ' ' || c == '\t';
}

template <class T>
class Property {
public:
    using Str = typename T::Str;
    using Unit = typename T::Unit;
    using Model = typename T::Model;

    explicit Property(unsigned seed) : rng(seed) {}

    void run(int steps)
    {
        Str s;
        Model m;
        for (int step = 0; step < steps; ++step) {
            apply(s, m);
            ASSERT_EQ(T::model(s), m) << "step " << step;
            ASSERT_EQ(T::terminated(s)[s.length()], Unit(0));
            if (m.size() > 300) {
                s.erase(0, 250);
                m.erase(0, 250);
            }
        }
    }

private:
    unsigned pick(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(rng); }

    // A random piece without 0 units, as a model text and as a string.
    Model piece(unsigned maxLength)
    {
        Model p;
        for (unsigned n = pick(maxLength + 1); n > 0; --n)
            p.push_back(static_cast<typename Model::value_type>(T::unit(pick(1000))));
        return p;
    }
    static Str make(const Model& p)
    {
        Str s;
        for (auto c : p)
            s.append(static_cast<Unit>(c));
        return s;
    }
    // The piece as a terminated array of units.
    static std::vector<Unit> raw(const Model& p)
    {
        std::vector<Unit> r(p.begin(), p.end());
        r.push_back(0);
        return r;
    }
    // Positions a little past the end and npos too, and counts up to npos.
    unsigned position(const Model& m)
    {
        return pick(16) == 0 ? npos : pick(static_cast<unsigned>(m.size()) + 3);
    }
    unsigned count() { return pick(8) == 0 ? npos : pick(12); }

    // Runs op on the string and the model; a position past the end must throw on both and
    // change neither.
    template <class Op, class ModelOp>
    void checked(unsigned pos, const Model& m, Op op, ModelOp modelOp)
    {
        if (pos > m.size()) {
            EXPECT_THROW(op(), std::out_of_range);
        } else {
            op();
            modelOp();
        }
    }

    void apply(Str& s, Model& m)
    {
        Model p = piece(4);
        Str ps = make(p);
        auto rp = raw(p);
        Unit u = T::unit(pick(1000));
        unsigned pos = position(m);
        unsigned n = count();
        switch (pick(13)) {
        case 0:
            (pick(2) ? s.append(ps) : s.append(rp.data())), m += p;
            break;
        case 1:
            s.append(u), m.push_back(u);
            break;
        case 2:
            (pick(2) ? s.prepend(ps) : s.prepend(rp.data())), m.insert(0, p);
            break;
        case 3:
            s.prepend(u), m.insert(m.begin(), u);
            break;
        case 4:
            checked(pos, m, [&] { pick(2) ? s.insert(pos, ps) : s.insert(pos, rp.data()); },
                    [&] { m.insert(pos, p); });
            break;
        case 5:
            checked(pos, m, [&] { s.insert(pos, u); }, [&] { m.insert(m.begin() + pos, u); });
            break;
        case 6: {
            bool one = pick(2);
            checked(pos, m, [&] { one ? s.replace(pos, n, u) : s.replace(pos, n, ps); },
                    [&] { m.replace(pos, n, one ? Model(1, u) : p); });
            break;
        }
        case 7:
            checked(pos, m, [&] { pick(2) ? s.remove(pos, n) : (s.erase(pos, n), s); },
                    [&] { m.erase(pos, n); });
            break;
        case 8: {
            // Trims: the front or the back only, of one unit or of spaces.
            bool back = pick(2), spaces = pick(2);
            if (spaces)
                back ? s.rstripSpaces() : s.stripSpaces();
            else
                back ? s.rstrip(u) : s.strip(u);
            auto trimmed = [&](Unit c) { return spaces ? refSpace(c) : c == u; };
            while (!m.empty() && trimmed(static_cast<Unit>(back ? m.back() : m.front())))
                m.erase(back ? m.size() - 1 : 0, 1);
            break;
        }
        case 9:
            if (pos > m.size())
                EXPECT_THROW(s.substr(pos, n), std::out_of_range);
            else
                EXPECT_EQ(T::model(s.substr(pos, n)), m.substr(pos, n));
            break;
        case 10: {
            unsigned from = pick(4) == 0 ? npos : pos;
            EXPECT_EQ(s.find(ps, from), refFind(m, p, from));
            EXPECT_EQ(s.find(rp.data(), from), refFind(m, p, from));
            EXPECT_EQ(s.find(u, from), refFind(m, Model(1, u), from));
            EXPECT_EQ(s.rfind(ps, from), refFind(m, p, from, true));
            EXPECT_EQ(s.rfind(rp.data(), from), refFind(m, p, from, true));
            EXPECT_EQ(s.rfind(u, from), refFind(m, Model(1, u), from, true));
            break;
        }
        case 11: {
            const Model spaces{' ', '\t'};
            EXPECT_EQ(s.find(qvString::isSpace, pos), static_cast<unsigned>(m.find_first_of(spaces, pos)));
            EXPECT_EQ(s.rfind(qvString::isSpace, npos), static_cast<unsigned>(m.find_last_of(spaces)));
            break;
        }
        default: {
            Model other = pick(2) ? m.substr(0, pick(static_cast<unsigned>(m.size()) + 1)) + p : p;
            Str o = make(other);
            int expect = refCompare(m, other);
            EXPECT_EQ(s.compare(o), expect);
            EXPECT_EQ(T::model(s + o), m + other);
            Str(s).append(u); // copies are deep: s stays as it is
            EXPECT_EQ(s < o, expect < 0);
            EXPECT_EQ(s == o, expect == 0);
            EXPECT_EQ(s >= o, expect >= 0);
            break;
        }
        }
    }

    std::mt19937 rng;
};

} // namespace

template <class T>
void runSeeds()
{
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        Property<T>(seed).run(400);
        if (::testing::Test::HasFatalFailure())
            return;
    }
}

TEST(StringModel, NarrowStringFollowsTheModelOverRandomOperations)
{
    runSeeds<Narrow>();
}

TEST(StringModel, WideStringFollowsTheModelOverRandomOperations)
{
    runSeeds<Wide>();
}
