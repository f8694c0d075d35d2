#pragma once

#include "VXError.h"
#include "VXObjectStoreExport.h"

/** The domain of errors made by stores and contexts. */
VX_STORE_EXPORT extern const QString VXCocoaErrorDomain;

/** Codes of VXCocoaErrorDomain. */
enum class VXObjectStoreErrorCode {
    FileRead = 256,
    FileCorrupt = 259,
    FileWrite = 512,
    FileOutOfSpace = 640,
    Validation = 1550,               // of a value or an object
    MultipleValidation = 1560,       // "VXDetailedErrors": the errors, each about one object
    MissingMandatoryProperty = 1570, // also for a to-one relationship
    RelationshipDeniedDelete = 1600,
    InvalidStore = 134000, // no longer attached, or closed
    SavedInPart = 134001,  // of several stores some were saved: their objects have no changes any more, the others do
    SaveUnknown =
        134002, // when opened after a crash, the store may have the save or not; saving again makes it certain
    IncompatibleStoreType = 134010,
    StoreTimedOut = 134070,          // another process had it locked for too long
    StoreIncompatibleModel = 134100, // made with a different model
    MergeConflict = 133020,          // "conflictList": see VXConflictListKey
    ReferentialIntegrity = 133000,   // a reference to an object that no longer exists
};

/**
 * In the user info of a merge conflict, a list of dictionaries, each with "object" (the VXManagedObject), "snapshot"
 * (the values the context last read, by property name, with the IDs of to-many relationships that were read) and
 * "cachedRow" (the same for the stored values; invalid when the object no longer exists).
 */
VX_STORE_EXPORT extern const QString VXConflictListKey;     // "conflictList"
VX_STORE_EXPORT extern const QString VXDetailedErrorsKey;   // "VXDetailedErrors": list of VXError
VX_STORE_EXPORT extern const QString VXValidationObjectKey; // "VXValidationErrorObject": the object
VX_STORE_EXPORT extern const QString VXValidationKeyKey;    // "VXValidationErrorKey": the property's name

VX_STORE_EXPORT VXError VXObjectStoreError(VXObjectStoreErrorCode code, const QString &description,
                                           const QString &reason = {}, const QString &path = {});
