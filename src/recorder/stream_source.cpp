#include "recorder/stream_source.hpp"

#include "error.h"

namespace {

constexpr int raw_deflate = -MAX_WBITS;  // the wrapping is read here
constexpr unsigned deflate_window_32k = 0x78;
constexpr unsigned preset_dictionary = 0x20;
constexpr unsigned header_modulus = 31;
constexpr unsigned trailer_size = 4;
constexpr unsigned bits_per_byte = 8;

bool is_zlib_header(unsigned char first, unsigned char second) noexcept
{
    const unsigned both = first * 256u + second;
    return first == deflate_window_32k && both % header_modulus == 0 &&
           (second & preset_dictionary) == 0;
}

}  // namespace

int vela::file_window::at(uint64_t offset, const unsigned char **bytes) noexcept
{
    if (offset < start_ || offset - start_ >= size_) {
        const ssize_t nread = read_at(fd_, bytes_, capacity, offset);
        size_ = nread > 0 ? static_cast<uint32_t>(nread) : 0;
        start_ = offset;
        if (nread < 0) return KOR_ERR_INFLATE;
    }
    const auto skipped = static_cast<uint32_t>(offset - start_);
    *bytes = bytes_ + skipped;
    return static_cast<int>(size_ - skipped);
}

vela::stream_source::~stream_source()
{
    if (initialised_) inflateEnd(&inflate_);
}

int vela::stream_source::attach(int fd) noexcept
{
    window_.attach(fd);
    if (initialised_) return KOR_OK;
    if (inflateInit2(&inflate_, raw_deflate) != Z_OK) return KOR_ERR_NO_MEMORY;
    initialised_ = true;
    return KOR_OK;
}

void vela::stream_source::fail(int code) noexcept
{
    state_ = stream_state::failed;
    error_ = code;
}

// The next compressed byte; false, with the state set, when there is none.
bool vela::stream_source::take_byte(unsigned char *byte) noexcept
{
    const unsigned char *bytes = nullptr;
    const int available = window_.at(position_, &bytes);
    if (available < 0) fail(available);
    if (available == 0) state_ = stream_state::cut;
    if (available <= 0) return false;
    *byte = *bytes;
    ++position_;
    return true;
}

void vela::stream_source::start(uint64_t offset) noexcept
{
    position_ = offset;
    checksum_ = adler32(0, nullptr, 0);
    state_ = stream_state::running;
    error_ = KOR_OK;
    inflateReset(&inflate_);
    unsigned char first = 0;
    unsigned char second = 0;
    if (!take_byte(&first) || !take_byte(&second)) return;
    if (!is_zlib_header(first, second)) state_ = stream_state::broken;
}

// Points inflate at the bytes that follow; false when there are none.
bool vela::stream_source::refill() noexcept
{
    const unsigned char *bytes = nullptr;
    const int available = window_.at(position_, &bytes);
    if (available < 0) fail(available);
    if (available == 0) state_ = stream_state::cut;
    if (available <= 0) return false;
    inflate_.next_in = const_cast<unsigned char *>(bytes);
    inflate_.avail_in = static_cast<uInt>(available);
    return true;
}

// One call of inflate: adds to the caller's output and to the checksum.
void vela::stream_source::inflate_some() noexcept
{
    if (!refill()) return;
    const uInt given = inflate_.avail_in;
    const unsigned char *const from = inflate_.next_out;
    const int code = inflate(&inflate_, Z_NO_FLUSH);
    const uInt taken = given - inflate_.avail_in;
    const auto inflated = static_cast<uInt>(inflate_.next_out - from);
    position_ += taken;
    work_ += taken + inflated;
    checksum_ = adler32(checksum_, from, inflated);
    if (code == Z_STREAM_END)
        check_trailer();
    else if (code == Z_MEM_ERROR)
        fail(KOR_ERR_NO_MEMORY);
    else if (code != Z_OK && code != Z_BUF_ERROR)
        state_ = stream_state::broken;
}

uint32_t vela::stream_source::read(void *to, uint32_t size) noexcept
{
    inflate_.next_out = static_cast<unsigned char *>(to);
    inflate_.avail_out = size;
    while (state_ == stream_state::running && inflate_.avail_out > 0)
        inflate_some();
    return size - inflate_.avail_out;
}

// The content has ended: compares the checksum that follows it.
void vela::stream_source::check_trailer() noexcept
{
    for (unsigned i = 0; i < trailer_size; ++i) {
        const auto expected = static_cast<unsigned char>(
            checksum_ >> (bits_per_byte * (trailer_size - 1 - i)));
        unsigned char byte = 0;
        if (!take_byte(&byte)) return;
        if (byte == expected) continue;
        state_ = stream_state::broken;
        return;
    }
    state_ = stream_state::complete;
}
