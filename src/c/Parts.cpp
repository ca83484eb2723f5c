// SPDX-License-Identifier: Apache-2.0
#include "c/Package.hpp"
#include "c/Results.hpp"

#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/edit/MovePart.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include <utility>

namespace opc::c {

namespace {

using interfaces::CompressionType;
using model::ContentType;
using model::Part;
using model::PartName;

/// The one reader or writer that a part has at a time, since a part has one stream for each.
class PartUse {
public:
    PartUse(std::shared_ptr<OpenedPackage> package, const PartName& name)
        : package_(std::move(package)), part_(package_->model.getPart(name)) {
        if (!package_->inUse.insert(part_.getName()).second)
            throw Exception(detail::toUTF8String(part_.getName().toString(), false) +
                                ": another reader or writer of the part is open",
                            make_error_code(boost::system::errc::device_or_resource_busy));
        name_ = part_.getName();
    }
    ~PartUse() { package_->inUse.erase(name_); }

    PartUse(const PartUse&) = delete;
    PartUse& operator=(const PartUse&) = delete;

    /// @throws InvalidObject once the package was closed or the part deleted.
    InputStream& getInput() const { return *part_.getInputStream(); }
    OutputStream& getOutput() const { return *part_.getOutputStream(); }
    bool isValid() const { return part_.isValid(); }

private:
    std::shared_ptr<OpenedPackage> package_;
    Part part_;
    PartName name_{u"/"};
};

CompressionType toCompression(opcraft_compression compression) {
    switch (compression) {
    case OPCRAFT_COMPRESSION_NORMAL:
        return CompressionType::Normal;
    case OPCRAFT_COMPRESSION_NONE:
        return CompressionType::None;
    case OPCRAFT_COMPRESSION_MAXIMUM:
        return CompressionType::Maximum;
    case OPCRAFT_COMPRESSION_FAST:
        return CompressionType::Fast;
    }
    throwInvalidArgument("compression is no opcraft_compression");
}

/// Ends reading, whatever happens.
class Reading {
public:
    explicit Reading(InputStream& stream) : stream_(stream) { stream_.open(); }
    ~Reading() {
        try {
            stream_.close();
        } catch (...) { // nothing of what was read is lost
        }
    }

    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

private:
    InputStream& stream_;
};

struct ReadBytes : Result<opcraft_bytes> {
    std::vector<unsigned char> content{};
};

std::unique_ptr<ReadBytes> readAll(const PartUse& part, const char* name, std::uint64_t most) {
    auto bytes = std::make_unique<ReadBytes>();
    InputStream& stream = part.getInput();
    const Reading reading(stream);
    constexpr std::size_t BLOCK = 64UL * 1024;
    std::vector<unsigned char>& content = bytes->content;
    std::size_t length = 0;
    for (std::size_t count = 1; count != 0; length += count) {
        content.resize(length + BLOCK);
        count = stream.read(content.data() + length, BLOCK);
        if (most != 0 && length + count > most)
            throw Exception(std::string(name) + ": the part has more bytes than " + std::to_string(most),
                            make_error_code(boost::system::errc::file_too_large));
    }
    content.resize(length + 1);
    content.back() = 0;
    bytes->data = content.data();
    bytes->length = length;
    return bytes;
}

const unsigned char* toBytes(const void* data, std::size_t length) {
    return length != 0 ? &required(static_cast<const unsigned char*>(data), "data") : nullptr;
}

/// @return what starts new content also where there are no bytes.
void writeAll(OutputStream& stream, const void* data, std::size_t length) {
    static constexpr unsigned char NOTHING = 0;
    const unsigned char* bytes = toBytes(data, length);
    stream.write(bytes != nullptr ? bytes : &NOTHING, length);
}

} // namespace

} // namespace opc::c

using namespace opc::c;
using opc::model::ContentType;

struct opcraft_reader {
    PartUse part;
};

struct opcraft_writer {
    PartUse part;
    bool isOpen = true;
};

bool opcraft_package_has_part(const opcraft_package* package, const char* name, bool* has, opcraft_error** error) {
    return guardedChange(
        error, [&] { required(has, "has") = openedOf(package).model.hasPart(toPartName(name)); });
}

char* opcraft_part_content_type(const opcraft_package* package, const char* name, opcraft_error** error) {
    return guarded(
        error, static_cast<char*>(nullptr),
        [&] { return copyForCaller(openedOf(package).model.getPart(toPartName(name)).getContentType().toString()); });
}

opcraft_bytes* opcraft_part_read(const opcraft_package* package, const char* name, uint64_t most,
                                 opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_bytes*>(nullptr),
        [&]() -> opcraft_bytes* {
            openedOf(package);
            return readAll(PartUse(package->opened, toPartName(name)), name, most).release();
        });
}

void opcraft_bytes_free(opcraft_bytes* bytes) {
    delete static_cast<ReadBytes*>(static_cast<Result<opcraft_bytes>*>(bytes));
}

opcraft_reader* opcraft_part_open(const opcraft_package* package, const char* name, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_reader*>(nullptr),
        [&] {
            openedOf(package);
            std::unique_ptr<opcraft_reader> reader(new opcraft_reader{{package->opened, toPartName(name)}});
            reader->part.getInput().open();
            return reader.release();
        });
}

bool opcraft_reader_read(opcraft_reader* reader, void* buffer, size_t capacity, size_t* length, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            required(length, "length") = 0;
            opc::InputStream& stream = required(reader, "reader").part.getInput();
            if (capacity != 0)
                *length = stream.read(&required(static_cast<unsigned char*>(buffer), "buffer"), capacity);
        });
}

void opcraft_reader_free(opcraft_reader* reader) {
    if (reader == nullptr)
        return;
    try {
        if (reader->part.isValid())
            reader->part.getInput().close();
    } catch (...) { // nothing of what was read is lost
    }
    delete reader;
}

bool opcraft_part_create(opcraft_package* package, const char* name, const char* content_type,
                         opcraft_compression compression, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            openedOf(package).model.createPart(toPartName(name), ContentType(toText(content_type, "content_type")),
                                               opc::model::StandardPartInfo(toCompression(compression)));
        });
}

bool opcraft_part_write(opcraft_package* package, const char* name, const void* data, size_t length,
                        opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            openedOf(package);
            toBytes(data, length);
            const PartUse part(package->opened, toPartName(name));
            opc::OutputStream& stream = part.getOutput();
            writeAll(stream, data, length);
            stream.close();
        });
}

opcraft_writer* opcraft_part_rewrite(opcraft_package* package, const char* name, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_writer*>(nullptr),
        [&] {
            openedOf(package);
            std::unique_ptr<opcraft_writer> writer(new opcraft_writer{{package->opened, toPartName(name)}});
            writeAll(writer->part.getOutput(), nullptr, 0); // new content, also when nothing follows
            return writer.release();
        });
}

bool opcraft_writer_write(opcraft_writer* writer, const void* data, size_t length, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            if (!required(writer, "writer").isOpen)
                throwInvalidArgument("the writer is closed");
            writeAll(writer->part.getOutput(), data, length);
        });
}

bool opcraft_writer_close(opcraft_writer* writer, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            if (!required(writer, "writer").isOpen)
                return;
            writer->part.getOutput().close();
            writer->isOpen = false;
        });
}

void opcraft_writer_free(opcraft_writer* writer) {
    if (writer != nullptr && writer->isOpen && writer->part.isValid())
        opcraft_writer_close(writer, nullptr);
    delete writer;
}

bool opcraft_part_delete(opcraft_package* package, const char* name, opcraft_error** error) {
    return guardedChange(
        error, [&] { openedOf(package).model.deletePart(toPartName(name)); });
}

bool opcraft_part_move(opcraft_package* package, const char* name, const char* new_name, opcraft_error** error) {
    return guardedChange(
        error, [&] { opc::edit::movePart(openedOf(package).model, toPartName(name), toPartName(new_name)); });
}

bool opcraft_part_set_content_type(opcraft_package* package, const char* name, const char* content_type,
                                   opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            openedOf(package).model.changeContentType(toPartName(name),
                                                      ContentType(toText(content_type, "content_type")));
        });
}
