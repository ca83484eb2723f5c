// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/ErrorKind.hpp>
#include <opc/errors/Errors.hpp>

#include <new>
#include <system_error>

namespace opc {

namespace {

// Every class of the family, each by the name that its kind has too.
#define OPCRAFT_FOR_EACH_CLASS(DO)                                                                                     \
    DO(InvalidURI)                                                                                                     \
    DO(InvalidPartName)                                                                                                \
    DO(InvalidContentType)                                                                                             \
    DO(InvalidContentTypeParameter)                                                                                    \
    DO(ContentTypeParameterNotFound)                                                                                   \
    DO(ContentTypeNotFound)                                                                                            \
    DO(InvalidContentTypeStream)                                                                                       \
    DO(PartNotFound)                                                                                                   \
    DO(PartAlreadyExists)                                                                                              \
    DO(PartIsDerivedFromExistingPartName)                                                                              \
    DO(PartHasRelationshipName)                                                                                        \
    DO(PartCreateFailed)                                                                                               \
    DO(PartDeleteFailed)                                                                                               \
    DO(InconsistentPackage)                                                                                            \
    DO(InvalidCorePropertiesRelationships)                                                                             \
    DO(PackageReadOnly)                                                                                                \
    DO(PackageCreateOnly)                                                                                              \
    DO(PackageNotOpen)                                                                                                 \
    DO(PackageAlreadyOpen)                                                                                             \
    DO(PackageNotFound)                                                                                                \
    DO(PackagePermissionDenied)                                                                                        \
    DO(PackageOpenFailed)                                                                                              \
    DO(PackageCloseFailed)                                                                                             \
    DO(InvalidPartStream)                                                                                              \
    DO(InvalidObject)                                                                                                  \
    DO(RelationshipNotFound)                                                                                           \
    DO(RelationshipAlreadyExists)                                                                                      \
    DO(InvalidRelationshipID)                                                                                          \
    DO(InvalidRelationshipType)                                                                                        \
    DO(InvalidRelationshipTarget)                                                                                      \
    DO(InvalidRelationshipContent)                                                                                     \
    DO(InvalidXMLDocument)                                                                                             \
    DO(InvalidXMLSchema)                                                                                               \
    DO(InvalidPartContent)                                                                                             \
    DO(UnsupportedResolve)                                                                                             \
    DO(UnsupportedRelativize)                                                                                          \
    DO(CouldNotGenerateSignature)                                                                                      \
    DO(CouldNotRemoveSignature)                                                                                        \
    DO(SignatureNotFound)                                                                                              \
    DO(InvalidSignature)                                                                                               \
    DO(NotImplemented)

// The kinds of codes.
#define OPCRAFT_FOR_EACH_CODE(DO)                                                                                      \
    DO(OutOfMemory, not_enough_memory)                                                                                 \
    DO(InvalidArgument, invalid_argument)                                                                              \
    DO(Cancelled, operation_canceled)                                                                                  \
    DO(LimitExceeded, file_too_large)                                                                                  \
    DO(StoreInUse, device_or_resource_busy)                                                                            \
    DO(DamagedStore, bad_message)                                                                                      \
    DO(NotSupported, not_supported)                                                                                    \
    DO(NotFound, no_such_file_or_directory)                                                                            \
    DO(PermissionDenied, permission_denied)                                                                            \
    DO(AlreadyExists, file_exists)                                                                                     \
    DO(NotPermitted, operation_not_permitted)

ErrorKind kindOfClass(const Exception& error) noexcept {
#define OPCRAFT_IS(Name)                                                                                               \
    if (dynamic_cast<const model::Name*>(&error) != nullptr)                                                           \
        return ErrorKind::Name;
    OPCRAFT_FOR_EACH_CLASS(OPCRAFT_IS)
#undef OPCRAFT_IS
    return ErrorKind::Other;
}

/// @param code of Boost.System or of the standard library, with its generic conditions.
template <class Condition, class Code>
ErrorKind kindOfCode(const Code& code) noexcept {
#define OPCRAFT_IS(Name, condition)                                                                                    \
    if (code == Condition::condition)                                                                                  \
        return ErrorKind::Name;
    OPCRAFT_FOR_EACH_CODE(OPCRAFT_IS)
#undef OPCRAFT_IS
    return ErrorKind::SystemError;
}

} // namespace

ErrorKind errorKind(const Exception& error) noexcept {
    const ErrorKind kind = kindOfClass(error);
    if (!error.code())
        return kind;
    const ErrorKind reason = kindOfCode<boost::system::errc::errc_t>(error.code());
    return reason == ErrorKind::SystemError && kind != ErrorKind::Other ? kind : reason;
}

ErrorKind errorKind(const std::exception& error) noexcept {
    if (const auto* ours = dynamic_cast<const Exception*>(&error))
        return errorKind(*ours);
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr)
        return ErrorKind::OutOfMemory;
    if (const auto* system = dynamic_cast<const std::system_error*>(&error))
        return kindOfCode<std::errc>(system->code());
    return ErrorKind::Other;
}

const char* toString(ErrorKind kind) noexcept {
    switch (kind) {
#define OPCRAFT_CASE(Name, ...)                                                                                        \
    case ErrorKind::Name:                                                                                              \
        return #Name;
        OPCRAFT_FOR_EACH_CODE(OPCRAFT_CASE)
        OPCRAFT_FOR_EACH_CLASS(OPCRAFT_CASE)
        OPCRAFT_CASE(SystemError)
        OPCRAFT_CASE(Other)
#undef OPCRAFT_CASE
    }
    return "Other";
}

} // namespace opc
