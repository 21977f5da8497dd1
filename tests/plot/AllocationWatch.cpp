#include "AllocationWatch.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define WATCHED_BY_SANITIZER
// Of the sanitizers' run time, whose headers not every compiler brings along.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, std::size_t),
                                              void (*onFree)(const volatile void*));
std::size_t __sanitizer_get_allocated_size(const volatile void* pointer);
}
#endif

namespace plottest {
namespace {

std::atomic<bool> watching{false};
std::atomic<std::int64_t> inUse{0};
std::atomic<std::int64_t> peak{0};
std::atomic<std::size_t> largest{0};

template <typename Number>
void raise(std::atomic<Number>& target, Number value) {
    Number seen = target.load();
    while (seen < value && !target.compare_exchange_weak(seen, value)) {
    }
}

void request(std::size_t bytes) {
    if (watching) {
        raise(largest, bytes);
    }
}

void taken(std::size_t bytes) {
    if (watching) {
        raise(peak, inUse += static_cast<std::int64_t>(bytes));
    }
}

void given(std::size_t bytes) {
    if (watching) {
        inUse -= static_cast<std::int64_t>(bytes);
    }
}

#ifdef WATCHED_BY_SANITIZER
void onMalloc(const volatile void*, std::size_t bytes) {
    request(bytes);
    taken(bytes);
}

void onFree(const volatile void* pointer) {
    given(__sanitizer_get_allocated_size(pointer));
}

const int kInstalled = __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
#endif

} // namespace

AllocationWatch::AllocationWatch() {
    inUse = 0;
    peak = 0;
    largest = 0;
    watching = true;
}

AllocationWatch::~AllocationWatch() {
    watching = false;
}

std::size_t AllocationWatch::peakBytes() const {
    return static_cast<std::size_t>(std::max<std::int64_t>(peak, 0));
}

std::size_t AllocationWatch::largestRequest() const {
    return largest;
}

} // namespace plottest

#ifndef WATCHED_BY_SANITIZER
// Take the place of the C library's functions of these names, for all libraries of the process.
extern "C" {
void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* pointer, std::size_t bytes);
void __libc_free(void* pointer);

[[gnu::visibility("default")]] void* malloc(std::size_t bytes) noexcept {
    plottest::request(bytes);
    void* pointer = __libc_malloc(bytes);
    plottest::taken(malloc_usable_size(pointer));
    return pointer;
}

[[gnu::visibility("default")]] void* calloc(std::size_t count, std::size_t bytes) noexcept {
    plottest::request(count * bytes);
    void* pointer = __libc_calloc(count, bytes);
    plottest::taken(malloc_usable_size(pointer));
    return pointer;
}

[[gnu::visibility("default")]] void* realloc(void* pointer, std::size_t bytes) noexcept {
    plottest::request(bytes);
    const std::size_t before = malloc_usable_size(pointer);
    void* moved = __libc_realloc(pointer, bytes);
    if (moved != nullptr || bytes == 0) {
        plottest::taken(malloc_usable_size(moved));
        plottest::given(before);
    }
    return moved;
}

[[gnu::visibility("default")]] void free(void* pointer) noexcept {
    plottest::given(malloc_usable_size(pointer));
    __libc_free(pointer);
}
}
#endif
