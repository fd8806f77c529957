#include "transform/fft_cache.h"

#include <new>
#include <type_traits>
#include <utility>

#include "transform/roots.h"

namespace zylqx {

namespace {

bool isFast(std::ptrdiff_t length) {
    return length >= 4 && (length & (length - 1)) == 0;
}

template <class T>
T *take(unsigned char *&memory, std::ptrdiff_t count) {
    T *taken = reinterpret_cast<T *>(memory);
    memory += count * static_cast<std::ptrdiff_t>(sizeof(T));
    return taken;
}

template <class T>
Root<T> converted(Root<double> root) {
    return {static_cast<T>(root.c), static_cast<T>(root.s)};
}
// In Q14, truncated.
template <>
Root<std::int32_t> converted(Root<double> root) {
    return {static_cast<std::int32_t>(root.c * 16384), static_cast<std::int32_t>(root.s * 16384)};
}

template <class T>
const Root<T> *fillRoots(Root<T> *roots, std::ptrdiff_t length) {
    forEachRoot(length,
                [roots](std::int64_t k, Root<double> root) { roots[k] = converted<T>(root); });
    return roots;
}

// Also the factors by which the spectra of two lines are taken apart.
void fillRootsAndSplit(Root<float> *roots, Root<float> *split, std::ptrdiff_t length) {
    forEachRoot(length, [roots, split, length](std::int64_t k, Root<double> root) {
        roots[k] = converted<float>(root);
        if (k == 0 || k > length / 4) return;
        split[k - 1] = {static_cast<float>(0.5 * root.c), static_cast<float>(0.5 * (1 - root.s))};
    });
}

const std::int32_t *fillOrder(std::int32_t *order, std::ptrdiff_t length) {
    order[0] = 0;
    std::ptrdiff_t bit = length / 2;
    for (std::ptrdiff_t filled = 1; filled < length; filled *= 2, bit /= 2) {
        for (std::ptrdiff_t k = 0; k < filled; ++k) {
            order[filled + k] = order[k] + static_cast<std::int32_t>(bit);
        }
    }
    return order;
}

template <class S>
bool hasAnyLength(std::ptrdiff_t length) {
    return std::is_same_v<S, float> && isAnyLength(length);
}

// The length whose complex transform gives the real one.
std::ptrdiff_t realLength(std::ptrdiff_t length) {
    return length % 2 == 0 ? length / 2 : length;
}

// Bytes that fill() takes; a factor for each entry, so within 64 bits.
template <class S>
std::uint64_t tableBytes(std::ptrdiff_t length) {
    const auto n = static_cast<std::uint64_t>(length);
    if (hasAnyLength<S>(length)) {
        return n * sizeof(Root<double>) + 2 * sizeof(AnyLength) + anyLengthBytes(length) +
               anyLengthBytes(realLength(length));
    }
    if (!isFast(length)) return n * sizeof(*FftTables<S>::direct);
    return n * (sizeof(Root<S>) + sizeof(std::int32_t)) + n / 4 * sizeof(Root<float>);
}

const AnyLength *fillAnyLength(unsigned char *&memory, std::ptrdiff_t length, void *work) {
    AnyLength *any = new (take<AnyLength>(memory, 1)) AnyLength;
    *any = makeAnyLength(length, memory, work);
    memory += anyLengthBytes(length);
    return any;
}

FftTables<float> fill(std::ptrdiff_t length, unsigned char *memory, void *work, float) {
    FftTables<float> tables;
    tables.length = length;
    if (!isFast(length)) {
        tables.direct = fillRoots(take<Root<double>>(memory, length), length);
        if (!isAnyLength(length)) return tables;
        tables.complexAny = fillAnyLength(memory, length, work);
        tables.realAny = fillAnyLength(memory, realLength(length), work);
        return tables;
    }
    auto *roots = take<Root<float>>(memory, length);
    auto *split = take<Root<float>>(memory, length / 4);
    fillRootsAndSplit(roots, split, length);
    tables.roots = roots;
    tables.split = split;
    tables.order = fillOrder(take<std::int32_t>(memory, length), length);
    return tables;
}

FftTables<std::int32_t> fill(std::ptrdiff_t length, unsigned char *memory, void *, std::int32_t) {
    FftTables<std::int32_t> tables;
    tables.length = length;
    const auto *roots = fillRoots(take<Root<std::int32_t>>(memory, length), length);
    if (!isFast(length)) {
        tables.direct = roots;
        return tables;
    }
    tables.roots = roots;
    tables.order = fillOrder(take<std::int32_t>(memory, length), length);
    return tables;
}

} // namespace

template <>
FftCache::Lengths<float> &FftCache::lengths() {
    return floating_;
}
template <>
FftCache::Lengths<std::int32_t> &FftCache::lengths() {
    return fixed_;
}

template <class S>
const FftTables<S> *FftCache::tables(std::ptrdiff_t length) {
    Lengths<S> &all = lengths<S>();
    for (int i = 0; i < all.count; ++i) {
        if (all.tables[i].length == length) return &all.tables[i];
    }
    if (all.count == MAX_LENGTHS) return nullptr;
    Scratch<unsigned char> memory = Scratch<unsigned char>(tableBytes<S>(length));
    Scratch<unsigned char> work;
    if (hasAnyLength<S>(length)) {
        work = Scratch<unsigned char>(static_cast<std::uint64_t>(radicesFor(length).length) *
                                      ANY_LENGTH_WORK);
        if (!work) return nullptr;
    }
    if (!memory) return nullptr;
    const int i = all.count++;
    all.tables[i] = fill(length, memory.data(), work.data(), S());
    all.memory[i] = std::move(memory);
    return &all.tables[i];
}

template const FftTables<float> *FftCache::tables(std::ptrdiff_t length);
template const FftTables<std::int32_t> *FftCache::tables(std::ptrdiff_t length);

void *FftCache::buffer(Slot slot, std::uint64_t bytes) {
    Buffer &kept = buffers_[slot];
    if (kept.memory && kept.bytes >= bytes) return kept.memory.data();
    kept.memory = {}; // the old one first: both may not fit
    kept.memory = Scratch<unsigned char>(bytes);
    kept.bytes = bytes;
    return kept.memory.data();
}

void FftCache::release() {
    const auto empty = [](auto &all) {
        for (int i = 0; i < all.count; ++i) all.memory[i] = {};
        all.count = 0;
    };
    empty(floating_);
    empty(fixed_);
    for (Buffer &kept : buffers_) kept.memory = {};
}

} // namespace zylqx
