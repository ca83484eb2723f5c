// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>

#include "AllocationFaults.hpp"
#include "FaultActions.hpp"
#include "model/ModelFixture.hpp"
#include "support/FailingPackage.hpp"
#include "support/PackageContent.hpp"
#include "support/Stores.hpp"

#include <gtest/gtest.h>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <typeinfo>

namespace opc::model::test {
namespace {

namespace errc = boost::system::errc;
using opc::test::allocationFaults;
using opc::test::Extent;
using opc::test::FailingPackage;
using opc::test::PackageContent;
using opc::test::Store;
using opc::test::StoreKind;

/// All that can be seen of the package that is stored.
PackageContent stored(interfaces::IPhysicalPackage& physicalPackage) {
    Package package(physicalPackage);
    try {
        package.open(OpenMode::ReadOnly);
    } catch (const PackageNotFound&) {
        return {{"", "nothing"}};
    } catch (const Exception& e) {
        return {{"", e.what()}};
    }
    PackageContent content;
    for (const auto& [name, text] : opc::test::contentOf(package)) {
        // A generated ID may be another one after a fault: its number is used up.
        const auto generated = name.find(" has rId");
        content[generated == std::string::npos ? name : name.substr(0, generated) + " has " + text] = text;
    }
    return content;
}

/// One way to fail: an operation of the physical package, or allocations.
class FaultKind {
public:
    explicit FaultKind(std::optional<Extent> allocations = {}) : allocations_(allocations) {}

    std::string name() const {
        return !allocations_ ? "operations" : isOnce() ? "allocations" : "allocations and all that follow";
    }
    /// Whether it is over with what failed.
    bool isOnce() const { return allocations_ != Extent::AllFrom; }
    /// How many are tried, where the caller does not ask for each of them.
    unsigned long mostTried() const { return allocations_ ? 29 : std::numeric_limits<unsigned long>::max(); }

    /// The package that the action is tried with.
    interfaces::IPhysicalPackage& over(interfaces::IPhysicalPackage& package) {
        failing_ = std::make_unique<FailingPackage>(package, operations_);
        return allocations_ ? package : *failing_;
    }
    /// Has the one of this number fail.
    void arm(unsigned long number) {
        static constexpr errc::errc_t codes[] = {errc::io_error, errc::no_such_file_or_directory,
                                                 errc::permission_denied, errc::no_space_on_device};
        code_ = codes[turn_++ % std::size(codes)];
        if (allocations_)
            allocationFaults = {true, *allocations_, number};
        else
            operations_.arm(number, code_);
    }
    void disarm() {
        allocationFaults.armed = false;
        operations_.disarm();
    }
    unsigned long count() const { return allocations_ ? allocationFaults.count : operations_.count(); }
    /// What failed; empty when nothing did.
    std::string fired() const {
        return !allocations_ ? operations_.fired() : allocationFaults.fired ? "an allocation" : "";
    }

    testing::AssertionResult isDocumented(const std::exception& e, const FaultAction& action) const {
        const std::type_info& thrown = typeid(e);
        if (allocations_ ? thrown != typeid(std::bad_alloc) : action.documented.count(thrown) == 0)
            return testing::AssertionFailure() << "threw " << thrown.name() << ": " << e.what();
        const bool carriesCode =
            thrown == typeid(Exception) || thrown == typeid(PackageOpenFailed) || thrown == typeid(PackageCloseFailed);
        if (carriesCode && dynamic_cast<const Exception&>(e).code() != make_error_condition(code_))
            return testing::AssertionFailure() << "lost the code: " << e.what();
        const bool hasFixedText = allocations_ || thrown == typeid(CouldNotRemoveSignature);
        if (!hasFixedText && std::string(e.what()).find("refused " + fired()) == std::string::npos)
            return testing::AssertionFailure() << "lost the reason: " << e.what();
        const bool isMissing = fired() == "opening" && code_ == errc::no_such_file_or_directory;
        const bool isDenied = fired().starts_with("closing") && fired().find("stream") == std::string::npos &&
                              code_ == errc::permission_denied;
        if ((thrown == typeid(PackageNotFound)) != isMissing || (thrown == typeid(PackagePermissionDenied)) != isDenied)
            return testing::AssertionFailure() << "threw " << thrown.name() << " for " << fired();
        return testing::AssertionSuccess();
    }

private:
    std::optional<Extent> allocations_;
    unsigned long turn_ = 0;
    errc::errc_t code_ = errc::io_error;
    opc::test::OperationFaults operations_;
    std::unique_ptr<FailingPackage> failing_;
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
        before_ = stored(store->package());
        Package package(faults.over(store->package()));
        prepare(package);
        faults.arm(0);
        action.run(package);
        faults.disarm();
        points_ = faults.count();
        package.close();
        after_ = stored(store->package());
    }

    void tryWith(FaultKind& faults, unsigned long number, Afterwards afterwards) {
        const auto store = makeStore();
        const auto bytes = store->bytes();
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
            EXPECT_EQ(store->bytes(), bytes) << "the file was changed";
        }
        ASSERT_FALSE(faults.fired().empty());
        SCOPED_TRACE(faults.fired());
        if (failed && afterwards == Afterwards::TryAgain)
            (action.again ? action.again : action.run)(package);
        package.close(failed && afterwards == Afterwards::Discard);
        const PackageContent saved = stored(store->package());
        if (!failed || (afterwards == Afterwards::TryAgain && !action.stopsHalfWay))
            EXPECT_EQ(saved, after_);
        else if (afterwards == Afterwards::Discard)
            EXPECT_EQ(saved, before_);
        else
            EXPECT_TRUE(saved == before_ || saved.count("") == 0) << saved.at("");
    }

    void tryAll(const StoreKind& store, FaultKind faults) {
        kind_ = store;
        observe(faults);
        observe(faults); // what is made once in a process is there by now
        std::cout << "fault points: " << kind_.name << ' ' << action.name << ": " << points_ << ' ' << faults.name()
                  << '\n';
        unsigned long step = std::max(1UL, points_ / faults.mostTried());
        step += step % 3 == 0 ? 1 : 0; // else each would be followed by the same
        if (std::getenv("OPCRAFT_EVERY_FAULT") != nullptr)
            step = 1;
        const bool canTryAgain = faults.isOnce() || !action.undoes;
        for (unsigned long number = 1; number <= points_ && !HasFailure(); number += step)
            for (const Afterwards afterwards : {Afterwards::Discard, Afterwards::TryAgain, Afterwards::Save}) {
                // Each way after a fault where these are few, else one.
                if ((points_ > 12 && number % 3 != static_cast<unsigned long>(afterwards)) ||
                    (afterwards == Afterwards::TryAgain && !canTryAgain))
                    continue;
                SCOPED_TRACE(kind_.name + ", " + faults.name() + ", number " + std::to_string(number) + ", then way " +
                             std::to_string(static_cast<int>(afterwards)));
                ASSERT_NO_THROW(tryWith(faults, number, afterwards));
            }
    }

private:
    StoreKind kind_;
    PackageContent before_;
    PackageContent after_;
    unsigned long points_ = 0;
};

/// Gives the XML parser memory that does not come from `operator new`: it does not survive every failed allocation.
class ParserMemory final : public testing::Environment, public xercesc::MemoryManager {
public:
    void SetUp() override {
        const char* const locale = xercesc::XMLUni::fgXercescDefaultLocale;
        xercesc::XMLPlatformUtils::Initialize(locale, nullptr, nullptr, this);
    }
    void TearDown() override { xercesc::XMLPlatformUtils::Terminate(); }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    void* allocate(XMLSize_t size) override { return std::malloc(size); }
    void deallocate(void* memory) override { std::free(memory); }
};

const testing::Environment* const parserMemory = testing::AddGlobalTestEnvironment(new ParserMemory);

class MemoryFaults : public Faults {};

StoreKind storeNamed(const std::string& name) {
    for (const StoreKind& kind : opc::test::allStores())
        if (kind.name == name)
            return kind;
    throw std::invalid_argument(name);
}

TEST_P(Faults, OfThePhysicalPackage) {
    for (const char* store : {"Memory", "MemoryWithoutContentTypes", "ZipFile", "ZipBytes"})
        tryAll(storeNamed(store), FaultKind());
}

TEST_P(MemoryFaults, OfEveryAllocation) {
    std::vector<const char*> stores{"Memory", "ZipFile"};
    if (GetParam().mode == OpenMode::ReadOnly || GetParam().name == "OpenReadOnly")
        stores.push_back("Folder");
    for (const char* store : stores)
        for (const Extent extent : {Extent::One, Extent::AllFrom})
            tryAll(storeNamed(store), FaultKind(extent));
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
    for (const char* kind : {"Memory", "ZipFile"})
        for (const std::optional<Extent> allocations : {std::optional<Extent>(), std::optional(Extent::AllFrom)}) {
            FaultKind faults(allocations);
            SCOPED_TRACE(kind + (", " + faults.name()));
            const auto store = storeNamed(kind).make();
            storeSample(store->package());
            const PackageContent before = stored(store->package());
            for (unsigned long number = 1; destroyWith(faults, *store, number); ++number)
                EXPECT_EQ(stored(store->package()), before);
        }
}

TEST(Ranges, AllocateNothing) {
    const auto store = storeNamed("Memory").make();
    storeSample(store->package());
    Package package(store->package());
    package.open(OpenMode::ReadOnly);
    std::size_t seen = 0;
    allocationFaults = {true};
    for (const Part& part : package.parts()) {
        seen += part.getName() == package.parts().begin()->getName() ? 1 : 10;
        for (const Relationship& relationship : part.relationships())
            seen += relationship.getTargetMode() == TargetMode::Internal ? 100 : 1000;
    }
    allocationFaults.armed = false;
    EXPECT_EQ(allocationFaults.count, 0U);
    EXPECT_GT(seen, 111U);
    EXPECT_EQ(package.parts().size(), package.getParts().size());
}

const auto nameOf = [](const auto& test) { return test.param.name; };

INSTANTIATE_TEST_SUITE_P(Actions, Faults, testing::ValuesIn(allFaultActions()), nameOf);
INSTANTIATE_TEST_SUITE_P(Actions, MemoryFaults, testing::ValuesIn(allFaultActions()), nameOf);

} // namespace
} // namespace opc::model::test
