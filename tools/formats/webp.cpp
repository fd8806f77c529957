// WebP: 8 bits, RGB with or without alpha; gray is written as RGB. libwebp decodes
// and encodes whole pictures only, which are therefore held in memory.
#include "exif.h"
#include "formats.h"
#include "input.h"
#include "output.h"
#include "rows.h"
#include "text.h"

#include <cstring>
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

namespace tool {

namespace {

constexpr int usualQuality = 90; // of 100
constexpr std::size_t largestFile = std::size_t{1} << 31;

WebPData dataOf(const std::vector<unsigned char> &bytes) {
    return {bytes.data(), bytes.size()};
}

struct Demuxer {
    explicit Demuxer(const std::vector<unsigned char> &bytes) {
        const WebPData data = dataOf(bytes);
        demux = WebPDemux(&data);
        if (!demux) throw Failure("is truncated or damaged");
    }
    ~Demuxer() { WebPDemuxDelete(demux); }
    Demuxer(const Demuxer &) = delete;
    Demuxer &operator=(const Demuxer &) = delete;

    std::vector<unsigned char> chunk(const char *name) const {
        std::vector<unsigned char> bytes;
        WebPChunkIterator chunk;
        if (WebPDemuxGetChunk(demux, name, 1, &chunk))
            bytes.assign(chunk.chunk.bytes, chunk.chunk.bytes + chunk.chunk.size);
        WebPDemuxReleaseChunkIterator(&chunk);
        return bytes;
    }
    int get(WebPFormatFeature feature) const {
        return static_cast<int>(WebPDemuxGetI(demux, feature));
    }

    WebPDemuxer *demux;
};

struct DeleteAnimation {
    void operator()(WebPAnimDecoder *decoder) const { WebPAnimDecoderDelete(decoder); }
};

// Some blocks begin as they do in JPEG files.
void dropExifName(std::vector<unsigned char> &exif) {
    if (exif.size() >= 6 && std::memcmp(exif.data(), "Exif\0\0", 6) == 0)
        exif.erase(exif.begin(), exif.begin() + 6);
}

class WebpSource : public RowSource {
  public:
    WebpSource(const std::unique_ptr<Input> &input, int page)
        : bytes_(input->readRest(largestFile)), page_(page) {
        const Demuxer file(bytes_);
        WebPBitstreamFeatures features;
        if (WebPGetFeatures(bytes_.data(), bytes_.size(), &features) != VP8_STATUS_OK)
            throw Failure("is truncated or damaged");
        animated_ = features.has_animation != 0;
        details_.format = "WebP";
        details_.shape =
            checkedShape(file.get(WEBP_FF_CANVAS_WIDTH), file.get(WEBP_FF_CANVAS_HEIGHT),
                         animated_ || features.has_alpha ? 4 : 3, ZYL_DEPTH_8U);
        details_.pages = animated_ ? file.get(WEBP_FF_FRAME_COUNT) : 1;
        details_.storage = animated_ ? "animation" : features.format == 2 ? "lossless" : "lossy";
        details_.metadata.profile = file.chunk("ICCP");
        details_.metadata.exif = file.chunk("EXIF");
        dropExifName(details_.metadata.exif);
        details_.orientation = exifOrientation(details_.metadata.exif);
        setRows(16);
    }

  private:
    void readRow(unsigned char *to) override {
        if (!pixels_) decode();
        const std::size_t bytes = rowBytes(shape(), shape().width);
        std::memcpy(to, pixels_.get() + bytes * next_++, bytes);
    }

    void decode() {
        const std::size_t size =
            rowBytes(shape(), shape().width) * static_cast<std::size_t>(shape().height);
        // A damaged file may tell of pixels that never come: they cost nothing.
        pixels_ = std::make_unique_for_overwrite<unsigned char[]>(size);
        if (animated_) return decodeFrame(size);
        const auto stride = static_cast<int>(rowBytes(shape(), shape().width));
        const auto into = shape().alpha ? WebPDecodeRGBAInto : WebPDecodeRGBInto;
        if (!into(bytes_.data(), bytes_.size(), pixels_.get(), size, stride))
            throw Failure("is truncated or damaged");
    }

    // Frames build on those before.
    void decodeFrame(std::size_t size) {
        const WebPData data = dataOf(bytes_);
        const std::unique_ptr<WebPAnimDecoder, DeleteAnimation> decoder(
            WebPAnimDecoderNew(&data, nullptr));
        std::uint8_t *frame = nullptr;
        for (int i = 0, time = 0; i < page_; ++i) {
            if (!decoder || !WebPAnimDecoderGetNext(decoder.get(), &frame, &time))
                throw Failure("is truncated or damaged, in frame " + std::to_string(i + 1));
        }
        std::memcpy(pixels_.get(), frame, size);
    }

    std::vector<unsigned char> bytes_;
    int page_;
    bool animated_ = false;
    std::unique_ptr<unsigned char[]> pixels_;
    std::size_t next_ = 0;
};

// What libwebp makes, with the profile and Exif around it.
struct Muxer {
    WebPMux *mux = WebPMuxNew();
    WebPData result{};
    ~Muxer() {
        WebPMuxDelete(mux);
        WebPDataClear(&result);
    }
};

struct Encoder {
    WebPConfig config{};
    WebPPicture picture{};
    WebPMemoryWriter writer{};

    Encoder() {
        if (!WebPConfigInit(&config) || !WebPPictureInit(&picture)) throw std::bad_alloc();
        WebPMemoryWriterInit(&writer);
        picture.writer = WebPMemoryWrite;
        picture.custom_ptr = &writer;
    }
    ~Encoder() {
        WebPPictureFree(&picture);
        WebPMemoryWriterClear(&writer);
    }
    Encoder(const Encoder &) = delete;
    Encoder &operator=(const Encoder &) = delete;
};

class WebpSink : public RowSink {
  public:
    WebpSink(std::unique_ptr<Output> output, const Shape &shape, const Metadata &metadata,
             const WriteOptions &options)
        : output_(std::move(output)), shape_(shape), metadata_(metadata) {
        encoder_.config.quality = static_cast<float>(options.quality.value_or(usualQuality));
        encoder_.config.lossless = options.compression == "lossless";
        encoder_.config.exact = 1; // colours of transparent pixels stay
        encoder_.config.method = encoder_.config.lossless ? 2 : 3;
        encoder_.picture.use_argb = 1;
        encoder_.picture.width = shape.width;
        encoder_.picture.height = shape.height;
        if (!WebPPictureAlloc(&encoder_.picture)) throw std::bad_alloc();
        piece_ = {(shape.width + 7) / 8 * 8, 16};
    }

  private:
    void writeRow(const unsigned char *from) override {
        const WebPPicture &picture = encoder_.picture;
        std::uint32_t *to =
            picture.argb + static_cast<std::ptrdiff_t>(next_++) * picture.argb_stride;
        const bool color = shape_.color();
        for (int x = 0; x < shape_.width; ++x, from += shape_.channels) {
            const std::uint32_t red = from[0], green = from[color ? 1 : 0],
                                blue = from[color ? 2 : 0];
            const std::uint32_t alpha = shape_.alpha ? from[shape_.channels - 1] : 255;
            to[x] = alpha << 24 | red << 16 | green << 8 | blue;
        }
    }

    void complete() override {
        if (!WebPEncode(&encoder_.config, &encoder_.picture)) {
            throw Failure("WebP cannot hold the picture (error " +
                          std::to_string(encoder_.picture.error_code) + " of its encoder)");
        }
        Muxer muxer;
        const WebPData image = {encoder_.writer.mem, encoder_.writer.size};
        const WebPData profile = dataOf(metadata_.profile), exif = dataOf(metadata_.exif);
        const bool done = muxer.mux && WebPMuxSetImage(muxer.mux, &image, 0) == WEBP_MUX_OK &&
                          (metadata_.profile.empty() ||
                           WebPMuxSetChunk(muxer.mux, "ICCP", &profile, 0) == WEBP_MUX_OK) &&
                          (metadata_.exif.empty() ||
                           WebPMuxSetChunk(muxer.mux, "EXIF", &exif, 0) == WEBP_MUX_OK) &&
                          WebPMuxAssemble(muxer.mux, &muxer.result) == WEBP_MUX_OK;
        if (!done) throw std::bad_alloc();
        output_->put(muxer.result.bytes, muxer.result.size);
        output_->commit();
    }

    std::unique_ptr<Output> output_;
    Shape shape_;
    Metadata metadata_;
    Encoder encoder_;
    int next_ = 0;
};

bool recognises(std::string_view start) {
    return start.substr(0, 4) == "RIFF" && start.size() >= 12 && start.substr(8, 4) == "WEBP";
}

std::unique_ptr<Source> open(std::unique_ptr<Input> input, const ReadOptions &options) {
    return std::make_unique<WebpSource>(input, options.page);
}

std::unique_ptr<Sink> create(std::unique_ptr<Output> output, const Shape &shape,
                             const Metadata &metadata, const WriteOptions &options) {
    if (!options.compression.empty() && options.compression != "lossless")
        throw Misuse("--compression of a WebP file is lossless, or left out");
    if (shape.depth != ZYL_DEPTH_8U || shape.channels > 4) {
        throw Failure("a WebP file" + cannotHold(shape) +
                      ", only 8 bits: convert it or write a PNG file");
    }
    if (shape.width > WEBP_MAX_DIMENSION || shape.height > WEBP_MAX_DIMENSION) {
        throw Failure("a WebP file" + cannotHold(shape) + ", only " +
                      std::to_string(WEBP_MAX_DIMENSION) +
                      " pixels a side: make it smaller or write a TIFF file");
    }
    return std::make_unique<WebpSink>(std::move(output), shape, metadata, options);
}

} // namespace

const Format webpFormat = {"WebP", "webp", recognises, open, create, QUALITY | COMPRESSION};

} // namespace tool
