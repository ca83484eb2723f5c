// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/core/PlainContentTypes.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>

#include "model/Reading.hpp"
#include "xml/XmlWriting.hpp"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace opc::interfaces {
class IPhysicalOtherItems;
class IPhysicalPackage;
} // namespace opc::interfaces

namespace opc::model {

class ContentTypePieces;
struct ContentTypeDeclaration;

/// The content types of an open package and the content types stream that holds them (ECMA-376-2 §7.2.3).
///
/// A Default lives as long as parts use it: one that no part used when the package was opened is not written back. A
/// new extension becomes a Default. Where the store reports items of an extension that are not parts, other
/// programs may use a Default for them: an existing one is kept, and none is added.
class ContentTypeSource {
public:
    /// Reads the content types stream, if the package has one and was not just created.
    /// @throws PackageOpenFailed when the store cannot deliver it.
    /// @throws InvalidXMLDocument, InvalidContentTypeStream, InvalidContentType when it is malformed.
    /// @param limits those for XML count.
    /// @param reading where a malformed one goes to. Elements that are wrong are kept, and written behind the others;
    ///        of a stream that cannot be taken to pieces there are no content types, and nothing is added to it.
    ContentTypeSource(interfaces::IPhysicalPackage& physicalPackage, bool createOnly, const Limits& limits = {},
                      const Reading& reading = Reading());

    /// Whether what the stream says is known, if there is one.
    bool isReadable() const noexcept { return isReadable_; }
    /// Whether it is known whole.
    bool isWhole() const noexcept { return isReadable_ && kept_.empty(); }

    /// Tells of an item that is no part, although its name is one: no Default will make it one.
    void leaveOut(const PartName& name);

    /// @param takeReference true: the part is counted as a user of the entry.
    /// @throws ContentTypeNotFound
    ContentType getContentType(const PartName& name, bool takeReference);
    void addContentType(const PartName& name, const ContentType& type);
    void removeContentType(const PartName& name);

    /// A change in two steps: what may fail is prepared first, and committed after the store has succeeded.
    struct Addition;
    Addition prepareAddition(const PartName& name, const ContentType& type) const;
    void add(Addition&& addition) noexcept;
    struct Removal;
    Removal prepareRemoval(const PartName& name) const;
    void remove(const Removal& removal) noexcept;

    /// A part gets another name, another type, or both. What may fail for lack of memory is not prepared.
    void change(const PartName& name, const PartName& newName, const ContentType& newType);

    /// Writes the stream when it changed.
    /// @throws InvalidContentTypeStream
    void save();

private:
    struct Default {
        ContentType contentType;
        unsigned long useCount;
        std::u16string extension; ///< as it stands in the stream
    };
    using Defaults = std::map<std::u16string, Default>; ///< by the extension in lower case
    /// Orders part names as they compare.
    struct NameLess {
        using is_transparent = void;
        template <class A, class B>
        bool operator()(const A& a, const B& b) const noexcept {
            return a < b;
        }
        bool operator()(const std::u16string& a, const std::u16string& b) const noexcept {
            return caselessCompare(a, b) < 0;
        }
    };
    using Overrides = std::map<std::u16string, ContentType, NameLess>; ///< by part names as they stand in the stream

    Overrides::const_iterator findOverride(const PartName& name);
    bool eraseOverride(const PartName& name) noexcept;
    bool takeFromStore();
    bool take(detail::ContentTypeTable&& table);
    friend class ContentTypePieces;
    void load(const Reading& reading);
    void read(const std::vector<unsigned char>& bytes, ContentTypePieces& pieces);
    void add(ContentTypeDeclaration&& declaration);
    std::vector<unsigned char> writeDocument() const;

    bool hasOtherItems(const std::u16string& extension) const;

    interfaces::IPhysicalPackage& physicalPackage_;
    const interfaces::IPhysicalOtherItems* otherItems_; ///< null for a store that does not implement the interface
    const Limits limits_;
    bool dirty_ = false;
    bool present_ = false;
    bool isReadable_ = true;
    Defaults defaults_;
    Overrides overrides_;
    KeptXml kept_;                                ///< what is wrong
    std::set<std::u16string> leftOut_;            ///< the extensions of items that are no parts, in lower case
    Overrides::iterator next_ = overrides_.end(); ///< a hint for the next search: an entry or the end
};

/// How the entries change when a part is added: one new entry, or one more user of a Default.
struct ContentTypeSource::Addition {
    PartName name;
    std::u16string extension;
    Defaults newDefault{};
    Overrides newOverride{};
};

/// The entry that loses a user when a part is deleted.
struct ContentTypeSource::Removal {
    PartName name;
    std::u16string extension;
    bool keepsDefault; ///< even without users
};

} // namespace opc::model
