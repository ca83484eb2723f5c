// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/FileInput.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/model/Package.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace opc::model {
class DigitalSignatureManager;
}

namespace opcraft {

/// A name on the command line and the ZIP package behind it; what is a stream is held in memory.
class ZipInput {
public:
    /// @param inMemory true: read the file at once, so that a save changes the bytes and not the file.
    /// @throws Failure when a stream cannot be read.
    explicit ZipInput(const InputOptions& options, bool inMemory = false);

    const std::string& getName() const noexcept { return name_; }
    opc::storage::ZipPackage& getZip() const noexcept { return *zip_; }
    /// The whole file; empty unless it is held in memory.
    const std::vector<unsigned char>& getBytes() const noexcept { return bytes_; }
    /// Bytes of the whole file.
    std::uint64_t getSize() const;

    /// Another look at what is stored now.
    /// @param file where it is; empty: where it was read from.
    std::unique_ptr<opc::storage::ZipPackage> lookAgain(const std::string& file);

private:
    opc::storage::ZipOptions options_;
    std::string name_;
    std::vector<unsigned char> bytes_;
    std::unique_ptr<opc::storage::ZipPackage> zip_;
};

/// A package is not opened because of its signatures.
class UnreadableSignatures : public Failure {
public:
    UnreadableSignatures(const opc::Exception& error, const std::string& file);

    /// The signature, and what is wrong in it; null when it is not known.
    const std::shared_ptr<const opc::ErrorPlace>& getPlace() const noexcept { return place_; }

private:
    std::shared_ptr<const opc::ErrorPlace> place_;
};

/// An open package and the ZIP file it is in.
class OpenPackage {
public:
    /// @throws UnreadableSignatures when the options ask for signatures, and they cannot be read or name what is not
    ///         there.
    /// @throws Failure naming the part that is wrong, as far as it can be told.
    explicit OpenPackage(const InputOptions& options);

    /// A package that is to be changed, and saved at another place than its own when one is named.
    /// @param output the name of a file; empty: in place; "-": the standard output, for which all is held in memory.
    OpenPackage(const InputOptions& options, const std::string& output);

    ~OpenPackage();
    OpenPackage(const OpenPackage&) = delete;
    OpenPackage& operator=(const OpenPackage&) = delete;

    const ZipInput& getInput() const noexcept { return input_; }
    ZipInput& getInput() noexcept { return input_; }
    const std::string& getName() const noexcept { return input_.getName(); }
    opc::model::Package& getModel() noexcept { return model_; }
    /// Only when the options asked for signatures.
    opc::model::DigitalSignatureManager& getSignatureManager() noexcept { return *signatures_; }

    /// @throws Failure, with advice, when there is no such part.
    opc::model::Part getPart(const opc::model::PartName& name) const;

    /// Calls an action with a relationship source: a part, or for "/" the package.
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

    /// The names of all parts, relationships parts included, in lower case.
    std::set<std::u16string> getPartKeys() const;

private:
    OpenPackage(const InputOptions& options, const std::string& output, opc::interfaces::OpenMode mode);

    ZipInput input_;
    opc::model::Package model_;
    std::unique_ptr<opc::model::DigitalSignatureManager> signatures_;
};

} // namespace opcraft
