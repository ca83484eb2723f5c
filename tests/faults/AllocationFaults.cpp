// SPDX-License-Identifier: Apache-2.0
#include "AllocationFaults.hpp"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace opc::test::allocations {

namespace {

struct State {
    bool armed = false;
    Kind kind = Kind::Library;
    Extent extent = Extent::One;
    unsigned long failing = 0;
    unsigned long count = 0;
    bool fired = false;
};

thread_local State state;

bool fails(Kind kind) noexcept {
    if (!state.armed)
        return false;
    if (state.fired && state.extent == Extent::AllFrom)
        return true;
    if (kind != state.kind || ++state.count != state.failing)
        return false;
    state.fired = true;
    return true;
}

} // namespace

void arm(Kind kind, Extent extent, unsigned long number) noexcept {
    state = {true, kind, extent, number};
}

void disarm() noexcept {
    state.armed = false;
}

unsigned long count() noexcept {
    return state.count;
}

bool fired() noexcept {
    return state.fired;
}

namespace {

/// As the standard lays down, a new handler is asked for memory before an allocation fails. What it finds ends the
/// shortage.
/// @throws std::bad_alloc when there is none.
void askNewHandler() {
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr)
        throw std::bad_alloc();
    handler();
    state.extent = Extent::One;
}

void* allocate(Kind kind, std::size_t size, std::size_t alignment) {
    if (fails(kind))
        askNewHandler();
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(size == 0 ? 1 : size);
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

void* allocateOrThrow(std::size_t size, std::size_t alignment) {
    void* memory = allocate(Kind::Library, size, alignment);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

void* allocateOrNull(std::size_t size, std::size_t alignment) noexcept {
    try {
        return allocate(Kind::Parser, size, alignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace
} // namespace opc::test::allocations

using opc::test::allocations::allocateOrNull;
using opc::test::allocations::allocateOrThrow;

// All forms stand here, so that none is left to another pair of functions.

void* operator new(std::size_t size) {
    return allocateOrThrow(size, 1);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size, 1);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, 1);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    std::free(memory);
}
