// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/PhysicalAccess.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/directory/DirectoryPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <string>

namespace opc::test {

/// Writes every item of a package that is open to a file of its name.
inline void unpack(storage::ItemPackage& package, const std::filesystem::path& folder) {
    std::filesystem::remove_all(folder);
    for (const storage::ZipItem& item : package.getItems()) {
        std::filesystem::create_directories((folder / item.name).parent_path());
        const std::string bytes = readAll(*package.getItemInputStream(item.name));
        writeFile(folder / item.name, {bytes.begin(), bytes.end()});
    }
}

/// A package in a ZIP file, which is unpacked when it is opened for reading only.
class UnpackedPackage final : public interfaces::IPhysicalPackage {
public:
    UnpackedPackage(const std::filesystem::path& file, std::filesystem::path folder)
        : file_(file), folder_(std::move(folder)), zip_(file_), directory_(folder_) {}

    bool hasContentTypeStream() const override { return current_->hasContentTypeStream(); }
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override {
        return current_->getContentTypeInputStream();
    }
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override {
        return current_->getContentTypeOutputStream();
    }
    std::vector<interfaces::IPhysicalPart*> getParts() override { return current_->getParts(); }
    void open(const OpenMode& mode) override {
        if (!isOpen_) {
            current_ = &zip_;
            if (mode == OpenMode::ReadOnly)
                unpackAll();
        }
        current_->open(mode);
        isOpen_ = true;
    }
    void close(bool discard) override {
        current_->close(discard);
        current_ = &zip_;
        isOpen_ = false;
    }
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo& info) override {
        return current_->createPart(name, contentType, info);
    }
    void deletePart(const std::u16string& name) override { current_->deletePart(name); }

private:
    void unpackAll() {
        storage::ZipPackage stored(file_);
        stored.open(OpenMode::ReadOnly);
        unpack(stored, folder_);
        current_ = &directory_;
    }

    std::filesystem::path file_;
    std::filesystem::path folder_;
    storage::ZipPackage zip_;
    storage::DirectoryPackage directory_;
    interfaces::IPhysicalPackage* current_ = &zip_;
    bool isOpen_ = false;
};

} // namespace opc::test
