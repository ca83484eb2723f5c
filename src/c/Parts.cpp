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
    PartUse(const std::shared_ptr<OpenedPackage>& package, const PartName& name)
        : package_(package), part_(package->model.getPart(name)), name_(part_.getName()) {
        package->throwIfInUse(name_);
        package->inUse.insert(name_);
    }
    ~PartUse() {
        if (const auto package = package_.lock())
            package->inUse.erase(name_);
    }

    PartUse(const PartUse&) = delete;
    PartUse& operator=(const PartUse&) = delete;

    /// Calls an action with a stream of the part.
    /// @throws InvalidObject once the package was closed or freed or the part deleted.
    template <class Action>
    auto read(Action action) const {
        return use([&] { return action(*part_.getInputStream()); });
    }
    template <class Action>
    auto write(Action action) const {
        return use([&] { return action(*part_.getOutputStream()); });
    }

    /// Says whether the part has the content that it is to have. What has not is not saved.
    void setWhole(bool isWhole) const {
        if (const auto package = package_.lock()) {
            package->notWhole.erase(name_);
            if (!isWhole)
                package->notWhole.insert(name_);
        }
    }

    /// Ends reading or writing where nobody asks whether that fails.
    void closeQuietly(bool isWriting) const noexcept {
        try {
            if (part_.isValid())
                isWriting ? part_.getOutputStream()->close() : part_.getInputStream()->close();
        } catch (...) { // NOLINT(bugprone-empty-catch): what failed before is told
        }
    }

private:
    template <class Action>
    auto use(Action action) const {
        const auto package = package_.lock();
        if (!package)
            return action(); // which notices that the part is invalid
        return byStore(package->use.getStore(), [&] {
            if (package->use.isCancelled())
                throwCancelled("the work was cancelled");
            return action();
        });
    }

    std::weak_ptr<OpenedPackage> package_;
    Part part_;
    PartName name_;
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

struct ReadBytes : Result<opcraft_bytes> {
    std::vector<unsigned char> content{};
};

/// The content of a stream with a zero byte behind it.
std::vector<unsigned char> readAll(InputStream& stream, const char* name, std::uint64_t most) {
    constexpr std::size_t BLOCK = 64UL * 1024;
    std::vector<unsigned char> content;
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
    return content;
}

std::unique_ptr<ReadBytes> readPart(const PartUse& part, const char* name, std::uint64_t most) {
    struct End {
        ~End() { part.closeQuietly(false); }
        const PartUse& part;
    };
    const End end{part};
    auto bytes = std::make_unique<ReadBytes>();
    part.read([&](InputStream& stream) {
        stream.open();
        bytes->content = readAll(stream, name, most);
    });
    bytes->data = bytes->content.data();
    bytes->length = bytes->content.size() - 1;
    return bytes;
}

const unsigned char* toBytes(const void* data, std::size_t length) {
    return length != 0 ? &required(static_cast<const unsigned char*>(data), "data") : nullptr;
}

/// Starts new content also where there are no bytes.
void writeAll(const PartUse& part, const void* data, std::size_t length) {
    static constexpr unsigned char NOTHING = 0;
    const unsigned char* bytes = length != 0 ? toBytes(data, length) : &NOTHING;
    part.write([&](OutputStream& stream) { stream.write(bytes, length); });
}

} // namespace

} // namespace opc::c

using namespace opc::c;
using opc::InputStream;
using opc::OutputStream;
using opc::model::ContentType;

struct opcraft_reader {
    PartUse part;
};

struct opcraft_writer {
    enum class State { Open, Failed, Closed };

    /// Writes or closes. After a failure the content has a gap, so that nothing more is written.
    template <class Action>
    void change(Action action) {
        if (state == State::Failed)
            throwInvalidArgument("an earlier call of the writer failed, so that the content is not whole");
        part.setWhole(false);
        try {
            action();
        } catch (...) {
            state = State::Failed;
            part.closeQuietly(true); // what is written next is new content
            throw;
        }
    }

    PartUse part;
    State state = State::Open;
};

bool opcraft_package_has_part(const opcraft_package* package, const char* name, bool* has, opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](const OpenedPackage& opened) { required(has, "has") = opened.model.hasPart(toPartName(name)); });
}

char* opcraft_part_content_type(const opcraft_package* package, const char* name, opcraft_error** error) {
    return guarded(
        package, error, static_cast<char*>(nullptr),
        [&](const OpenedPackage& opened) {
            return copyForCaller(opened.model.getPart(toPartName(name)).getContentType().toString());
        });
}

opcraft_bytes* opcraft_part_read(const opcraft_package* package, const char* name, uint64_t most,
                                 opcraft_error** error) {
    return guarded(
        package, error, static_cast<opcraft_bytes*>(nullptr),
        [&](OpenedPackage&) { return readPart(PartUse(package->opened, toPartName(name)), name, most).release(); });
}

void opcraft_bytes_free(opcraft_bytes* bytes) {
    delete static_cast<ReadBytes*>(static_cast<Result<opcraft_bytes>*>(bytes));
}

opcraft_reader* opcraft_part_open(const opcraft_package* package, const char* name, opcraft_error** error) {
    return guarded(
        package, error, static_cast<opcraft_reader*>(nullptr),
        [&](OpenedPackage&) {
            std::unique_ptr<opcraft_reader> reader(new opcraft_reader{{package->opened, toPartName(name)}});
            reader->part.read([](InputStream& stream) { stream.open(); });
            return reader.release();
        });
}

bool opcraft_reader_read(opcraft_reader* reader, void* buffer, size_t capacity, size_t* length, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            required(length, "length") = 0;
            auto* bytes = static_cast<unsigned char*>(buffer);
            if (capacity != 0)
                required(bytes, "buffer");
            required(reader, "reader").part.read([&](InputStream& stream) {
                *length = capacity != 0 ? stream.read(bytes, capacity) : 0;
            });
        });
}

void opcraft_reader_free(opcraft_reader* reader) {
    if (reader != nullptr)
        reader->part.closeQuietly(false);
    delete reader;
}

bool opcraft_part_create(opcraft_package* package, const char* name, const char* content_type,
                         opcraft_compression compression, opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage& opened) {
            opened.model.createPart(toPartName(name), ContentType(toText(content_type, "content_type")),
                                    opc::model::StandardPartInfo(toCompression(compression)));
        });
}

bool opcraft_part_write(opcraft_package* package, const char* name, const void* data, size_t length,
                        opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage&) {
            toBytes(data, length);
            opcraft_writer writer{{package->opened, toPartName(name)}};
            writer.change([&] {
                writeAll(writer.part, data, length);
                writer.part.write([](OutputStream& stream) { stream.close(); });
            });
            writer.part.setWhole(true);
        });
}

opcraft_writer* opcraft_part_rewrite(opcraft_package* package, const char* name, opcraft_error** error) {
    return guarded(
        package, error, static_cast<opcraft_writer*>(nullptr),
        [&](OpenedPackage&) {
            std::unique_ptr<opcraft_writer> writer(new opcraft_writer{{package->opened, toPartName(name)}});
            writer->change([&] { writeAll(writer->part, nullptr, 0); }); // new content, also when nothing follows
            return writer.release();
        });
}

bool opcraft_writer_write(opcraft_writer* writer, const void* data, size_t length, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            if (required(writer, "writer").state == opcraft_writer::State::Closed)
                throwInvalidArgument("the writer is closed");
            toBytes(data, length);
            writer->change([&] { writeAll(writer->part, data, length); });
        });
}

bool opcraft_writer_close(opcraft_writer* writer, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            if (required(writer, "writer").state == opcraft_writer::State::Closed)
                return;
            writer->change([&] { writer->part.write([](OutputStream& stream) { stream.close(); }); });
            writer->part.setWhole(true);
            writer->state = opcraft_writer::State::Closed;
        });
}

void opcraft_writer_free(opcraft_writer* writer) {
    if (writer != nullptr && writer->state == opcraft_writer::State::Open)
        writer->part.closeQuietly(true);
    delete writer;
}

bool opcraft_part_delete(opcraft_package* package, const char* name, opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage& opened) {
            const PartName part = toPartName(name);
            opened.throwIfInUse(part);
            opened.model.deletePart(part);
            opened.notWhole.erase(part);
        });
}

bool opcraft_part_move(opcraft_package* package, const char* name, const char* new_name, opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage& opened) {
            const PartName part = toPartName(name);
            opened.throwIfInUse(part);
            const PartName moved = toPartName(new_name);
            opc::edit::movePart(opened.model, part, moved);
            if (auto node = opened.notWhole.extract(part)) {
                node.value() = moved;
                opened.notWhole.insert(std::move(node));
            }
        });
}

bool opcraft_part_set_content_type(opcraft_package* package, const char* name, const char* content_type,
                                   opcraft_error** error) {
    return guardedChange(
        package, error,
        [&](OpenedPackage& opened) {
            const PartName part = toPartName(name);
            if (!(*opened.use).hasContentTypeStream()) // the part is made anew
                opened.throwIfInUse(part);
            opened.model.changeContentType(part, ContentType(toText(content_type, "content_type")));
        });
}
