// SPDX-License-Identifier: Apache-2.0
// Changes signature parts as such: beside any byte, their elements, attributes and texts. Linked to the fuzzer of them.
#include "Fuzz.hpp"

#include <algorithm>
#include <iterator>
#include <random>

namespace {

using Tokens = std::vector<std::string>; // tags, and texts between them

constexpr std::string_view CHARACTERS = "ABCXYZabcxyz0189+/= \"'&<>#:";
constexpr std::string_view CONTENT[] = {
    "<!-- -->", "<?p?>", " ", "&#xD;", "<![CDATA[ ]]>", "<x:y xmlns:x=\"urn:x\"/>", "<Object Id=\"idPackageObject\"/>",
};
constexpr std::string_view ATTRIBUTES[] = {
    " Id=\"x\"", " Id=\"idPackageObject\"", " xmlns=\"\"", " xmlns:x=\"urn:x\"", " xml:lang=\"en\"",
};

Tokens split(const std::string& part) {
    Tokens tokens;
    for (std::size_t start = 0; start < part.size();) {
        const bool isText = part[start] != '<';
        const std::size_t found = part.find(isText ? '<' : '>', start);
        const std::size_t end = found == std::string::npos ? part.size() : found + (isText ? 0 : 1);
        tokens.push_back(part.substr(start, end - start));
        start = end;
    }
    return tokens;
}

/// Behind the element that starts there, if one does; else behind the token.
std::size_t endOf(const Tokens& tokens, std::size_t at) {
    int depth = 0;
    do {
        const std::string& token = tokens[at];
        const bool isTag = token[0] == '<' && token.size() > 2 && token[1] != '!' && token[1] != '?';
        depth += !isTag || token[token.size() - 2] == '/' ? 0 : token[1] == '/' ? -1 : 1;
    } while (++at < tokens.size() && depth > 0);
    return at;
}

void mutate(Tokens& tokens, std::minstd_rand& random) {
    const std::size_t at = random() % tokens.size(), other = random() % tokens.size();
    const auto place = [&](std::size_t index) { return tokens.begin() + static_cast<std::ptrdiff_t>(index); };
    const Tokens element(place(at), place(endOf(tokens, at)));
    std::string& token = tokens[at];
    switch (random() % 6) {
    case 0:
        std::swap(token, tokens[other]);
        break;
    case 1:
        tokens.erase(place(at), place(endOf(tokens, at)));
        break;
    case 2:
        tokens.insert(place(other), element.begin(), element.end());
        break;
    case 3:
        tokens.emplace(place(at), CONTENT[random() % std::size(CONTENT)]);
        break;
    case 4:
        token.insert(std::min(token.find_first_of(" />", 1), token.size()),
                     ATTRIBUTES[random() % std::size(ATTRIBUTES)]);
        break;
    default:
        token[random() % token.size()] = CHARACTERS[random() % CHARACTERS.size()];
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    Tokens tokens = split(std::string(data, data + size));
    if (random() % 4 == 0 || tokens.empty())
        return LLVMFuzzerMutate(data, size, maximumSize);
    mutate(tokens, random);
    std::string mutant;
    for (const std::string& token : tokens)
        mutant += token;
    if (mutant.empty() || mutant.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(mutant.begin(), mutant.end(), data);
    return mutant.size();
}
