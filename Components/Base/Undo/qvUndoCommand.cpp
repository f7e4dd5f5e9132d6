#include "qvUndoCommand.h"

#include "internal/qvUndoTrace.h"
#include "qvUndoGroup.h"
#include "qvUndoManager.h"

#include <cstdlib>
#include <cstring>

namespace qvUndo {

namespace {

char* duplicate(const char* text)
{
    if (!text)
        return nullptr;
    std::size_t size = std::strlen(text) + 1;
    auto* copy = static_cast<char*>(std::malloc(size));
    if (copy)
        std::memcpy(copy, text, size);
    return copy;
}

} // namespace

Command::Command(Group* group, const char* text) : id(0), name(duplicate(text))
{
    if (group)
        addToGroup(group);
}

Command::~Command()
{
    if (id != 0 && internal::tracing())
        qvUndoReport("    qvUndo::Command: delete (%s, 0x%p)\n", getName(),
                     static_cast<const void*>(this));
    std::free(name);
}

int Command::getNumBytesUsed()
{
    return 1024;
}

void Command::commit() {}

void Command::addToGroup(Group* group)
{
    id = group->nextCommandID();
    group->addCommand(this);
    if (internal::tracing())
        qvUndoReport("    qvUndo::Command: new (%s, 0x%p)\n", getName(),
                     static_cast<const void*>(this));
}

const char* Command::getName() const
{
    return name ? name : "noname";
}

bool Command::doIt()
{
    if (!isValid())
        return false;
    bool result = true;
    if (!lastWasDoIt()) {
        if (internal::tracing())
            qvUndoReport("    + qvUndo::Command: doIt (%s, 0x%p), %d bytes\n", getName(),
                         static_cast<const void*>(this), getNumBytesUsed());
        result = doCommand();
    }
    stateDone();
    if (!result) {
        qvUndoReport("    - qvUndo::Command: 'do' of %s returned failure.  Marking invalid.\n",
                     getName());
        stateInvalid();
    }
    return result;
}

bool Command::undoIt()
{
    if (!isValid())
        return false;
    bool result = true;
    if (!lastWasUndoIt()) {
        if (internal::tracing())
            qvUndoReport("    - qvUndo::Command: undoIt (%s, 0x%p), %d bytes\n", getName(),
                         static_cast<const void*>(this), getNumBytesUsed());
        result = undoCommand();
    }
    stateUndone();
    if (!result) {
        qvUndoReport("    - qvUndo::Command: undo of %s returned failure.  Marking invalid.\n",
                     getName());
        stateInvalid();
    }
    return result;
}

} // namespace qvUndo
