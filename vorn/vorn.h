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
#include "vorn/treemodel/AreAttributesEqual.h"
#include "vorn/treemodel/Attribute.h"
#include "vorn/treemodel/AttributeSupplier.h"
#include "vorn/treemodel/CompareIdentifiers.h"
#include "vorn/treemodel/DoubleAttribute.h"
#include "vorn/treemodel/IdentifierEquals.h"
#include "vorn/treemodel/IdentifierProvider.h"
#include "vorn/treemodel/IntegerAttribute.h"
#include "vorn/treemodel/ModelItem.h"
#include "vorn/treemodel/ModelItemTree.h"
#include "vorn/treemodel/TextAttribute.h"
#include "vorn/treemodel/Tree.h"
#include "vorn/treemodel/TreeModel.h"
#include "vorn/treemodel/TreeModelBranch.h"
#include "vorn/treemodel/TreeModelBranchIdentifiers.h"
#include "vorn/treemodel/TreeModelFunctions.h"
#include "vorn/treemodel/TreeModelRange.h"
#include "vorn/treemodel/TreeModelSiblingRange.h"

#endif  // VORN_VORN_H_
