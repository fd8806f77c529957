#include "picture_io.h"

#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace tool {

namespace {

std::string lowerExtension(const std::string &path) {
    std::string extension = std::filesystem::path(path).extension().string();
    if (!extension.empty()) extension.erase(0, 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return std::tolower(c); });
    return extension;
}

// Runs `work`, with the file's name put before what goes wrong.
template <class Work>
decltype(auto) naming(const std::string &path, Work work) {
    try {
        return work();
    } catch (const Misuse &misuse) {
        throw Misuse(path + ": " + misuse.what());
    } catch (const Failure &failure) {
        throw Failure(path + ": " + failure.what());
    }
}

// A file beside `path` that takes its place on commit() and else goes away.
class Replacement {
  public:
    explicit Replacement(const std::string &path) : target_(path) {
        std::error_code ignored;
        if (std::filesystem::is_symlink(path, ignored))
            target_ = std::filesystem::canonical(path, ignored);
        if (std::filesystem::is_directory(target_, ignored)) throw Failure("is a directory");
        path_ = target_.string() + ".part-" + std::to_string(getpid());
    }
    ~Replacement() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    const std::string &path() const { return path_; }
    void commit() const {
        std::error_code error;
        std::filesystem::rename(path_, target_, error);
        if (error) throw Failure(error.message());
    }

  private:
    std::filesystem::path target_;
    std::string path_;
};

} // namespace

std::span<const Format *const> pictureFormats() {
    static const Format *const formats[] = {&pngFormat, &jpegFormat, &tiffFormat, &bmpFormat};
    return formats;
}

const Format &formatOfFile(const std::string &path) {
    return naming(path, [&]() -> const Format & {
        std::error_code ignored;
        if (std::filesystem::is_directory(path, ignored)) throw Failure("is a directory");
        std::ifstream file(path, std::ios::binary);
        if (!file) throw Failure(std::strerror(errno));
        char start[16];
        file.read(start, sizeof start);
        std::string_view bytes(start, static_cast<std::size_t>(file.gcount()));
        for (const Format *format : pictureFormats())
            if (format->recognises(bytes)) return *format;
        throw Failure("is not a picture file that zyl knows");
    });
}

const Format &formatOfName(const std::string &path) {
    return naming(path, [&]() -> const Format & {
        std::string extension = lowerExtension(path);
        std::vector<std::string> known;
        for (const Format *format : pictureFormats()) {
            std::vector<std::string> own = split(format->extensions, ' ');
            if (std::find(own.begin(), own.end(), extension) != own.end()) return *format;
            known.insert(known.end(), own.begin(), own.end());
        }
        if (extension.empty()) throw Misuse("needs an extension that names the format, as in .png");
        throw unknown("format", extension, {known.begin(), known.end()});
    });
}

Image readPicture(const std::string &path) {
    const Format &format = formatOfFile(path);
    return naming(path, [&] { return format.read(path); });
}

void writePicture(const std::string &path, const Image &image,
                  const std::optional<Palette> &palette) {
    const Format &format = formatOfName(path);
    naming(path, [&] {
        if (palette && !format.writeIndexed)
            throw Misuse("--colors and --palette are for BMP files");
        Replacement file(path);
        if (palette) {
            format.writeIndexed(file.path(), image, *palette);
        } else {
            format.write(file.path(), image);
        }
        file.commit();
    });
}

std::string cannotHold(const Shape &shape) {
    return " cannot hold a picture of " + describe(shape);
}

} // namespace tool
