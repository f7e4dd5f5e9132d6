#ifndef QVUNDO_MANAGER_H
#define QVUNDO_MANAGER_H

// The undo manager: a linear queue of groups with a current position (the next group to do).
// Undoing steps back through the queue, doing steps forward; a new group drops the groups after
// the current position. The queue is kept within a group count and a byte budget by deleting
// the oldest discardable steps, counted as the commands report their sizes at that moment; the
// limits leave the position at the end. A step is a group together with the associated groups
// after it. During a do or undo run (isBusy()), commands and busy listeners cannot start another
// run or a new group, and clearing, deleting the last group or new limits wait for the run's
// end. For one thread at a time.

#include "qvBaseExport.h"
#include "qvRTBSignal.h"
#include "qvUndoCommand.h"
#include "qvUndoGroup.h"

#include <cstdint>
#include <list>

namespace qvUndo {

class QV_BASE_API Manager {
public:
    virtual ~Manager();

    // False, and nothing done, when a run is already under way.
    virtual bool undoIt() = 0;
    virtual bool doIt() = 0;
    // A new group at the end of the queue, for the commands of one user action; the groups
    // after the current position (undone, waiting for redo) are deleted first. With dynamic
    // true the group is associated with the group before it: it joins that step, so one undo
    // or redo takes both (for follow-up changes such as snapping after a drag). Null while
    // recording is disabled (negative group limit), and during a do or undo run.
    virtual Group* newGroup(const char* name, bool dynamic) = 0;
    // index >= 0 counts from the front, index < 0 back from the end (-1 is the last group).
    virtual Group* getGroup(int index) = 0;
    virtual Group* currentGroup() = 0;
    // countSteps: count associated groups with the group they follow.
    virtual int numGroups(bool countSteps) = 0;
    virtual bool canUndo() = 0;
    virtual bool canDoIt() = 0;
    virtual Group* findGroup(int id) = 0;
    // Takes back the last group when nothing is undone (the current position is at the end):
    // an empty last group, typically one opened for an action that changed nothing, is deleted
    // alone; a last group holding commands cannot be removed alone (its changes stay applied,
    // so undoing the groups before it would no longer restore what they recorded), and the
    // whole queue is cleared instead.
    // Does nothing when the queue is empty or groups are undone.
    virtual void deleteLastGroup() = 0;
    virtual void clearAllGroups() = 0;
    virtual void associateGroups(int firstId, int lastId) = 0;
    virtual void pointerDestroyed(void* pointer) = 0;
    virtual int nextGroupID() = 0;
    // 0 = unlimited; negative = recording disabled.
    virtual void setMaxGroups(int count) = 0;
    // 0 = unlimited.
    virtual void setMaxBytes(int bytes) = 0;
    virtual int getMaxGroups() = 0;
    virtual int getMaxBytes() = 0;
    virtual bool isBusy() = 0;
    // Takes `group` out of the queue without deleting it.
    virtual void removeGroup(Group* group) = 0;
};

class QV_BASE_API ManagerImpl : public Manager {
public:
    ManagerImpl();
    // Deletes every group, then announces its end through getClient().
    ~ManagerImpl() override;

    bool undoIt() override;
    bool doIt() override;
    Group* newGroup(const char* name, bool dynamic) override;
    Group* getGroup(int index) override;
    Group* currentGroup() override;
    int numGroups(bool countSteps) override;
    bool canUndo() override;
    bool canDoIt() override;
    Group* findGroup(int id) override;
    void deleteLastGroup() override;
    void clearAllGroups() override;
    void associateGroups(int firstId, int lastId) override;
    void pointerDestroyed(void* pointer) override;
    int nextGroupID() override;
    void setMaxGroups(int count) override;
    void setMaxBytes(int bytes) override;
    int getMaxGroups() override;
    int getMaxBytes() override;
    bool isBusy() override;
    void removeGroup(Group* group) override;

    // Emitted with 1 before and 0 after every run of doIt() or undoIt() over groups.
    qvRTB::Signal1Arg<int>& getBusySignal() { return busySignal; }
    // Connections made with this client end with the manager.
    qvRTB::SignalClient& getClient() { return client; }

private:
    using Position = std::list<Group*>::iterator;

    void currentGroupIsInvalid();
    void pruneUndoneGroups();
    void pruneTrailingInvalidGroups();
    void enforceLimits();
    // Deletes the front step; the bytes its groups held.
    long long deleteFrontStep();
    void deleteGroup(Position position);
    void clearNow();
    long long bytesUsed();
    // True when a run is under way: runs do not nest.
    bool refuseNestedRun();
    // Ends a run: the busy signal with 0, then what was asked for during the run.
    void finishRun();

    qvRTB::Signal1Arg<int> busySignal;
    qvRTB::SignalClient client;
    std::list<Group*> groups;
    Position current;
    std::int32_t groupCounter;
    std::int32_t maxGroups;
    std::int32_t maxBytes;
    std::uint8_t busy;
    // The group this manager is deleting: its destruction signal needs no search.
    Group* deleting;
    // Calls that would change the queue under a do or undo run wait for its end.
    bool clearRequested;
    bool deleteLastRequested;
    bool limitsRequested;
};

// A new ManagerImpl.
QV_BASE_API Manager* newManager();
// Makes `manager` the process-wide manager, deleting the one installed before.
QV_BASE_API void installManager(Manager* manager);
QV_BASE_API Manager* getInstalledManager();

} // namespace qvUndo

extern "C" {
// Opens `path` for appending as the trace file of the undo manager and writes a separator;
// from then on the manager, groups and commands write their trace lines there. A null path
// closes the trace file.
QV_BASE_API void qvUndoReportInit(const char* path);
// Writes one formatted trace text (at most 1023 characters) when a trace file is open.
QV_BASE_API void qvUndoReport(const char* format, ...) QV_PRINTF_FORMAT(1, 2);
}

#endif
