// SPDX-License-Identifier: Apache-2.0
#include "c/Guard.hpp"
#include "c/Results.hpp"

#include <opc/errors/ErrorKind.hpp>

#include <system_error>

namespace opc::c {

namespace {

// C programs know kinds by these values.
#define OPCRAFT_SAME(Name, NAME) static_assert(static_cast<int>(ErrorKind::Name) == OPCRAFT_ERROR_##NAME)
OPCRAFT_SAME(Other, OTHER);
OPCRAFT_SAME(OutOfMemory, OUT_OF_MEMORY);
OPCRAFT_SAME(InvalidArgument, INVALID_ARGUMENT);
OPCRAFT_SAME(Cancelled, CANCELLED);
OPCRAFT_SAME(LimitExceeded, LIMIT_EXCEEDED);
OPCRAFT_SAME(StoreInUse, STORE_IN_USE);
OPCRAFT_SAME(DamagedStore, DAMAGED_STORE);
OPCRAFT_SAME(NotSupported, NOT_SUPPORTED);
OPCRAFT_SAME(NotFound, NOT_FOUND);
OPCRAFT_SAME(PermissionDenied, PERMISSION_DENIED);
OPCRAFT_SAME(AlreadyExists, ALREADY_EXISTS);
OPCRAFT_SAME(NotPermitted, NOT_PERMITTED);
OPCRAFT_SAME(SystemError, SYSTEM_ERROR);
OPCRAFT_SAME(InvalidURI, INVALID_URI);
OPCRAFT_SAME(InvalidPartName, INVALID_PART_NAME);
OPCRAFT_SAME(InvalidContentType, INVALID_CONTENT_TYPE);
OPCRAFT_SAME(InvalidContentTypeParameter, INVALID_CONTENT_TYPE_PARAMETER);
OPCRAFT_SAME(ContentTypeParameterNotFound, CONTENT_TYPE_PARAMETER_NOT_FOUND);
OPCRAFT_SAME(ContentTypeNotFound, CONTENT_TYPE_NOT_FOUND);
OPCRAFT_SAME(InvalidContentTypeStream, INVALID_CONTENT_TYPE_STREAM);
OPCRAFT_SAME(PartNotFound, PART_NOT_FOUND);
OPCRAFT_SAME(PartAlreadyExists, PART_ALREADY_EXISTS);
OPCRAFT_SAME(PartIsDerivedFromExistingPartName, PART_IS_DERIVED_FROM_EXISTING_PART_NAME);
OPCRAFT_SAME(PartHasRelationshipName, PART_HAS_RELATIONSHIP_NAME);
OPCRAFT_SAME(PartCreateFailed, PART_CREATE_FAILED);
OPCRAFT_SAME(PartDeleteFailed, PART_DELETE_FAILED);
OPCRAFT_SAME(InconsistentPackage, INCONSISTENT_PACKAGE);
OPCRAFT_SAME(InvalidCorePropertiesRelationships, INVALID_CORE_PROPERTIES_RELATIONSHIPS);
OPCRAFT_SAME(PackageReadOnly, PACKAGE_READ_ONLY);
OPCRAFT_SAME(PackageCreateOnly, PACKAGE_CREATE_ONLY);
OPCRAFT_SAME(PackageNotOpen, PACKAGE_NOT_OPEN);
OPCRAFT_SAME(PackageAlreadyOpen, PACKAGE_ALREADY_OPEN);
OPCRAFT_SAME(PackageNotFound, PACKAGE_NOT_FOUND);
OPCRAFT_SAME(PackagePermissionDenied, PACKAGE_PERMISSION_DENIED);
OPCRAFT_SAME(PackageOpenFailed, PACKAGE_OPEN_FAILED);
OPCRAFT_SAME(PackageCloseFailed, PACKAGE_CLOSE_FAILED);
OPCRAFT_SAME(InvalidPartStream, INVALID_PART_STREAM);
OPCRAFT_SAME(InvalidObject, INVALID_OBJECT);
OPCRAFT_SAME(RelationshipNotFound, RELATIONSHIP_NOT_FOUND);
OPCRAFT_SAME(RelationshipAlreadyExists, RELATIONSHIP_ALREADY_EXISTS);
OPCRAFT_SAME(InvalidRelationshipID, INVALID_RELATIONSHIP_ID);
OPCRAFT_SAME(InvalidRelationshipType, INVALID_RELATIONSHIP_TYPE);
OPCRAFT_SAME(InvalidRelationshipTarget, INVALID_RELATIONSHIP_TARGET);
OPCRAFT_SAME(InvalidRelationshipContent, INVALID_RELATIONSHIP_CONTENT);
OPCRAFT_SAME(InvalidXMLDocument, INVALID_XML_DOCUMENT);
OPCRAFT_SAME(InvalidXMLSchema, INVALID_XML_SCHEMA);
OPCRAFT_SAME(InvalidPartContent, INVALID_PART_CONTENT);
OPCRAFT_SAME(UnsupportedResolve, UNSUPPORTED_RESOLVE);
OPCRAFT_SAME(UnsupportedRelativize, UNSUPPORTED_RELATIVIZE);
OPCRAFT_SAME(CouldNotGenerateSignature, COULD_NOT_GENERATE_SIGNATURE);
OPCRAFT_SAME(CouldNotRemoveSignature, COULD_NOT_REMOVE_SIGNATURE);
OPCRAFT_SAME(SignatureNotFound, SIGNATURE_NOT_FOUND);
OPCRAFT_SAME(InvalidSignature, INVALID_SIGNATURE);
OPCRAFT_SAME(NotImplemented, NOT_IMPLEMENTED);
#undef OPCRAFT_SAME

/// For want of memory there is none for an error either.
opcraft_error& outOfMemory() noexcept {
    static opcraft_error error = [] {
        opcraft_error made{};
        made.size = sizeof made;
        made.kind = OPCRAFT_ERROR_OUT_OF_MEMORY;
        made.message = "out of memory";
        return made;
    }();
    return error;
}

template <class Code>
int toErrno(const Code& code) noexcept {
    return code.default_error_condition().category() == boost::system::generic_category()
               ? code.default_error_condition().value()
               : 0;
}

void fillPlace(opcraft_error& error, Pool& pool, const ErrorPlace& place) {
    error.item = pool.keepOrNull(place.item);
    error.line = place.line;
    error.column = place.column;
    error.element = pool.keepOrNull(place.element);
    error.attribute = pool.keepOrNull(place.attribute);
    error.value = pool.keepOrNull(place.value);
    error.id = pool.keepOrNull(place.id);
}

opcraft_error* makeError(const std::exception& exception) {
    auto error = makeResult<opcraft_error>();
    error->kind = static_cast<opcraft_error_kind>(errorKind(exception));
    error->message = error->pool.keep(std::string_view(exception.what()));
    if (const auto* ours = dynamic_cast<const Exception*>(&exception)) {
        error->system_error = toErrno(ours->code());
        if (const auto place = ours->getPlace())
            fillPlace(*error, error->pool, *place);
    } else if (const auto* system = dynamic_cast<const std::system_error*>(&exception)) {
        error->system_error = system->code().default_error_condition().value();
    }
    return error.release();
}

/// An error of the exception that is being handled.
opcraft_error* makeError() {
    try {
        throw;
    } catch (const std::exception& exception) {
        return makeError(exception);
    } catch (const CallbackFailure& failure) {
        try {
            std::rethrow_exception(failure.cause);
        } catch (const std::exception& exception) {
            opcraft_error* error = makeError(exception);
            error->system_error = error->system_error != 0 ? error->system_error : failure.value;
            return error;
        }
    } catch (...) { // of a callback, since the library throws nothing else
        return makeError(std::runtime_error("an exception that is not of the standard library"));
    }
}

} // namespace

void throwInvalidArgument(const std::string& message) {
    throw Exception(message, boost::system::errc::make_error_code(boost::system::errc::invalid_argument));
}

void throwIfFailed(int value, const std::string& message) {
    if (value != 0)
        throw Exception(message + ": " + std::generic_category().message(value),
                        boost::system::error_code(value, boost::system::generic_category()));
}

void storeError(opcraft_error** error) noexcept {
    if (error == nullptr)
        return;
    try {
        *error = makeError();
    } catch (...) {
        *error = &outOfMemory();
    }
}

} // namespace opc::c

using namespace opc;
using namespace opc::c;

const char* opcraft_version(void) {
    return OPCRAFT_VERSION;
}

void opcraft_error_free(opcraft_error* error) {
    if (error != &outOfMemory())
        freeResult(error);
}

const char* opcraft_error_kind_name(opcraft_error_kind kind) {
    return toString(static_cast<ErrorKind>(kind));
}

void opcraft_text_free(char* text) {
    delete[] text;
}
