// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cctype>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::model::test {

/// Changes a signature part: bytes, tokens (tags, and texts between them), elements, attributes, base64.
class SignatureMutator {
public:
    SignatureMutator(const std::string& part, std::minstd_rand& random) : random_(random) {
        for (std::size_t start = 0; start < part.size();) {
            const bool isText = part[start] != '<';
            const std::size_t found = part.find(isText ? '<' : '>', start);
            const std::size_t end = found == std::string::npos ? part.size() : found + (isText ? 0 : 1);
            tokens_.push_back(part.substr(start, end - start));
            start = end;
        }
    }

    /// A text without tags stays as it is.
    std::string mutate() {
        static void (SignatureMutator::*const changes[])() = {
            &SignatureMutator::changeByte,     &SignatureMutator::swapTokens,       &SignatureMutator::dropToken,
            &SignatureMutator::putSnippet,     &SignatureMutator::duplicateElement, &SignatureMutator::removeElement,
            &SignatureMutator::moveElement,    &SignatureMutator::wrapElement,      &SignatureMutator::dropAttribute,
            &SignatureMutator::swapAttributes, &SignatureMutator::putInTag,         &SignatureMutator::changeAttribute,
            &SignatureMutator::changeBase64,   &SignatureMutator::changeBase64,     &SignatureMutator::changeText,
            &SignatureMutator::writeOtherwise,
        };
        for (std::size_t count = 1 + below(8) / 6; count > 0 && std::any_of(tokens_.begin(), tokens_.end(), isTag);
             --count)
            (this->*changes[below(std::size(changes))])();
        std::string part;
        for (const std::string& token : tokens_)
            part += token;
        return part;
    }

private:
    static constexpr std::string_view BASE64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/= ";
    /// What a mutation puts in, where it puts in something else than noise and pieces of the part itself.
    static constexpr std::string_view SNIPPETS[] = {
        "<!-- -->",
        "<?p?>",
        " ",
        "\n",
        "&#32;",
        "&#xD;",
        "<![CDATA[ ]]>",
        "text",
        "<x:y xmlns:x=\"urn:x\"/>",
        "<Object Id=\"x\">text</Object>",
        "<Object Id=\"idPackageObject\"/>",
        "<KeyName>Ada</KeyName>",
        "<Reference URI=\"#x\" Type=\"http://www.w3.org/2000/09/xmldsig#Object\"/>",
        "<Transforms><Transform Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/></Transforms>",
        " Id=\"x\"",
        " Id=\"idPackageObject\"",
        " xml:lang=\"en\"",
        " xmlns=\"http://www.w3.org/2000/09/xmldsig#\"",
        " xmlns=\"\"",
        " xmlns:x=\"urn:x\"",
        " xmlns:pds=\"http://schemas.openxmlformats.org/package/2006/digital-signature\"",
        " xsi:schemaLocation=\"a b\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"",
    };

    std::size_t below(std::size_t limit) { return random_() % limit; }
    std::string& anyToken() { return tokens_[below(tokens_.size())]; }
    auto at(std::size_t index) { return tokens_.begin() + static_cast<std::ptrdiff_t>(index); }

    static bool isTag(const std::string& token) {
        return token[0] == '<' && token.size() > 1 && std::isalpha(static_cast<unsigned char>(token[1])) != 0;
    }
    static bool isEmptyTag(const std::string& token) { return token[token.size() - 2] == '/'; }

    std::size_t anyTag() {
        std::size_t index = below(tokens_.size());
        while (!isTag(tokens_[index]))
            index = (index + 1) % tokens_.size();
        return index;
    }

    /// Behind the end of the element that starts there.
    std::size_t endOf(std::size_t index) const {
        int depth = 0;
        do {
            depth += isTag(tokens_[index]) && !isEmptyTag(tokens_[index]) ? 1 : tokens_[index][1] == '/' ? -1 : 0;
        } while (++index < tokens_.size() && depth > 0);
        return index;
    }

    /// Where the attributes of a tag are, names and values.
    static std::vector<std::pair<std::size_t, std::size_t>> attributesOf(const std::string& tag) {
        std::vector<std::pair<std::size_t, std::size_t>> found;
        std::size_t start = tag.find(' ');
        while (start < tag.size() && tag.find('"', start) < tag.size()) {
            const std::size_t end = tag.find('"', tag.find('"', start) + 1) + 1;
            if (end == 0)
                break;
            found.emplace_back(start, end - start);
            start = end;
        }
        return found;
    }

    /// A tag with attributes, and one of them; nothing when chance finds none.
    std::optional<std::pair<std::size_t, std::pair<std::size_t, std::size_t>>> anyAttribute() {
        const std::size_t tag = anyTag();
        const auto attributes = attributesOf(tokens_[tag]);
        if (attributes.empty())
            return std::nullopt;
        return std::pair{tag, attributes[below(attributes.size())]};
    }

    void changeByte() {
        std::string& token = anyToken();
        const std::size_t position = below(token.size());
        const char byte = static_cast<char>(below(3) == 0 ? below(256) : ' ' + below(95));
        switch (below(3)) {
        case 0:
            token[position] = byte;
            break;
        case 1:
            token.insert(position, 1, byte);
            break;
        default:
            if (token.size() > 2)
                token.erase(position, 1);
        }
    }
    void swapTokens() { std::swap(anyToken(), anyToken()); }
    void dropToken() { tokens_.erase(at(below(tokens_.size()))); }
    void putSnippet() { tokens_.emplace(at(below(tokens_.size())), SNIPPETS[below(std::size(SNIPPETS))]); }

    void duplicateElement() {
        const std::size_t start = anyTag();
        const std::vector<std::string> copy(at(start), at(endOf(start)));
        tokens_.insert(at(below(4) == 0 ? below(tokens_.size()) : start), copy.begin(), copy.end());
    }
    void removeElement() {
        const std::size_t start = anyTag();
        tokens_.erase(at(start), at(endOf(start)));
        tokens_.emplace_back(" ");
    }
    void moveElement() {
        const std::size_t start = anyTag();
        const std::vector<std::string> moved(at(start), at(endOf(start)));
        tokens_.erase(at(start), at(endOf(start)));
        tokens_.emplace_back(" ");
        tokens_.insert(at(below(tokens_.size())), moved.begin(), moved.end());
    }
    void wrapElement() {
        const std::size_t start = anyTag();
        const std::string wrapper = below(2) == 0 ? "Object" : "KeyInfo";
        tokens_.insert(at(endOf(start)), "</" + wrapper + '>');
        tokens_.insert(at(start), '<' + wrapper + (below(2) == 0 ? " Id=\"x\">" : ">"));
    }

    void dropAttribute() {
        if (const auto found = anyAttribute())
            tokens_[found->first].erase(found->second.first, found->second.second);
    }
    void swapAttributes() {
        const auto one = anyAttribute();
        const auto other = anyAttribute();
        if (!one || !other || one->first == other->first)
            return;
        const std::string text = tokens_[one->first].substr(one->second.first, one->second.second);
        const std::string otherText = tokens_[other->first].substr(other->second.first, other->second.second);
        tokens_[one->first].replace(one->second.first, one->second.second, otherText);
        tokens_[other->first].replace(other->second.first, other->second.second, text);
    }
    void changeAttribute() {
        const auto found = anyAttribute();
        if (!found)
            return;
        const std::size_t position = found->second.first + below(found->second.second);
        if (below(2) == 0)
            tokens_[found->first][position] = BASE64[below(BASE64.size())];
        else // also white space beside the value, which a schema may take away
            tokens_[found->first].insert(below(2) == 0 ? position : found->second.first + found->second.second - 1,
                                         " ");
    }
    void putInTag() {
        std::string& tag = tokens_[anyTag()];
        const std::size_t end = std::min(tag.find_first_of(" />", 1), tag.size());
        tag.insert(end, SNIPPETS[below(std::size(SNIPPETS))]);
    }

    std::string& anyText() {
        std::size_t index = below(tokens_.size());
        while (tokens_[index][0] == '<' && index + 1 < tokens_.size())
            ++index;
        return tokens_[index];
    }

    void changeBase64() {
        std::string& text = anyText();
        text[below(text.size())] = BASE64[below(BASE64.size())];
    }
    void changeText() {
        std::string& text = anyText();
        text.insert(below(text.size()), 1, BASE64[below(BASE64.size())]);
    }

    /// The same in other bytes, as far as XML goes.
    void writeOtherwise() {
        std::string& token = anyToken();
        const std::size_t quote = token.find('"');
        if (!isTag(token) && token[0] != '<')
            token.replace(0, 1, "&#" + std::to_string(static_cast<unsigned char>(token[0])) + ';');
        else if (isTag(token) && std::count(token.begin(), token.end(), '"') > 1 && below(2) == 0)
            token.replace(quote, 1, "'").replace(token.find('"', quote), 1, "'");
        else if (isTag(token) && isEmptyTag(token))
            token.replace(token.size() - 2, 2, "></" + token.substr(1, token.find_first_of(" /") - 1) + '>');
        else if (isTag(token))
            token.insert(token.size() - 1, "\n");
    }

    std::minstd_rand& random_;
    std::vector<std::string> tokens_;
};

} // namespace opc::model::test
