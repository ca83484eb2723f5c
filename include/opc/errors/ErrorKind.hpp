// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstdint>
#include <exception>

namespace opc {

class Exception;

/// What an error is about, for programs that decide by it. Values are never changed; new ones come at the end.
enum class ErrorKind : std::int32_t {
    Other = 0, ///< nothing of what follows
    // By the code, see `errorKind`
    OutOfMemory = 1,
    InvalidArgument = 2,  ///< a value that the function does not take
    Cancelled = 3,        ///< the caller ended the work
    LimitExceeded = 4,    ///< the package costs more than `Limits` allow, or a file is too large for the system
    StoreInUse = 5,       ///< another program changes the file, or changed it since it was opened
    DamagedStore = 6,     ///< no ZIP file, or one with damaged or ambiguous content
    NotSupported = 7,     ///< an encrypted item, an unknown compression method, or something that the store cannot do
    NotFound = 8,         ///< a file or stored item is not there
    PermissionDenied = 9, ///< the system refuses access
    AlreadyExists = 10,   ///< a file or stored item is there already
    NotPermitted = 11,    ///< the way in which the store is open excludes it
    SystemError = 12,     ///< another failure of the system; the code of the error says which
    // The classes of `opc::model` (opc/errors/Errors.hpp), which say what each one means
    InvalidURI = 20,
    InvalidPartName = 21,
    InvalidContentType = 22,
    InvalidContentTypeParameter = 23,
    ContentTypeParameterNotFound = 24,
    ContentTypeNotFound = 25,
    InvalidContentTypeStream = 26,
    PartNotFound = 27,
    PartAlreadyExists = 28,
    PartIsDerivedFromExistingPartName = 29,
    PartHasRelationshipName = 30,
    PartCreateFailed = 31,
    PartDeleteFailed = 32,
    InconsistentPackage = 33,
    InvalidCorePropertiesRelationships = 34,
    PackageReadOnly = 35,
    PackageCreateOnly = 36,
    PackageNotOpen = 37,
    PackageAlreadyOpen = 38,
    PackageNotFound = 39,
    PackagePermissionDenied = 40,
    PackageOpenFailed = 41,
    PackageCloseFailed = 42,
    InvalidPartStream = 43,
    InvalidObject = 44,
    RelationshipNotFound = 45,
    RelationshipAlreadyExists = 46,
    InvalidRelationshipID = 47,
    InvalidRelationshipType = 48,
    InvalidRelationshipTarget = 49,
    InvalidRelationshipContent = 50,
    InvalidXMLDocument = 51,
    InvalidXMLSchema = 52,
    InvalidPartContent = 53,
    UnsupportedResolve = 54,
    UnsupportedRelativize = 55,
    CouldNotGenerateSignature = 56,
    CouldNotRemoveSignature = 57,
    SignatureNotFound = 58,
    InvalidSignature = 59,
    NotImplemented = 60,
};

/// The kind of an error: its class, if it is one of `opc::model`. Where a code says more, which is so for the base
/// class, `PackageOpenFailed` and `PackageCloseFailed`, the kind is that of the code, if it has one. May be called from
/// any thread.
OPCRAFT_API ErrorKind errorKind(const Exception& error) noexcept;

/// The same for any exception that the libraries throw or let through, `std::bad_alloc` and `std::system_error` among
/// them.
OPCRAFT_API ErrorKind errorKind(const std::exception& error) noexcept;

/// The name of the enumerator, "InvalidPartName"; "Other" for a value that is none.
OPCRAFT_API const char* toString(ErrorKind kind) noexcept;

} // namespace opc
