#include "core/memory.h"

#include <cstdint>
#include <limits>
#include <new>

#include "zylqx.h"

namespace zylqx {

namespace {

// A cache line, and the widest vector that a kernel loads.
constexpr std::align_val_t BLOCK_ALIGNMENT{64};

bool (*refuseAllocation)(std::size_t bytes) = nullptr;

template <class T>
T *allocateElements(std::int32_t n) {
    if (n < 0) return nullptr;
    const auto count = static_cast<std::size_t>(n);
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
    return static_cast<T *>(allocateBlock(count * sizeof(T)));
}

} // namespace

void *allocateBlock(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max() / 2) return nullptr;
    if (refuseAllocation != nullptr && refuseAllocation(bytes)) return nullptr;
    return ::operator new(bytes, BLOCK_ALIGNMENT, std::nothrow);
}

void freeBlock(void *block) {
    ::operator delete(block, BLOCK_ALIGNMENT, std::nothrow);
}

void refuseAllocations(bool (*refuse)(std::size_t bytes)) {
    refuseAllocation = refuse;
}

} // namespace zylqx

using namespace zylqx;

void *zylMalloc(int32_t n) {
    return allocateElements<unsigned char>(n);
}

int16_t *zylwMalloc(int32_t n) {
    return allocateElements<int16_t>(n);
}

int32_t *zyliMalloc(int32_t n) {
    return allocateElements<int32_t>(n);
}

float *zylsMalloc(int32_t n) {
    return allocateElements<float>(n);
}

double *zyldMalloc(int32_t n) {
    return allocateElements<double>(n);
}

void zylFree(void *p) {
    freeBlock(p);
}
