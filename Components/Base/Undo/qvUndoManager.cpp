#include "qvUndoManager.h"

#include "internal/qvUndoTrace.h"

#include <new>

namespace qvUndo {

Manager::~Manager() = default;

ManagerImpl::ManagerImpl()
    : current(groups.end()), groupCounter(0), maxGroups(0), maxBytes(10000000), busy(0),
      deleting(nullptr), clearRequested(false), deleteLastRequested(false),
      limitsRequested(false)
{
}

ManagerImpl::~ManagerImpl()
{
    clearAllGroups();
    // The client announces the end as it goes; the busy signal goes last.
}

long long ManagerImpl::bytesUsed()
{
    long long total = 0;
    for (Group* group : groups)
        total += group->numBytes();
    return total;
}

bool ManagerImpl::refuseNestedRun()
{
    // A do or undo started from a command or a busy listener would move the position under
    // the run that is walking it.
    return busy != 0;
}

void ManagerImpl::finishRun()
{
    busySignal.emit(0);
    busy = 0;
    // What commands and busy listeners asked for during the run, now that it is over.
    if (clearRequested) {
        clearRequested = false;
        deleteLastRequested = false;
        clearAllGroups();
    }
    if (deleteLastRequested) {
        deleteLastRequested = false;
        deleteLastGroup();
    }
    if (limitsRequested) {
        limitsRequested = false;
        enforceLimits();
    }
}

bool ManagerImpl::doIt()
{
    if (refuseNestedRun())
        return false;
    for (;;) {
        if (internal::tracing())
            qvUndoReport("+ qvUndo::Manager: doIt() - %d groups, %d bytes used\n", numGroups(false),
                         static_cast<int>(bytesUsed()));
        if (current == groups.end()) {
            qvUndoReport("+ qvUndo::Manager: doIt() - at end of queue.\n");
            return true;
        }
        busy = 1;
        busySignal.emit(1);
        int commandTotal = 0;
        bool result = true;
        for (;;) {
            Group* group = *current;
            commandTotal += group->numCommands();
            result = group->doIt();
            if (!result) {
                currentGroupIsInvalid();
                break;
            }
            ++current;
            if (current == groups.end() || !(*current)->isAssociated())
                break;
        }
        finishRun();
        // A step without commands is passed over, even a failed one (which cleared the queue).
        if (commandTotal != 0)
            return result;
        qvUndoReport("+ qvUndo::Manager: doIt() - empty group, doing again.\n");
    }
}

bool ManagerImpl::undoIt()
{
    if (refuseNestedRun())
        return false;
    for (;;) {
        if (internal::tracing())
            qvUndoReport("- qvUndo::Manager: undoIt() - %d groups, %d bytes used\n",
                         numGroups(false), static_cast<int>(bytesUsed()));
        if (current == groups.begin()) {
            qvUndoReport("- qvUndo::Manager: undoIt() - at beginning of queue.\n");
            return true;
        }
        busy = 1;
        busySignal.emit(1);
        int commandTotal = 0;
        bool result = true;
        for (;;) {
            --current;
            Group* group = *current;
            commandTotal += group->numCommands();
            result = group->undoIt();
            if (!result) {
                currentGroupIsInvalid();
                break;
            }
            if (current == groups.begin() || !group->isAssociated())
                break;
        }
        finishRun();
        if (commandTotal != 0)
            return result;
        qvUndoReport("- qvUndo::Manager: undoIt() - empty group, undoing again.\n");
    }
}

void ManagerImpl::currentGroupIsInvalid()
{
    // A step that cannot be replayed leaves the history unusable: all of it goes.
    if (groups.empty())
        return;
    qvUndoReport("qvUndo::Manager: currentGroupIsInvalid()\n");
    clearNow();
}

Group* ManagerImpl::newGroup(const char* name, bool dynamic)
{
    // A command that opened a group while it is being done or undone would prune the queue
    // under the run that is walking it.
    if (maxGroups < 0 || busy)
        return nullptr;
    if (!name)
        name = "noname";
    qvUndoReport("qvUndo::newGroup (%s, dynamic = %d)\n", name, dynamic ? 1 : 0);
    pruneUndoneGroups();
    pruneTrailingInvalidGroups();
    if (!groups.empty())
        groups.back()->close();
    enforceLimits();

    auto* group = new GroupImpl(name, nextGroupID());
    group->setAssociated(dynamic);
    group->destructionSignal().addCallback(this, &ManagerImpl::removeGroup);
    groups.push_back(group);
    current = groups.end();
    return group;
}

void ManagerImpl::pruneUndoneGroups()
{
    // The limits put the position at the end even when steps were undone. Those steps are
    // still undone and go too: a new step recorded after them would later be redone on top
    // of them, on a document it was never recorded against.
    Position from = current;
    while (from != groups.begin() && (*std::prev(from))->lastWasUndoIt())
        --from;
    if (from == groups.end())
        return;
    qvUndoReport("qvUndo::Manager: pruneUndoneGroups()\n");
    for (auto n = std::distance(from, groups.end()); n > 0; --n)
        deleteGroup(std::prev(groups.end()));
    current = groups.end();
}

void ManagerImpl::pruneTrailingInvalidGroups()
{
    qvUndoReport("qvUndo::Manager: pruneTrailingInvalidGroups()\n");
    while (!groups.empty() && !groups.back()->isValid() && groups.back()->isDiscardable())
        deleteGroup(std::prev(groups.end()));
}

void ManagerImpl::enforceLimits()
{
    if (maxGroups != 0) {
        int steps = numGroups(true);
        while (!groups.empty() && steps > maxGroups - 1 && groups.front()->isDiscardable()) {
            deleteFrontStep();
            --steps;
        }
    }
    if (maxBytes != 0) {
        // Every command is asked now: one that grew after its step was recorded counts fully.
        long long total = bytesUsed();
        while (!groups.empty() && total > maxBytes && groups.front()->isDiscardable())
            total -= deleteFrontStep();
    }
    current = groups.end();
}

long long ManagerImpl::deleteFrontStep()
{
    long long bytes = groups.front()->numBytes();
    deleteGroup(groups.begin());
    while (!groups.empty() && groups.front()->isAssociated()) {
        bytes += groups.front()->numBytes();
        deleteGroup(groups.begin());
    }
    return bytes;
}

void ManagerImpl::deleteGroup(Position position)
{
    Group* group = *position;
    if (current == position)
        ++current;
    groups.erase(position);
    deleting = group;
    delete group;
    deleting = nullptr;
}

Group* ManagerImpl::getGroup(int index)
{
    if (index >= 0) {
        for (Group* group : groups) {
            if (index-- == 0)
                return group;
        }
        return nullptr;
    }
    for (auto it = groups.rbegin(); it != groups.rend(); ++it) {
        if (++index == 0)
            return *it;
    }
    return nullptr;
}

Group* ManagerImpl::currentGroup()
{
    return current == groups.end() ? nullptr : *current;
}

int ManagerImpl::numGroups(bool countSteps)
{
    if (!countSteps)
        return static_cast<int>(groups.size());
    int steps = 0;
    bool first = true;
    for (Group* group : groups) {
        if (first || !group->isAssociated())
            ++steps;
        first = false;
    }
    return steps;
}

bool ManagerImpl::canUndo()
{
    return current != groups.begin();
}

bool ManagerImpl::canDoIt()
{
    return current != groups.end();
}

Group* ManagerImpl::findGroup(int id)
{
    for (Group* group : groups) {
        if (group->getID() == id)
            return group;
    }
    return nullptr;
}

void ManagerImpl::deleteLastGroup()
{
    if (busy) {
        deleteLastRequested = true;
        return;
    }
    if (current != groups.end() || groups.empty())
        return;
    qvUndoReport("qvUndo::Manager: deleteLastGroup()\n");
    // Only an empty last group can go alone; a recorded step takes the history with it.
    if (groups.back()->numCommands() == 0)
        deleteGroup(std::prev(groups.end()));
    else
        clearAllGroups();
}

void ManagerImpl::clearAllGroups()
{
    if (busy) {
        clearRequested = true;
        return;
    }
    clearNow();
}

void ManagerImpl::clearNow()
{
    qvUndoReport("qvUndo::Manager: clearAllGroups()\n");
    while (!groups.empty())
        deleteGroup(groups.begin());
    current = groups.end();
}

void ManagerImpl::associateGroups(int firstId, int lastId)
{
    qvUndoReport("qvUndo::Manager: associateGroups (%d, %d)\n", firstId, lastId);
    bool first = true;
    for (Group* group : groups) {
        int id = group->getID();
        if (id < firstId || id > lastId)
            continue;
        group->setAssociated(!first);
        first = false;
    }
}

void ManagerImpl::pointerDestroyed(void* pointer)
{
    for (Group* group : groups)
        group->pointerDestroyed(pointer);
}

int ManagerImpl::nextGroupID()
{
    return ++groupCounter;
}

// During a run the new limit is kept at once and enforced when the run ends.
void ManagerImpl::setMaxGroups(int count)
{
    maxGroups = count;
    if (busy)
        limitsRequested = true;
    else
        enforceLimits();
}

void ManagerImpl::setMaxBytes(int bytes)
{
    maxBytes = bytes;
    if (busy)
        limitsRequested = true;
    else
        enforceLimits();
}

int ManagerImpl::getMaxGroups()
{
    return maxGroups;
}

int ManagerImpl::getMaxBytes()
{
    return maxBytes;
}

bool ManagerImpl::isBusy()
{
    return busy != 0;
}

void ManagerImpl::removeGroup(Group* group)
{
    if (group == deleting)
        return; // already taken out by deleteGroup
    for (auto it = groups.begin(); it != groups.end();) {
        if (*it != group) {
            ++it;
            continue;
        }
        if (current == it)
            ++current;
        it = groups.erase(it);
    }
}

namespace {
Manager* installed = nullptr;
} // namespace

Manager* newManager()
{
    return new (std::nothrow) ManagerImpl;
}

void installManager(Manager* manager)
{
    if (installed && installed != manager)
        delete installed;
    installed = manager;
}

Manager* getInstalledManager()
{
    return installed;
}

} // namespace qvUndo
