// SPDX-License-Identifier: Apache-2.0
// Changes signature parts as such: beside any byte, their elements, attributes and texts. Linked to the fuzzer of them.
#include "signatures/SignatureMutator.hpp"

#include "Fuzz.hpp"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    if (random() % 4 == 0)
        return LLVMFuzzerMutate(data, size, maximumSize);
    const std::string part(data, data + size);
    const std::string mutant = opc::model::test::SignatureMutator(part, random).mutate();
    if (mutant == part || mutant.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(mutant.begin(), mutant.end(), data);
    return mutant.size();
}
