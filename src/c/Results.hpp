// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace opc::c {

/// Memory for what a result refers to: texts, structures and lists, all freed at once.
class Pool {
public:
    /// A copy with a zero byte behind it. What is not UTF-8, as in the path of a file, becomes U+FFFD.
    const char* keep(std::string_view text) {
        if (std::any_of(text.begin(), text.end(), [](char each) { return static_cast<unsigned char>(each) > 0x7F; }))
            return keepUTF8(opc::detail::toUTF8String(toString(text, false)));
        return keepUTF8(text);
    }
    const char* keep(std::u16string_view text) { return keepUTF8(opc::detail::toUTF8String(text, false)); }
    /// Null for an empty text.
    const char* keepOrNull(std::string_view text) { return text.empty() ? nullptr : keep(text); }
    const char* keepOrNull(std::u16string_view text) { return text.empty() ? nullptr : keep(text); }
    /// A structure whose fields are zero but for its size.
    template <class Structure>
    Structure* make() {
        static_assert(std::is_trivially_destructible_v<Structure>);
        auto* made = new (memory_.allocate(sizeof(Structure), alignof(Structure))) Structure{};
        made->size = sizeof(Structure);
        return made;
    }

    template <class Element>
    const Element* const* list(const std::vector<Element*>& elements) {
        auto* copy =
            static_cast<const Element**>(memory_.allocate((elements.size() + 1) * sizeof(Element*), alignof(Element*)));
        *std::copy(elements.begin(), elements.end(), copy) = nullptr;
        return copy;
    }

    /// A copy of what is no text.
    const void* keepBytes(const std::vector<unsigned char>& bytes) {
        auto* copy = static_cast<unsigned char*>(memory_.allocate(bytes.size() + 1, 1));
        std::copy(bytes.begin(), bytes.end(), copy);
        return copy;
    }

    /// The texts of a range, as `keep` takes them.
    template <class Range>
    const char* const* texts(const Range& range, std::size_t& count) {
        std::vector<const char*> kept;
        for (const auto& text : range)
            kept.push_back(keep(text));
        count = kept.size();
        return list<const char>(kept);
    }

    /// A list of structures, one for each element of a range; `fill(structure, element)` fills each.
    template <class Structure, class Range, class Fill>
    const Structure* const* structures(const Range& range, std::size_t& count, Fill fill) {
        std::vector<Structure*> made;
        for (const auto& element : range) {
            made.push_back(make<Structure>());
            fill(*made.back(), element);
        }
        count = made.size();
        return list<Structure>(made);
    }

private:
    const char* keepUTF8(std::string_view text) {
        char* copy = static_cast<char*>(memory_.allocate(text.size() + 1, 1));
        *std::copy(text.begin(), text.end(), copy) = '\0';
        return copy;
    }

    std::pmr::monotonic_buffer_resource memory_;
};

/// A structure that a caller gets and frees as a whole, with the memory for all that it refers to.
template <class Structure>
class Result : public Structure {
public:
    Result() : Structure{} { this->size = sizeof(Structure); }

    Pool pool{};
};

template <class Structure>
std::unique_ptr<Result<Structure>> makeResult() {
    return std::make_unique<Result<Structure>>();
}

template <class Structure>
void freeResult(Structure* structure) noexcept {
    delete static_cast<Result<Structure>*>(structure);
}

} // namespace opc::c
