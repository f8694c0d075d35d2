#pragma once

/** What a save does with objects that were changed in the store since the context read them. */
enum class VXMergePolicy {
    Error,                       // fails and lists them
    MergeByPropertyObjectTrumps, // changes of both are kept; where both changed a property, the context's
    MergeByPropertyStoreTrumps,  // the same, with the store's
    Overwrite,                   // the context's whole object is saved
    Rollback,                    // the context's changes to these objects are dropped
};
