// The umbrella header: includes every public header of the library.
#ifndef VORN_VORN_H_
#define VORN_VORN_H_

#include "vorn/commands/BeginMacroCommand.h"
#include "vorn/commands/ClearHistoryCommand.h"
#include "vorn/commands/Command.h"
#include "vorn/commands/CommandMacroBlock.h"
#include "vorn/commands/CommandProcessor.h"
#include "vorn/commands/EndMacroCommand.h"
#include "vorn/commands/MementoBase.h"
#include "vorn/commands/ReentrancyGuard.h"
#include "vorn/commands/StoredNameCommand.h"
#include "vorn/foundation/HandleCommon.h"
#include "vorn/foundation/Notice.h"
#include "vorn/foundation/StringFunctions.h"
#include "vorn/foundation/THandle.h"
#include "vorn/foundation/TWeakHandle.h"
#include "vorn/foundation/VornAssert.h"
#include "vorn/foundation/VornLog.h"
#include "vorn/notification/Observer.h"
#include "vorn/notification/Subject.h"
#include "vorn/persistence/Archive.h"
#include "vorn/persistence/VersionedArchive.h"
#include "vorn/progress/MultipleProgressMonitor.h"
#include "vorn/progress/ProgressMonitor.h"
#include "vorn/progress/ProgressMonitorDisplayInterface.h"
#include "vorn/progress/ProgressMonitorProcessInterface.h"
#include "vorn/progress/TextProgressDisplay.h"
#include "vorn/time/Date.h"
#include "vorn/time/ElapsedTimer.h"
#include "vorn/time/Timer.h"
#include "vorn/time/ToString.h"

#endif  // VORN_VORN_H_

