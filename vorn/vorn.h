// The umbrella header: includes every public header of the library.
#ifndef VORN_VORN_H_
#define VORN_VORN_H_

#include "vorn/foundation/HandleCommon.h"
#include "vorn/foundation/THandle.h"
#include "vorn/foundation/TWeakHandle.h"
#include "vorn/foundation/VornAssert.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"
#include "vorn/notification/Subject.h"
#include "vorn/time/ElapsedTimer.h"
#include "vorn/time/Timer.h"
#include "vorn/time/ToString.h"

#endif  // VORN_VORN_H_
