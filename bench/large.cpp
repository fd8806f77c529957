// zyl against libvips, on files: time and resident memory of whole runs.
//
//     large ZYL FOLDER [ROUNDS [WORD]]
//
// ZYL is the program, FOLDER a place for 5 GB of pictures that are made there once
// and of results. Runs of both are interleaved, and the least time counts. With a
// WORD only the rows that have it in their names. libvips is called through its C
// interface, a pipeline for each row, with as many threads as zyl has jobs; each run
// is a process of its own, so that its memory can be told.
#include <tiffio.h>
#include <vips/vips.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Path = std::filesystem::path;
using Pipeline = std::function<int(const char *from, const char *to)>;

// ------------------------------------------------------------------- pictures

// Something like a photograph: slopes, edges and noise.
std::uint8_t sample(int x, int y, int channel) {
    std::uint32_t noise =
        static_cast<std::uint32_t>(x) * 2654435761u ^ static_cast<std::uint32_t>(y) * 2246822519u;
    noise = (noise ^ noise >> 15) * 2654435761u;
    const int slope = (x / 9 + y / 7 + channel * 40) & 255;
    const int edge = ((x / 300) ^ (y / 200)) & 1 ? 60 : 0;
    return static_cast<std::uint8_t>(slope / 2 + edge + static_cast<int>(noise >> 27));
}

// Blobs of ink on paper.
bool ink(int x, int y) {
    return sample(x / 3, y / 3, 0) + ((x / 40 ^ y / 25) & 31) > 150;
}

struct Tiff {
    explicit Tiff(const Path &path) : file(TIFFOpen(path.c_str(), "w8")) {
        if (!file) throw std::runtime_error("cannot write " + path.string());
    }
    ~Tiff() { TIFFClose(file); }
    Tiff(const Tiff &) = delete;
    Tiff &operator=(const Tiff &) = delete;
    TIFF *file;
};

// `fill` makes the tile at (x, y).
void makeTiff(const Path &path, int width, int height, int bits, int channels, int compression,
              const std::function<void(int x, int y, std::uint8_t *tile)> &fill) {
    constexpr int SIDE = 256;
    const Path part = path.string() + ".part";
    {
        const Tiff tiff(part);
        TIFFSetField(tiff.file, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(tiff.file, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(tiff.file, TIFFTAG_BITSPERSAMPLE, bits);
        TIFFSetField(tiff.file, TIFFTAG_SAMPLESPERPIXEL, channels);
        TIFFSetField(tiff.file, TIFFTAG_PHOTOMETRIC,
                     channels == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff.file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff.file, TIFFTAG_COMPRESSION, compression);
        TIFFSetField(tiff.file, TIFFTAG_TILEWIDTH, SIDE);
        TIFFSetField(tiff.file, TIFFTAG_TILELENGTH, SIDE);
        std::vector<std::uint8_t> tile(static_cast<std::size_t>(SIDE * SIDE * channels * bits / 8));
        for (int y = 0; y < height; y += SIDE) {
            for (int x = 0; x < width; x += SIDE) {
                fill(x, y, tile.data());
                TIFFWriteTile(tiff.file, tile.data(), x, y, 0, 0);
            }
        }
    }
    std::filesystem::rename(part, path);
}

void makeColor(const Path &path, int width, int height) {
    makeTiff(path, width, height, 8, 3, COMPRESSION_NONE, [](int x, int y, std::uint8_t *tile) {
        for (int j = 0; j < 256; ++j)
            for (int i = 0; i < 256; ++i)
                for (int c = 0; c < 3; ++c) *tile++ = sample(x + i, y + j, c);
    });
}

void makeBits(const Path &path, int width, int height) {
    makeTiff(path, width, height, 1, 1, COMPRESSION_CCITTFAX4,
             [](int x, int y, std::uint8_t *tile) {
                 std::memset(tile, 0, 256 * 256 / 8);
                 for (int j = 0; j < 256; ++j)
                     for (int i = 0; i < 256; ++i)
                         if (ink(x + i, y + j)) tile[j * 32 + i / 8] |= 128 >> i % 8;
             });
}

// ------------------------------------------------------------------- runs

struct Run {
    double seconds = HUGE_VAL;
    double processor = HUGE_VAL; // seconds of all threads; other programs disturb them less
    double mebibytes = 0;
    bool done = false;
};

// Runs `work` in a process of its own; its result is the exit code.
Run measure(const std::function<int()> &work) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) _exit(work());
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const auto seconds = [](const timeval &t) {
        return double(t.tv_sec) + double(t.tv_usec) / 1e6;
    };
    return {time.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / 1024,
            WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

Run least(const Run &a, const Run &b) {
    return {std::min(a.seconds, b.seconds), std::min(a.processor, b.processor),
            std::max(a.mebibytes, b.mebibytes), b.done};
}

int runZyl(const std::vector<std::string> &words) {
    std::vector<char *> arguments;
    for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    execv(arguments[0], arguments.data());
    return 127;
}

int runVips(const Pipeline &pipeline, const std::string &from, const std::string &to, int threads) {
    if (VIPS_INIT("large") != 0) return 1;
    vips_concurrency_set(threads);
    if (pipeline(from.c_str(), to.c_str()) == 0) return 0;
    std::fprintf(stderr, "libvips: %s\n", vips_error_buffer());
    return 1;
}

// ------------------------------------------------------------------- rows

// One step after the other; the last image that was made counts.
class Vips {
  public:
    explicit Vips(VipsImage *first) : image_(first) {}
    ~Vips() {
        if (image_) g_object_unref(image_);
    }
    Vips(const Vips &) = delete;
    Vips &operator=(const Vips &) = delete;

    template <class Step>
    Vips &then(Step step) {
        VipsImage *next = nullptr;
        if (image_ && step(image_, &next) != 0) next = nullptr;
        if (image_) g_object_unref(image_);
        image_ = next;
        return *this;
    }
    int tiff(const char *to) {
        return image_ ? vips_tiffsave(image_, to, "tile", TRUE, "tile_width", 256, "tile_height",
                                      256, "bigtiff", TRUE, nullptr)
                      : 1;
    }
    int jpeg(const char *to) { return image_ ? vips_jpegsave(image_, to, "Q", 90, nullptr) : 1; }

  private:
    VipsImage *image_;
};

VipsImage *sequential(const char *from) {
    return vips_image_new_from_file(from, "access", VIPS_ACCESS_SEQUENTIAL, nullptr);
}
VipsImage *random(const char *from) {
    return vips_image_new_from_file(from, nullptr);
}

int sharpen(VipsImage *in, VipsImage **out) {
    VipsImage *mask =
        vips_image_new_matrixv(3, 3, -1.0, -1.0, -1.0, -1.0, 12.0, -1.0, -1.0, -1.0, -1.0);
    vips_image_set_double(mask, "scale", 4);
    const int code = vips_conv(in, out, mask, "precision", VIPS_PRECISION_INTEGER, nullptr);
    g_object_unref(mask);
    return code;
}

int box(VipsImage *in, VipsImage **out) {
    VipsImage *mask = vips_image_new_matrix(5, 5);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x) *VIPS_MATRIX(mask, x, y) = 1;
    vips_image_set_double(mask, "scale", 25);
    const int code = vips_conv(in, out, mask, "precision", VIPS_PRECISION_INTEGER, nullptr);
    g_object_unref(mask);
    return code;
}

// Pixel corners coincide, as zyl has it.
int nineTenths(VipsImage *in, VipsImage **out) {
    VipsInterpolate *linear = vips_interpolate_new("bilinear");
    const int code = vips_affine(in, out, 0.9, 0.0, 0.0, 0.9, "interpolate", linear, nullptr);
    g_object_unref(linear);
    return code;
}

int cropQuarter(VipsImage *in, VipsImage **out) {
    return vips_extract_area(in, out, in->Xsize / 4, in->Ysize / 4, in->Xsize / 2, in->Ysize / 2,
                             nullptr);
}

int rotate30(VipsImage *in, VipsImage **out) {
    VipsImage *turned = nullptr;
    VipsInterpolate *linear = vips_interpolate_new("bilinear");
    const int code = vips_similarity(in, &turned, "angle", 30.0, "interpolate", linear, nullptr);
    g_object_unref(linear);
    if (code != 0) return code;
    // zyl keeps the size.
    const int cut =
        vips_extract_area(turned, out, (turned->Xsize - in->Xsize) / 2,
                          (turned->Ysize - in->Ysize) / 2, in->Xsize, in->Ysize, nullptr);
    g_object_unref(turned);
    return cut;
}

struct Row {
    const char *name;
    const char *input;
    const char *extension;
    std::vector<std::string> words; // of zyl, between input and output
    Pipeline vips;                  // may be empty
    std::vector<int> jobs = {1};
};

const std::vector<Row> &rows() {
    static const std::vector<std::string> QUARTER = {"crop:x=5000,y=5000,width=10000,height=10000"};
    static const std::vector<Row> ROWS = {
        {"crop, 9/10, sharpen",
         "color.tif",
         ".tif",
         {"crop:x=100,y=100,width=19800,height=19800", "decimate:factor=9/10",
          "convolve-2d:kernel=sharpen"},
         [](const char *from, const char *to) {
             return Vips(sequential(from))
                 .then([](VipsImage *in, VipsImage **out) {
                     return vips_extract_area(in, out, 100, 100, 19800, 19800, nullptr);
                 })
                 .then(nineTenths)
                 .then(sharpen)
                 .tiff(to);
         },
         {1, 2}},
        {"crop of a quarter",
         "color.tif",
         ".tif",
         QUARTER,
         [](const char *from, const char *to) {
             return Vips(sequential(from)).then(cropQuarter).tiff(to);
         },
         {1, 2}},
        {"median 5 x 5",
         "color.tif",
         ".tif",
         {"median-filter:rows=5,columns=5"},
         [](const char *from, const char *to) {
             return Vips(sequential(from))
                 .then([](VipsImage *in, VipsImage **out) {
                     return vips_median(in, out, 5, nullptr);
                 })
                 .tiff(to);
         }},
        {"rotate by 30 degrees",
         "color.tif",
         ".tif",
         {"rotate:degrees=30"},
         [](const char *from, const char *to) {
             return Vips(random(from)).then(rotate30).tiff(to);
         }},
        {"mirror",
         "color.tif",
         ".tif",
         {"mirror:axis=both"},
         [](const char *from, const char *to) {
             return Vips(random(from))
                 .then([](VipsImage *in, VipsImage **out) {
                     return vips_rot(in, out, VIPS_ANGLE_D180, nullptr);
                 })
                 .tiff(to);
         }},
        {"photo: gray",
         "photo.jpg",
         ".jpg",
         {"color-to-gray"},
         [](const char *from, const char *to) {
             return Vips(sequential(from))
                 .then([](VipsImage *in, VipsImage **out) {
                     return vips_colourspace(in, out, VIPS_INTERPRETATION_B_W, nullptr);
                 })
                 .jpeg(to);
         },
         {1, 2}},
        {"photo: blur 5 x 5",
         "photo.jpg",
         ".jpg",
         {"blur:rows=5,columns=5"},
         [](const char *from, const char *to) { return Vips(sequential(from)).then(box).jpeg(to); },
         {1, 2}},
        {"photo: sharpen",
         "photo.jpg",
         ".jpg",
         {"convolve-2d:kernel=sharpen"},
         [](const char *from, const char *to) {
             return Vips(sequential(from)).then(sharpen).jpeg(to);
         },
         {1, 2}},
        {"photo: rotate by 30 degrees",
         "photo.jpg",
         ".jpg",
         {"rotate:degrees=30"},
         [](const char *from, const char *to) {
             return Vips(random(from)).then(rotate30).jpeg(to);
         },
         {1, 2}},
        {"photo: median 9 x 9",
         "photo.jpg",
         ".jpg",
         {"median-filter:rows=9,columns=9"},
         [](const char *from, const char *to) {
             return Vips(sequential(from))
                 .then([](VipsImage *in, VipsImage **out) {
                     return vips_median(in, out, 9, nullptr);
                 })
                 .jpeg(to);
         }},
        {"photo: thumbnail of 800",
         "photo.jpg",
         ".jpg",
         {"thumbnail:size=800"},
         [](const char *from, const char *to) {
             VipsImage *small = nullptr;
             if (vips_thumbnail(from, &small, 800, nullptr) != 0) return 1;
             return Vips(small).jpeg(to);
         },
         {1, 2}},
        {"bits: erode", "bits.tif", ".tif", {"erode"}, {}, {1, 2}},
        {"bits: crop", "bits.tif", ".tif", {"crop:x=1000,y=1000,width=50000,height=50000"}, {}},
    };
    return ROWS;
}

void print(const Run &run) {
    if (!run.done) {
        std::printf(" %28s", "failed");
    } else {
        std::printf(" %7.2f s (%6.2f) %4.0f MiB", run.seconds, run.processor, run.mebibytes);
    }
}

void compare(const Row &row, int jobs, const std::string &zyl, const Path &folder, int rounds) {
    const std::string from = folder / row.input;
    const std::string to = folder / ("out" + std::string(row.extension));
    std::vector<std::string> words = {zyl, "--jobs", std::to_string(jobs), "--quiet"};
    if (to.ends_with(".tif")) words.insert(words.end(), {"--tile", "256"});
    const bool bits = std::string(row.input) == "bits.tif";
    if (to.ends_with(".tif")) words.insert(words.end(), {"--compression", bits ? "fax4" : "none"});
    if (to.ends_with(".jpg")) words.insert(words.end(), {"--quality", "90"});
    words.push_back(from);
    words.insert(words.end(), row.words.begin(), row.words.end());
    words.push_back(to);

    Run ours, theirs;
    for (int i = 0; i < rounds; ++i) {
        ours = least(ours, measure([&] { return runZyl(words); }));
        std::filesystem::remove(to);
        if (!row.vips) continue;
        theirs = least(theirs, measure([&] { return runVips(row.vips, from, to, jobs); }));
        std::filesystem::remove(to);
    }
    std::printf("%-28s %4d", row.name, jobs);
    print(ours);
    if (row.vips) {
        print(theirs);
        std::printf(" %6.2f (%.2f)", ours.seconds / theirs.seconds,
                    ours.processor / theirs.processor);
    }
    std::printf("\n");
    std::fflush(stdout);
}

void compareInfo(const std::string &zyl, const Path &folder, int rounds) {
    Run run;
    for (int i = 0; i < 5 * rounds; ++i)
        run = least(run, measure([&] { return runZyl({zyl, "info", folder / "color.tif"}); }));
    std::printf("%-28s %4d %7.4f s %4.0f MiB\n", "info", 1, run.seconds, run.mebibytes);
}

// What writing the picture costs at least.
void copyFile(const Path &folder, int rounds) {
    Run run;
    const Path to = folder / "copy.tif";
    for (int i = 0; i < rounds; ++i) {
        run = least(run, measure([&] {
                        std::filesystem::copy_file(folder / "color.tif", to);
                        return 0;
                    }));
        std::filesystem::remove(to);
    }
    std::printf("%-28s %4d %7.2f s\n", "a copy of the file", 1, run.seconds);
}

void makePictures(const Path &folder) {
    const auto missing = [&](const char *name) { return !std::filesystem::exists(folder / name); };
    if (missing("color.tif")) makeColor(folder / "color.tif", 20000, 20000);
    if (missing("bits.tif")) makeBits(folder / "bits.tif", 100000, 100000);
    if (!missing("photo.jpg")) return;
    makeColor(folder / "photo.tif", 6000, 4000);
    measure([&] {
        return runVips(
            [](const char *from, const char *to) { return Vips(sequential(from)).jpeg(to); },
            folder / "photo.tif", folder / "photo.jpg", 1);
    });
    std::filesystem::remove(folder / "photo.tif");
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: large ZYL FOLDER [ROUNDS [WORD]]\n");
        return 2;
    }
    const Path folder = argv[2];
    const int rounds = argc > 3 ? std::atoi(argv[3]) : 3;
    const std::string word = argc > 4 ? argv[4] : "";
    try {
        makePictures(folder);
        std::printf("%-28s %4s %28s %28s %13s\n", "in brackets: processor time", "jobs", "zyl",
                    "libvips", "ratio");
        for (const Row &row : rows()) {
            if (std::string(row.name).find(word) == std::string::npos) continue;
            for (int jobs : row.jobs) compare(row, jobs, argv[1], folder, rounds);
        }
        if (!word.empty()) return 0;
        compareInfo(argv[1], folder, rounds);
        copyFile(folder, rounds);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "large: %s\n", failure.what());
        return 1;
    }
    return 0;
}
