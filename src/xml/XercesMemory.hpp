// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/framework/MemoryManager.hpp>

#include <cstddef>
#include <mutex>

namespace opc::model {

/// Where Xerces takes its memory from while this library initialised it.
///
/// Xerces does not get over every failed allocation: out of memory, it destroys half-made content models of a schema
/// whose members were never set, gives up the process while it is initialised, and leaks elsewhere. So within a call of
/// this library it never meets one. What the system refuses comes out of a reserve that is kept for that alone, and the
/// call ends in `std::bad_alloc` as soon as Xerces can be left. Outside of such calls (an application may use Xerces
/// itself) and when even the reserve is used up, Xerces is told.
class XercesMemory final : public xercesc::MemoryManager {
public:
    /// The only one; it is never destroyed, since Xerces may be terminated by a static object.
    static XercesMemory& instance() noexcept;

    /// @throws xercesc::OutOfMemoryException
    void* allocate(XMLSize_t size) override;
    void deallocate(void* memory) override;
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }

private:
    XercesMemory() = default;

    void* allocateFromReserve(std::size_t size) noexcept;
    void returnToReserve() noexcept;

    std::mutex mutex_;
    std::size_t used_ = 0;   ///< bytes of the reserve, from its start
    std::size_t blocks_ = 0; ///< blocks of the reserve that are in use; with the last of them all of it is free again
};

/// Keeps memory for the few objects that Xerces makes with plain `new` while it is initialised: it would end the
/// process for want of them. Made by one thread at a time.
class InitializationReserve {
public:
    /// @throws std::bad_alloc
    InitializationReserve();
    ~InitializationReserve();

    InitializationReserve(const InitializationReserve&) = delete;
    InitializationReserve& operator=(const InitializationReserve&) = delete;
};

/// Lets what this thread does with Xerces draw on the reserve, as long as one of these lives. They nest.
class ReserveUse {
public:
    ReserveUse() noexcept;
    ~ReserveUse();

    ReserveUse(const ReserveUse&) = delete;
    ReserveUse& operator=(const ReserveUse&) = delete;

    /// @throws std::bad_alloc when the reserve was drawn on since the outermost of these began.
    static void throwIfDrawnOn();
};

} // namespace opc::model
