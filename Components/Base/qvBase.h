#ifndef QVBASE_H
#define QVBASE_H

// Every public header of the library.

#include "qvBaseExport.h"

// Core utilities
#include "qvUtilError.h"
#include "qvUtilInterval.h"

// Strings
#include "qvStringString.h"
#include "qvStringCString.h"
#include "qvStringIString.h"
#include "qvStringCharClass.h"

#endif
