// The umbrella header: includes every public header of the library.
#ifndef VORN_VORN_H_
#define VORN_VORN_H_

#include "vorn/foundation/HandleCommon.h"
#include "vorn/foundation/THandle.h"
#include "vorn/foundation/TWeakHandle.h"
#include "vorn/foundation/VornAssert.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/ArchiveReadStream.h"
#include "vorn/persistence/ArchiveWriteStream.h"
#include "vorn/persistence/Counter.h"
#include "vorn/persistence/DebugPrintStream.h"
#include "vorn/persistence/HandleReadRegistry.h"
#include "vorn/persistence/HandleReadRegistryBase.h"
#include "vorn/persistence/HandleWriteRegistry.h"
#include "vorn/persistence/HandleWriteRegistryBase.h"
#include "vorn/persistence/PersistentContainers.h"
#include "vorn/persistence/PersistentReadStream.h"
#include "vorn/persistence/PersistentWriteStream.h"
#include "vorn/persistence/PolymorphicFactory.h"
#include "vorn/persistence/PolymorphicFactoryTypeExtractor.h"
#include "vorn/persistence/PolymorphicPersistent.h"
#include "vorn/persistence/PolymorphicRegistrar.h"
#include "vorn/persistence/VersionedArchive.h"
#include "vorn/persistence/VornTypeInfo.h"
#include "vorn/testing/ArchiveRoundTrip.h"
#include "vorn/testing/DebugPrintText.h"

#endif  // VORN_VORN_H_
