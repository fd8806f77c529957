// PNM: PBM, PGM and PPM, plain and raw, and PAM. Samples of any largest value are
// brought to the full range of 8 or 16 bits.
#include "formats.h"
#include "input.h"
#include "output.h"
#include "rows.h"
#include "text.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstring>

namespace tool {

namespace {

struct Header {
    char kind = 0; // the digit of "P1" to "P7"
    std::int64_t width = 0, height = 0;
    int channels = 1;
    std::uint32_t most = 1; // the largest sample

    bool plain() const { return kind <= '3'; }
    bool bits() const { return kind == '1' || kind == '4'; }
};

// The characters of a header.
class Text {
  public:
    explicit Text(Input &input) : input_(input) {}

    // 0 at the end.
    char next() {
        char c = 0;
        if (input_.read(&c, 1) == 0) ended_ = true;
        return c;
    }
    // The next word, after white space and comments. One character after it is
    // consumed.
    std::string word() {
        std::string text;
        for (char c = next(); c != 0; c = next()) {
            if (c == '#') {
                while (c != '\n' && c != '\r' && c != 0) c = next();
            }
            const bool space = std::isspace(static_cast<unsigned char>(c)) != 0;
            if (space && !text.empty()) return text;
            if (!space && c != 0) text += c;
            if (text.size() > 100) break;
        }
        return text;
    }
    std::int64_t number() {
        const auto value = parseInteger(word());
        if (!value) throw Failure("has a damaged header");
        return *value;
    }
    std::string line() {
        std::string text;
        for (char c = next(); c != '\n'; c = next()) {
            if (ended_) throw Failure("is truncated");
            if (text.size() < 1000) text += c;
        }
        return text;
    }

  private:
    Input &input_;
    bool ended_ = false;
};

int channelsOfType(std::string_view type) {
    if (type == "BLACKANDWHITE" || type == "GRAYSCALE") return 1;
    if (type == "BLACKANDWHITE_ALPHA" || type == "GRAYSCALE_ALPHA") return 2;
    if (type == "RGB") return 3;
    if (type == "RGB_ALPHA") return 4;
    throw Failure("has tuples of a type that zyl does not know: " + std::string(type));
}

void readPamHeader(Text &text, Header &header) {
    std::string type;
    int depth = 0;
    header.most = 0;
    for (std::string line = text.line(); line != "ENDHDR"; line = text.line()) {
        const std::size_t space = line.find(' ');
        const std::string key = line.substr(0, space);
        const std::string value = space == std::string::npos ? "" : line.substr(space + 1);
        const std::int64_t number = parseInteger(value).value_or(-1);
        if (key == "WIDTH") header.width = number;
        if (key == "HEIGHT") header.height = number;
        if (key == "DEPTH") depth = static_cast<int>(number);
        if (key == "MAXVAL") header.most = static_cast<std::uint32_t>(number);
        if (key == "TUPLTYPE") type = value;
        if (line.empty() || line[0] == '#') continue;
        static constexpr std::string_view keys[] = {"WIDTH", "HEIGHT", "DEPTH", "MAXVAL",
                                                    "TUPLTYPE"};
        if (std::find(std::begin(keys), std::end(keys), key) == std::end(keys))
            throw Failure("has a damaged header");
    }
    if (type.empty() && depth >= 1 && depth <= 4) {
        header.channels = depth;
        return;
    }
    header.channels = channelsOfType(type);
    if (header.channels != depth) throw Failure("has a damaged header");
}

Header readHeader(Input &input) {
    Text text(input);
    Header header;
    text.next();
    header.kind = text.next();
    if (header.kind == '7') {
        text.line();
        readPamHeader(text, header);
    } else {
        header.width = text.number();
        header.height = text.number();
        if (!header.bits()) header.most = static_cast<std::uint32_t>(text.number());
        if (header.kind == '3' || header.kind == '6') header.channels = 3;
    }
    if (header.most < 1 || header.most > 65535) throw Failure("has a damaged header");
    return header;
}

class PnmSource : public RowSource {
  public:
    explicit PnmSource(std::unique_ptr<Input> input)
        : input_(std::move(input)), header_(readHeader(*input_)) {
        const std::uint32_t depth = header_.bits()       ? ZYL_DEPTH_1U
                                    : header_.most > 255 ? ZYL_DEPTH_16U
                                                         : ZYL_DEPTH_8U;
        details_.format = header_.kind == '7'     ? "PAM"
                          : header_.bits()        ? "PBM"
                          : header_.channels == 1 ? "PGM"
                                                  : "PPM";
        details_.shape = checkedShape(header_.width, header_.height, header_.channels, depth);
        if (header_.plain()) details_.storage = "plain text";
        if (!header_.bits() && header_.most != 255 && header_.most != 65535) {
            details_.storage +=
                (header_.plain() ? ", " : "") + ("samples up to " + std::to_string(header_.most));
        }
        setRows(16);
    }

  private:
    void readRow(unsigned char *to) override {
        const std::size_t samples =
            static_cast<std::size_t>(shape().width) * static_cast<std::size_t>(shape().channels);
        if (header_.bits()) {
            readBits(to, samples);
        } else if (shape().depth == ZYL_DEPTH_8U) {
            readSamples<std::uint8_t>(to, samples);
        } else {
            readSamples<std::uint16_t>(to, samples);
        }
        ++row_;
    }

    // 1 is black in these files.
    void readBits(unsigned char *to, std::size_t count) {
        const std::size_t bytes = (count + 7) / 8;
        if (!header_.plain()) {
            readBytes(to, bytes);
            for (std::size_t i = 0; i < bytes; ++i) to[i] = static_cast<unsigned char>(~to[i]);
            return;
        }
        std::memset(to, 0, bytes);
        for (std::size_t i = 0; i < count; ++i) {
            if (plainBit() == '0') to[i / 8] |= static_cast<unsigned char>(0x80 >> i % 8);
        }
    }

    // Bits need no white space between them.
    char plainBit() {
        Text text(*input_);
        while (true) {
            const char c = text.next();
            if (c == '0' || c == '1') return c;
            if (c == '#') text.line();
            if (c == 0) fail("is truncated");
            if (c != '#' && !std::isspace(static_cast<unsigned char>(c))) fail("is damaged");
        }
    }

    template <class T>
    void readSamples(unsigned char *to, std::size_t count) {
        constexpr std::uint32_t full = sizeof(T) == 1 ? 255 : 65535;
        if (!header_.plain()) readBytes(to, count * sizeof(T));
        for (std::size_t i = 0; i < count; ++i, to += sizeof(T)) {
            std::uint32_t value = 0;
            if (header_.plain()) {
                value = plainSample();
            } else {
                value = sizeof(T) == 1 ? to[0] : static_cast<std::uint32_t>(to[0] << 8 | to[1]);
            }
            if (value > header_.most) fail("has a sample above its largest value");
            const auto scaled = static_cast<T>(
                header_.most == full ? value : (value * full + header_.most / 2) / header_.most);
            std::memcpy(to, &scaled, sizeof scaled);
        }
    }

    std::uint32_t plainSample() {
        const std::string word = Text(*input_).word();
        if (word.empty()) fail("is truncated");
        const auto value = parseInteger(word);
        if (!value || *value < 0 || *value > 65535) fail("is damaged");
        return static_cast<std::uint32_t>(*value);
    }

    void readBytes(unsigned char *to, std::size_t count) {
        if (input_->read(to, count) != count) fail("is truncated");
    }
    [[noreturn]] void fail(const char *what) const {
        throw Failure(std::string(what) + ", in row " + std::to_string(row_));
    }

    std::unique_ptr<Input> input_;
    Header header_;
    std::int64_t row_ = 0;
};

class PnmSink : public RowSink {
  public:
    PnmSink(std::unique_ptr<Output> output, const Shape &shape, bool pam)
        : output_(std::move(output)), shape_(shape) {
        const std::string width = std::to_string(shape.width),
                          height = std::to_string(shape.height);
        const std::string most = shape.depth == ZYL_DEPTH_16U ? "65535" : "255";
        static const char *const types[] = {"", "GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
        std::string header;
        if (pam) {
            header = "P7\nWIDTH " + width + "\nHEIGHT " + height + "\nDEPTH " +
                     std::to_string(shape.channels) + "\nMAXVAL " + most + "\nTUPLTYPE " +
                     types[shape.channels] + "\nENDHDR\n";
        } else if (shape.depth == ZYL_DEPTH_1U) {
            header = "P4\n" + width + " " + height + "\n";
        } else {
            header =
                (shape.channels == 1 ? "P5\n" : "P6\n") + width + " " + height + "\n" + most + "\n";
        }
        output_->put(header.data(), header.size());
        piece_ = {(shape.width + 7) / 8 * 8, 16};
    }

  private:
    void writeRow(const unsigned char *from) override {
        const std::size_t size = rowBytes(shape_, shape_.width);
        if (shape_.depth == ZYL_DEPTH_8U) return output_->put(from, size);
        bytes_.resize(size);
        for (std::size_t i = 0; i < bytes_.size(); ++i) {
            bytes_[i] = shape_.depth == ZYL_DEPTH_1U ? static_cast<unsigned char>(~from[i])
                        : std::endian::native == std::endian::little ? from[i ^ 1]
                                                                     : from[i];
        }
        if (shape_.depth == ZYL_DEPTH_1U && shape_.width % 8 != 0)
            bytes_.back() &= static_cast<unsigned char>(0xFF00 >> shape_.width % 8);
        output_->put(bytes_.data(), bytes_.size());
    }
    void complete() override { output_->commit(); }

    std::unique_ptr<Output> output_;
    Shape shape_;
    std::vector<unsigned char> bytes_; // of a row
};

bool recognises(std::string_view start) {
    return start.size() > 2 && start[0] == 'P' && start[1] >= '1' && start[1] <= '7' &&
           (std::isspace(static_cast<unsigned char>(start[2])) || start[2] == '#');
}

std::unique_ptr<Source> open(std::unique_ptr<Input> input, const ReadOptions &) {
    return std::make_unique<PnmSource>(std::move(input));
}

// What a file of this extension is for.
bool suits(const std::string &extension, const Shape &shape) {
    if (extension == "pbm") return shape.depth == ZYL_DEPTH_1U;
    if (extension == "pgm") return shape.depth != ZYL_DEPTH_1U && shape.channels == 1;
    if (extension == "ppm") return shape.channels == 3;
    if (extension == "pam") return shape.depth != ZYL_DEPTH_1U;
    return shape.channels == 1 || shape.channels == 3;
}

std::unique_ptr<Sink> create(std::unique_ptr<Output> output, const Shape &shape, const Metadata &,
                             const WriteOptions &) {
    std::string name = output->extension();
    if (shape.depth & ZYL_DEPTH_SIGN || shape.channels > 4 || !suits(name, shape)) {
        for (char &c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        throw Failure("a " + name + " file" + cannotHold(shape) +
                      ": PBM is for 1 bit, PGM for gray, PPM for "
                      "RGB, PAM for these of 8 and 16 bits and alpha");
    }
    const bool pam = output->extension() == "pam";
    return std::make_unique<PnmSink>(std::move(output), shape, pam);
}

} // namespace

const Format pnmFormat = {"PNM", "pnm pbm pgm ppm pam", recognises, open, create, 0};

} // namespace tool
