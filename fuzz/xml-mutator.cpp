// SPDX-License-Identifier: Apache-2.0
// Changes XML as such: beside any byte, its elements, tags and texts. Linked to the fuzzers whose inputs are XML.
#include "Mutator.hpp"

namespace {

using Tokens = std::vector<std::string>; // tags, and texts between them

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

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    Tokens tokens = split(std::string(data, data + size));
    std::string mutant;
    if (random() % 4 != 0 && !tokens.empty()) {
        const std::size_t at = random() % tokens.size();
        if (random() % 2 == 0)
            opc::fuzz::mutate(tokens[at], maximumSize);
        else
            opc::fuzz::rearrange(tokens, at, endOf(tokens, at), random);
        for (const std::string& token : tokens)
            mutant += token;
    }
    return opc::fuzz::put(mutant, data, size, maximumSize);
}
