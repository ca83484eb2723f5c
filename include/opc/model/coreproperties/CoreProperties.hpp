// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Strings.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::model {

/// The core properties of a package (ECMA-376-2 §8): fifteen properties, each present or absent. A present text may be
/// empty. A plain value; times are UTC. Setters take UTF-16, or UTF-8 as `fromUTF8` reads it; `toUTF8` gives UTF-8 of
/// what the getters return.
class OPCRAFT_API CoreProperties {
public:
    using Text = std::optional<std::u16string>;
    using Time = std::optional<boost::posix_time::ptime>;
    /// Keyword and language tag; an empty tag is none.
    using Keyword = std::pair<std::u16string, std::u16string>;
    using Keywords = std::optional<std::vector<Keyword>>;

    Text getCategory() const { return category_; }
    void setCategory(const std::u16string& value) { category_ = value; }
    void setCategory(std::string_view utf8) { category_ = fromUTF8(utf8); }
    Text getContentStatus() const { return contentStatus_; }
    void setContentStatus(const std::u16string& value) { contentStatus_ = value; }
    void setContentStatus(std::string_view utf8) { contentStatus_ = fromUTF8(utf8); }
    Time getCreated() const { return created_; }
    void setCreated(const boost::posix_time::ptime& value) { created_ = value; }
    Text getCreator() const { return creator_; }
    void setCreator(const std::u16string& value) { creator_ = value; }
    void setCreator(std::string_view utf8) { creator_ = fromUTF8(utf8); }
    Text getDescription() const { return description_; }
    void setDescription(const std::u16string& value) { description_ = value; }
    void setDescription(std::string_view utf8) { description_ = fromUTF8(utf8); }
    Text getIdentifier() const { return identifier_; }
    void setIdentifier(const std::u16string& value) { identifier_ = value; }
    void setIdentifier(std::string_view utf8) { identifier_ = fromUTF8(utf8); }
    /// The first keyword is stored before all others, as the text of their element. A copy, as from every
    /// getter: store it before iterating.
    Keywords getKeywords() const { return keywords_; }
    /// An empty list is present, but it cannot be stored: it is absent when it is read back.
    void setKeywords(const std::vector<Keyword>& value) { keywords_ = value; }
    Text getLanguage() const { return language_; }
    void setLanguage(const std::u16string& value) { language_ = value; }
    void setLanguage(std::string_view utf8) { language_ = fromUTF8(utf8); }
    Text getLastModifiedBy() const { return lastModifiedBy_; }
    void setLastModifiedBy(const std::u16string& value) { lastModifiedBy_ = value; }
    void setLastModifiedBy(std::string_view utf8) { lastModifiedBy_ = fromUTF8(utf8); }
    Time getLastPrinted() const { return lastPrinted_; }
    void setLastPrinted(const boost::posix_time::ptime& value) { lastPrinted_ = value; }
    Time getModified() const { return modified_; }
    void setModified(const boost::posix_time::ptime& value) { modified_ = value; }
    Text getRevision() const { return revision_; }
    void setRevision(const std::u16string& value) { revision_ = value; }
    void setRevision(std::string_view utf8) { revision_ = fromUTF8(utf8); }
    Text getSubject() const { return subject_; }
    void setSubject(const std::u16string& value) { subject_ = value; }
    void setSubject(std::string_view utf8) { subject_ = fromUTF8(utf8); }
    Text getTitle() const { return title_; }
    void setTitle(const std::u16string& value) { title_ = value; }
    void setTitle(std::string_view utf8) { title_ = fromUTF8(utf8); }
    Text getVersion() const { return version_; }
    void setVersion(const std::u16string& value) { version_ = value; }
    void setVersion(std::string_view utf8) { version_ = fromUTF8(utf8); }

    /// Adds a keyword to those that there are. UTF-8.
    void addKeyword(std::string_view keyword, std::string_view language = {});

    /// Makes every property absent.
    void clear();
    /// True when every property is absent; a present empty text is not absent.
    bool isEmpty() const;

private:
    Text category_;
    Text contentStatus_;
    Time created_;
    Text creator_;
    Text description_;
    Text identifier_;
    Keywords keywords_;
    Text language_;
    Text lastModifiedBy_;
    Time lastPrinted_;
    Time modified_;
    Text revision_;
    Text subject_;
    Text title_;
    Text version_;
};

} // namespace opc::model
