// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>

#include <memory>
#include <string>
#include <vector>

namespace opc::storage {

/// A physical package in memory.
///
/// What a `close` without discard saved is available at the next `open`, for the lifetime of the object. Opening a
/// package in which nothing was ever saved is allowed in create-only mode alone; the other modes throw
/// ENOENT. Owns everything; not copyable. Used by one thread at a time.
///
/// The rules of `IPhysicalPackage` hold; the codes are those of the generic category:
/// operation_not_permitted for a change in a read-only package, a read or a deletion in a created one,
/// invalid_argument for a name that is not a part name, file_exists for a duplicate part name,
/// no_such_file_or_directory for a missing part or a content types stream that was never written,
/// operation_not_supported for the content types stream of a package without one, bad_file_descriptor for a use while
/// closed, a second open, a read from a stream that is not open.
class OPCRAFT_API MemoryPackage final : public interfaces::IPhysicalPackage {
public:
    /// @param contentTypeStream true: the package keeps content types in a content types stream; false: every
    ///        part keeps the content type it was created with.
    explicit MemoryPackage(bool contentTypeStream = true);
    ~MemoryPackage() override;

    MemoryPackage(const MemoryPackage&) = delete;
    MemoryPackage& operator=(const MemoryPackage&) = delete;

    bool hasContentTypeStream() const override;
    interfaces::IPhysicalInputStream* getContentTypeInputStream() override;
    interfaces::IPhysicalOutputStream* getContentTypeOutputStream() override;
    std::vector<interfaces::IPhysicalPart*> getParts() override;
    void open(const interfaces::OpenMode& mode) override;
    void close(bool discard) override;
    interfaces::IPhysicalPart* createPart(const std::u16string& name, const std::u16string& contentType,
                                          const interfaces::IPhysicalPartInfo& info) override;
    void deletePart(const std::u16string& name) override;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace opc::storage
