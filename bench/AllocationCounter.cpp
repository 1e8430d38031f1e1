/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<uint64_t> allocations{0};

void* countedAlloc(size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    void* p = malloc(size == 0 ? 1 : size);
    if (p == nullptr) {
        abort();
    }
    return p;
}
}  // namespace

uint64_t com::vyr::plim::bench::AllocationCounter::count() {
    return allocations.load(std::memory_order_relaxed);
}

void* operator new(size_t size) {
    return countedAlloc(size);
}
void* operator new[](size_t size) {
    return countedAlloc(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return countedAlloc(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return countedAlloc(size);
}
void operator delete(void* p) noexcept {
    free(p);
}
void operator delete[](void* p) noexcept {
    free(p);
}
void operator delete(void* p, size_t) noexcept {
    free(p);
}
void operator delete[](void* p, size_t) noexcept {
    free(p);
}
