// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"

#include "opcraft/Names.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/storage/directory/DirectoryPackage.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

namespace opcraft {

namespace {

using opc::interfaces::OpenMode;
using opc::model::SignatureForm;

/// The error that is being handled, as a failure to open.
/// @throws UnreadableSignatures, FileInUse instead, when the error is one of these.
Failure openFailure(PackageInput& input, const InputOptions& options) {
    const std::string& file = input.getName();
    try {
        throw;
    } catch (const opc::model::InvalidCorePropertiesRelationships& e) {
        return toFailure(e, file, "/_rels/.rels");
    } catch (const opc::model::InvalidSignature& e) {
        throw UnreadableSignatures(e, file);
    } catch (const opc::Exception& e) {
        if (options.lockTimeout)
            throwIfInUse(e, file);
        return openFailure(input, options, e);
    }
}

Failure missingPart(const OpenPackage& package, const opc::model::PartName& name) {
    const auto items = package.getItems();
    const std::string text = toUtf8(name.toString());
    std::string reason;
    if (name.isRelationshipName())
        reason = "a relationships part; 'opcraft rels', 'relate' and 'unrelate' take the name of its source: " +
                 toUtf8(opc::detail::getSourcePartName(name.toString()));
    else if (const auto found = findItems(items, text); !found.empty())
        reason = items[found.front()].kind == opc::storage::ZipItemKind::ContentTypes
                     ? "the content types stream, which is not a part"
                     : std::string("this item of the ") + package.getInput().getKind() +
                           " is not a part: " + items[found.front()].reason;
    else
        reason = "no such part" + suggestItem(items, text);
    return {ExitCode::NotProcessed, package.getName(), text, reason};
}

} // namespace

FileInUse::FileInUse(const std::string& file)
    : Failure(ExitCode::NotProcessed, file, "",
              "another process is changing the file; --wait SECONDS waits longer for it") {}

void throwIfInUse(const opc::Exception& error, const std::string& file) {
    if (error.code() == boost::system::errc::device_or_resource_busy)
        throw FileInUse(file);
}

std::unique_ptr<opc::model::DigitalSignatureManager> makeSignatureManager(opc::model::Package& package,
                                                                          SignatureForm formToWrite) {
    return std::make_unique<opc::model::DigitalSignatureManager>(package, opc::model::getAllSignatureForms(),
                                                                 formToWrite);
}

UnreadableSignatures::UnreadableSignatures(const opc::Exception& error, const std::string& file)
    : Failure(ExitCode::NotProcessed, file, "",
              "a signature cannot be read: " + toFailure(error, "", "").getLine("", "")),
      place_(error.getPlace()) {}

PackageInput::PackageInput(const InputOptions& options, bool inMemory) : name_(options.file) {
    if (name_.empty())
        throw wrongArgument(name_, "this names no file");
    options_.limits = options.limits;
    options_.consistent = options.consistent;
    options_.take = options.take;
    options_.lockTimeout = options.lockTimeout;
    options_.threads = 0;
    options_.bytesRead = &Progress::bytesRead;
    store_ = makeStore(inMemory);
    zip_ = dynamic_cast<opc::storage::ZipPackage*>(store_.get());
}

std::unique_ptr<opc::storage::ItemPackage> PackageInput::makeStore(bool inMemory) {
    std::error_code ignored;
    const std::filesystem::path path(name_);
    if (name_ != "-" && std::filesystem::is_directory(path, ignored)) {
        const opc::storage::DirectoryOptions options{options_.limits, options_.consistent, options_.take,
                                                     options_.threads, options_.bytesRead};
        return std::make_unique<opc::storage::DirectoryPackage>(path, options);
    }
    if (!inMemory && !isStream(name_))
        return std::make_unique<opc::storage::ZipPackage>(path, options_);
    bytes_ = FileInput(name_).readAll(options_.limits.totalSize);
    return std::make_unique<opc::storage::ZipPackage>(bytes_, options_);
}

opc::storage::ZipPackage& PackageInput::getZip() const {
    if (!zip_)
        throw Failure(ExitCode::NotProcessed, name_, "", "is a folder; 'opcraft pack' makes a package of it");
    return *zip_;
}

void PackageInput::expectReading() const {
    for (const opc::storage::ZipItem& item : store_->getItems())
        Progress::expect(std::min(item.size, options_.limits.itemSize)); // no more than that is read of it
}

bool PackageInput::hasSeveralArchives() {
    if (isFolder())
        return false;
    FindingList findings;
    try {
        const auto last = reopen("", Take::Last);
        last->openTolerantly(OpenMode::ReadOnly, findings);
    } catch (const opc::Exception&) {
        return false;
    }
    const auto& all = findings.getAll();
    return std::any_of(all.begin(), all.end(),
                       [](const opc::Finding& each) { return each.rule == opc::RuleId::ZipEndRecord; });
}

std::unique_ptr<opc::storage::ZipPackage> PackageInput::reopen(const std::string& file, Take take) {
    opc::storage::ZipOptions options = options_;
    options.take = take;
    if (file.empty() && !bytes_.empty())
        return std::make_unique<opc::storage::ZipPackage>(bytes_, options);
    return std::make_unique<opc::storage::ZipPackage>(std::filesystem::path(file.empty() ? name_ : file), options);
}

std::uint64_t PackageInput::getSize() const {
    if (isFolder()) {
        std::uint64_t size = 0;
        for (const auto& item : store_->getStoredItems())
            size += item.size;
        return size;
    }
    std::error_code ignored;
    return bytes_.empty() ? std::filesystem::file_size(name_, ignored) : bytes_.size();
}

OpenPackage::OpenPackage(const InputOptions& options) : OpenPackage(options, "", OpenMode::ReadOnly) {}

OpenPackage::OpenPackage(const InputOptions& options, const std::string& output)
    : OpenPackage(options, output, OpenMode::ReadWrite) {}

OpenPackage::OpenPackage(const InputOptions& options, const std::string& output, OpenMode mode)
    : input_(options, output == "-"),
      model_(mode == OpenMode::ReadOnly ? input_.getStore() : input_.getZip(), options.limits) {
    try {
        if (options.signatures)
            signatures_ = makeSignatureManager(model_, options.formToWrite);
        if (!output.empty() && output != "-")
            input_.getZip().setOutput(output);
        if (options.tolerant)
            model_.open(mode, findings_);
        else
            model_.open(mode);
    } catch (const opc::Exception&) {
        throw openFailure(input_, options);
    }
}

OpenPackage::~OpenPackage() = default;

opc::model::Part OpenPackage::getPart(const opc::model::PartName& name) const {
    if (!model_.hasPart(name))
        throw missingPart(*this, name);
    return model_.getPart(name);
}

std::vector<opc::storage::ZipItem> OpenPackage::getItems() const {
    std::map<std::u16string, std::string> reasons;
    for (const opc::model::LeftOutPart& each : model_.getLeftOutParts())
        reasons[opc::toLowerASCIIString(each.name.toString())] = each.reason;
    auto items = input_.getStore().getItems();
    if (reasons.empty()) // as in most packages
        return items;
    for (opc::storage::ZipItem& item : items)
        if (const auto found = reasons.find(opc::toLowerASCIIString(item.partName));
            item.kind == opc::storage::ZipItemKind::Part && found != reasons.end()) {
            item.kind = opc::storage::ZipItemKind::Other;
            item.reason = found->second;
            item.partName.clear();
        }
    return items;
}

std::set<std::u16string> OpenPackage::getPartKeys() const {
    std::set<std::u16string> keys;
    for (const opc::storage::ZipItem& item : getItems())
        if (item.kind == opc::storage::ZipItemKind::Part)
            keys.insert(opc::toLowerASCIIString(item.partName));
    return keys;
}

Json makeJsonReport(const std::string& command, const std::string& file, std::size_t findings) {
    Json json = makeJsonReport(command, file);
    json["findings"] = findings;
    return json;
}

Failure openFailure(PackageInput& input, const InputOptions& options, const opc::Exception& error) {
    const Failure failure = toFailure(error, input.getName(), "");
    const bool isDamaged = error.code() == boost::system::errc::bad_message;
    if (!isDamaged || !options.tolerant || options.take != Take::Neither || !input.hasSeveralArchives())
        return failure;
    const bool isChange = options.lockTimeout.has_value();
    const char* const advice =
        isChange ? "; 'opcraft repair' keeps one of them" : "; --take first or --take last reads one of them";
    return Failure(ExitCode::NotProcessed, input.getName(), "", failure.what() + std::string(advice));
}

Failure readFailure(const opc::Exception& error, const std::string& file, const opc::model::Part& part) {
    const std::string name = toUtf8(part.getName().toString());
    return {ExitCode::NotProcessed, file, name, toFailure(error, file, name.substr(1)).what()};
}

} // namespace opcraft
