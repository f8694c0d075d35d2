#pragma once

/** What a save does with objects that were changed in the store since the context read them. */
enum class VXMergePolicy {
    Error,                       // the save fails, and lists them
    MergeByPropertyObjectTrumps, // both changes are kept; where both changed a property, the context's wins
    MergeByPropertyStoreTrumps,  // the same, but the store's wins
    Overwrite,                   // the whole object is saved as it is in the context
    Rollback,                    // the context's changes to these objects are dropped
};
