// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Findings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/OpenMode.hpp>
#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/signatures/Judgement.hpp>
#include <opc/signatures/SignatureForm.hpp>
#include <opc/storage/zip/ZipOptions.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <filesystem>
#include <optional>
#include <type_traits>
#include <utility>

/// A package that is opened, handed to a function, and closed when that returns or throws.
///
/// The function is called once, on the thread of the caller, with the open package: `const model::Package&` for
/// reading, `model::Package&` for changes. It may take a `model::DigitalSignatureManager&` as well, by which the
/// signatures of the package, in all forms, are verified and made; the file is then opened with
/// `ZipOptions::consistent` in any case, for a signature says nothing about a file that programs read in two ways. What
/// it returns is returned by value. Parts and other handles on the package are invalid afterwards.
///
/// All throw what `model::Package::open` and `close` throw, and what the function throws, unchanged.
namespace opc {

/// How a file is used. A value without invariants.
struct FileOptions {
    storage::ZipOptions zip{};       ///< `limits` are those of the package, too
    FindingSink* findings = nullptr; ///< receives what is wrong with the package, which is opened as far as it can be
                                     ///< read; null: such a package is refused. Not owned
    model::SignatureForm signatureForm = model::SignatureForm::Standard; ///< of signatures that are made
};

namespace detail {

template <class Action, class Package>
inline constexpr bool usesSignatures = std::is_invocable_v<Action&, Package&, model::DigitalSignatureManager&>;

/// @tparam Package const for reading.
template <class Package, class Action>
auto usePackage(interfaces::IPhysicalPackage& store, interfaces::OpenMode mode, Action& action,
                const FileOptions& options) {
    model::Package package(store, options.zip.limits); // which discards what was not saved
    std::optional<model::DigitalSignatureManager> signatures;
    if constexpr (usesSignatures<Action, Package>)
        signatures.emplace(package, model::getAllSignatureForms(), options.signatureForm);
    if (options.findings != nullptr)
        package.open(mode, *options.findings);
    else
        package.open(mode);
    const auto act = [&] {
        if constexpr (usesSignatures<Action, Package>)
            return action(static_cast<Package&>(package), *signatures);
        else
            return action(static_cast<Package&>(package));
    };
    if constexpr (std::is_void_v<decltype(act())>) {
        act();
        package.close();
    } else {
        auto result = act();
        package.close();
        return result;
    }
}

template <class Package, class Action>
auto usePackage(const std::filesystem::path& file, const std::filesystem::path* output, interfaces::OpenMode mode,
                Action& action, const FileOptions& options) {
    storage::ZipOptions zip = options.zip;
    zip.consistent |= usesSignatures<Action, Package>;
    storage::ZipPackage store(file, zip);
    if (output != nullptr)
        store.setOutput(*output);
    return usePackage<Package>(static_cast<interfaces::IPhysicalPackage&>(store), mode, action, options);
}

} // namespace detail

/// Reads a package. Nothing of it can be changed.
template <class Action>
auto readPackage(const std::filesystem::path& file, Action action, const FileOptions& options = {}) {
    return detail::usePackage<const model::Package>(file, nullptr, interfaces::OpenMode::ReadOnly, action, options);
}

/// Changes a package and saves it when the function returns. When it throws, or the save fails, the file is as it was,
/// byte for byte; there is no third way (see `storage::ZipPackage`).
template <class Action>
auto editPackage(const std::filesystem::path& file, Action action, const FileOptions& options = {}) {
    return detail::usePackage<model::Package>(file, nullptr, interfaces::OpenMode::ReadWrite, action, options);
}

/// The same with the result saved to another file, also when nothing was changed. The first file stays as it is.
template <class Action>
auto editPackage(const std::filesystem::path& file, const std::filesystem::path& output, Action action,
                 const FileOptions& options = {}) {
    return detail::usePackage<model::Package>(file, &output, interfaces::OpenMode::ReadWrite, action, options);
}

/// Makes a new package, in the place of the file if there is one. The function adds parts and relationships, but can
/// neither read nor delete them. When it throws, or the save fails, nothing is there that was not there before.
template <class Action>
auto createPackage(const std::filesystem::path& file, Action action, const FileOptions& options = {}) {
    return detail::usePackage<model::Package>(file, nullptr, interfaces::OpenMode::CreateOnly, action, options);
}

/// The same for a package in any store, which is not open and is closed again. Of `FileOptions::zip` the limits alone
/// count.
template <class Action>
auto readPackage(interfaces::IPhysicalPackage& store, Action action, const FileOptions& options = {}) {
    return detail::usePackage<const model::Package>(store, interfaces::OpenMode::ReadOnly, action, options);
}

template <class Action>
auto editPackage(interfaces::IPhysicalPackage& store, Action action, const FileOptions& options = {}) {
    return detail::usePackage<model::Package>(store, interfaces::OpenMode::ReadWrite, action, options);
}

template <class Action>
auto createPackage(interfaces::IPhysicalPackage& store, Action action, const FileOptions& options = {}) {
    return detail::usePackage<model::Package>(store, interfaces::OpenMode::CreateOnly, action, options);
}

/// Verifies and judges the signatures of a package in a file, which is refused when programs could read it in two ways.
/// @throws opc::Exception as `model::verifyPackage`.
inline model::PackageJudgement verifyPackage(const std::filesystem::path& file, const model::JudgementOptions& options,
                                             storage::ZipOptions zip = {}) {
    zip.consistent = true;
    storage::ZipPackage store(file, zip);
    return model::verifyPackage(store, options, zip.limits);
}

} // namespace opc
