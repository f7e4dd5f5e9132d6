#include "qvTestSupport.h"
#include "qvUndoManager.h"
#include "qvUtilError.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using qvUndo::Command;
using qvUndo::Group;
using qvUndo::ManagerImpl;

namespace {

class Step : public Command {
public:
    Step(Group* g, const char* name, bool failUndo = false) : Command(g, name), fail(failUndo) {}
    bool doCommand() override { return true; }
    bool undoCommand() override { return !fail; }

private:
    bool fail;
};

// "0x" and the pointer as the library's formatting prints it.
std::string ptr(const void* p)
{
    char text[64];
    QL_snprintf(text, sizeof text, "0x%p", p);
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
    std::vector<std::string> expected = {"", "------------------------------", ""};
    {
        ManagerImpl m;
        Group* first = m.newGroup("first", false);
        auto* a = new Step(first, "setA");
        auto* b = new Step(first, nullptr);
        Step loose(nullptr, "loose"); // never numbered: no lines at all
        m.undoIt();
        m.undoIt();
        m.doIt();
        Group* second = m.newGroup("second", true);
        auto* bad = new Step(second, "bad", true);
        m.associateGroups(second->getID(), second->getID());
        m.undoIt();
        Group* third = m.newGroup("third", false);
        third->declarePointer(&object);
        m.pointerDestroyed(&object);

        const std::vector<std::string> more = {
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
        expected.insert(expected.end(), more.begin(), more.end());
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
