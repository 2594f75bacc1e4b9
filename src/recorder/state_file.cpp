#include "recorder/state_file.hpp"

#include <algorithm>
#include <utility>

#include "error.h"
#include "io/codec.hpp"
#include "io/whole_reader.hpp"
#include "kor.h"
#include "kor_buffer.h"
#include "recorder/state_form.hpp"

namespace {

// More than five strings of the greatest length and the fields between them.
constexpr size_t max_state_size = 65536;

// Whatever the state, its file names begin in the same way.
constexpr uint8_t names_version = KOR_ZCF_STATE_C00_VERSION;
static_assert(names_version == KOR_ZCF_STATE_CC0_VERSION);
static_assert(names_version == KOR_ZCF_STATE_CCC_VERSION);
static_assert(names_version == KOR_ZCF_STATE_HCC_VERSION);

// The bytes of a state file that were not yet read.
struct unread_bytes {
    const unsigned char *at;
    size_t left;
};

int take(void *bytes, void *to, uint32_t size)
{
    auto *const unread = static_cast<unread_bytes *>(bytes);
    const size_t taken = std::min<size_t>(size, unread->left);
    std::copy_n(unread->at, taken, static_cast<unsigned char *>(to));
    unread->at += taken;
    unread->left -= taken;
    return static_cast<int>(taken);
}

// Numbers rise in the order in which files are created: sources first, then
// the history made of them, then the open buffer.  The closed buffer beside a
// history is older than the history.
bool are_in_order(const vela::stored_state &s) noexcept
{
    uint32_t order[vela::max_live_files] = {};
    const uint32_t n = s.nfiles();
    for (uint32_t i = 0; i < n; ++i) order[i] = s.files[i].number;
    if (s.state == KOR_ZCF_STATE_HCC) std::swap(order[0], order[1]);
    for (uint32_t i = 1; i < n; ++i)
        if (order[i - 1] >= order[i]) return false;
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

bool vela::stored_state::names(const buffer_id &id) const noexcept
{
    return std::find(files, files + nfiles(), id) != files + nfiles();
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
void read_head(vela::decoder &archive, vela::stored_state *s) noexcept
{
    vela::state_head<char *> head;
    uint32_t state = 0;
    vela::state_head_form(archive, head, state, [](bool) {});
    s->filename.reset(head.filename);
    const vela::heap<char> state_filename(head.state_filename);
    const uint32_t samples = head.num_cb_samples;
    const uint32_t intervals = head.num_hb_intervals;
    const bool sound = vela::are_parameters(samples, intervals) &&
                       head.num_samples_per_interval == samples / intervals;
    if (sound) {
        s->num_cb_samples = samples;
        s->num_hb_intervals = intervals;
    }
    if (head.next_file_number <= vela::max_file_number)
        s->next_file_number = head.next_file_number;
    if (archive.ok() && vela::number_of_files(state) > 0) s->state = state;
    archive.check(sound && s->state != 0 && s->next_file_number != 0,
                  KOR_ERR_INVALID_DATA);
}

void read_names(vela::decoder &archive, const vela::base_name &base,
                vela::stored_state *s) noexcept
{
    archive.version(names_version, names_version);
    for (uint32_t i = 0; archive.ok() && i < s->nfiles(); ++i) {
        char *text = nullptr;
        archive.string(text);
        const vela::heap<char> name(text);
        archive.check(name && base.parse(name.get(), &s->files[i], nullptr) &&
                          s->files[i].kind == vela::kind_of_slot(s->state, i),
                      KOR_ERR_INVALID_DATA);
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
    unread_bytes unread = {read->bytes.begin(), read->bytes.size()};
    whole_reader reader(take, &unread);
    decoder archive(reader.get());
    read_head(archive, &s);
    read_names(archive, base, &s);
    s.complete = archive.ok() && are_in_order(s);
    return archive.result() == KOR_ERR_NO_MEMORY ? KOR_ERR_NO_MEMORY : KOR_OK;
}

int vela::compose_state(const state_content &content,
                        memory_writer *state) noexcept
{
    base_name base;
    const int result = base.set(content.spelling);
    if (result < 0) return result;
    file_name name;
    base.name_state(&name);
    const state_head<const char *> head = {
        .filename = content.spelling,
        .state_filename = name.text,
        .num_cb_samples = content.num_cb_samples,
        .num_hb_intervals = content.num_hb_intervals,
        .num_samples_per_interval =
            content.num_cb_samples / content.num_hb_intervals,
        .next_file_number = content.next_file_number,
    };
    encoder archive(state->get());
    state_head_form(archive, head, content.state, [](bool) {});
    archive.version(names_version, names_version);
    for (uint32_t i = 0; i < number_of_files(content.state); ++i) {
        base.name_buffer(content.files[i], &name);
        archive.string(name.text);
    }
    return archive.ok() ? KOR_OK : archive.result();
}
