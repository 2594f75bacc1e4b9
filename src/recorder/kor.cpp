#include "kor.h"

#include <fcntl.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "io/codec.hpp"
#include "io/memory_writer.hpp"
#include "kor_current_buffer_compress.h"
#include "kor_hist_buffer.h"
#include "kor_hist_buffer_compress.h"
#include "platform.h"
#include "platform/strlcpy.hpp"
#include "raw_reader.h"
#include "raw_writer.h"
#include "recorder/durable.hpp"
#include "recorder/durable_files.hpp"
#include "recorder/guards.hpp"
#include "recorder/names_handover.hpp"
#include "recorder/state_form.hpp"
#include "recorder/trace.hpp"
#include "recorder/zcf_state.hpp"

namespace {

// Part of the interface: longer names are cut.
constexpr size_t file_name_size = 1024;
constexpr char state_suffix[] = ".state";

// What a storage state offers to the recorder, by the type of its object.
template <class State>
struct state_functions;

template <>
struct state_functions<struct kor_zcf_state_c00> {
    using body = vela::c00_state;
    static constexpr auto open_buffer = &kor_zcf_state_c00::cbuf;
    static constexpr auto destroy = kor_zcf_state_c00_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_c00_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_c00_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_c00;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_c00;
};

template <>
struct state_functions<struct kor_zcf_state_cc0> {
    using body = vela::cc0_state;
    static constexpr auto open_buffer = &kor_zcf_state_cc0::cbuf1;
    static constexpr auto destroy = kor_zcf_state_cc0_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_cc0_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_cc0_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_cc0;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_cc0;
};

template <>
struct state_functions<struct kor_zcf_state_ccc> {
    using body = vela::ccc_state;
    static constexpr auto open_buffer = &kor_zcf_state_ccc::cbuf2;
    static constexpr auto destroy = kor_zcf_state_ccc_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_ccc_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_ccc_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_ccc;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_ccc;
};

template <>
struct state_functions<struct kor_zcf_state_hcc> {
    using body = vela::hcc_state;
    static constexpr auto open_buffer = &kor_zcf_state_hcc::cbuf2;
    static constexpr auto destroy = kor_zcf_state_hcc_destroy;
    static constexpr auto write_vector =
        kor_zcf_state_hcc_write_telemetry_vector;
    static constexpr auto write_event = kor_zcf_state_hcc_write_event;
    static constexpr auto write = binary_serializer_write_kor_zcf_state_hcc;
    static constexpr auto read = binary_serializer_read_kor_zcf_state_hcc;
};

template <class State>
using functions_of = state_functions<std::remove_const_t<State>>;

bool is_storage_state(uint32_t state)
{
    return state >= KOR_ZCF_STATE_C00 && state <= KOR_ZCF_STATE_HCC;
}

// A transition sets the new state before it has the new object.  Where it then
// fails, the object of the state before is still there, and counts.
uint32_t state_in_force(const struct kor *kor)
{
    const bool is_ahead = kor->installed_state != 0 &&
                          kor->installed_state < KOR_ZCF_STATE_HCC &&
                          kor->state == kor->installed_state + 1;
    return is_ahead ? kor->installed_state : kor->state;
}

// Calls `act` with the state object.
template <class Kor, class Act>
auto with_state(Kor *kor, Act act)
{
    const uint32_t state = state_in_force(kor);
    KOR_ASSERT(is_storage_state(state));
    if (state == KOR_ZCF_STATE_C00) {
        KOR_ASSERT(kor->c00 != NULL);
        return act(kor->c00);
    }
    if (state == KOR_ZCF_STATE_CC0) {
        KOR_ASSERT(kor->cc0 != NULL);
        return act(kor->cc0);
    }
    if (state == KOR_ZCF_STATE_CCC) {
        KOR_ASSERT(kor->ccc != NULL);
        return act(kor->ccc);
    }
    KOR_ASSERT(kor->hcc != NULL);
    return act(kor->hcc);
}

}  // namespace

// --- file names ---

// A name that was cut may be that of a file in use, which must not be created
// anew.
static int _kor_check_name_is_free(const struct kor *kor, const char *filename)
{
    // One without a state file's name is caught when it is saved.
    if (kor->state_filename != nullptr &&
        std::strcmp(filename, kor->state_filename) == 0)
        return KOR_ERR_CANNOT_OPEN;
    if (kor->state == 0) return KOR_OK;
    const bool is_taken = with_state(kor, [filename](auto *state) {
        using functions = functions_of<std::remove_pointer_t<decltype(state)>>;
        return functions::body::has_file(*state, filename);
    });
    return is_taken ? KOR_ERR_CANNOT_OPEN : KOR_OK;
}

static int _kor_construct_filename(struct kor *kor, char *filename,
                                   const char *kind)
{
    std::snprintf(filename, file_name_size, "%s.%" PRIu32 ".%s.z",
                  kor->filename, kor->next_file_number, kind);
    ++kor->next_file_number;
    return _kor_check_name_is_free(kor, filename);
}

static int _kor_construct_cbuf_filename(struct kor *kor, char *filename)
{
    return _kor_construct_filename(kor, filename, "cbuf");
}

static int _kor_construct_hbuf_filename(struct kor *kor, char *filename)
{
    return _kor_construct_filename(kor, filename, "hbuf");
}

static char *_kor_create_state_filename(const char *filename)
{
    const size_t size = std::strlen(filename) + sizeof state_suffix;
    auto *const name = static_cast<char *>(std::malloc(size));
    if (name == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    std::snprintf(name, size, "%s%s", filename, state_suffix);
    return name;
}

// --- the state file ---

// The old content stays until the new one is written over it.
static FILE *_kor_open_state_file(const char *filename)
{
    if (!vela::overwrite_state_at_once) return std::fopen(filename, "w");
    const int fd = open(filename, O_WRONLY | O_CREAT, 0666);
    if (fd < 0) return nullptr;
    FILE *const fp = fdopen(fd, "w");
    if (fp == nullptr) {
        close(fd);
        return nullptr;
    }
    std::setvbuf(fp, nullptr, _IONBF, 0);
    return fp;
}

// Writes the state in one piece: whatever happens, the file holds the old
// state or the new one.  A state that was not serialized whole never replaces
// one that was.  Returns its bytes, or a negative code.
static int _kor_write_state(const struct kor *kor, struct writer *writer)
{
    if (!vela::overwrite_state_at_once)
        return binary_serializer_write_kor(kor, writer);
    vela::memory_writer image;
    const int nbytes = binary_serializer_write_kor(kor, image.get());
    if (nbytes < 0) return nbytes;
    if (image.size() != static_cast<size_t>(nbytes)) return KOR_ERR_NO_MEMORY;
    return writer_write_bytes(writer, image.data(),
                              static_cast<uint32_t>(nbytes));
}

// `is_durable` tells whether the state would outlast a power cut.
static int _kor_save(struct kor *kor, bool *is_durable)
{
    *is_durable = false;
    KOR_ASSERT(kor->state_filename != NULL);
    FILE *const fp = _kor_open_state_file(kor->state_filename);
    if (fp == nullptr) return KOR_ERR_CANNOT_OPEN;
    vela::on_exit close_file([fp] { std::fclose(fp); });
    vela::owned<writer_destroy> writer(raw_writer_create(fp, 0));
    if (!writer) return vela_get_last_error();
    close_file.cancel();
    const int nbytes = _kor_write_state(kor, writer.get());
    if (nbytes < 0) return nbytes;
    const bool is_cut = ftruncate(fileno(fp), nbytes) == 0;
    const bool is_synced = !vela::sync_before_removal || vela::sync_file(fp);
    *is_durable = is_cut && is_synced && vela::file_length(fp) == nbytes;
    return KOR_OK;
}

static int _kor_save(struct kor *kor)
{
    bool is_durable;
    return _kor_save(kor, &is_durable);
}

// --- transitions ---

namespace {

// A file that is removed once it has been folded.
struct folded_file {
    char name[file_name_size];
    bool is_whole;  // false: the name was cut and may be that of another file
};

void set_name(folded_file &file, const char *filename)
{
    file.is_whole = vela::copy_string(file.name, filename, sizeof file.name) <
                    sizeof file.name;
}

// Puts a new state object in the place of the one in force.  The buffer that
// is closed with it is read again only to be folded: until then a power cut
// must not shorten it.  Where that cannot be made sure, kor_sync tells.  The
// new one takes over its names: if the sample that made it necessary is not
// stored, an event may be its first record.
template <class State>
void install(struct kor *kor, State *kor::*slot, State *object, uint32_t state)
{
    struct kor_current_buffer *const opened =
        object->*functions_of<State>::open_buffer;
    with_state(kor, [kor, opened](auto *old) {
        using functions = functions_of<std::remove_pointer_t<decltype(old)>>;
        struct kor_current_buffer *const full = old->*functions::open_buffer;
        if (vela::sync_before_removal && !vela::sync_file(full->fp))
            kor->is_sync_missing = 1;
        vela::hand_over_names(full, opened);
        functions::destroy(&old);
    });
    kor->*slot = object;
    kor->state = state;
    kor->installed_state = state;
}

// A full buffer must not vanish by a power cut, name and all: if its
// neighbours were folded without it, what they hold could not be told from
// what it had held.
void keep_names(const struct kor *kor)
{
    if (vela::sync_before_removal) vela::sync_folder(kor->filename);
}

}  // namespace

// Goes on in a new current buffer; `create` makes the state that has it.  A
// `history`, if there is one, is in use, too, though no state knows of it yet.
template <class State, class Create>
static int _kor_go_on(struct kor *kor, State *kor::*slot, uint32_t state,
                      const char *history, Create create)
{
    char cbuf_filename[file_name_size];
    const int named = _kor_construct_cbuf_filename(kor, cbuf_filename);
    if (named < 0) return named;
    if (history != nullptr && std::strcmp(cbuf_filename, history) == 0)
        return KOR_ERR_CANNOT_OPEN;
    // Part of the interface: the state changes before the object exists.
    kor->state = state;
    State *const next = create(cbuf_filename);
    if (next == nullptr) return vela_get_last_error();
    install(kor, slot, next, state);
    return KOR_OK;
}

static int _kor_c00_to_cc0(struct kor *kor)
{
    KOR_ASSERT(kor->state == KOR_ZCF_STATE_C00);
    const char *const cbuf0_filename = kor_zcf_state_c00_get_filename(kor->c00);
    KOR_ASSERT(cbuf0_filename != NULL);
    const int gone_on = _kor_go_on(
        kor, &kor::cc0, KOR_ZCF_STATE_CC0, nullptr, [&](const char *open) {
            return kor_zcf_state_cc0_create(cbuf0_filename, open,
                                            kor->num_cb_samples);
        });
    if (gone_on < 0) return gone_on;
    keep_names(kor);
    return _kor_save(kor);
}

static int _kor_cc0_to_ccc(struct kor *kor)
{
    KOR_ASSERT(kor->state == KOR_ZCF_STATE_CC0);
    const char *const cbuf0_filename =
        kor_zcf_state_cc0_get_cbuf0_filename(kor->cc0);
    KOR_ASSERT(cbuf0_filename != NULL);
    const char *const cbuf1_filename =
        kor_zcf_state_cc0_get_cbuf1_filename(kor->cc0);
    KOR_ASSERT(cbuf1_filename != NULL);
    const int gone_on = _kor_go_on(
        kor, &kor::ccc, KOR_ZCF_STATE_CCC, nullptr, [&](const char *open) {
            return kor_zcf_state_ccc_create(cbuf0_filename, cbuf1_filename,
                                            open, kor->num_cb_samples);
        });
    if (gone_on < 0) return gone_on;
    keep_names(kor);
    return _kor_save(kor);
}

// The history buffer of the next fold, with room for two current buffers; or
// null with the last error set.
static struct kor_hist_buffer *_kor_create_hist_buffer(struct kor *kor,
                                                       char *filename)
{
    const int named = _kor_construct_hbuf_filename(kor, filename);
    if (named < 0) return vela::fail(named);
    return kor_hist_buffer_create(filename, 2 * kor->num_hb_intervals);
}

// Closes a history buffer that has been filled; `is_durable` tells whether it
// would outlast a power cut.
static void _kor_close_hist_buffer(struct kor_hist_buffer **hbuf,
                                   bool *is_durable)
{
    *is_durable = !vela::sync_before_removal || vela::sync_file((*hbuf)->fp);
    kor_hist_buffer_close(hbuf);
}

// Goes on behind the new history and the buffer that is full now.
static int _kor_enter_hcc(struct kor *kor, const char *hbuf_filename,
                          const char *cbuf1_filename)
{
    return _kor_go_on(kor, &kor::hcc, KOR_ZCF_STATE_HCC, hbuf_filename,
                      [&](const char *open) {
                          return kor_zcf_state_hcc_create(hbuf_filename,
                                                          cbuf1_filename, open,
                                                          kor->num_cb_samples);
                      });
}

// What replaces the folded files must outlast a power cut before they go.
static bool _kor_may_remove(const struct kor *kor, bool are_files_durable)
{
    if (!vela::sync_before_removal) return true;
    return are_files_durable &&
           vela::sync_folder(kor->state_filename) == KOR_OK;
}

static void _kor_remove(const folded_file &file, int message_id)
{
    sp_trace_string(vela::trace_file, vela::trace_unit, vela::trace_component,
                    message_id, file.name);
    if (file.is_whole) unlink(file.name);
}

static int _kor_ccc_to_hcc(struct kor *kor)
{
    KOR_ASSERT(kor->num_hb_intervals > 0);
    KOR_ASSERT(kor->num_samples_per_interval > 0);
    KOR_ASSERT(kor->state == KOR_ZCF_STATE_CCC);
    KOR_ASSERT(kor->ccc != NULL);
    char hbuf_filename[file_name_size];
    struct kor_hist_buffer *hist = _kor_create_hist_buffer(kor, hbuf_filename);
    if (hist == nullptr) return vela_get_last_error();
    folded_file cbuf0;
    set_name(cbuf0, kor_zcf_state_ccc_get_cbuf0_filename(kor->ccc));
    folded_file cbuf1;
    set_name(cbuf1, kor_zcf_state_ccc_get_cbuf1_filename(kor->ccc));
    const char *const cbuf2_filename =
        kor_zcf_state_ccc_get_cbuf2_filename(kor->ccc);
    KOR_ASSERT(cbuf2_filename != NULL);

    sp_trace_printf(vela::trace_file, vela::trace_unit, vela::trace_component,
                    vela::trace_ccc_adds_cbuf0,
                    "_kor_ccc_to_hcc: file='%s', adding '%s'", hbuf_filename,
                    cbuf0.name);
    int result = kor_current_buffer_compress(cbuf0.name, hist,
                                             kor->num_samples_per_interval);
    if (result >= 0) {
        sp_trace_printf(vela::trace_file, vela::trace_unit,
                        vela::trace_component, vela::trace_ccc_adds_cbuf1,
                        "_kor_ccc_to_hcc: file='%s', adding '%s'",
                        hbuf_filename, cbuf1.name);
        result = kor_current_buffer_compress(cbuf1.name, hist,
                                             kor->num_samples_per_interval);
    }
    bool is_history_durable;
    _kor_close_hist_buffer(&hist, &is_history_durable);
    if (result < 0) return result;

    const int entered = _kor_enter_hcc(kor, hbuf_filename, cbuf2_filename);
    if (entered < 0) return entered;
    bool is_state_durable;
    const int saved = _kor_save(kor, &is_state_durable);
    if (saved < 0) {
        // Part of the interface: the second close aborts.  In the later
        // transitions a failed save is only reported.
        kor_hist_buffer_close(&hist);
        return saved;
    }
    if (!_kor_may_remove(kor, is_history_durable && is_state_durable))
        return KOR_OK;
    _kor_remove(cbuf0, vela::trace_ccc_removes_cbuf0);
    _kor_remove(cbuf1, vela::trace_ccc_removes_cbuf1);
    return KOR_OK;
}

static int _kor_hcc_to_hcc(struct kor *kor)
{
    KOR_ASSERT(kor->state == KOR_ZCF_STATE_HCC);
    KOR_ASSERT(kor->hcc != NULL);
    char hbuf_filename[file_name_size];
    struct kor_hist_buffer *hist = _kor_create_hist_buffer(kor, hbuf_filename);
    if (hist == nullptr) return vela_get_last_error();
    folded_file hbuf0;
    set_name(hbuf0, kor_zcf_state_hcc_get_hbuf_filename(kor->hcc));
    const char *const hbuf0_filename = hbuf0.name;
    KOR_ASSERT(strcmp(hbuf0_filename, hbuf_filename) != 0);

    sp_trace_printf(vela::trace_file, vela::trace_unit, vela::trace_component,
                    vela::trace_hcc_adds_hbuf,
                    "_kor_hcc_to_hcc: file='%s', adding '%s'", hbuf_filename,
                    hbuf0.name);
    int result = kor_hist_buffer_compress(hbuf0.name, hist);
    folded_file cbuf1;
    set_name(cbuf1, kor_zcf_state_hcc_get_cbuf1_filename(kor->hcc));
    if (result >= 0) {
        sp_trace_printf(vela::trace_file, vela::trace_unit,
                        vela::trace_component, vela::trace_hcc_adds_cbuf1,
                        "_kor_hcc_to_hcc: file='%s', adding '%s'",
                        hbuf_filename, cbuf1.name);
        result = kor_current_buffer_compress(cbuf1.name, hist,
                                             kor->num_samples_per_interval);
    }
    bool is_history_durable;
    _kor_close_hist_buffer(&hist, &is_history_durable);
    if (result < 0) return result;

    const char *const cbuf2_filename =
        kor_zcf_state_hcc_get_cbuf2_filename(kor->hcc);
    KOR_ASSERT(cbuf2_filename != NULL);
    const int entered = _kor_enter_hcc(kor, hbuf_filename, cbuf2_filename);
    if (entered < 0) return entered;
    bool is_state_durable;
    const int saved = _kor_save(kor, &is_state_durable);
    if (saved < 0) return saved;
    if (!_kor_may_remove(kor, is_history_durable && is_state_durable))
        return KOR_OK;
    _kor_remove(hbuf0, vela::trace_hcc_removes_hbuf);
    _kor_remove(cbuf1, vela::trace_hcc_removes_cbuf1);
    return KOR_OK;
}

// Leaves a state whose open buffer is full.
static int _kor_advance(struct kor *kor)
{
    if (kor->state == KOR_ZCF_STATE_C00) {
        const int result = _kor_c00_to_cc0(kor);
        if (result != KOR_OK) return result;
        KOR_ASSERT(kor->state == KOR_ZCF_STATE_CC0);
    } else if (kor->state == KOR_ZCF_STATE_CC0) {
        const int result = _kor_cc0_to_ccc(kor);
        if (result != KOR_OK) return result;
        KOR_ASSERT(kor->state == KOR_ZCF_STATE_CCC);
    } else {
        const int result = kor->state == KOR_ZCF_STATE_CCC
                               ? _kor_ccc_to_hcc(kor)
                               : _kor_hcc_to_hcc(kor);
        if (result != KOR_OK) return result;
        KOR_ASSERT(kor->state == KOR_ZCF_STATE_HCC);
    }
    return KOR_OK;
}

// --- the recorder ---

// The first buffer and the first state file of a recorder that has its names.
static int _kor_start(struct kor *kor)
{
    char cbuf_filename[file_name_size];
    const int named = _kor_construct_cbuf_filename(kor, cbuf_filename);
    if (named < 0) return named;
    kor->c00 = kor_zcf_state_c00_create(cbuf_filename, kor->num_cb_samples);
    if (kor->c00 == nullptr) {
        KOR_ASSERT(vela_get_last_error() < 0);
        return vela_get_last_error();
    }
    kor->state = KOR_ZCF_STATE_C00;
    kor->installed_state = KOR_ZCF_STATE_C00;
    return _kor_save(kor);
}

struct kor *kor_create(const char *filename, uint32_t num_cb_samples,
                       uint32_t num_hb_intervals)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(filename[0] != 0);
    KOR_ASSERT(num_cb_samples > 0);
    KOR_ASSERT(num_hb_intervals > 0);
    KOR_ASSERT(num_cb_samples % num_hb_intervals == 0);
    KOR_ASSERT(num_cb_samples % 2 == 0);
    KOR_ASSERT(num_hb_intervals % 2 == 0);
    sp_trace_printf(vela::trace_file, vela::trace_unit, vela::trace_component,
                    vela::trace_kor_create,
                    "kor_create: file='%s', samples=%d, intervals=%d", filename,
                    static_cast<int>(num_cb_samples),
                    static_cast<int>(num_hb_intervals));
    vela::owned<kor_close> kor(kor_create_null());
    if (!kor) return nullptr;
    kor->filename = strdup(filename);
    if (kor->filename == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    kor->state_filename = _kor_create_state_filename(filename);
    if (kor->state_filename == nullptr) return nullptr;
    kor->num_cb_samples = num_cb_samples;
    kor->num_hb_intervals = num_hb_intervals;
    kor->num_samples_per_interval = num_cb_samples / num_hb_intervals;
    kor->next_file_number = 1;
    const int started = _kor_start(kor.get());
    if (started == KOR_OK) return kor.release();
    kor.reset();
    return vela::fail(started);
}

struct kor *kor_create_null(void)
{
    auto *const kor =
        static_cast<struct kor *>(std::calloc(1, sizeof(struct kor)));
    if (kor == nullptr) return vela::fail(KOR_ERR_NO_MEMORY);
    kor->version = KOR_VERSION;
    return kor;
}

static struct reader *_kor_open_state_reader(const char *filename)
{
    const vela::heap<char> state_filename(_kor_create_state_filename(filename));
    if (!state_filename) return nullptr;
    FILE *const fp = std::fopen(state_filename.get(), "r");
    if (fp == nullptr) return vela::fail(KOR_ERR_CANNOT_OPEN);
    struct reader *const reader = raw_reader_create(fp, 0);
    if (reader == nullptr) std::fclose(fp);
    return reader;
}

struct kor *kor_open(const char *filename)
{
    KOR_ASSERT(filename != NULL);
    KOR_ASSERT(filename[0] != 0);
    vela::owned<reader_destroy> reader(_kor_open_state_reader(filename));
    if (!reader) return nullptr;
    vela::owned<kor_close> kor(kor_create_null());
    if (!kor) return nullptr;
    kor->restore_result = binary_serializer_read_kor(kor.get(), reader.get());
    // Part of the interface: a recorder that was restored only in part is
    // handed out all the same; kor_get_restore_result tells.
    if (kor->restore_result != 0) return kor.release();
    kor.reset();
    return vela::fail(KOR_ERR_TRUNCATED);
}

void kor_close(struct kor **kor)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT((*kor) != NULL);
    KOR_ASSERT((*kor)->version == KOR_VERSION);
    struct kor &closing = **kor;
    closing.state = state_in_force(*kor);
    KOR_ASSERT(closing.state == 0 || is_storage_state(closing.state));
    if (closing.state == KOR_ZCF_STATE_C00) {
        KOR_ASSERT((*kor)->c00 != NULL);
        kor_zcf_state_c00_destroy(&closing.c00);
    } else if (closing.state == KOR_ZCF_STATE_CC0) {
        KOR_ASSERT((*kor)->cc0 != NULL);
        kor_zcf_state_cc0_destroy(&closing.cc0);
    } else if (closing.state == KOR_ZCF_STATE_CCC) {
        KOR_ASSERT((*kor)->ccc != NULL);
        kor_zcf_state_ccc_destroy(&closing.ccc);
    } else if (closing.state == KOR_ZCF_STATE_HCC) {
        KOR_ASSERT((*kor)->hcc != NULL);
        kor_zcf_state_hcc_destroy(&closing.hcc);
    }
    std::free(closing.filename);
    std::free(closing.state_filename);
    closing = {};
    std::free(*kor);
    *kor = nullptr;
}

int kor_write_telemetry_vector(struct kor *kor, struct matrix *vector)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT(kor->version == KOR_VERSION);
    KOR_ASSERT(vector != NULL);
    kor->state = state_in_force(kor);
    for (;;) {
        const int result = with_state(kor, [vector](auto *state) {
            using functions =
                functions_of<std::remove_pointer_t<decltype(state)>>;
            return functions::write_vector(state, vector);
        });
        if (result != KOR_ERR_FULL) return result;
        const int advanced = _kor_advance(kor);
        if (advanced != KOR_OK) return advanced;
    }
}

int kor_write_event(struct kor *kor, struct kor_cb_record_event *event)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT(kor->version == KOR_VERSION);
    KOR_ASSERT(event != NULL);
    kor->state = state_in_force(kor);
    return with_state(kor, [event](auto *state) {
        using functions = functions_of<std::remove_pointer_t<decltype(state)>>;
        return functions::write_event(state, event);
    });
}

int kor_sync(struct kor *kor)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT(kor->version == KOR_VERSION);
    if (kor->state == 0) return KOR_OK;  // it has accepted nothing
    const int synced = with_state(kor, [](auto *state) -> int {
        using functions = functions_of<std::remove_pointer_t<decltype(state)>>;
        struct kor_current_buffer *const cbuf = state->*functions::open_buffer;
        if (cbuf == nullptr) return KOR_OK;
        return vela::sync_file(cbuf->fp) ? vela::sync_folder(cbuf->filename)
                                         : KOR_ERR_INFLATE;
    });
    const bool was_missing = kor->is_sync_missing != 0;
    kor->is_sync_missing = 0;
    return was_missing ? KOR_ERR_INFLATE : synced;
}

int kor_get_restore_result(const struct kor *kor)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT(kor->version == KOR_VERSION);
    return kor->restore_result;
}

// --- serialized form ---

int binary_serializer_write_kor(const struct kor *kor, struct writer *writer)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT(kor->version == KOR_VERSION);
    KOR_ASSERT(writer != NULL);
    vela::encoder archive(writer);
    const uint32_t state = state_in_force(kor);
    vela::state_head_form(archive, *kor, state, [](bool) {});
    if (!archive.ok()) return archive.result();
    // Part of the interface: the 0 of a state that could not write a name
    // counts as success.
    const int nwritten = with_state(kor, [writer](auto *object) {
        using functions = functions_of<std::remove_pointer_t<decltype(object)>>;
        return functions::write(object, writer);
    });
    return nwritten < 0 ? nwritten : archive.result() + nwritten;
}

// Everything before the state object.
static int _kor_read_head(struct kor *kor, uint32_t &state,
                          struct reader *reader)
{
    vela::decoder archive(reader);
    vela::state_head_form(archive, *kor, state, [&archive](bool holds) {
        archive.check(holds, KOR_ERR_INVALID_DATA);
    });
    archive.check(is_storage_state(state), KOR_ERR_INVALID_DATA);
    return archive.result();
}

// The state is known only together with its object, so that a recorder that
// was restored in part can still be closed.
static void _kor_install_null_state(struct kor *kor, uint32_t state)
{
    if (state == KOR_ZCF_STATE_C00) {
        kor->c00 = kor_zcf_state_c00_create_null();
        KOR_ASSERT(kor->c00 != NULL);
    } else if (state == KOR_ZCF_STATE_CC0) {
        kor->cc0 = kor_zcf_state_cc0_create_null();
        KOR_ASSERT(kor->cc0 != NULL);
    } else if (state == KOR_ZCF_STATE_CCC) {
        kor->ccc = kor_zcf_state_ccc_create_null();
        KOR_ASSERT(kor->ccc != NULL);
    } else {
        kor->hcc = kor_zcf_state_hcc_create_null();
        KOR_ASSERT(kor->hcc != NULL);
    }
    kor->state = state;
    kor->installed_state = state;
}

int binary_serializer_read_kor(struct kor *kor, struct reader *reader)
{
    KOR_ASSERT(kor != NULL);
    KOR_ASSERT(kor->version == 1);
    KOR_ASSERT(reader != NULL);
    uint32_t state = 0;
    const int head = _kor_read_head(kor, state, reader);
    if (head <= 0) return head;
    _kor_install_null_state(kor, state);
    const int nread = with_state(kor, [reader](auto *object) {
        using functions = functions_of<std::remove_pointer_t<decltype(object)>>;
        return functions::read(object, reader);
    });
    if (nread == 0) return KOR_ERR_TRUNCATED;
    return nread < 0 ? nread : head + nread;
}
