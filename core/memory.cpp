#include "core/memory.h"

#include <cstdint>
#include <cstdlib>
#include <limits>

#if defined(_WIN32)
#include <malloc.h>
#endif

#include "zylqx.h"

namespace zylqx {

namespace {

// A cache line, and the widest vector that a kernel loads.
constexpr std::size_t BLOCK_ALIGNMENT = 64;

// The C heap, so that the library does not need the C++ runtime.
#if defined(_WIN32)
void *obtain(std::size_t bytes) {
    return _aligned_malloc(bytes, BLOCK_ALIGNMENT);
}
void release(void *block) {
    _aligned_free(block);
}
#else
void *obtain(std::size_t bytes) {
    void *block = nullptr;
    return posix_memalign(&block, BLOCK_ALIGNMENT, bytes) == 0 ? block : nullptr;
}
void release(void *block) {
    std::free(block);
}
#endif

// Address sanitizers see the ends of scratch memory only where blocks are exact.
#if defined(__SANITIZE_ADDRESS__)
#define ZYLQX_EXACT_SCRATCH true
#elif defined(__has_feature)
#define ZYLQX_EXACT_SCRATCH __has_feature(address_sanitizer)
#else
#define ZYLQX_EXACT_SCRATCH false
#endif
#if ZYLQX_EXACT_SCRATCH
constexpr bool EXACT_SCRATCH = true;
#else
constexpr bool EXACT_SCRATCH = false;
#endif

bool (*refuseAllocation)(std::size_t bytes) = nullptr;

bool refused(std::size_t bytes) {
    return bytes > std::numeric_limits<std::size_t>::max() / 2 ||
           (refuseAllocation != nullptr && refuseAllocation(bytes));
}

template <class T>
T *allocateElements(std::int32_t n) {
    if (n < 0) return nullptr;
    const auto count = static_cast<std::size_t>(n);
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
    return static_cast<T *>(allocateBlock(count * sizeof(T)));
}

} // namespace

void *allocateBlock(std::size_t bytes) {
    return refused(bytes) ? nullptr : obtain(bytes);
}

void freeBlock(void *block) {
    release(block);
}

// Heaps give small blocks of their own alignment several times quicker than aligned ones.
// The byte before the scratch memory tells how far behind the block's beginning it is.
void *allocateScratch(std::size_t bytes) {
    if (EXACT_SCRATCH) return allocateBlock(bytes);
    if (refused(bytes)) return nullptr;
    auto *block = static_cast<unsigned char *>(std::malloc(bytes + BLOCK_ALIGNMENT));
    if (block == nullptr) return nullptr;
    const std::size_t shift =
        BLOCK_ALIGNMENT - reinterpret_cast<std::uintptr_t>(block) % BLOCK_ALIGNMENT;
    block[shift - 1] = static_cast<unsigned char>(shift);
    return block + shift;
}

void freeScratch(void *block) {
    if (EXACT_SCRATCH) return freeBlock(block);
    auto *scratch = static_cast<unsigned char *>(block);
    std::free(scratch - scratch[-1]);
}

void refuseAllocations(bool (*refuse)(std::size_t bytes)) {
    refuseAllocation = refuse;
}

} // namespace zylqx

using namespace zylqx;

void *zylMalloc(std::int32_t n) {
    return allocateElements<unsigned char>(n);
}

std::int16_t *zylwMalloc(std::int32_t n) {
    return allocateElements<std::int16_t>(n);
}

std::int32_t *zyliMalloc(std::int32_t n) {
    return allocateElements<std::int32_t>(n);
}

float *zylsMalloc(std::int32_t n) {
    return allocateElements<float>(n);
}

double *zyldMalloc(std::int32_t n) {
    return allocateElements<double>(n);
}

void zylFree(void *p) {
    freeBlock(p);
}
