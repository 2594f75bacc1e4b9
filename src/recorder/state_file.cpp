#include "recorder/state_file.hpp"

#include <cstring>

#include "error.h"
#include "io/codec.hpp"
#include "kor.h"
#include "kor_buffer.h"

namespace {

// More than five strings of the greatest length and the fields between them.
constexpr size_t max_state_size = 65536;

// Takes fields from the front of the bytes; after the first that is not whole
// or not sound it takes none.
class field_reader {
public:
    field_reader(const unsigned char *bytes, size_t size) noexcept
        : at_(bytes), left_(size)
    {
    }
    bool ok() const noexcept { return ok_; }

    void version() noexcept
    {
        const unsigned char *const byte = take(1);
        ok_ = ok_ && *byte == KOR_VERSION;
    }
    void u32(uint32_t *value) noexcept
    {
        const unsigned char *const bytes = take(sizeof *value);
        if (ok_) *value = vela::load<uint32_t>(bytes);
    }
    // A new heap string; null, and not ok, when there is none.
    vela::heap<char> string(bool *out_of_memory) noexcept
    {
        uint32_t length = 0;
        u32(&length);
        ok_ = ok_ && length >= 1 && length <= vela::max_serialized_count;
        const unsigned char *const bytes = ok_ ? take(length) : nullptr;
        ok_ = ok_ && std::memchr(bytes, '\0', length) == nullptr;
        if (!ok_) return nullptr;
        vela::heap<char> text(static_cast<char *>(std::malloc(length + 1u)));
        *out_of_memory = *out_of_memory || !text;
        ok_ = text != nullptr;
        if (!ok_) return nullptr;
        std::memcpy(text.get(), bytes, length);
        text.get()[length] = '\0';
        return text;
    }
    void check(bool holds) noexcept { ok_ = ok_ && holds; }

private:
    const unsigned char *take(size_t size) noexcept
    {
        ok_ = ok_ && left_ >= size;
        if (!ok_) return nullptr;
        const unsigned char *const bytes = at_;
        at_ += size;
        left_ -= size;
        return bytes;
    }

    const unsigned char *at_;
    size_t left_;
    bool ok_ = true;
};

// Numbers rise in the order in which files are created: sources first, then
// the history made of them, then the open buffer.  The closed buffer beside a
// history is older than the history.  A history whose number another was given
// may bear that of the open buffer.
bool are_in_order(const vela::stored_state &s) noexcept
{
    uint32_t order[vela::max_live_files] = {};
    const uint32_t n = s.nfiles();
    for (uint32_t i = 0; i < n; ++i) order[i] = s.files[i].number;
    const bool has_history = s.state == KOR_ZCF_STATE_HCC;
    if (has_history) std::swap(order[0], order[1]);
    for (uint32_t i = 1; i < n; ++i) {
        const bool may_equal = has_history && i + 1 == n;
        if (order[i - 1] > order[i]) return false;
        if (order[i - 1] == order[i] && !may_equal) return false;
    }
    return order[n - 1] < s.next_file_number;
}

int read_whole(const char *path, bool *present,
               vela::stored_bytes *bytes) noexcept
{
    bool missing = false;
    const vela::open_file file = vela::open_for_reading(path, &missing);
    missing = missing || vela::is_other_than_file(path);
    *present = !missing;
    if (!file) return missing ? KOR_OK : KOR_ERR_CANNOT_OPEN;
    unsigned char *const block = bytes->extend(max_state_size);
    if (block == nullptr) return KOR_ERR_NO_MEMORY;
    const ssize_t nread = vela::read_at(file.fd(), block, max_state_size, 0);
    bytes->shrink(nread > 0 ? static_cast<size_t>(nread) : 0);
    return nread >= 0 ? KOR_OK : KOR_ERR_INFLATE;
}

}  // namespace

uint32_t vela::number_of_files(uint32_t state) noexcept
{
    switch (state) {
        case KOR_ZCF_STATE_C00:
            return 1;
        case KOR_ZCF_STATE_CC0:
            return 2;
        case KOR_ZCF_STATE_CCC:
            return 3;
        case KOR_ZCF_STATE_HCC:
            return 3;
        default:
            return 0;
    }
}

uint32_t vela::kind_of_slot(uint32_t state, uint32_t i) noexcept
{
    return state == KOR_ZCF_STATE_HCC && i == 0 ? KOR_BUFFER_TYPE_HIST
                                                : KOR_BUFFER_TYPE_CURRENT;
}

bool vela::are_parameters(uint32_t num_cb_samples,
                          uint32_t num_hb_intervals) noexcept
{
    return num_cb_samples > 0 && num_cb_samples <= max_file_number &&
           num_cb_samples % 2 == 0 && num_hb_intervals > 0 &&
           num_cb_samples % num_hb_intervals == 0;
}

namespace {

// Reads the fields in front of the file names.  The parameters hold only
// together.
void parse_head(field_reader &in, vela::stored_state *s,
                bool *out_of_memory) noexcept
{
    in.version();
    s->filename = in.string(out_of_memory);
    in.string(out_of_memory);
    uint32_t state = 0;
    uint32_t samples = 0;
    uint32_t intervals = 0;
    uint32_t samples_per_interval = 0;
    uint32_t next = 0;
    in.u32(&state);
    in.u32(&samples);
    in.u32(&intervals);
    in.u32(&samples_per_interval);
    const bool sound = in.ok() && vela::are_parameters(samples, intervals) &&
                       samples_per_interval == samples / intervals;
    if (sound) {
        s->num_cb_samples = samples;
        s->num_hb_intervals = intervals;
    }
    in.u32(&next);
    if (in.ok() && next <= vela::max_file_number) s->next_file_number = next;
    s->state = in.ok() && vela::number_of_files(state) > 0 ? state : 0;
    in.check(sound && s->state != 0 && s->next_file_number != 0);
}

void parse_names(field_reader &in, const vela::base_name &base,
                 vela::stored_state *s, bool *out_of_memory) noexcept
{
    in.version();
    for (uint32_t i = 0; in.ok() && i < s->nfiles(); ++i) {
        const vela::heap<char> name = in.string(out_of_memory);
        in.check(name && base.parse(name.get(), &s->files[i], nullptr) &&
                 s->files[i].kind == vela::kind_of_slot(s->state, i));
    }
}

}  // namespace

int vela::read_state_file(const base_name &base, read_state *read) noexcept
{
    file_name path;
    base.name_state(&path);
    stored_state &s = read->state;
    const int result = read_whole(path.text, &s.present, &read->bytes);
    if (result < 0) return result;
    bool out_of_memory = false;
    field_reader in(read->bytes.begin(), read->bytes.size());
    parse_head(in, &s, &out_of_memory);
    parse_names(in, base, &s, &out_of_memory);
    if (out_of_memory) return KOR_ERR_NO_MEMORY;
    s.complete = in.ok() && are_in_order(s);
    return KOR_OK;
}

int vela::compose_state(const state_content &content,
                        stored_bytes *bytes) noexcept
{
    record_composer out(*bytes);
    base_name base;
    const int result = base.set(content.spelling);
    if (result < 0) return result;
    file_name name;
    out.u8(KOR_VERSION);
    out.text(content.spelling);
    base.name_state(&name);
    out.text(name.text);
    out.u32(content.state);
    out.u32(content.num_cb_samples);
    out.u32(content.num_hb_intervals);
    out.u32(content.num_cb_samples / content.num_hb_intervals);
    out.u32(content.next_file_number);
    out.u8(1);
    for (uint32_t i = 0; i < number_of_files(content.state); ++i) {
        base.name_buffer(content.files[i], &name);
        out.text(name.text);
    }
    return out.ok() ? KOR_OK : KOR_ERR_NO_MEMORY;
}
