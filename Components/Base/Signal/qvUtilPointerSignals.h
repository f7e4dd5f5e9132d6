#ifndef QVUTIL_POINTER_SIGNALS_H
#define QVUTIL_POINTER_SIGNALS_H

// Four process-wide signals about the lifetime of objects that clients share by pointer. Each
// carries a type or context name, the pointer concerned and an integer whose meaning the
// emitting client chooses. The library only provides them: clients emit and observe them. They
// exist from the loading of the library to its unloading.

#include "qvBaseExport.h"
#include "qvRTBSignal.h"

namespace qvUtil {

using PointerSignal = qvRTB::Signal3Args<const char*, void*, int>;

QV_BASE_API PointerSignal& getPointerInitSignal();
QV_BASE_API PointerSignal& getPointerAcquireSignal();
QV_BASE_API PointerSignal& getPointerReleaseSignal();
QV_BASE_API PointerSignal& getPointerDeleteSignal();

} // namespace qvUtil

#endif
