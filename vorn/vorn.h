// The umbrella header: includes every public header of the library.
#ifndef VORN_VORN_H_
#define VORN_VORN_H_

#include "vorn/database/DatabaseEntryIdentifier.h"
#include "vorn/foundation/HandleCommon.h"
#include "vorn/foundation/Notice.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/foundation/THandle.h"
#include "vorn/foundation/TWeakHandle.h"
#include "vorn/foundation/VornAssert.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/VersionedArchive.h"

#endif  // VORN_VORN_H_
