#include "qvUtilPointerSignals.h"

namespace qvUtil {

namespace {
// Static objects: built when the library is loaded, destroyed when it is unloaded.
PointerSignal pointerInit;
PointerSignal pointerAcquire;
PointerSignal pointerRelease;
PointerSignal pointerDelete;
} // namespace

PointerSignal& getPointerInitSignal()
{
    return pointerInit;
}

PointerSignal& getPointerAcquireSignal()
{
    return pointerAcquire;
}

PointerSignal& getPointerReleaseSignal()
{
    return pointerRelease;
}

PointerSignal& getPointerDeleteSignal()
{
    return pointerDelete;
}

} // namespace qvUtil
