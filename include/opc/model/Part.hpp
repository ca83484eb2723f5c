// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include <boost/shared_ptr.hpp>

namespace opc::model {

/// A part of an open package (ECMA-376-2 §6.2): its name, content type, bytes and relationships.
///
/// A handle that only packages make; copies are handles on the same part. When the part is deleted or the package
/// closed, all of them become invalid permanently: then only name, content type, validity and mode can be
/// queried, and everything else throws `InvalidObject`. Used by one thread at a time, together with its package;
/// handles may be copied and destroyed on any thread.
class OPCRAFT_API Part final : public RelationshipSource {
public:
    ~Part() override;
    Part(const Part&) = default;
    Part& operator=(const Part&) = default;

    bool isValid() const override;
    /// Always true: whether a part can be used is told by its validity.
    bool isOpen() const override;
    bool isReadOnly() const override;
    bool isCreateOnly() const override;
    Package& getPackage() const override;

    PartName getName() const;
    ContentType getContentType() const;

    /// The bytes of the part. The same stream at every call, owned by the part, never deleted by the caller, and not to
    /// be used once the part is deleted or the package closed; `open` it before reading. A part that was written reads
    /// back its new content. Reading a part of a created package fails when it is tried, by the rules of the physical
    /// package.
    /// @throws InvalidObject
    /// @throws InvalidPartStream when the physical package does not deliver the stream.
    InputStream* getInputStream() const;

    /// Receives new bytes. The same stream at every call, owned by the part, and not to be used once the part
    /// is deleted or the package closed. The first write, and the first after a `close`, starts new content.
    /// @throws InvalidObject
    /// @throws PackageReadOnly
    /// @throws InvalidPartStream when the physical package does not deliver the stream.
    OutputStream* getOutputStream() const;

    /// Writes the relationships part of this part when it changed.
    /// @throws InvalidObject
    /// @throws InvalidPartContent, InvalidPartStream, opc::Exception as `Package::flush`, for relationships.
    void flush();

private:
    friend class Package;
    friend class PartDigester;
    class Impl;

    Part(Package* package, interfaces::IPhysicalPart* physicalPart, const PartName& name, ContentType contentType,
         interfaces::OpenMode mode);

    interfaces::IPhysicalPart* getPhysicalPart() const noexcept;
    void setPhysicalPart(interfaces::IPhysicalPart* physicalPart) noexcept;
    void setContentType(ContentType contentType);
    void dropStreams() noexcept;
    void markAsInvalid() noexcept;

    boost::shared_ptr<Impl> impl_;
};

} // namespace opc::model
