#include "tiff_file.h"

#include "input.h"
#include "output.h"
#include "text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace tool {

namespace {

// The arrays of a directory and the buffers of a decoder stay far below; a damaged file
// may ask for more.
constexpr tmsize_t largestAllocation = tmsize_t{1} << 29;

} // namespace

TiffFile::TiffFile(const Input &input, const char *mode) : state_(std::make_unique<State>()) {
    state_->input = &input;
    state_->end = input.size();
    open(mode);
}

TiffFile::TiffFile(Output &output, const char *mode) : state_(std::make_unique<State>()) {
    state_->output = &output;
    open(mode);
}

TiffFile::TiffFile(std::vector<unsigned char> &written) : state_(std::make_unique<State>()) {
    state_->written = &written;
    open("w");
}

void TiffFile::open(const char *mode) {
    const std::unique_ptr<TIFFOpenOptions, decltype(&TIFFOpenOptionsFree)> options(
        TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), largestAllocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepError, state_.get());
    TIFFOpenOptionsSetWarningHandlerExtR(
        options.get(), [](TIFF *, void *, const char *, const char *, va_list) { return 1; },
        nullptr);
    tiff_.reset(TIFFClientOpenExt(
        "file", mode, state_.get(), read, write, seek, [](void *) { return 0; }, size, nullptr,
        nullptr, options.get()));
    if (!tiff_) throw Failure(takeMessage());
}

std::string TiffFile::takeMessage() {
    std::string message = state_->message[0] != 0 ? state_->message : "is damaged";
    state_->message[0] = 0;
    return message;
}

void TiffFile::append(std::vector<unsigned char> bytes) {
    bytes.resize(bytes.size() + bytes.size() % 2);
    if (!state_->output->writeAt(state_->end, bytes.data(), bytes.size()))
        throw Failure(state_->output->error());
    state_->end += bytes.size();
}

tmsize_t TiffFile::read(void *state, void *to, tmsize_t count) {
    auto *s = static_cast<State *>(state);
    const auto size = static_cast<std::size_t>(count);
    const std::size_t got = s->input    ? s->input->readAt(s->position, to, size)
                            : s->output ? s->output->readAt(s->position, to, size)
                                        : 0;
    s->position += got;
    return static_cast<tmsize_t>(got);
}

bool TiffFile::put(State &state, const unsigned char *from, std::size_t count) {
    if (state.deferred) return true;
    if (state.output) return state.output->writeAt(state.position, from, count);
    if (!state.written) return false;
    state.written->insert(state.written->end(), from, from + count);
    return true;
}

tmsize_t TiffFile::write(void *state, void *from, tmsize_t count) {
    auto *s = static_cast<State *>(state);
    s->writtenAt = s->position;
    const auto size = static_cast<std::size_t>(count);
    if (!put(*s, static_cast<const unsigned char *>(from), size)) return -1;
    s->position += size;
    s->end = std::max(s->end, s->position);
    return count;
}

toff_t TiffFile::seek(void *state, toff_t offset, int whence) {
    auto *s = static_cast<State *>(state);
    if (whence == SEEK_CUR) offset += s->position;
    if (whence == SEEK_END) offset += s->end;
    return s->position = offset;
}

toff_t TiffFile::size(void *state) {
    return static_cast<State *>(state)->end;
}

int TiffFile::keepError(TIFF *, void *state, const char *, const char *format, va_list arguments) {
    auto *s = static_cast<State *>(state);
    if (s->message[0] != 0) return 1;
    std::vsnprintf(s->message, sizeof s->message, format, arguments);
    // Some messages have two lines, and texts of the file can be in them.
    for (char &c : s->message)
        if (c != 0 && static_cast<unsigned char>(c) < ' ') c = ' ';
    return 1;
}

} // namespace tool
