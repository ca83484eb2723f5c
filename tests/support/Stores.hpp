// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/PhysicalAccess.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/memory/MemoryPackage.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace opc::test {

/// A place for one package, with nothing stored in it at first, and the physical package over it.
class Store {
public:
    virtual ~Store() = default;
    virtual interfaces::IPhysicalPackage& package() = 0;
    /// Of the file; none for a package that is kept otherwise.
    virtual std::vector<unsigned char> bytes() const { return {}; }
};

/// A way to make stores; what the tests of the contract are run over. A decorator of one kind is another kind.
struct StoreKind {
    std::string name;
    std::function<std::unique_ptr<Store>()> make;
    Errc openingNothing; ///< how reading fails when nothing was stored yet
};

inline void PrintTo(const StoreKind& kind, std::ostream* stream) {
    *stream << kind.name;
}

namespace stores {

template <class Package>
struct Plain final : Store {
    template <class... Arguments>
    explicit Plain(Arguments... arguments) : package_(arguments...) {}
    interfaces::IPhysicalPackage& package() override { return package_; }
    Package package_;
};

struct ZipFile final : Store {
    explicit ZipFile(storage::ZipOptions options = {}) : package_(folder_ / "package.zip", std::move(options)) {}
    interfaces::IPhysicalPackage& package() override { return package_; }
    std::vector<unsigned char> bytes() const override {
        const auto file = folder_ / "package.zip";
        return std::filesystem::exists(file) ? readFile(file) : std::vector<unsigned char>();
    }
    TemporaryFolder folder_;
    storage::ZipPackage package_;
};

/// All that is written goes to the temporary file.
inline std::unique_ptr<Store> makeSpillingZipFile() {
    storage::ZipOptions options;
    options.memory = 0;
    return std::make_unique<ZipFile>(std::move(options));
}

struct ZipBytes final : Store {
    interfaces::IPhysicalPackage& package() override { return package_; }
    std::vector<unsigned char> bytes() const override { return bytes_; }
    std::vector<unsigned char> bytes_;
    storage::ZipPackage package_{bytes_};
};

} // namespace stores

inline std::vector<StoreKind> allStores() {
    using Memory = stores::Plain<storage::MemoryPackage>;
    return {
        {"Memory", [] { return std::make_unique<Memory>(true); }, Errc::no_such_file_or_directory},
        {"MemoryWithoutContentTypes", [] { return std::make_unique<Memory>(false); }, Errc::no_such_file_or_directory},
        {"ZipFile", [] { return std::make_unique<stores::ZipFile>(); }, Errc::no_such_file_or_directory},
        {"SpillingZipFile", stores::makeSpillingZipFile, Errc::no_such_file_or_directory},
        {"ZipBytes", [] { return std::make_unique<stores::ZipBytes>(); }, Errc::bad_message},
    };
}

} // namespace opc::test
