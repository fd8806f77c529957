#include "peers.h"

namespace bench {

namespace {

struct Library {
    const char *name;
    std::function<void()> (*call)(const Row &row, const Pictures &pictures);
};

} // namespace

std::vector<Peer> peersOf(const Row &row, const Pictures &pictures) {
    if (pictures.empty()) return {};
    // What was found when the build was configured: {"name", nameCall}, ...
    const std::vector<Library> libraries = {ZYLQX_PEERS};
    std::vector<Peer> peers;
    for (const Library &library : libraries) {
        const std::function<void()> call = library.call(row, pictures);
        if (call) peers.push_back({library.name, call});
    }
    return peers;
}

} // namespace bench
