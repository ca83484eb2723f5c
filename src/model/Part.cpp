// SPDX-License-Identifier: Apache-2.0
#include <opc/model/Part.hpp>

#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PhysicalInputStream.hpp>
#include <opc/model/PhysicalOutputStream.hpp>

#include <boost/make_shared.hpp>

#include <memory>
#include <utility>

namespace opc::model {

class Part::Impl {
public:
    Impl(Package* package, interfaces::IPhysicalPart* physicalPart, const PartName& name, ContentType&& contentType,
         interfaces::OpenMode mode)
        : package_(package), physicalPart_(physicalPart), name_(name), contentType_(std::move(contentType)),
          mode_(mode) {}

    Package* package_;
    interfaces::IPhysicalPart* physicalPart_;
    PartName name_;
    ContentType contentType_;
    interfaces::OpenMode mode_;
    std::unique_ptr<PhysicalInputStream> inputStream_;
    std::unique_ptr<PhysicalOutputStream> outputStream_;
    bool valid_ = true;
};

Part::Part(Package* package, interfaces::IPhysicalPart* physicalPart, const PartName& name, ContentType contentType,
           interfaces::OpenMode mode)
    : RelationshipSource(name.getURI()),
      impl_(boost::make_shared<Impl>(package, physicalPart, name, std::move(contentType), mode)) {}

Part::~Part() = default;

bool Part::isValid() const {
    return impl_->valid_;
}

bool Part::isOpen() const {
    return true;
}

bool Part::isReadOnly() const {
    return impl_->mode_ == interfaces::OpenMode::ReadOnly;
}

bool Part::isCreateOnly() const {
    return impl_->mode_ == interfaces::OpenMode::CreateOnly;
}

Package& Part::getPackage() const {
    return *impl_->package_;
}

PartName Part::getName() const {
    return impl_->name_;
}

ContentType Part::getContentType() const {
    return impl_->contentType_;
}

InputStream* Part::getInputStream() const {
    throwIfInvalid();
    throwIfNotOpen();
    if (!impl_->inputStream_) {
        try {
            impl_->inputStream_ = std::make_unique<PhysicalInputStream>(impl_->physicalPart_->getInputStream());
        } catch (const Exception& e) {
            throw InvalidPartStream(e.what());
        }
    }
    return impl_->inputStream_.get();
}

OutputStream* Part::getOutputStream() const {
    throwIfInvalid();
    throwIfNotOpen();
    throwIfReadOnly();
    if (!impl_->outputStream_) {
        try {
            impl_->outputStream_ = std::make_unique<PhysicalOutputStream>(impl_->physicalPart_->getOutputStream());
        } catch (const Exception& e) {
            throw InvalidPartStream(e.what());
        }
    }
    return impl_->outputStream_.get();
}

void Part::flush() {
    throwIfInvalid();
    throwIfNotOpen();
    RelationshipSource::flush();
}

interfaces::IPhysicalPart* Part::getPhysicalPart() const noexcept {
    return impl_->physicalPart_;
}

void Part::setPhysicalPart(interfaces::IPhysicalPart* physicalPart) noexcept {
    impl_->physicalPart_ = physicalPart;
}

void Part::setContentType(ContentType contentType) {
    impl_->contentType_ = std::move(contentType);
}

void Part::dropStreams() noexcept {
    impl_->inputStream_.reset();
    impl_->outputStream_.reset();
}

void Part::markAsInvalid() noexcept {
    impl_->valid_ = false;
}

} // namespace opc::model
