#ifndef ASSERTIONS_H
#define ASSERTIONS_H

#include "assertion.h"

/**
 * All assertions, in the order in which they run: one group for each interface of the host, then
 * load, then what is looked at once everything was put back.
 */
namespace Assertions {

AssertionGroup OfServer();
AssertionGroup OfMethods();
AssertionGroup OfAssetModel();
AssertionGroup OfJobModel();
AssertionGroup OfWorkOrderStore();
AssertionGroup OfSyncFilesModel();
AssertionGroup OfTechnician();
AssertionGroup OfFileManagerModel();
AssertionGroup OfStoredFiles();
AssertionGroup OfUploads();
AssertionGroup OfStorageModel();
AssertionGroup OfLoad();

/** Runs after the device was put back. */
AssertionGroup OfTheEnd();
AssertionGroup OfDescription();

} // namespace Assertions

#endif
