// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>

namespace opc::model {

// The classes stand here so that each has one type information for all shared libraries.
#define OPCRAFT_DEFINE(Name)                                                                                           \
    Name::Name(const std::string& message) : Exception(message) {}                                                     \
    Name::~Name() = default;
#define OPCRAFT_DEFINE_WITH_CODE(Name)                                                                                 \
    Name::Name(const std::string& message, const boost::system::error_code& code) : Exception(message, code) {}        \
    Name::~Name() = default;

OPCRAFT_DEFINE(InvalidURI)
OPCRAFT_DEFINE(InvalidPartName)
OPCRAFT_DEFINE(InvalidContentType)
OPCRAFT_DEFINE(InvalidContentTypeParameter)
OPCRAFT_DEFINE(ContentTypeParameterNotFound)
OPCRAFT_DEFINE(ContentTypeNotFound)
OPCRAFT_DEFINE(InvalidContentTypeStream)
OPCRAFT_DEFINE(PartNotFound)
OPCRAFT_DEFINE(PartAlreadyExists)
OPCRAFT_DEFINE(PartIsDerivedFromExistingPartName)
OPCRAFT_DEFINE(PartHasRelationshipName)
OPCRAFT_DEFINE(PartCreateFailed)
OPCRAFT_DEFINE(PartDeleteFailed)
OPCRAFT_DEFINE(InconsistentPackage)
OPCRAFT_DEFINE(InvalidCorePropertiesRelationships)
OPCRAFT_DEFINE(PackageReadOnly)
OPCRAFT_DEFINE(PackageCreateOnly)
OPCRAFT_DEFINE(PackageNotOpen)
OPCRAFT_DEFINE(PackageAlreadyOpen)
OPCRAFT_DEFINE(PackageNotFound)
OPCRAFT_DEFINE(PackagePermissionDenied)
OPCRAFT_DEFINE_WITH_CODE(PackageOpenFailed)
OPCRAFT_DEFINE_WITH_CODE(PackageCloseFailed)
OPCRAFT_DEFINE(InvalidPartStream)
OPCRAFT_DEFINE(InvalidObject)
OPCRAFT_DEFINE(RelationshipNotFound)
OPCRAFT_DEFINE(RelationshipAlreadyExists)
OPCRAFT_DEFINE(InvalidRelationshipID)
OPCRAFT_DEFINE(InvalidRelationshipType)
OPCRAFT_DEFINE(InvalidRelationshipTarget)
OPCRAFT_DEFINE(InvalidRelationshipContent)
OPCRAFT_DEFINE(InvalidXMLDocument)
OPCRAFT_DEFINE(InvalidXMLSchema)
OPCRAFT_DEFINE(InvalidPartContent)
OPCRAFT_DEFINE(UnsupportedResolve)
OPCRAFT_DEFINE(UnsupportedRelativize)
OPCRAFT_DEFINE(CouldNotGenerateSignature)
OPCRAFT_DEFINE(CouldNotRemoveSignature)
OPCRAFT_DEFINE(SignatureNotFound)
OPCRAFT_DEFINE(InvalidSignature)
OPCRAFT_DEFINE(NotImplemented)

} // namespace opc::model
