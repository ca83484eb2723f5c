// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/FileInput.hpp"
#include "opcraft/Findings.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/InputStream.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/model/Package.hpp>
#include <opc/storage/ItemPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace opc::model {
class DigitalSignatureManager;
}

namespace opcraft {

/// Another process is changing the file.
class FileInUse : public Failure {
public:
    explicit FileInUse(const std::string& file);
};

/// @throws FileInUse when an error of `ZipPackage::open` means that.
void throwIfInUse(const opc::Exception& error, const std::string& file);

/// Opens a file for a change in place as soon as no other process changes it. When that takes longer than a second, the
/// user is told.
/// @param open `open(std::chrono::milliseconds timeout)`, which throws FileInUse after the timeout.
template <class Open>
auto openWhenFree(const std::string& file, unsigned seconds, Console& console, Open open) {
    using std::chrono::milliseconds;
    const milliseconds all = std::chrono::seconds(seconds);
    const milliseconds quiet = std::min<milliseconds>(all, std::chrono::seconds(1));
    try {
        return open(quiet);
    } catch (const FileInUse&) {
        if (all == quiet)
            throw;
    }
    console.note(file + ": waiting for another process that is changing the file");
    return open(all - quiet);
}

/// A name on the command line and the package of that name: in a ZIP file, or for reading in a folder. A stream is held
/// in memory.
class PackageInput {
public:
    /// @param inMemory true: read the file at once, so that a save changes the bytes and not the file.
    /// @throws Failure when a stream cannot be read.
    explicit PackageInput(const InputOptions& options, bool inMemory = false);

    const std::string& getName() const noexcept { return name_; }
    opc::storage::ItemPackage& getStore() const noexcept { return *store_; }
    /// For a change.
    /// @throws Failure for a folder.
    opc::storage::ZipPackage& getZip() const;
    /// "ZIP file" or "folder".
    const char* getKind() const noexcept { return zip_ ? "ZIP file" : "folder"; }
    bool isFolder() const noexcept { return !zip_; }
    /// The whole file; empty unless it is held in memory.
    const std::vector<unsigned char>& getBytes() const noexcept { return bytes_; }
    /// Bytes of the whole file, or of all files in a folder, which is open.
    std::uint64_t getSize() const;

    /// The package is open, and its content is going to be read once, for the progress line.
    void expectReading() const;

    /// Whether the file has several archives in a row, of which `--take` takes one.
    bool hasSeveralArchives();

    /// A second package object for what is stored now in a file.
    /// @param file where it was saved; empty: where it was read from.
    /// @param take which of several archives.
    std::unique_ptr<opc::storage::ZipPackage> reopen(const std::string& file, Take take = Take::Neither);

private:
    std::unique_ptr<opc::storage::ItemPackage> makeStore(bool inMemory);

    opc::storage::ZipOptions options_;
    std::string name_;
    std::vector<unsigned char> bytes_;
    std::unique_ptr<opc::storage::ItemPackage> store_;
    opc::storage::ZipPackage* zip_; ///< the store; null for a folder
};

/// A manager that reads signatures of all forms.
/// @param package not open yet.
std::unique_ptr<opc::model::DigitalSignatureManager>
makeSignatureManager(opc::model::Package& package,
                     opc::model::SignatureForm formToWrite = opc::model::SignatureForm::Standard);

/// A package is not opened because of its signatures.
class UnreadableSignatures : public Failure {
public:
    UnreadableSignatures(const opc::Exception& error, const std::string& file);

    /// The signature part and the error in it; null when it is not known.
    const std::shared_ptr<const opc::ErrorPlace>& getPlace() const noexcept { return place_; }

private:
    std::shared_ptr<const opc::ErrorPlace> place_;
};

/// An open package and the ZIP file that it is stored in.
class OpenPackage {
public:
    /// @throws UnreadableSignatures when the options ask for signatures, and these cannot be read or name a part that
    ///         does not exist.
    /// @throws Failure naming the invalid part, where it is known.
    explicit OpenPackage(const InputOptions& options);

    /// Opens a package to change it.
    /// @param output the file to save to; empty: in place; "-": the standard output, for which all is held in memory.
    OpenPackage(const InputOptions& options, const std::string& output);

    ~OpenPackage();
    OpenPackage(const OpenPackage&) = delete;
    OpenPackage& operator=(const OpenPackage&) = delete;

    const PackageInput& getInput() const noexcept { return input_; }
    PackageInput& getInput() noexcept { return input_; }
    const std::string& getName() const noexcept { return input_.getName(); }
    opc::model::Package& getModel() noexcept { return model_; }
    /// What was wrong, but did not keep the package from being opened.
    const FindingList& getFindings() const noexcept { return findings_; }
    /// The items of the package. Those that the model leaves out are none of its parts either.
    std::vector<opc::storage::ZipItem> getItems() const;

    /// Only when the options asked for signatures.
    opc::model::DigitalSignatureManager& getSignatureManager() noexcept { return *signatures_; }

    /// @throws Failure, with advice, when the part does not exist.
    opc::model::Part getPart(const opc::model::PartName& name) const;

    /// Calls an action with a relationship source: a part, or the package for "/".
    template <class Action>
    void withSource(const opc::model::PartName& name, Action action) {
        if (opc::model::PartName::isPackageRootUri(name.getURI()))
            return action(model_);
        opc::model::Part part = getPart(name);
        action(part);
    }

    /// Calls an action with the package and then with every part, in the order of their names.
    template <class Action>
    void forEachSource(Action action) {
        action(model_);
        for (opc::model::Part& part : model_.getParts())
            action(part);
    }

    /// The names of all parts, including relationships parts, in lower case.
    std::set<std::u16string> getPartKeys() const;

private:
    OpenPackage(const InputOptions& options, const std::string& output, opc::interfaces::OpenMode mode);

    PackageInput input_;
    FindingList findings_;
    opc::model::Package model_;
    std::unique_ptr<opc::model::DigitalSignatureManager> signatures_;
};

/// A report on a package with what the reports of tolerant commands have in common.
/// @param findings how many.
Json makeJsonReport(const std::string& command, const std::string& file, std::size_t findings);

/// Calls an action with every block of a part's bytes: `action(const unsigned char*, std::size_t)`.
template <class Action>
void forEachBlock(const opc::model::Part& part, Action action) {
    opc::InputStream& stream = *part.getInputStream();
    stream.open();
    std::vector<unsigned char> block(64UL * 1024);
    while (const unsigned long count = stream.read(block.data(), block.size()))
        action(block.data(), count);
    stream.close();
}

/// An error of opening a package or ZIP file, with advice where options help.
Failure openFailure(PackageInput& input, const InputOptions& options, const opc::Exception& error);

/// An error of reading a part, without the name of the ZIP item in the message of the library.
Failure readFailure(const opc::Exception& error, const std::string& file, const opc::model::Part& part);

} // namespace opcraft
