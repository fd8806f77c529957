// The peers: libraries that do the work of some rows too. Each has a file of its
// own in peers/, compiled when the library was found, with one function that
// gives its call for a row, or none when it has nothing of the kind.
#ifndef ZYLQX_BENCH_PEERS_H
#define ZYLQX_BENCH_PEERS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "rows.h"

namespace bench {

// Somebody else's call that does a row's work on equal pictures.
struct Peer {
    const char *name;
    std::function<void()> call;
};

// Those of all peers that were found, on the pictures of a prepared row; a row
// without pictures has none.
std::vector<Peer> peersOf(const Row &row, const Pictures &pictures);

std::function<void()> fftwCall(const Row &row, const Pictures &pictures);
std::function<void()> leptonicaCall(const Row &row, const Pictures &pictures);
std::function<void()> libyuvCall(const Row &row, const Pictures &pictures);
std::function<void()> pixmanCall(const Row &row, const Pictures &pictures);
std::function<void()> vipsCall(const Row &row, const Pictures &pictures);

// The entry of a name in a table of {name, call}; null when there is none.
template <class Entry, std::size_t N>
const Entry *find(const Entry (&table)[N], const std::string &name) {
    for (const Entry &entry : table) {
        if (name == entry.name) return &entry;
    }
    return nullptr;
}

} // namespace bench

#endif
