#include "qvUndoManager.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <vector>

using qvUndo::Command;
using qvUndo::Group;
using qvUndo::ManagerImpl;

namespace {

// A host-like document: a row of numbers that commands set.
using Document = std::vector<int>;

class Edit : public Command {
public:
    Edit(Group* group, Document& d, std::size_t i, int v)
        : Command(group, "edit"), doc(d), index(i), value(v), old(d[i])
    {
        doc[index] = value;
    }
    bool doCommand() override { return (doc[index] = value), true; }
    bool undoCommand() override { return (doc[index] = old), true; }
    int getNumBytesUsed() override { return 64; }

private:
    Document& doc;
    std::size_t index;
    int value, old;
};

// What the history should hold: the document before the first kept step and after each step,
// the bytes of each step, and how many steps are done.
struct Reference {
    std::deque<Document> states;
    std::deque<int> stepBytes;
    std::size_t done = 0;
    int maxSteps = 0;
    long long maxBytes = 0;
    int dropped = 0;

    long long bytes() const
    {
        long long total = 0;
        for (int b : stepBytes)
            total += b;
        return total;
    }
    void dropOldest()
    {
        states.pop_front();
        stepBytes.pop_front();
        --done;
        ++dropped;
    }
    // A new group: the redo branch goes, then the limits drop the oldest steps.
    void beginStep()
    {
        states.resize(done + 1);
        stepBytes.resize(done);
        enforceLimits();
    }
    void enforceLimits()
    {
        while (maxSteps != 0 && !stepBytes.empty()
               && static_cast<int>(stepBytes.size()) > maxSteps - 1)
            dropOldest();
        while (maxBytes != 0 && !stepBytes.empty() && bytes() > maxBytes)
            dropOldest();
    }
};

} // namespace

TEST(UndoScenario, HundredsOfGroupsMatchAReferenceAfterEveryStep)
{
    for (unsigned seed : {1u, 2u, 3u}) {
        std::mt19937 random(seed);
        auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
        Document doc{1, 2, 3, 4, 5};
        ManagerImpl m;
        Reference ref;
        ref.states.push_back(doc);
        ref.maxSteps = 40;
        m.setMaxGroups(ref.maxSteps);
        ref.maxBytes = 64 * 90;
        m.setMaxBytes(static_cast<int>(ref.maxBytes));

        for (int round = 0; round < 400; ++round) {
            int action = below(10);
            if (action < 5 || ref.states.size() == 1) {
                // A new step of one to four edits; now and then part of it in a dynamic group.
                ref.beginStep();
                ref.states.push_back(doc);
                ref.stepBytes.push_back(0);
                ref.done = ref.stepBytes.size();
                Group* g = m.newGroup("step", false);
                int edits = 1 + below(4);
                int bytes = 0;
                for (int e = 0; e < edits; ++e) {
                    if (e == 2 && below(2) == 0) {
                        // The dynamic group joins this step; the limits run again first,
                        // counting the step as far as it goes.
                        ref.stepBytes.back() = bytes;
                        ref.enforceLimits();
                        g = m.newGroup("more", true);
                    }
                    new Edit(g, doc, static_cast<std::size_t>(below(5)), round * 4 + e);
                    bytes += 64;
                }
                ref.states.back() = doc;
                ref.stepBytes.back() = bytes;
            } else if (action < 8) {
                EXPECT_TRUE(m.undoIt());
                if (ref.done > 0)
                    --ref.done;
            } else {
                EXPECT_TRUE(m.doIt());
                if (ref.done < ref.stepBytes.size())
                    ++ref.done;
            }
            ASSERT_EQ(doc, ref.states[ref.done]) << "seed " << seed << " round " << round;
            ASSERT_EQ(m.numGroups(true), static_cast<int>(ref.stepBytes.size()));
            ASSERT_EQ(m.canUndo(), ref.done > 0);
            ASSERT_EQ(m.canDoIt(), ref.done < ref.stepBytes.size());
        }
        EXPECT_GT(ref.dropped, 50); // the limits were at work
        // Everything kept can be undone back to the oldest kept state and done again.
        while (m.canUndo())
            m.undoIt();
        EXPECT_EQ(doc, ref.states.front());
        while (m.canDoIt())
            m.doIt();
        EXPECT_EQ(doc, ref.states.back());
    }
}
