#ifndef QVBASE_H
#define QVBASE_H

// Every public header of the library.

#include "qvBaseExport.h"

// Core utilities
#include "qvUtilError.h"
#include "qvUtilInterval.h"

// Signals
#include "qvRTBFunction.h"
#include "qvRTBSignal.h"
#include "qvUtilPointerSignals.h"

#endif
