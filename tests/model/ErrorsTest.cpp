// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>

#include <gtest/gtest.h>

#include <type_traits>

namespace opc::model {
namespace {

/// Each class derives from `opc::Exception` alone: no group of them can be caught but all.
template <class... Errors>
struct Family {
    template <class Error>
    static constexpr bool
        isDirect = std::is_base_of_v<Exception, Error> &&
                   (0 + ... + std::is_base_of_v<Errors, Error>) == 1 && std::is_nothrow_copy_constructible_v<Error>;
    static constexpr bool isFlat = (isDirect<Errors> && ...);

    template <class Error>
    static bool carriesNoCode() {
        if constexpr (std::is_constructible_v<Error, std::string>) {
            const Error error("text");
            return std::string(error.what()) == "text" && error.code().value() == 0;
        } else {
            const auto code = make_error_code(boost::system::errc::io_error);
            const Error error("text", code);
            return std::string(error.what()) == "text" && error.code() == code;
        }
    }
    static bool carryTheirCodes() { return (carriesNoCode<Errors>() && ...); }
    static constexpr std::size_t count = sizeof...(Errors);
};

using AllErrors =
    Family<InvalidURI, InvalidPartName, InvalidContentType, InvalidContentTypeParameter, ContentTypeParameterNotFound,
           ContentTypeNotFound, InvalidContentTypeStream, PartNotFound, PartAlreadyExists,
           PartIsDerivedFromExistingPartName, PartHasRelationshipName, PartCreateFailed, PartDeleteFailed,
           InconsistentPackage, InvalidCorePropertiesRelationships, PackageReadOnly, PackageCreateOnly, PackageNotOpen,
           PackageAlreadyOpen, PackageNotFound, PackagePermissionDenied, PackageOpenFailed, PackageCloseFailed,
           InvalidPartStream, InvalidObject, RelationshipNotFound, RelationshipAlreadyExists, InvalidRelationshipID,
           InvalidRelationshipType, InvalidRelationshipTarget, InvalidRelationshipContent, InvalidXMLDocument,
           InvalidXMLSchema, InvalidPartContent, UnsupportedResolve, UnsupportedRelativize, CouldNotGenerateSignature,
           CouldNotRemoveSignature, SignatureNotFound, InvalidSignature, NotImplemented>;

TEST(Errors, AreAFlatFamilyOfWhichTwoCarryACode) {
    static_assert(AllErrors::isFlat && AllErrors::count == 41);
    static_assert(!std::is_constructible_v<PackageOpenFailed, std::string>);
    static_assert(!std::is_constructible_v<PackageCloseFailed, std::string>);
    EXPECT_TRUE(AllErrors::carryTheirCodes());
}

} // namespace
} // namespace opc::model
