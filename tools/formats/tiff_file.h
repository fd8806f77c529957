// libtiff over inputs and outputs: a handle with its own position and messages, so
// that several may be used at once.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <tiffio.h>
#include <vector>

namespace tool {

class Input;
class Output;

class TiffFile {
  public:
    // One of the three. `mode` as for TIFFOpen(). Throws Failure.
    TiffFile(const Input &input, const char *mode);
    TiffFile(Output &output, const char *mode);
    // Appends all that is written to `written`, wherever it would stand in the file.
    explicit TiffFile(std::vector<unsigned char> &written);

    TIFF *get() const { return tiff_.get(); }
    // What libtiff said first since the last call, or "is damaged".
    std::string takeMessage();

    template <class T>
    T field(ttag_t tag) const {
        T value{};
        TIFFGetFieldDefaulted(get(), tag, &value);
        return value;
    }

    // While true, what libtiff writes only moves its position. writtenAt() tells
    // where the last of it would have gone.
    void setDeferred(bool deferred) { state_->deferred = deferred; }
    std::uint64_t writtenAt() const { return state_->writtenAt; }

    // Where the file that is written ends, and writing there. The end stays even.
    std::uint64_t end() const { return state_->end; }
    void append(std::vector<unsigned char> bytes);

    void close() { tiff_.reset(); }

  private:
    struct State {
        const Input *input = nullptr;
        Output *output = nullptr;
        std::vector<unsigned char> *written = nullptr;
        std::uint64_t position = 0;
        std::uint64_t end = 0;
        std::uint64_t writtenAt = 0;
        bool deferred = false;
        char message[200] = "";
    };
    struct Close {
        void operator()(TIFF *tiff) const { TIFFClose(tiff); }
    };

    void open(const char *mode);
    static tmsize_t read(void *state, void *to, tmsize_t count);
    static tmsize_t write(void *state, void *from, tmsize_t count);
    static bool put(State &state, const unsigned char *from, std::size_t count);
    static toff_t seek(void *state, toff_t offset, int whence);
    static toff_t size(void *state);
    static int keepError(TIFF *, void *state, const char *, const char *format, va_list arguments);

    std::unique_ptr<State> state_; // at one address, which libtiff keeps
    std::unique_ptr<TIFF, Close> tiff_;
};

} // namespace tool
