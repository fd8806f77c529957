// Bytes as the words of a command line, one in each line, run in a folder of their own with
// some small pictures in it.
#include "bytes.h"

#include "command.h"
#include "pictures.h"
#include "text.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace tool;

std::ostringstream out, err;

void drawPictures() {
    for (const char *name : {"a.png", "b.jpg", "c.tif", "d.bmp", "e.pgm"}) {
        const std::uint32_t depth = name[0] == 'c' ? ZYL_DEPTH_16U : ZYL_DEPTH_8U;
        Image image(makeShape(4, 3, name[0] == 'e' ? 1 : 3, depth));
        writePicture(name, image);
    }
}

void removeOthers() {
    for (const fs::directory_entry &entry : fs::directory_iterator(".")) {
        const std::string name = entry.path().filename();
        if (name.size() != 5 || name[1] != '.' || name[0] > 'e') fs::remove_all(entry.path());
    }
}

// No other folders, and nothing that is large: numbers of two digits, in one call.
bool harmless(std::string_view words) {
    int digits = 0, colons = 0;
    for (const char c : words) {
        digits = std::isdigit(static_cast<unsigned char>(c)) != 0 ? digits + 1 : 0;
        colons += c == ':';
        if (digits > 2 || colons > 1 || c == '/' || c == '\0') return false;
    }
    return words.find("..") == std::string_view::npos;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::string folder = fs::temp_directory_path() / "zyl_fuzz_XXXXXX";
    if (mkdtemp(folder.data()) == nullptr || chdir(folder.c_str()) != 0) std::abort();
    if (std::freopen("/dev/null", "r", stdin) == nullptr) std::abort();
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
    std::cout.rdbuf(out.rdbuf());
    std::cerr.rdbuf(err.rdbuf());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    if (!harmless(input)) return -1;
    drawPictures();
    std::vector<std::string> words = {"zyl"};
    for (std::string &word : split(input, '\n')) words.push_back(std::move(word));
    std::vector<char *> pointers;
    for (std::string &word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    out.str("");
    err.str("");
    const int code = runCommand(static_cast<int>(words.size()), pointers.data());
    if (code < 0 || code > 2) __builtin_trap();
    // What failed is told, and by nobody but the tool.
    if (code != 0 && err.str().empty()) __builtin_trap();
    removeOthers();
    return 0;
}
