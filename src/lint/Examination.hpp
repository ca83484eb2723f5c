// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/lint/Lint.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>

#include "lint/FindingList.hpp"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace opc::interfaces {
class IPhysicalPackage;
}

namespace opc::lint {

/// UTF-8 for findings.
std::string toText(std::u16string_view text);

/// A value in quotation marks, shortened when it is long.
std::string inQuotes(std::string_view value);
std::string inQuotes(std::u16string_view value);

/// Whether two texts are equal with the ASCII letters folded.
bool isSame(std::u16string_view a, std::u16string_view b) noexcept;

/// The content type of a part without its parameters, in lower case.
std::u16string mediaTypeOf(const model::ContentType& type);

/// A relationship and where it leads.
struct Link {
    const model::RelationshipSource& source;
    const model::Relationship& relationship;
    std::u16string type;
    std::u16string path{};               ///< of an internal target, resolved; empty when that is outside the package
    const model::Part* target = nullptr; ///< null when it is not a part

    bool isOfPackage() const;
    bool isExternal() const noexcept { return relationship.getTargetMode() == model::TargetMode::External; }
};

/// An open package and what is found in it. The checks ask here for what several of them need.
class Examination {
public:
    Examination(const model::Package& package, interfaces::IPhysicalPackage& store, const Options& options,
                FindingList& findings);
    ~Examination();
    Examination(const Examination&) = delete;
    Examination& operator=(const Examination&) = delete;

    const model::Package& getPackage() const noexcept { return package_; }
    interfaces::IPhysicalPackage& getStore() const noexcept { return store_; }
    const Options& getOptions() const noexcept { return options_; }
    FindingList& getFindings() const noexcept { return findings_; }
    /// Without content types there are none; where relationships lead is not known then.
    bool hasParts() const noexcept { return !parts_.empty(); }
    /// In the order of their names, without relationships parts.
    const std::vector<model::Part>& getParts() const noexcept { return parts_; }
    /// As `mediaTypeOf` its content type.
    /// @param part of `getParts`.
    const std::u16string& getMediaType(const model::Part& part) const {
        return *mediaTypeOfParts_[static_cast<std::size_t>(&part - parts_.data())];
    }
    /// The names of all parts and relationships parts in the order of the store.
    const std::vector<std::u16string>& getNames() const noexcept { return names_; }

    /// @return null when there is no such part.
    const model::Part* findPart(std::u16string_view name) const;
    /// A part, or the package for "/".
    /// @return null when there is no such part.
    const model::RelationshipSource* findSource(std::u16string_view name) const;
    /// Also of a relationships part.
    bool hasItem(std::u16string_view name) const;

    Link resolve(const model::RelationshipSource& source, const model::Relationship& relationship) const;

    /// Reads an item. When it is damaged, that is reported instead; one that is missing is passed over.
    template <class Read>
    void readItem(std::u16string_view item, Read read) {
        try {
            read();
        } catch (const Exception& e) {
            reportDamage(item, e);
        }
    }

    void report(RuleId rule, ErrorPlace place, const std::string& message);
    void reportItem(RuleId rule, std::u16string_view item, const std::string& message);
    /// Something about the target of a relationship, or another attribute of it.
    void reportLink(RuleId rule, const Link& link, const std::string& message, bool isAboutType = false);

private:
    class Lines;

    /// @throws the error that is being handled, when it is another.
    void reportDamage(std::u16string_view item, const Exception& error);
    const Lines& linesOf(const model::RelationshipSource& source, const std::string& item);

    const model::Package& package_;
    interfaces::IPhysicalPackage& store_;
    const Options& options_;
    FindingList& findings_;
    std::vector<model::Part> parts_;
    std::map<model::ContentType, std::u16string> mediaTypes_;
    std::vector<const std::u16string*> mediaTypeOfParts_;
    std::vector<std::u16string> names_;
    std::set<std::u16string> relationshipsParts_; ///< their names in lower case
    std::unique_ptr<Lines> lines_;                ///< of the relationships part that was last asked for
};

/// All bytes of a stored item.
template <class Stream>
std::vector<unsigned char> readAll(Stream& stream) {
    std::vector<unsigned char> bytes;
    unsigned char block[16UL * 1024];
    stream.open();
    while (const unsigned long count = stream.read(block, sizeof block))
        bytes.insert(bytes.end(), block, block + count);
    stream.close();
    return bytes;
}

} // namespace opc::lint
