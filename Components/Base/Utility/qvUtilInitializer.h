#ifndef QVUTIL_INITIALIZER_H
#define QVUTIL_INITIALIZER_H

#include "qvBaseExport.h"
#include "qvUtilError.h"

namespace qvUtil {

// A start-up step. A module derives from Initializer, overrides initialize() and declares one
// static object of its class; the object registers itself while static objects are constructed.
// Its constructor names the steps that must run first with dependsOn(). One call to
// initializeAll(), made by the host once the program is loaded, runs every registered step,
// prerequisites first:
//
//     class FontsInit : public qvUtil::Initializer {
//     public:
//         FontsInit() { dependsOn(&fileSystemInit); }
//         qvUtil::Error initialize() override { return loadFonts(); }
//     };
//     static FontsInit fontsInit;
//
// Dependencies must not form a cycle: the ordering does not detect one and would not end.
// Registration and initializeAll() are single-threaded start-up work.
class QV_BASE_API Initializer {
public:
    Initializer();
    // Copies take the source's weight but are not registered.
    Initializer(const Initializer& other);
    Initializer& operator=(const Initializer& other);

    // The step itself; a failure stops initializeAll().
    virtual Error initialize() = 0;

    // The ordering weight: 0 until initializeAll() runs, then 1 plus the weights of every chain
    // of steps that depend on this one. Not reset: a second run adds to it.
    int getCount() const { return count; }

    // Runs every registered step in dependency order and returns the first failure (steps that
    // ran before it are not undone), or success.
    static Error initializeAll();

protected:
    // Not virtual: steps are never deleted through an Initializer pointer. A step that goes away
    // leaves the registry, and every dependency that names it is dropped.
    ~Initializer();

    // Declares that prerequisite must run before this step; call once per prerequisite.
    void dependsOn(Initializer* prerequisite);

private:
    void addInit();

    const char* sourceFile;
    int count;
};

} // namespace qvUtil

#endif
