#include "tests/support/Allocations.h"

#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

using test::Allocations;

// Out of line: GCC would take the pair of malloc and delete for a mistake.
[[gnu::noinline]] void* allocate(std::size_t size) {
    std::size_t largest = Allocations::largest;
    while (size > largest && !Allocations::largest.compare_exchange_weak(largest, size)) continue;
    if (Allocations::left == 0) {
        if (Allocations::only_one) Allocations::left = -1;
        throw std::bad_alloc();
    }
    if (Allocations::left > 0) --Allocations::left;
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (!memory) throw std::bad_alloc();
    Allocations::in_use += std::ptrdiff_t(malloc_usable_size(memory));
    return memory;
}
[[gnu::noinline]] void release(void* memory) noexcept {
    Allocations::in_use -= std::ptrdiff_t(malloc_usable_size(memory));
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
