#ifndef QVUNDO_COMMAND_H
#define QVUNDO_COMMAND_H

#include "qvBaseExport.h"

#include <cstdint>

namespace qvUndo {

class Group;

// What has happened to a command or group: one bit word.
class QV_BASE_API State {
public:
    State() : bits(0x10) {}
    State(const State& other) = default;
    State& operator=(const State& other) = default;

    bool hasBeenDone() const { return (bits & 0x01) != 0; }
    bool hasBeenUndone() const { return (bits & 0x02) != 0; }
    bool lastWasDoIt() const { return (bits & 0x04) != 0; }
    bool lastWasUndoIt() const { return (bits & 0x08) != 0; }
    // Still replayable.
    bool isValid() const { return (bits & 0x10) != 0; }
    void stateInvalid() { bits &= ~0x10u; }

protected:
    void stateDone() { bits = (bits & ~0x08u) | 0x01u | 0x04u; }
    void stateUndone() { bits = (bits & ~0x04u) | 0x02u | 0x08u; }

private:
    std::uint32_t bits;
};

// One change that can be done and undone. Hosts derive from it and implement doCommand() and
// undoCommand(); a command that fails marks itself (and its group) invalid.
class QV_BASE_API Command : public State {
public:
    // Joins `group` at once when it is not null (the group then owns the command).
    Command(Group* group, const char* name);
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command();

    // Makes the change, unless the last action already was a do. False when the command is
    // invalid or the change failed.
    virtual bool doCommand() = 0;
    // Takes the change back.
    virtual bool undoCommand() = 0;
    // Memory the command holds, for the manager's byte budget.
    virtual int getNumBytesUsed();
    // Called once when the command leaves the queue for good.
    virtual void commit();

    bool doIt();
    bool undoIt();
    // Takes the next command number of `group` and joins it.
    void addToGroup(Group* group);
    // The name, or "noname".
    const char* getName() const;
    // The number the group gave the command; 0 while it belongs to no group.
    int getID() const { return id; }

private:
    std::int32_t id;
    char* name;
};

} // namespace qvUndo

#endif
