#include "qvUndoManager.h"

#include <gtest/gtest.h>

#include <vector>

using qvUndo::Command;
using qvUndo::Group;
using qvUndo::Manager;
using qvUndo::ManagerImpl;

namespace {

// A host's document and the one kind of edit its commands make: set a cell, remembering the
// value it replaces. The edit is applied when the command is recorded, as hosts do.
using Document = std::vector<int>;

class SetCell : public Command {
public:
    SetCell(Group* group, Document& d, std::size_t i, int value, int bytes = 1024,
            const char* name = "set")
        : Command(group, name), doc(d), index(i), before(d[i]), after(value), size(bytes)
    {
        doc[index] = after;
    }
    bool doCommand() override
    {
        doc[index] = after;
        return true;
    }
    bool undoCommand() override
    {
        doc[index] = before;
        return true;
    }
    int getNumBytesUsed() override { return size; }
    void commit() override { ++commits; }

    static int commits;

private:
    Document& doc;
    std::size_t index;
    int before, after, size;
};

int SetCell::commits = 0;

} // namespace

// Plain doing, undoing and limits are checked against a model in the scenario test; these are
// the cases it does not reach.
TEST(Undo, StepsInOrderLateCommandsAndCommitsOfDroppedSteps)
{
    Document doc(4, 0);
    ManagerImpl m;
    EXPECT_TRUE(m.undoIt()); // nothing to undo: true, nothing changes
    EXPECT_TRUE(m.doIt());

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
}

namespace {

struct BusyWatch {
    std::vector<int> seen;
    ManagerImpl* manager = nullptr;
    bool busyDuringCommand = false;
    Group* groupDuringCommand = nullptr;
    void onBusy(int value) { seen.push_back(value); }
};

class Probe : public Command {
public:
    Probe(Group* g, BusyWatch* w) : Command(g, "probe"), watch(w) {}
    bool doCommand() override { return look(); }
    bool undoCommand() override { return look(); }

private:
    bool look()
    {
        watch->busyDuringCommand = watch->manager->isBusy();
        watch->groupDuringCommand = watch->manager->newGroup("inner", false);
        return true;
    }
    BusyWatch* watch;
};

} // namespace

TEST(Undo, TheBusySignalFramesEveryRunAndTheInstalledManagerIsReplaced)
{
    BusyWatch watch;
    auto* m = static_cast<ManagerImpl*>(qvUndo::newManager());
    watch.manager = m;
    m->getBusySignal().addCallback(&watch, &BusyWatch::onBusy);
    Group* g = m->newGroup("g", false);
    new Probe(g, &watch);
    m->undoIt();
    EXPECT_TRUE(watch.busyDuringCommand);
    EXPECT_EQ(watch.groupDuringCommand, nullptr); // no new group under a running step
    m->doIt();
    m->doIt(); // at the end: no run, no signal
    EXPECT_EQ(watch.seen, (std::vector<int>{1, 0, 1, 0}));

    qvUndo::installManager(m);
    Manager* other = qvUndo::newManager();
    qvUndo::installManager(other); // deletes m
    EXPECT_EQ(qvUndo::getInstalledManager(), other);
    qvUndo::installManager(nullptr);
}
