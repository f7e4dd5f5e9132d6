#ifndef QVUNDO_GROUP_H
#define QVUNDO_GROUP_H

#include "qvBaseExport.h"
#include "qvRTBSignal.h"
#include "qvUndoCommand.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace qvUndo {

// One user-visible step: commands done first to last and undone last to first. A group owns
// its commands.
class QV_BASE_API Group : public State {
public:
    virtual ~Group();

    virtual bool doIt() = 0;
    virtual bool undoIt() = 0;
    // Appends `command` (null is ignored); an unnumbered command takes the next number first.
    virtual void addCommand(Command* command) = 0;
    // The command at `index` in order of addition; null outside 0 .. numCommands() - 1.
    virtual Command* getCommand(int index) = 0;
    virtual int numCommands() = 0;
    virtual int numBytes() = 0;
    virtual const char* getName() = 0;
    virtual int getID() = 0;
    virtual int nextCommandID() = 0;
    virtual void setDiscardable(bool discardable) = 0;
    virtual bool isDiscardable() = 0;
    // An associated group is done and undone together with the group before it.
    virtual bool isAssociated() = 0;
    virtual void setAssociated(bool associated) = 0;
    // A group that declares a pointer becomes invalid when pointerDestroyed() names it.
    virtual void declarePointer(void* pointer) = 0;
    virtual bool hasDeclaredPointer(void* pointer) = 0;
    virtual void pointerDestroyed(void* pointer) = 0;
    virtual void close() = 0;
};

// The library's group. A new group is discardable: the manager's limits and pruning may delete
// it unless its creator calls setDiscardable(false).
class QV_BASE_API GroupImpl : public Group {
public:
    GroupImpl(const char* name, int id);
    // Commits, then deletes, every command, and announces the end on destructionSignal().
    ~GroupImpl() override;

    bool doIt() override;
    bool undoIt() override;
    void addCommand(Command* command) override;
    Command* getCommand(int index) override;
    int numCommands() override;
    int numBytes() override;
    const char* getName() override;
    int getID() override;
    int nextCommandID() override;
    void setDiscardable(bool value) override;
    bool isDiscardable() override;
    bool isAssociated() override;
    void setAssociated(bool value) override;
    void declarePointer(void* pointer) override;
    bool hasDeclaredPointer(void* pointer) override;
    void pointerDestroyed(void* pointer) override;
    void close() override;

    // Emitted with the group from its destructor.
    qvRTB::Signal1Arg<Group*>& destructionSignal() { return destroyed; }

private:
    qvRTB::Signal1Arg<Group*> destroyed;
    std::vector<Command*> commands;
    std::set<void*> declared;
    std::int32_t id;
    std::int32_t commandCounter;
    std::string name;
    std::uint8_t associated;
    std::uint8_t discardable;
};

} // namespace qvUndo

#endif
