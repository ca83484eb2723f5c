// SPDX-License-Identifier: Apache-2.0
#include "AllocationFaults.hpp"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

using Alignment = std::align_val_t;

bool fails() noexcept {
    opc::test::AllocationFaults& faults = opc::test::allocationFaults;
    if (!faults.armed || (faults.fired && faults.extent == opc::test::Extent::One))
        return false;
    faults.fired = faults.fired || ++faults.count == faults.failing;
    return faults.fired;
}

void* allocate(std::size_t size, Alignment alignment) noexcept {
    if (fails())
        return nullptr;
    const auto unit = static_cast<std::size_t>(alignment);
    if (unit <= alignof(std::max_align_t))
        return std::malloc(size == 0 ? 1 : size);
    return std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
}

void* allocateOrThrow(std::size_t size, Alignment alignment = Alignment(1)) {
    void* memory = allocate(size, alignment);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

} // namespace

// All forms for one object stand here, so that none is left to another pair of functions; those for arrays use them.
// clang-format off
using Nothrow = std::nothrow_t;
void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, Alignment alignment) { return allocateOrThrow(size, alignment); }
void* operator new(std::size_t size, const Nothrow&) noexcept { return allocate(size, Alignment(1)); }
void* operator new(std::size_t size, Alignment alignment, const Nothrow&) noexcept { return allocate(size, alignment); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, Alignment) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, Alignment) noexcept { std::free(memory); }
void operator delete(void* memory, const Nothrow&) noexcept { std::free(memory); }
void operator delete(void* memory, Alignment, const Nothrow&) noexcept { std::free(memory); }
// clang-format on
