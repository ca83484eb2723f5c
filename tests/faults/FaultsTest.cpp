// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "AllocationFaults.hpp"
#include "FaultActions.hpp"
#include "model/ModelFixture.hpp"
#include "support/FailingPackage.hpp"
#include "support/Stores.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <typeinfo>

namespace opc::model::test {
namespace {

namespace errc = boost::system::errc;
namespace allocations = opc::test::allocations;
using opc::test::FailingPackage;
using opc::test::OperationFaults;
using opc::test::Store;
using opc::test::StoreKind;

using Content = std::map<std::string, std::string>;

void addRelationships(const RelationshipSource& source, Content& content) {
    const std::string name = detail::toUTF8String(source.getSourceURI().toString());
    for (const Relationship& relationship : source.getRelationships()) {
        // A generated ID may be another one after a fault: its number is used up.
        const bool isGenerated = relationship.getID().rfind(u"rId", 0) == 0;
        const std::u16string what = relationship.getType() + u" to " + relationship.getTarget();
        content[name + " has " + detail::toUTF8String(isGenerated ? what : relationship.getID())] =
            detail::toUTF8String(what);
    }
}

/// All that can be seen of the package that is stored.
Content contentOf(interfaces::IPhysicalPackage& physicalPackage) {
    Content content;
    Package package(physicalPackage);
    try {
        package.open(OpenMode::ReadOnly);
    } catch (const PackageNotFound&) {
        return {{"", "nothing"}};
    } catch (const Exception& e) {
        return {{"", e.what()}};
    }
    addRelationships(package, content);
    for (const Part& part : package.getParts()) {
        addRelationships(part, content);
        const std::string name = detail::toUTF8String(part.getName().toString());
        content[name] = detail::toUTF8String(part.getContentType().toString()) + ": " + read(part);
    }
    return content;
}

/// Succeeds when the package holds what is expected; says what differs.
testing::AssertionResult isSame(const Content& content, const Content& expected) {
    for (const auto& [name, text] : expected)
        if (content.count(name) == 0 || content.at(name) != text)
            return testing::AssertionFailure()
                   << name << " is " << (content.count(name) == 0 ? "missing" : content.at(name));
    for (const auto& [name, text] : content)
        if (expected.count(name) == 0)
            return testing::AssertionFailure() << name << " should not be there: " << text;
    return testing::AssertionSuccess();
}

/// The bytes of the ZIP file; empty for a package that is kept otherwise.
std::vector<unsigned char> bytesOf(const Store& store) {
    if (const auto* bytes = dynamic_cast<const opc::test::stores::ZipBytes*>(&store))
        return bytes->bytes_;
    if (const auto* file = dynamic_cast<const opc::test::stores::ZipFile*>(&store))
        return std::filesystem::exists(file->folder_ / "package.zip")
                   ? opc::test::readFile(file->folder_ / "package.zip")
                   : std::vector<unsigned char>();
    return {};
}

/// One way to fail, and how far what fails goes back on its own.
struct FaultKind {
    virtual ~FaultKind() = default;
    virtual std::string name() const = 0;
    /// The package that the action is tried with.
    virtual interfaces::IPhysicalPackage& over(interfaces::IPhysicalPackage& package) = 0;
    /// Has the one of this number fail.
    virtual void arm(unsigned long number) = 0;
    virtual void disarm() = 0;
    virtual unsigned long count() const = 0;
    /// What failed; empty when nothing did.
    virtual std::string fired() const = 0;
    virtual testing::AssertionResult isDocumented(const std::exception& e, const FaultAction& action) const = 0;
    /// Whether it is over with what failed.
    virtual bool isOnce() const { return true; }
    /// How many are tried, where the caller does not ask for each of them.
    virtual unsigned long mostTried() const { return std::numeric_limits<unsigned long>::max(); }
};

class FailingOperations final : public FaultKind {
public:
    std::string name() const override { return "operations"; }
    interfaces::IPhysicalPackage& over(interfaces::IPhysicalPackage& package) override {
        failing_ = std::make_unique<FailingPackage>(package, faults_);
        return *failing_;
    }
    void arm(unsigned long number) override {
        static constexpr OperationFaults::Code codes[] = {errc::io_error, errc::no_such_file_or_directory,
                                                          errc::permission_denied, errc::no_space_on_device};
        code_ = codes[turn_++ % std::size(codes)];
        faults_.arm(number, code_);
    }
    void disarm() override { faults_.disarm(); }
    unsigned long count() const override { return faults_.count(); }
    std::string fired() const override { return faults_.fired(); }

    testing::AssertionResult isDocumented(const std::exception& e, const FaultAction& action) const override {
        const std::type_info& type = typeid(e);
        if (action.documented.count(type) == 0)
            return testing::AssertionFailure() << "threw " << type.name() << ": " << e.what();
        const bool carriesCode =
            type == typeid(Exception) || type == typeid(PackageOpenFailed) || type == typeid(PackageCloseFailed);
        if (carriesCode && dynamic_cast<const Exception&>(e).code() != make_error_condition(code_))
            return testing::AssertionFailure() << "lost the code: " << e.what();
        const bool hasFixedText = type == typeid(CouldNotRemoveSignature); // which says what to do, not what failed
        if (!hasFixedText && std::string(e.what()).find("refused " + fired()) == std::string::npos)
            return testing::AssertionFailure() << "lost the reason: " << e.what();
        const bool isMissing = fired() == "opening" && code_ == errc::no_such_file_or_directory;
        const bool isDenied = fired().rfind("closing", 0) == 0 && fired().find("stream") == std::string::npos &&
                              code_ == errc::permission_denied;
        if ((type == typeid(PackageNotFound)) != isMissing || (type == typeid(PackagePermissionDenied)) != isDenied)
            return testing::AssertionFailure() << "threw " << type.name() << " for " << fired();
        return testing::AssertionSuccess();
    }

private:
    unsigned long turn_ = 0;
    OperationFaults::Code code_ = errc::io_error;
    OperationFaults faults_;
    std::unique_ptr<FailingPackage> failing_;
};

class FailingAllocations final : public FaultKind {
public:
    FailingAllocations(allocations::Kind kind, allocations::Extent extent) : kind_(kind), extent_(extent) {}

    std::string name() const override {
        const std::string what = kind_ == allocations::Kind::Parser ? "parser allocations" : "allocations";
        return extent_ == allocations::Extent::One ? what : what + " and all that follow";
    }
    interfaces::IPhysicalPackage& over(interfaces::IPhysicalPackage& package) override { return package; }
    void arm(unsigned long number) override { allocations::arm(kind_, extent_, number); }
    void disarm() override { allocations::disarm(); }
    unsigned long count() const override { return allocations::count(); }
    std::string fired() const override { return allocations::fired() ? "an allocation" : ""; }

    testing::AssertionResult isDocumented(const std::exception& e, const FaultAction&) const override {
        if (typeid(e) != typeid(std::bad_alloc))
            return testing::AssertionFailure() << "threw " << typeid(e).name() << ": " << e.what();
        return testing::AssertionSuccess();
    }
    bool isOnce() const override { return extent_ == allocations::Extent::One; }
    unsigned long mostTried() const override { return kind_ == allocations::Kind::Parser ? 7 : 29; }

private:
    allocations::Kind kind_;
    allocations::Extent extent_;
};

/// What is done after a fault.
enum class Afterwards { Discard, TryAgain, Save };

class Faults : public testing::TestWithParam<FaultAction> {
protected:
    const FaultAction& action = GetParam();

    std::unique_ptr<Store> makeStore() const {
        std::unique_ptr<Store> store = kind_.make();
        if (action.isStored)
            storeSample(store->package());
        return store;
    }

    void prepare(Package& package) const {
        if (action.mode)
            package.open(*action.mode);
        if (action.prepare)
            action.prepare(package);
    }

    /// What the action leads to without a fault.
    void observe(FaultKind& faults) {
        const auto store = makeStore();
        before = contentOf(store->package());
        Package package(faults.over(store->package()));
        prepare(package);
        faults.arm(0);
        action.run(package);
        faults.disarm();
        points = faults.count();
        package.close();
        after = contentOf(store->package());
    }

    void tryWith(FaultKind& faults, unsigned long number, Afterwards afterwards) {
        const auto store = makeStore();
        const auto bytes = bytesOf(*store);
        Package package(faults.over(store->package()));
        prepare(package);
        bool failed = false;
        faults.arm(number);
        try {
            action.run(package);
            faults.disarm();
        } catch (const std::exception& e) {
            faults.disarm();
            failed = true;
            EXPECT_TRUE(faults.isDocumented(e, action));
            EXPECT_EQ(bytesOf(*store), bytes) << "the file was changed";
        }
        ASSERT_FALSE(faults.fired().empty());
        SCOPED_TRACE(faults.fired());
        failed ? goOn(package, store->package(), afterwards) : expectSuccess(package, store->package());
    }

    void expectSuccess(Package& package, interfaces::IPhysicalPackage& physicalPackage) {
        package.close();
        EXPECT_TRUE(isSame(contentOf(physicalPackage), after));
    }

    void goOn(Package& package, interfaces::IPhysicalPackage& physicalPackage, Afterwards afterwards) {
        if (afterwards == Afterwards::Discard) {
            package.close(true);
            EXPECT_TRUE(isSame(contentOf(physicalPackage), before));
            return;
        }
        if (afterwards == Afterwards::TryAgain)
            (action.again ? action.again : action.run)(package);
        package.close();
        const Content saved = contentOf(physicalPackage);
        if (afterwards == Afterwards::TryAgain && !action.stopsHalfWay)
            EXPECT_TRUE(isSame(saved, after));
        else
            EXPECT_TRUE(saved == before || saved.count("") == 0) << saved.at("");
    }

    /// What is done after the fault of this number; each of them when they are few.
    std::vector<Afterwards> waysAfter(unsigned long number, const FaultKind& faults) const {
        const bool canTryAgain = faults.isOnce() || !action.undoes;
        const Afterwards all[] = {Afterwards::Discard, Afterwards::Save,
                                  canTryAgain ? Afterwards::TryAgain : Afterwards::Discard};
        if (points <= 12)
            return {std::begin(all), std::end(all)};
        return {all[number % std::size(all)]};
    }

    void tryAll(const StoreKind& store, FaultKind& faults) {
        kind_ = store;
        observe(faults);
        observe(faults); // what is made once in a process is there by now
        std::cout << "fault points: " << kind_.name << ' ' << action.name << ": " << points << ' ' << faults.name()
                  << '\n';
        RecordProperty(kind_.name + ' ' + faults.name(), std::to_string(points));
        unsigned long step = std::max(1UL, points / faults.mostTried());
        if (step % 3 == 0 && step > 3)
            ++step; // else each would be followed by the same
        if (std::getenv("OPCRAFT_EVERY_FAULT") != nullptr)
            step = 1;
        for (unsigned long number = 1; number <= points && !HasFailure(); number += step)
            for (const Afterwards afterwards : waysAfter(number, faults)) {
                SCOPED_TRACE(kind_.name + ", " + faults.name() + ", number " + std::to_string(number) + ", then way " +
                             std::to_string(static_cast<int>(afterwards)));
                ASSERT_NO_THROW(tryWith(faults, number, afterwards));
            }
    }

    Content before;
    Content after;
    unsigned long points = 0;

private:
    StoreKind kind_;
};

std::vector<StoreKind> storesNamed(const std::set<std::string>& names) {
    std::vector<StoreKind> kinds = opc::test::allStores();
    kinds.erase(
        std::remove_if(kinds.begin(), kinds.end(), [&](const StoreKind& kind) { return names.count(kind.name) == 0; }),
        kinds.end());
    return kinds;
}

class MemoryFaults : public Faults {};

TEST_P(Faults, OfThePhysicalPackage) {
    const XercesGuard guard;
    for (const StoreKind& store : storesNamed({"Memory", "MemoryWithoutContentTypes", "ZipFile", "ZipBytes"})) {
        FailingOperations faults;
        tryAll(store, faults);
    }
}

TEST_P(MemoryFaults, OfEveryAllocation) {
    using allocations::Extent;
    using allocations::Kind;
    std::optional<XercesGuard> guard;
    if (action.name.rfind("Open", 0) != 0) // those are tried with the XML parser not initialised, too
        guard.emplace();
    for (const StoreKind& store : storesNamed({"Memory", "ZipFile"}))
        for (const Extent extent : {Extent::One, Extent::AllFrom})
            for (const Kind allocated : {Kind::Library, Kind::Parser}) {
                FailingAllocations faults(allocated, extent);
                tryAll(store, faults);
            }
}

/// Destroys an open package that has changes, with a fault in it.
/// @return false when there was nothing left to fail.
bool destroyWith(FaultKind& faults, Store& store, unsigned long number) {
    interfaces::IPhysicalPackage& physicalPackage = faults.over(store.package());
    auto package = std::make_unique<Package>(physicalPackage);
    package->open(OpenMode::ReadWrite);
    write(create(*package, u"/b/new.txt", u"text/plain"), "new");
    faults.arm(number);
    package.reset();
    faults.disarm();
    if (faults.fired() == "closing with discard")
        physicalPackage.close(true); // which is the owner's, then
    return !faults.fired().empty();
}

TEST(DestructorFaults, AreSwallowed) {
    using allocations::Extent;
    using allocations::Kind;
    FailingOperations operations;
    FailingAllocations library(Kind::Library, Extent::AllFrom);
    FailingAllocations parser(Kind::Parser, Extent::AllFrom);
    for (const StoreKind& kind : storesNamed({"Memory", "ZipFile"}))
        for (FaultKind* faults : {static_cast<FaultKind*>(&operations), static_cast<FaultKind*>(&library),
                                  static_cast<FaultKind*>(&parser)}) {
            SCOPED_TRACE(kind.name + ", " + faults->name());
            const auto store = kind.make();
            storeSample(store->package());
            const Content before = contentOf(store->package());
            for (unsigned long number = 1; destroyWith(*faults, *store, number); ++number)
                EXPECT_TRUE(isSame(contentOf(store->package()), before));
        }
}

const auto nameOf = [](const auto& test) { return test.param.name; };

INSTANTIATE_TEST_SUITE_P(Actions, Faults, testing::ValuesIn(allFaultActions()), nameOf);
INSTANTIATE_TEST_SUITE_P(Actions, MemoryFaults, testing::ValuesIn(allFaultActions()), nameOf);

} // namespace
} // namespace opc::model::test
