#include "qvTestSupport.h"
#include "qvUndoManager.h"
#include "qvUtilError.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using qvUndo::Command;
using qvUndo::Group;
using qvUndo::Manager;
using qvUndo::ManagerImpl;

namespace {

// A host's document and the one kind of edit its commands make: set a cell, remembering the
// value it replaces. The edit is applied when the command is recorded, as hosts do. A test may
// change the size it reports after recording, make its undo fail, or have it call into its
// manager whenever it is done or undone, as a host's command might.
using Document = std::vector<int>;

class SetCell : public Command {
public:
    SetCell(Group* group, Document& d, std::size_t i, int value, int bytes = 1024,
            const char* name = "set")
        : Command(group, name), doc(d), index(i), before(d[i]), after(value), size(bytes)
    {
        doc[index] = after;
    }
    bool doCommand() override { return run(after); }
    bool undoCommand() override { return run(before) && !failUndo; }
    int getNumBytesUsed() override { return size; }
    void commit() override { ++commits; }

    static int commits;

private:
    bool run(int value)
    {
        doc[index] = value;
        if (whileRun)
            whileRun();
        return true;
    }
    Document& doc;
    std::size_t index;
    int before, after;

public:
    int size;
    bool failUndo = false;
    std::function<void()> whileRun;
};

int SetCell::commits = 0;

} // namespace

// Plain doing, undoing and limits are checked against a model at the end of this file; these are
// the cases it does not reach.
TEST(Undo, StepsInOrderLateCommandsAndCommitsOfDroppedSteps)
{
    Document doc(4, 0);
    ManagerImpl m;
    Group* a = m.newGroup("a", false);
    new SetCell(a, doc, 0, 1);
    new SetCell(a, doc, 1, 2);
    auto* late = new SetCell(nullptr, doc, 2, 3);
    a->addCommand(late); // a command made on its own joins later
    a->addCommand(nullptr);
    EXPECT_EQ(late->getID(), 3);
    Group* b = m.newGroup("b", false);
    new SetCell(b, doc, 0, 9);
    EXPECT_EQ(m.getGroup(-2), a);
    EXPECT_EQ(m.getGroup(-3), nullptr);

    EXPECT_TRUE(m.undoIt());
    EXPECT_TRUE(m.undoIt());
    EXPECT_EQ(doc, (Document{0, 0, 0, 0}));
    EXPECT_TRUE(m.doIt());
    EXPECT_EQ(doc, (Document{1, 2, 3, 0}));
    EXPECT_EQ(m.currentGroup(), b);

    // A new group drops the undone one after the current position; its commands commit.
    int commitsBefore = SetCell::commits;
    m.newGroup("c", false);
    EXPECT_EQ(SetCell::commits, commitsBefore + 1);
    EXPECT_EQ(m.numGroups(false), 2);
}

TEST(Undo, AssociatedAndEmptyGroupsFormSteps)
{
    Document doc(4, 0);
    ManagerImpl m;
    Group* a = m.newGroup("a", false);
    new SetCell(a, doc, 0, 1);
    Group* dyn = m.newGroup("dynamic", true); // joins the step before it
    new SetCell(dyn, doc, 1, 2);
    m.newGroup("empty", false);
    Group* b = m.newGroup("b", false);
    new SetCell(b, doc, 2, 3);
    Group* c = m.newGroup("c", false);
    new SetCell(c, doc, 3, 4);
    EXPECT_EQ(m.numGroups(false), 5);
    EXPECT_EQ(m.numGroups(true), 4);

    m.associateGroups(b->getID(), c->getID());
    EXPECT_EQ(m.numGroups(true), 3);

    EXPECT_TRUE(m.undoIt()); // b and c together
    EXPECT_EQ(doc, (Document{1, 2, 0, 0}));
    EXPECT_TRUE(m.undoIt()); // the empty step is passed over: a and its dynamic group
    EXPECT_EQ(doc, (Document{0, 0, 0, 0}));
    EXPECT_TRUE(m.doIt());
    EXPECT_TRUE(m.doIt()); // over the empty step to b and c
    EXPECT_EQ(doc, (Document{1, 2, 3, 4}));

    // A queue of nothing but empty steps is passed over to the end without recursion limits.
    ManagerImpl empties;
    for (int i = 0; i < 20000; ++i)
        empties.newGroup("e", false);
    EXPECT_TRUE(empties.undoIt());
    EXPECT_FALSE(empties.canUndo());
    EXPECT_TRUE(empties.doIt());
    EXPECT_FALSE(empties.canDoIt());
}

TEST(Undo, LimitsDeleteTheOldestDiscardableSteps)
{
    Document doc(8, 0);
    ManagerImpl m;
    m.setMaxGroups(3);
    std::vector<Group*> made;
    for (int i = 0; i < 3; ++i) {
        made.push_back(m.newGroup("g", false));
        new SetCell(made.back(), doc, static_cast<std::size_t>(i), i + 1);
    }
    m.newGroup("g", false);
    EXPECT_EQ(m.getGroup(0), made[1]);

    // An oldest group that may not be discarded stops the limit.
    made[1]->setDiscardable(false);
    m.newGroup("g", false);
    EXPECT_EQ(m.numGroups(true), 4);

    // The byte budget applies at once when it is set, and counts whole steps.
    ManagerImpl bytes;
    for (int i = 0; i < 10; ++i) {
        Group* g = bytes.newGroup("g", i % 2 == 1); // pairs: a group and its dynamic follower
        new SetCell(g, doc, 0, i, 100);
    }
    bytes.setMaxBytes(450);
    EXPECT_EQ(bytes.numGroups(false), 4);
    EXPECT_EQ(bytes.numGroups(true), 2);

    // A negative group limit stops recording.
    bytes.setMaxGroups(-1);
    EXPECT_EQ(bytes.newGroup("off", false), nullptr);
}

TEST(Undo, ADestroyedPointerClearsTheHistoryAndInvalidLastGroupsArePruned)
{
    Document doc(2, 0);
    ManagerImpl m;
    int object = 0;
    Group* c = m.newGroup("c", false);
    new SetCell(c, doc, 0, 5);
    c->declarePointer(&object);
    m.pointerDestroyed(&doc); // not declared: no effect
    EXPECT_TRUE(c->isValid());
    m.pointerDestroyed(&object);
    EXPECT_FALSE(m.undoIt());
    EXPECT_EQ(m.numGroups(false), 0);

    // An invalid empty step is passed over like any empty step (the failure clears the queue).
    Group* empty = m.newGroup("empty", false);
    empty->stateInvalid();
    EXPECT_TRUE(m.undoIt());
    EXPECT_EQ(m.numGroups(false), 0);

    // An invalid last group is pruned by the next new group.
    Group* d = m.newGroup("d", false);
    new SetCell(d, doc, 0, 6);
    d->stateInvalid();
    Group* e = m.newGroup("e", false);
    EXPECT_EQ(m.getGroup(0), e);
}

TEST(Undo, DeleteLastGroupRemovesOnlyAnEmptyOne)
{
    Document doc(1, 0);
    ManagerImpl m;
    Group* a = m.newGroup("a", false);
    new SetCell(a, doc, 0, 1);
    m.newGroup("empty", false);
    m.deleteLastGroup();
    EXPECT_EQ(m.numGroups(false), 1);
    m.undoIt();
    m.deleteLastGroup(); // not at the end: nothing happens
    EXPECT_EQ(m.numGroups(false), 1);
    m.doIt();
    m.deleteLastGroup(); // a recorded step takes the history with it
    EXPECT_EQ(m.numGroups(false), 0);

    // A group deleted by its owner leaves the queue.
    Group* b = m.newGroup("b", false);
    Group* c = m.newGroup("c", false);
    delete b;
    EXPECT_EQ(m.getGroup(0), c);
}

TEST(Undo, TheBusySignalFramesEveryRunAndTheInstalledManagerIsReplaced)
{
    Document doc(1, 0);
    std::vector<int> seen;
    auto* m = static_cast<ManagerImpl*>(qvUndo::newManager());
    m->getBusySignal().addCallback([&seen](int value) { seen.push_back(value); });
    new SetCell(m->newGroup("g", false), doc, 0, 1);
    m->undoIt();
    m->doIt();
    m->doIt(); // at the end: no run, no signal
    EXPECT_EQ(seen, (std::vector<int>{1, 0, 1, 0}));

    qvUndo::installManager(m);
    Manager* other = qvUndo::newManager();
    qvUndo::installManager(other); // deletes m
    EXPECT_EQ(qvUndo::getInstalledManager(), other);
    qvUndo::installManager(nullptr);
}

TEST(Undo, CallsThatChangeTheQueueDuringARunWaitForItsEnd)
{
    using Call = std::function<void(ManagerImpl&)>;
    struct Case {
        const char* name;
        Call call;
        int afterUndo, afterDo; // groups once an undo run, then a do run, has ended
    };
    const std::vector<Case> cases = {
        {"clearAllGroups", [](ManagerImpl& m) { m.clearAllGroups(); }, 0, 0},
        {"setMaxGroups", [](ManagerImpl& m) { m.setMaxGroups(1); }, 0, 0},
        {"setMaxBytes", [](ManagerImpl& m) { m.setMaxBytes(1); }, 0, 0},
        // Only at the end of the queue, so only after the do run.
        {"deleteLastGroup", [](ManagerImpl& m) { m.deleteLastGroup(); }, 3, 0},
        {"doIt", [](ManagerImpl& m) { EXPECT_FALSE(m.doIt()); }, 3, 3},
        {"undoIt", [](ManagerImpl& m) { EXPECT_FALSE(m.undoIt()); }, 3, 3},
        {"newGroup", [](ManagerImpl& m) { EXPECT_EQ(m.newGroup("inner", false), nullptr); }, 3, 3},
    };
    for (const Case& c : cases) {
        for (bool fromListener : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (fromListener ? " from the busy signal" : ""));
            Document doc(3, 0);
            ManagerImpl m;
            const auto whileBusy = [&m, &c] {
                EXPECT_TRUE(m.isBusy());
                c.call(m);
            };
            if (fromListener)
                m.getBusySignal().addCallback([whileBusy](int) { whileBusy(); });
            for (std::size_t i = 0; i < 3; ++i) {
                auto* cell = new SetCell(m.newGroup("g", false), doc, i, 1);
                if (!fromListener)
                    cell->whileRun = whileBusy;
            }
            EXPECT_TRUE(m.undoIt());
            EXPECT_EQ(m.numGroups(false), c.afterUndo);
            EXPECT_EQ(doc, (Document{1, 1, 0})); // one step undone, whatever was called
            EXPECT_TRUE(m.doIt());
            EXPECT_EQ(m.numGroups(false), c.afterDo);
            if (c.afterUndo != 0) {
                EXPECT_EQ(doc, (Document{1, 1, 1}));
            }
        }
    }
}

TEST(Undo, LimitsFollowTheQueueAsItIsNow)
{
    // The byte budget counts what every command reports now, not what it held when recorded.
    Document doc(4, 0);
    ManagerImpl grown;
    grown.setMaxBytes(3000);
    auto* first = new SetCell(grown.newGroup("first", false), doc, 0, 1, 1000);
    new SetCell(grown.newGroup("second", false), doc, 0, 1, 1000);
    first->size = 5000;
    grown.newGroup("third", false);
    EXPECT_EQ(grown.numGroups(false), 2); // the grown first step had to go
    EXPECT_STREQ(grown.getGroup(0)->getName(), "second");

    // With two steps undone, a group limit of 3, set now, keeps 2 steps (room for the next
    // one): it deletes the steps that can be undone, keeps the undone ones and puts the
    // position at the end. The next new group drops those undone steps: it was recorded on
    // the document without them.
    Document d(5, 0);
    ManagerImpl undone;
    for (std::size_t i = 0; i < 5; ++i)
        new SetCell(undone.newGroup("g", false), d, i, 1);
    undone.undoIt();
    undone.undoIt();
    undone.setMaxGroups(3);
    EXPECT_EQ(undone.numGroups(false), 2);
    EXPECT_FALSE(undone.canDoIt());
    new SetCell(undone.newGroup("new", false), d, 4, 7);
    EXPECT_EQ(undone.numGroups(false), 1);
    EXPECT_TRUE(undone.undoIt());
    EXPECT_EQ(d, (Document{1, 1, 1, 0, 0}));
    EXPECT_TRUE(undone.doIt());
    EXPECT_EQ(d, (Document{1, 1, 1, 0, 7}));

    // setMaxBytes puts the position at the end as well.
    ManagerImpl moved;
    for (std::size_t i = 0; i < 3; ++i)
        new SetCell(moved.newGroup("g", false), d, i, 2);
    moved.undoIt();
    moved.setMaxBytes(1000000);
    EXPECT_FALSE(moved.canDoIt());
}

namespace {

// What the history should hold: the document before the first kept step and after each step,
// the bytes of each step, and how many steps are done.
struct Reference {
    std::deque<Document> states;
    std::deque<int> stepBytes;
    std::size_t done = 0;
    int maxSteps = 0;
    long long maxBytes = 0;
    int dropped = 0;

    long long bytes() const { return std::accumulate(stepBytes.begin(), stepBytes.end(), 0LL); }
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
                    new SetCell(g, doc, static_cast<std::size_t>(below(5)), round * 4 + e, 64);
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

namespace {

// "0x" and the pointer in every hex digit of its width, upper case, written only once.
std::string ptr(const void* p)
{
    std::string text = "0x";
    const auto value = reinterpret_cast<std::uintptr_t>(p);
    for (int shift = 8 * static_cast<int>(sizeof value) - 4; shift >= 0; shift -= 4)
        text += "0123456789ABCDEF"[(value >> shift) & 0xF];
    return text;
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back(); // the trace is a text file: CR LF on Windows
        result.push_back(line);
    }
    return result;
}

} // namespace

TEST(UndoTrace, EveryActionWritesItsLines)
{
    qvTest::TempDir dir;
    const std::string path = dir.file("undo.log");
    qvUndoReport("not written: no trace file yet\n");
    qvUndoReportInit(path.c_str());

    int object = 0;
    Document doc(1, 0);
    std::vector<std::string> expected;
    {
        ManagerImpl m;
        Group* first = m.newGroup("first", false);
        auto* a = new SetCell(first, doc, 0, 1, 1024, "setA");
        auto* b = new SetCell(first, doc, 0, 2, 1024, nullptr);
        SetCell loose(nullptr, doc, 0, 3, 1024, "loose"); // never numbered: no lines at all
        m.undoIt();
        m.undoIt();
        m.doIt();
        Group* second = m.newGroup("second", true);
        auto* bad = new SetCell(second, doc, 0, 4, 1024, "bad");
        bad->failUndo = true;
        m.associateGroups(second->getID(), second->getID());
        m.undoIt();
        Group* third = m.newGroup("third", false);
        third->declarePointer(&object);
        m.pointerDestroyed(&object);

        expected = {
            "",
            "------------------------------",
            "",
            "qvUndo::newGroup (first, dynamic = 0)",
            "qvUndo::Manager: pruneTrailingInvalidGroups()",
            "  qvUndo::Group: new group (first)",
            "    qvUndo::Command: new (setA, " + ptr(a) + ")",
            "    qvUndo::Command: new (noname, " + ptr(b) + ")",
            "- qvUndo::Manager: undoIt() - 1 groups, 2048 bytes used",
            "  - qvUndo::Group: undoIt() - (first) 2 commands 2048 bytes.",
            "    - qvUndo::Command: undoIt (noname, " + ptr(b) + "), 1024 bytes",
            "    - qvUndo::Command: undoIt (setA, " + ptr(a) + "), 1024 bytes",
            "- qvUndo::Manager: undoIt() - 1 groups, 2048 bytes used",
            "- qvUndo::Manager: undoIt() - at beginning of queue.",
            "+ qvUndo::Manager: doIt() - 1 groups, 2048 bytes used",
            "  + qvUndo::Group: doIt() - (first) 2 commands 2048 bytes.",
            "    + qvUndo::Command: doIt (setA, " + ptr(a) + "), 1024 bytes",
            "    + qvUndo::Command: doIt (noname, " + ptr(b) + "), 1024 bytes",
            "qvUndo::newGroup (second, dynamic = 1)",
            "qvUndo::Manager: pruneTrailingInvalidGroups()",
            "  qvUndo::Group: new group (second)",
            "    qvUndo::Command: new (bad, " + ptr(bad) + ")",
            "qvUndo::Manager: associateGroups (2, 2)",
            "- qvUndo::Manager: undoIt() - 2 groups, 3072 bytes used",
            "  - qvUndo::Group: undoIt() - (second) 1 commands 1024 bytes.",
            "    - qvUndo::Command: undoIt (bad, " + ptr(bad) + "), 1024 bytes",
            "    - qvUndo::Command: undo of bad returned failure.  Marking invalid.",
            "  ! qvUndo::Group: 'undo' of command 0 (bad) returnedfailure status",
            "  ! qvUndo::Group: marking group (second) invalid.",
            "qvUndo::Manager: currentGroupIsInvalid()",
            "qvUndo::Manager: clearAllGroups()",
            "  qvUndo::Group: delete group (first) - 2048 bytes",
            "    qvUndo::Command: delete (setA, " + ptr(a) + ")",
            "    qvUndo::Command: delete (noname, " + ptr(b) + ")",
            "  qvUndo::Group: delete group (second) - 1024 bytes",
            "    qvUndo::Command: delete (bad, " + ptr(bad) + ")",
            "qvUndo::newGroup (third, dynamic = 0)",
            "qvUndo::Manager: pruneTrailingInvalidGroups()",
            "  qvUndo::Group: new group (third)",
            "!   qvUndo::Group: pointer " + ptr(&object) + " declared by group has been destroyed",
            "!   qvUndo::Group: marking group (third) invalid.",
            "qvUndo::Manager: clearAllGroups()", // the manager's own end
            "  qvUndo::Group: delete group (third) - 0 bytes",
        };
    }
    qvUndoReportInit(nullptr);
    qvUndoReport("not written: the trace file is closed\n");

    std::vector<std::string> got = lines(qvTest::readFileBytes(path));
    for (std::size_t i = 0; i < expected.size() && i < got.size(); ++i)
        EXPECT_EQ(got[i], expected[i]) << "line " << i + 1;
    EXPECT_EQ(got.size(), expected.size());

    // A second trace appends after its own separator; '%' in names is written as it is.
    qvUndoReportInit(path.c_str());
    {
        ManagerImpl m;
        m.newGroup("100% %s", false);
    }
    qvUndoReportInit(nullptr);
    got = lines(qvTest::readFileBytes(path));
    ASSERT_GT(got.size(), expected.size() + 4);
    EXPECT_EQ(got[expected.size() + 1], "------------------------------");
    EXPECT_EQ(got[expected.size() + 3], "qvUndo::newGroup (100% %s, dynamic = 0)");
}
