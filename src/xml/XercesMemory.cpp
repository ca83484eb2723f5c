// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesMemory.hpp"

#include <xercesc/util/OutOfMemoryException.hpp>

#include <functional>
#include <new>
#include <utility>

namespace opc::model {

namespace {

/// Several times what the greediest call takes: to initialise Xerces, or to compile one of the embedded schemas. It
/// costs no memory before it is drawn on.
constexpr std::size_t reserveSize = 4 * 1024 * 1024;

alignas(std::max_align_t) std::byte reserve[reserveSize];

bool isOfReserve(const void* memory) noexcept {
    const std::less<const void*> before;
    return !before(memory, reserve) && before(memory, reserve + reserveSize);
}

thread_local unsigned int uses = 0;
thread_local bool drawnOn = false;

// What an InitializationReserve keeps; the thread that made it is the one that may have it.
constexpr std::size_t keptSize = 64 * 1024;
void* kept = nullptr;
thread_local bool mayHaveKept = false;
std::new_handler otherHandler = nullptr;

void giveKept() {
    if (mayHaveKept && kept != nullptr)
        return ::operator delete(std::exchange(kept, nullptr));
    if (otherHandler == nullptr)
        throw std::bad_alloc();
    otherHandler();
}

/// Null when there is none. What is kept is not for those who have the reserve.
void* allocateFromSystem(std::size_t size) noexcept {
    const bool mayHave = std::exchange(mayHaveKept, false);
    void* memory = ::operator new(size, std::nothrow);
    mayHaveKept = mayHave;
    return memory;
}

} // namespace

XercesMemory& XercesMemory::instance() noexcept {
    alignas(XercesMemory) static std::byte place[sizeof(XercesMemory)];
    static XercesMemory& only = *::new (static_cast<void*>(place)) XercesMemory;
    return only;
}

void* XercesMemory::allocate(XMLSize_t size) {
    void* memory = allocateFromSystem(size);
    if (memory == nullptr && uses != 0)
        memory = allocateFromReserve(size);
    if (memory == nullptr)
        throw xercesc::OutOfMemoryException();
    return memory;
}

void* XercesMemory::allocateFromReserve(std::size_t size) noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    constexpr std::size_t unit = alignof(std::max_align_t);
    if (size > reserveSize - used_)
        return nullptr;
    void* memory = reserve + used_;
    used_ += (size + unit - 1) / unit * unit; // the reserve ends on a whole unit, so this stays inside it
    ++blocks_;
    drawnOn = true;
    return memory;
}

void XercesMemory::deallocate(void* memory) {
    if (isOfReserve(memory))
        returnToReserve();
    else
        ::operator delete(memory);
}

void XercesMemory::returnToReserve() noexcept {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (--blocks_ == 0)
        used_ = 0;
}

InitializationReserve::InitializationReserve() {
    kept = ::operator new(keptSize);
    mayHaveKept = true;
    otherHandler = std::get_new_handler();
    std::set_new_handler(giveKept);
}

InitializationReserve::~InitializationReserve() {
    std::set_new_handler(otherHandler);
    mayHaveKept = false;
    ::operator delete(std::exchange(kept, nullptr));
}

ReserveUse::ReserveUse() noexcept {
    if (uses++ == 0)
        drawnOn = false;
}

ReserveUse::~ReserveUse() {
    --uses;
}

void ReserveUse::throwIfDrawnOn() {
    if (drawnOn)
        throw std::bad_alloc();
}

} // namespace opc::model
