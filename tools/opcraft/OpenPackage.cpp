// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/Queue.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <filesystem>
#include <system_error>
#include <utility>

namespace opcraft {

namespace {

using opc::interfaces::OpenMode;
using opc::storage::ZipItem;
using opc::storage::ZipItemKind;

constexpr const char* contentTypesName = "[Content_Types].xml";

std::set<std::u16string> partKeysOf(const opc::storage::ZipPackage& zip) {
    std::set<std::u16string> keys;
    for (const ZipItem& item : zip.getItems())
        if (item.kind == ZipItemKind::Part)
            keys.insert(opc::toLowerASCIIString(item.partName));
    return keys;
}

/// The first relationships part that belongs to no part; empty when there is none.
std::string findOrphan(opc::storage::ZipPackage& zip) {
    zip.open(OpenMode::ReadOnly);
    std::vector<std::u16string> relationshipsParts;
    std::set<std::u16string> expected{opc::model::PartName::PACKAGE_RELATIONSHIPS_ROOT_NAME};
    for (const ZipItem& item : zip.getItems()) {
        if (item.kind != ZipItemKind::Part)
            continue;
        if (opc::detail::isRelationshipsPartName(item.partName))
            relationshipsParts.push_back(item.partName);
        else
            expected.insert(
                opc::toLowerASCIIString(opc::model::PartName(item.partName, true).getRelationshipPartName()));
    }
    zip.close(true);
    for (const std::u16string& name : relationshipsParts)
        if (expected.count(opc::toLowerASCIIString(name)) == 0)
            return toUtf8(name);
    return {};
}

/// The library says "In /a/_rels/b.xml.rels: reason".
Failure relationshipsFailure(const opc::Exception& error, const std::string& file) {
    const std::string message = error.what();
    const std::string start = "In ";
    const std::size_t colon = message.find(": ");
    if (message.compare(0, start.size(), start) != 0 || colon == std::string::npos)
        return toFailure(error, file, "");
    return {ExitCode::NotProcessed, file, message.substr(start.size(), colon - start.size()),
            message.substr(colon + 2)};
}

/// The library says "No content type was found for part:/a/b.xml".
Failure contentTypeFailure(const opc::Exception& error, const std::string& file) {
    const std::string message = error.what();
    const std::size_t slash = message.find(":/");
    return toFailure(error, file, slash == std::string::npos ? contentTypesName : message.substr(slash + 1));
}

/// What went wrong while opening, told by the class of the error that is in flight.
/// @throws UnreadableSignatures, FileInUse when it is that.
Failure openFailure(const ZipInput& input) {
    const std::string& file = input.getName();
    try {
        throw;
    } catch (const opc::model::InvalidXMLDocument& e) {
        return toFailure(e, file, contentTypesName);
    } catch (const opc::model::InvalidContentTypeStream& e) {
        return toFailure(e, file, contentTypesName);
    } catch (const opc::model::InvalidContentType& e) {
        return toFailure(e, file, contentTypesName);
    } catch (const opc::model::ContentTypeNotFound& e) {
        return contentTypeFailure(e, file);
    } catch (const opc::model::InvalidRelationshipContent& e) {
        return relationshipsFailure(e, file);
    } catch (const opc::model::InvalidCorePropertiesRelationships& e) {
        return toFailure(e, file, "/_rels/.rels");
    } catch (const opc::model::InvalidSignature& e) {
        throw UnreadableSignatures(ExitCode::NotProcessed, file, "",
                                   std::string("a signature cannot be read: ") + e.what());
    } catch (const opc::model::InconsistentPackage&) {
        return {ExitCode::NotProcessed, file, findOrphan(input.getZip()),
                "holds the relationships of a part that is not in the package"};
    } catch (const opc::Exception& e) {
        throwIfInUse(e, file);
        return toFailure(e, file, "");
    }
}

Failure missingPart(const ZipInput& input, const opc::model::PartName& name) {
    const std::string text = toUtf8(name.toString());
    const char* reason = "no such part; 'opcraft list' shows the parts of a package";
    if (name.isRelationshipName())
        reason = "this names a relationships part; use 'opcraft rels', 'relate' and 'unrelate'";
    else if (!findItems(input.getZip().getItems(), text).empty())
        reason = "this item of the ZIP file is no part";
    return {ExitCode::NotProcessed, input.getName(), text, reason};
}

} // namespace

ZipInput::ZipInput(const InputOptions& options, bool inMemory) : name_(options.file) {
    if (name_.empty())
        throw wrongArgument(name_, "this names no file");
    options_.limits = options.limits;
    options_.consistent = options.consistent;
    options_.lockTimeout = options.lockTimeout;
    if (inMemory || isStream(name_)) {
        bytes_ = FileInput(name_).readAll();
        zip_ = std::make_unique<opc::storage::ZipPackage>(bytes_, options_);
    } else {
        zip_ = std::make_unique<opc::storage::ZipPackage>(std::filesystem::path(name_), options_);
    }
}

std::unique_ptr<opc::storage::ZipPackage> ZipInput::lookAgain(const std::string& file) {
    if (file.empty() && !bytes_.empty())
        return std::make_unique<opc::storage::ZipPackage>(bytes_, options_);
    return std::make_unique<opc::storage::ZipPackage>(std::filesystem::path(file.empty() ? name_ : file), options_);
}

std::uint64_t ZipInput::getSize() const {
    std::error_code ignored;
    return bytes_.empty() ? std::filesystem::file_size(name_, ignored) : bytes_.size();
}

OpenPackage::OpenPackage(const InputOptions& options) : OpenPackage(options, "", OpenMode::ReadOnly) {}

OpenPackage::OpenPackage(const InputOptions& options, const std::string& output)
    : OpenPackage(options, output, OpenMode::ReadWrite) {}

OpenPackage::OpenPackage(const InputOptions& options, const std::string& output, OpenMode mode)
    : input_(options, output == "-"), model_(input_.getZip(), options.limits) {
    try {
        if (options.signatures)
            signatures_ = std::make_unique<opc::model::DigitalSignatureManager>(model_);
        if (!output.empty() && output != "-")
            input_.getZip().setOutput(output);
        model_.open(mode);
    } catch (const opc::Exception&) {
        throw openFailure(input_);
    }
}

OpenPackage::~OpenPackage() = default;

opc::model::Part OpenPackage::getPart(const opc::model::PartName& name) const {
    if (!model_.hasPart(name))
        throw missingPart(input_, name);
    return model_.getPart(name);
}

std::set<std::u16string> OpenPackage::getPartKeys() const {
    return partKeysOf(input_.getZip());
}

} // namespace opcraft
