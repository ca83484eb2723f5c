// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>

#include <string>

/// The errors of the package model, a flat family: each class derives directly from `opc::Exception` and says what
/// went wrong; the message says where. Every code has the value 0 but those of `PackageOpenFailed` and
/// `PackageCloseFailed`, which carry the code of the physical package. Messages are UTF-8 English text.
namespace opc::model {

// The two shapes of a member of the family; what each one means stands above its name below.
#define OPCRAFT_ERROR(Name)                                                                                            \
    class OPCRAFT_API Name : public Exception {                                                                        \
    public:                                                                                                            \
        explicit Name(const std::string& message);                                                                     \
        ~Name() override;                                                                                              \
    };
#define OPCRAFT_ERROR_WITH_CODE(Name)                                                                                  \
    class OPCRAFT_API Name : public Exception {                                                                        \
    public:                                                                                                            \
        Name(const std::string& message, const boost::system::error_code& code);                                       \
        ~Name() override;                                                                                              \
    };

/// A text is no URI reference (RFC 3986 §4.1), or a relationship target cannot be made one.
OPCRAFT_ERROR(InvalidURI)
/// A URI breaks a part-name rule (ECMA-376-2 §6.2.2), or no relationships part name can be derived from it.
OPCRAFT_ERROR(InvalidPartName)
/// A text is not a media type.
OPCRAFT_ERROR(InvalidContentType)
/// A parameter name or value cannot stand in a media type.
OPCRAFT_ERROR(InvalidContentTypeParameter)
/// A media type has no such parameter.
OPCRAFT_ERROR(ContentTypeParameterNotFound)
/// Neither an Override nor a Default gives a part its content type.
OPCRAFT_ERROR(ContentTypeNotFound)
/// The content types stream is malformed (ECMA-376-2 §7.2.3).
OPCRAFT_ERROR(InvalidContentTypeStream)
/// The package has no part of that name.
OPCRAFT_ERROR(PartNotFound)
/// A part of an equivalent name exists (ECMA-376-2 §6.2.2).
OPCRAFT_ERROR(PartAlreadyExists)
/// A part name contains, or extends, the name of another part as a path (ECMA-376-2 §6.2.2).
OPCRAFT_ERROR(PartIsDerivedFromExistingPartName)
/// A regular part was given the name of a relationships part.
OPCRAFT_ERROR(PartHasRelationshipName)
/// The physical package did not create a part.
OPCRAFT_ERROR(PartCreateFailed)
/// The physical package did not delete a part, or the names of the package are inconsistent.
OPCRAFT_ERROR(PartDeleteFailed)
/// Relationships parts were left without a source after opening.
OPCRAFT_ERROR(InconsistentPackage)
/// A package has, or would get, more than one core properties relationship (ECMA-376-2 §8).
OPCRAFT_ERROR(InvalidCorePropertiesRelationships)
/// A change was asked of a package that is open for reading.
OPCRAFT_ERROR(PackageReadOnly)
/// Reading or deleting was asked of a package that is open for creation.
OPCRAFT_ERROR(PackageCreateOnly)
/// An operation needs an open package.
OPCRAFT_ERROR(PackageNotOpen)
/// An operation needs a closed package.
OPCRAFT_ERROR(PackageAlreadyOpen)
/// There is nothing to open: the physical package reports a missing file (ENOENT).
OPCRAFT_ERROR(PackageNotFound)
/// The physical package was refused permission while closing (EACCES).
OPCRAFT_ERROR(PackagePermissionDenied)
/// Any other physical failure while opening; carries its code.
OPCRAFT_ERROR_WITH_CODE(PackageOpenFailed)
/// Any other physical failure while closing; carries its code.
OPCRAFT_ERROR_WITH_CODE(PackageCloseFailed)
/// The physical package did not give a part's stream.
OPCRAFT_ERROR(InvalidPartStream)
/// A part or relationship source was used after its package was closed or the part deleted.
OPCRAFT_ERROR(InvalidObject)
/// A relationship does not exist.
OPCRAFT_ERROR(RelationshipNotFound)
/// A relationship ID is in use.
OPCRAFT_ERROR(RelationshipAlreadyExists)
/// A relationship ID is not an xsd:ID.
OPCRAFT_ERROR(InvalidRelationshipID)
/// A relationship type is empty or no xsd:anyURI.
OPCRAFT_ERROR(InvalidRelationshipType)
/// A relationship cannot have that target (ECMA-376-2 §6.5).
OPCRAFT_ERROR(InvalidRelationshipTarget)
/// A relationships part is malformed, or would outgrow the limits for XML (ECMA-376-2 §6.5.2).
OPCRAFT_ERROR(InvalidRelationshipContent)
/// XML is malformed, invalid against its schema, carries a DTD, or is neither UTF-8 nor UTF-16.
OPCRAFT_ERROR(InvalidXMLDocument)
/// An embedded schema did not load.
OPCRAFT_ERROR(InvalidXMLSchema)
/// Well-formed content breaks the rules of its part.
OPCRAFT_ERROR(InvalidPartContent)
/// A URI that is not hierarchical cannot be resolved.
OPCRAFT_ERROR(UnsupportedResolve)
/// Two URIs do not qualify for a relative reference.
OPCRAFT_ERROR(UnsupportedRelativize)
/// Signing or countersigning failed.
OPCRAFT_ERROR(CouldNotGenerateSignature)
/// Removing a signature failed half-way.
OPCRAFT_ERROR(CouldNotRemoveSignature)
/// A name or part denotes no signature.
OPCRAFT_ERROR(SignatureNotFound)
/// A signature is inconsistent with its package.
OPCRAFT_ERROR(InvalidSignature)
/// A legal feature that the library does not support was met.
OPCRAFT_ERROR(NotImplemented)

#undef OPCRAFT_ERROR
#undef OPCRAFT_ERROR_WITH_CODE

} // namespace opc::model
