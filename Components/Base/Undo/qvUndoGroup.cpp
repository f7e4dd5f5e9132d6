#include "qvUndoGroup.h"

#include "internal/qvUndoTrace.h"
#include "qvUndoManager.h"

namespace qvUndo {

Group::~Group() = default;

GroupImpl::GroupImpl(const char* text, int number)
    : id(number), commandCounter(0), name(text ? text : "noname"), associated(0), discardable(1)
{
    qvUndoReport("  qvUndo::Group: new group (%s)\n", name.c_str());
}

GroupImpl::~GroupImpl()
{
    if (internal::tracing())
        qvUndoReport("  qvUndo::Group: delete group (%s) - %d bytes\n", name.c_str(), numBytes());
    for (Command* command : commands)
        command->commit();
    for (Command* command : commands)
        delete command;
    commands.clear();
    destroyed.emit(this);
}

bool GroupImpl::doIt()
{
    if (internal::tracing())
        qvUndoReport("  + qvUndo::Group: doIt() - (%s) %d commands %d bytes.\n", name.c_str(),
                     numCommands(), numBytes());
    if (!isValid()) {
        qvUndoReport("  ! qvUndo::Group: doIt() - (%s) invalid group.\n", name.c_str());
        return false;
    }
    if (lastWasDoIt())
        return true;
    for (std::size_t i = 0; i < commands.size(); ++i) {
        if (!commands[i]->doIt()) {
            qvUndoReport("  ! qvUndo::Group: 'do' of command %d (%s) returnedfailure status\n",
                         static_cast<int>(i), commands[i]->getName());
            qvUndoReport("  ! qvUndo::Group: marking group (%s) invalid.\n", name.c_str());
            stateInvalid();
            return false;
        }
    }
    stateDone();
    return true;
}

bool GroupImpl::undoIt()
{
    if (internal::tracing())
        qvUndoReport("  - qvUndo::Group: undoIt() - (%s) %d commands %d bytes.\n", name.c_str(),
                     numCommands(), numBytes());
    if (!isValid()) {
        qvUndoReport("  ! qvUndo::Group: undoIt() - (%s) invalid group.\n", name.c_str());
        return false;
    }
    if (lastWasUndoIt())
        return true;
    for (std::size_t i = commands.size(); i-- > 0;) {
        if (!commands[i]->undoIt()) {
            qvUndoReport("  ! qvUndo::Group: 'undo' of command %d (%s) returnedfailure status\n",
                         static_cast<int>(i), commands[i]->getName());
            qvUndoReport("  ! qvUndo::Group: marking group (%s) invalid.\n", name.c_str());
            stateInvalid();
            return false;
        }
    }
    stateUndone();
    return true;
}

void GroupImpl::addCommand(Command* command)
{
    if (!command)
        return;
    if (command->getID() == 0) {
        command->addToGroup(this); // numbers the command and comes back here
        return;
    }
    close();
    if (commands.empty())
        commands.reserve(8); // groups seldom hold one command; spare the first regrowths
    commands.push_back(command);
}

Command* GroupImpl::getCommand(int index)
{
    if (index < 0 || index >= numCommands())
        return nullptr;
    return commands[static_cast<std::size_t>(index)];
}

int GroupImpl::numCommands()
{
    return static_cast<int>(commands.size());
}

int GroupImpl::numBytes()
{
    int total = 0;
    for (Command* command : commands)
        total += command->getNumBytesUsed();
    return total;
}

const char* GroupImpl::getName()
{
    return name.c_str();
}

int GroupImpl::getID()
{
    return id;
}

int GroupImpl::nextCommandID()
{
    return ++commandCounter;
}

void GroupImpl::setDiscardable(bool value)
{
    discardable = value ? 1 : 0;
}

bool GroupImpl::isDiscardable()
{
    return discardable != 0;
}

bool GroupImpl::isAssociated()
{
    return associated != 0;
}

void GroupImpl::setAssociated(bool value)
{
    associated = value ? 1 : 0;
}

void GroupImpl::declarePointer(void* pointer)
{
    if (pointer)
        declared.insert(pointer);
}

bool GroupImpl::hasDeclaredPointer(void* pointer)
{
    return declared.count(pointer) != 0;
}

void GroupImpl::pointerDestroyed(void* pointer)
{
    if (!hasDeclaredPointer(pointer))
        return;
    qvUndoReport("!   qvUndo::Group: pointer 0x%p declared by group has been destroyed\n", pointer);
    qvUndoReport("!   qvUndo::Group: marking group (%s) invalid.\n", name.c_str());
    stateInvalid();
}

void GroupImpl::close() {}

} // namespace qvUndo
