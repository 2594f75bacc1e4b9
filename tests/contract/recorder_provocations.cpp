// What the storage states, the recorder, playback and recovery promise.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "contract/recorder_fixtures.hpp"
#include "kor_playback.h"
#include "kor_recover.h"

using namespace std::string_literals;

namespace {

using contract::creating;
using contract::dead;
using contract::event;
using contract::from;
using contract::from_a_damaged_file;
using contract::in_folder;
using contract::last_error_of;
using contract::nothing;
using contract::on_file;
using contract::on_full_disk;
using contract::pointer_to;
using contract::sample;
using contract::with_each_allocation_failing;
using contract::without_memory;
using test::stored_count;

// Vectors that fill the open buffer of each state of a recorder of 4 samples
// and 2 intervals.
constexpr int fills_c00 = 4;
constexpr int fills_cc0 = 8;
constexpr int fills_ccc = 12;
constexpr int fills_hcc = 16;

std::string stored_text(const std::string &text)
{
    return stored_count(static_cast<uint32_t>(text.size())) + text;
}

// --- storage states ---

// A state whose open buffer is a new file.
struct kor_zcf_state_c00 *new_c00()
{
    return kor_zcf_state_c00_create("b", 2);
}
struct kor_zcf_state_cc0 *new_cc0()
{
    return kor_zcf_state_cc0_create("x", "b", 2);
}
struct kor_zcf_state_ccc *new_ccc()
{
    return kor_zcf_state_ccc_create("x", "y", "b", 2);
}
struct kor_zcf_state_hcc *new_hcc()
{
    return kor_zcf_state_hcc_create("x", "y", "b", 2);
}

// How each of them is stored.
const std::string stored_c00 = "\1" + stored_text("b");
const std::string stored_cc0 = "\1" + stored_text("x") + stored_text("b");
const std::string stored_ccc =
    "\1" + stored_text("x") + stored_text("y") + stored_text("b");
const std::string stored_hcc = stored_ccc;

// What reading a stored state comes to, with this as its open buffer.
template <class State, State *(*CreateNull)(), void (*Destroy)(State **),
          int (*Read)(State *, struct reader *)>
int read_state(struct reader *in)
{
    State *state = CreateNull();
    if (state == nullptr) return vela_get_last_error();
    const int nread = Read(state, in);
    Destroy(&state);
    return nread;
}
constexpr auto read_c00 =
    read_state<struct kor_zcf_state_c00, kor_zcf_state_c00_create_null,
               kor_zcf_state_c00_destroy,
               binary_serializer_read_kor_zcf_state_c00>;
constexpr auto read_cc0 =
    read_state<struct kor_zcf_state_cc0, kor_zcf_state_cc0_create_null,
               kor_zcf_state_cc0_destroy,
               binary_serializer_read_kor_zcf_state_cc0>;
constexpr auto read_ccc =
    read_state<struct kor_zcf_state_ccc, kor_zcf_state_ccc_create_null,
               kor_zcf_state_ccc_destroy,
               binary_serializer_read_kor_zcf_state_ccc>;
constexpr auto read_hcc =
    read_state<struct kor_zcf_state_hcc, kor_zcf_state_hcc_create_null,
               kor_zcf_state_hcc_destroy,
               binary_serializer_read_kor_zcf_state_hcc>;

template <const std::string &Stored, int (*Read)(struct reader *)>
int reopened(const std::string &content)
{
    return on_file(content, [] { return from(Stored, Read); });
}
constexpr auto reopened_c00 = reopened<stored_c00, read_c00>;
constexpr auto reopened_cc0 = reopened<stored_cc0, read_cc0>;
constexpr auto reopened_ccc = reopened<stored_ccc, read_ccc>;
constexpr auto reopened_hcc = reopened<stored_hcc, read_hcc>;

// What `act` gives for a state in a folder of its own.
template <class State, class Act>
int with_state(State *(*create)(), void (*destroy)(State **), Act act)
{
    const test::scratch_folder folder;
    State *state = create();
    const int result = act(state);
    destroy(&state);
    return result;
}

// A state with these names, but without an open buffer.
template <class State, class... Names>
State *closed(State *state, Names... names)
{
    static char name[] = "x";
    ((state->*names = name), ...);
    return state;
}

// --- recorders ---

struct kor *new_recorder()
{
    return kor_create("rec", 4, 2);
}
int write_vector(struct kor *kor)
{
    return kor_write_telemetry_vector(kor, sample());
}
// A recorder of so many vectors, all at one time.
struct kor *recorder_of(int nvectors)
{
    struct kor *const kor = new_recorder();
    for (int i = 0; i < nvectors; ++i) EXPECT_EQ(write_vector(kor), KOR_OK);
    return kor;
}
// What `act` gives for a recorder of so many vectors.
template <class Act>
int with_recorder(int nvectors, Act act)
{
    const test::scratch_folder folder;
    struct kor *kor = recorder_of(nvectors);
    const int result = act(kor);
    kor_close(&kor);
    return result;
}

// A recorder that says it is in this state, without the state's object.
struct kor *in_state(uint32_t state)
{
    static struct kor made;
    made = {};
    made.version = KOR_VERSION;
    made.state = state;
    return &made;
}
constexpr uint32_t no_state = 5;

// What the next vector comes to when a full recorder finds this file.
int folded(int nvectors, const char *file, const std::string &content)
{
    return with_recorder(nvectors, [&](struct kor *kor) {
        test::write_file(file, content);
        return write_vector(kor);
    });
}
int folded_buffer(const std::string &content)
{
    return folded(fills_ccc, "rec.1.cbuf.z", content);
}
int folded_history(const std::string &content)
{
    return folded(fills_hcc, "rec.4.hbuf.z", content);
}

int write_event(struct kor *kor)
{
    return kor_write_event(kor, event());
}
int write_without_zlib(struct kor *kor)
{
    const contract::no_zlib_memory fault(kor->c00->cbuf->writer);
    return write_vector(kor);
}
int write_event_without_zlib(struct kor *kor)
{
    const contract::no_zlib_memory fault(kor->c00->cbuf->writer);
    return write_event(kor);
}

// --- state files ---

// The state file of a recorder of so many vectors.
std::string state_file_of(int nvectors)
{
    const test::scratch_folder folder;
    struct kor *kor = recorder_of(nvectors);
    kor_close(&kor);
    return test::read_file("rec.state");
}
// Where some of its fields begin.
constexpr size_t filename_at = 1;
constexpr size_t samples_at = filename_at + 4 + 3 + 4 + 9 + 4;

// What reading a state file comes to, with this as the open buffer.
template <class Read>
int with_open_buffer(const std::string &content, Read read)
{
    const test::scratch_folder folder;
    struct kor *kor = recorder_of(0);
    kor_close(&kor);
    test::write_file("rec.1.cbuf.z", content);
    return read();
}
int read_kor(struct reader *in)
{
    struct kor *kor = kor_create_null();
    const int nread = binary_serializer_read_kor(kor, in);
    kor_close(&kor);
    return nread;
}
int read_back(const std::string &content)
{
    return with_open_buffer(
        content, [] { return from(test::read_file("rec.state"), read_kor); });
}
int restore_result()
{
    struct kor *kor = kor_open("rec");
    if (kor == nullptr) return 1;
    const int result = kor_get_restore_result(kor);
    kor_close(&kor);
    return result;
}
int restored(const std::string &content)
{
    return with_open_buffer(content, restore_result);
}
int restored_from(const std::string &state)
{
    return in_folder([&] {
        test::write_file("rec.state", state);
        return restore_result();
    });
}
int open_recorder()
{
    return last_error_of(kor_open("rec"), kor_close);
}

// Reads with each allocation failing in turn, up to the first that aborts.
void read_until_abort(int nvectors)
{
    const std::string state = state_file_of(nvectors);
    for (int n = 0; n < 10; ++n) {
        struct kor *kor = kor_create_null();
        test::memory_reader in(state);
        const test::failing_allocation failing(n);
        binary_serializer_read_kor(kor, in.get());
    }
}

// Opens a recorder with each allocation failing in turn, up to the first that
// is not needed to give one.
int restored_without_memory()
{
    return with_open_buffer(contract::current_file(""), [] {
        for (int n = 0;; ++n) {
            const int result =
                contract::with_failing_allocation(n, restore_result);
            if (result != 1) return result;
        }
    });
}

// The state cannot be saved any more.
void block_state_file(struct kor *kor)
{
    free(kor->state_filename);
    kor->state_filename = strdup("no/folder/rec.state");
}

int write_too_long_name(struct kor *kor)
{
    char *const own = kor->filename;
    std::string name = contract::too_long;
    kor->filename = name.data();
    const int result = binary_serializer_write_kor(kor, contract::any_writer());
    kor->filename = own;
    return result;
}
int sync_closed_file(struct kor *kor)
{
    close(fileno(kor->c00->cbuf->fp));
    return kor_sync(kor);
}

// --- playback and recovery ---

// What `act` gives for the playback of a file "b" of this content.
template <class Act>
int with_playback(const std::string &content, Act act)
{
    return on_file(content, [=] {
        struct kor_playback *playback = kor_playback_open("b");
        const int result = act(playback);
        kor_playback_close(&playback);
        return result;
    });
}
const std::string only_names = contract::current_file(test::stored_names);
// More than is read at a time.
const std::string much_garbage(40000, 'x');
struct kor_playback *some_playback()
{
    test::write_file("b", only_names);
    return kor_playback_open("b");
}
int play_one(struct kor_playback *playback)
{
    struct kor_playback_item item;
    return kor_playback_next(playback, &item);
}
// Whoever has the file open can only write to it from then on.
void make_write_only(const char *path)
{
    const int write_only = open(path, O_WRONLY);
    struct stat wanted;
    ASSERT_EQ(fstat(write_only, &wanted), 0);
    for (int fd = 3; fd < write_only; ++fd) {
        struct stat status;
        if (fstat(fd, &status) == 0 && status.st_dev == wanted.st_dev &&
            status.st_ino == wanted.st_ino)
            dup2(write_only, fd);
    }
    close(write_only);
}

// No recorder can have written these: a buffer of more samples than it holds.
const std::string crowded =
    contract::current_file(test::stored_names + test::stored_sample_0 +
                           test::stored_sample_0 + test::stored_sample_0);

// What `act` gives for the files of a closed recorder.
template <class Act>
int on_recorder(Act act)
{
    const test::scratch_folder folder;
    struct kor *kor = recorder_of(fills_c00);
    kor_close(&kor);
    return act();
}
// A file that can be opened but not read.
void make_unreadable(const char *path)
{
    std::filesystem::remove(path);
    std::filesystem::create_symlink("/proc/self/mem", path);
}

using recovery = int (*)(const char *);
int recover(const char *filename)
{
    return kor_recover(filename);
}
int recover_with(const char *filename)
{
    return kor_recover_with(filename, 2, 2);
}
int recover_report(const char *filename)
{
    return kor_recover_report(filename, 2, 2, 0, NULL);
}
int resume(const char *filename)
{
    return last_error_of(kor_resume(filename, 2, 2), kor_close);
}

int recovered_from(const std::string &content, recovery act)
{
    return in_folder([&] {
        test::write_file("rec.1.cbuf.z", content);
        return act("rec");
    });
}
int recovered_without_memory(recovery act)
{
    return on_recorder([=] {
        return contract::with_failing_allocation(0, [=] { return act("rec"); });
    });
}
int recovered_on_full_disk(recovery act)
{
    return on_recorder([=] {
        std::filesystem::remove("rec.state");
        const test::file_size_limit full_disk(0);
        return act("rec");
    });
}
int recovered_from_unreadable(recovery act)
{
    return on_recorder([=] {
        make_unreadable("rec.state");
        return act("rec");
    });
}

}  // namespace

// --- storage states: creating ---

ABORTS_WITH(kor_zcf_state_c00_create, "filename != NULL", NULL, 2);
ABORTS_WITH(kor_zcf_state_c00_create, "num_cb_samples > 0", "b", 0);
ABORTS_WITH(kor_zcf_state_cc0_create, "cbuf0_filename != NULL", NULL, "b", 2);
ABORTS_WITH(kor_zcf_state_cc0_create, "cbuf1_filename != NULL", "x", NULL, 2);
ABORTS_WITH(kor_zcf_state_cc0_create, "num_cb_samples > 0", "x", "b", 0);
ABORTS_WITH(kor_zcf_state_ccc_create, "cbuf0_filename != NULL", NULL, "y", "b",
            2);
ABORTS_WITH(kor_zcf_state_ccc_create, "cbuf1_filename != NULL", "x", NULL, "b",
            2);
ABORTS_WITH(kor_zcf_state_ccc_create, "cbuf2_filename != NULL", "x", "y", NULL,
            2);
ABORTS_WITH(kor_zcf_state_ccc_create, "num_cb_samples > 0", "x", "y", "b", 0);
ABORTS_WITH(kor_zcf_state_hcc_create, "hbuf_filename != NULL", NULL, "y", "b",
            2);
ABORTS_WITH(kor_zcf_state_hcc_create, "cbuf1_filename != NULL", "x", NULL, "b",
            2);
ABORTS_WITH(kor_zcf_state_hcc_create, "cbuf2_filename != NULL", "x", "y", NULL,
            2);
ABORTS_WITH(kor_zcf_state_hcc_create, "num_cb_samples > 0", "x", "y", "b", 0);

// --- storage states: file names ---

#define GETTER_ABORTS(state, VERSION, getter, field)             \
    ABORTS_WITH(state##_##getter, "state != NULL", NULL);        \
    ABORTS_WITH(state##_##getter, "state->version == " #VERSION, \
                dead<struct state>());                           \
    ABORTS_WITH(state##_##getter, "state->" #field " != NULL",   \
                state##_create_null())

GETTER_ABORTS(kor_zcf_state_c00, KOR_ZCF_STATE_C00_VERSION, get_filename, cbuf);
GETTER_ABORTS(kor_zcf_state_cc0, KOR_ZCF_STATE_CC0_VERSION, get_cbuf0_filename,
              cbuf0_filename);
GETTER_ABORTS(kor_zcf_state_cc0, KOR_ZCF_STATE_CC0_VERSION, get_cbuf1_filename,
              cbuf1);
GETTER_ABORTS(kor_zcf_state_ccc, KOR_ZCF_STATE_CCC_VERSION, get_cbuf0_filename,
              cbuf0_filename);
GETTER_ABORTS(kor_zcf_state_ccc, KOR_ZCF_STATE_CCC_VERSION, get_cbuf1_filename,
              cbuf1_filename);
GETTER_ABORTS(kor_zcf_state_ccc, KOR_ZCF_STATE_CCC_VERSION, get_cbuf2_filename,
              cbuf2);
GETTER_ABORTS(kor_zcf_state_hcc, KOR_ZCF_STATE_HCC_VERSION, get_hbuf_filename,
              hbuf_filename);
GETTER_ABORTS(kor_zcf_state_hcc, KOR_ZCF_STATE_HCC_VERSION, get_cbuf1_filename,
              cbuf1_filename);
GETTER_ABORTS(kor_zcf_state_hcc, KOR_ZCF_STATE_HCC_VERSION, get_cbuf2_filename,
              cbuf2);

// --- storage states: writing to the open buffer ---

#define WRITE_ABORTS(write, state, version_test, open, what, thing)   \
    ABORTS_WITH(write, "state != NULL", NULL, thing);                 \
    ABORTS_WITH(write, what " != NULL", state##_create_null(), NULL); \
    ABORTS_WITH(write, version_test, dead<struct state>(), thing);    \
    ABORTS_WITH(write, "state->" #open " != NULL", state##_create_null(), thing)

#define STATE_ABORTS(state, VERSION, open)                                   \
    ABORTS_WITH(state##_destroy, "state != NULL", NULL);                     \
    ABORTS_WITH(state##_destroy, "*state != NULL", nothing<struct state>()); \
    ABORTS_WITH(state##_destroy, "(*state)->version == " #VERSION,           \
                pointer_to(dead<struct state>()));                           \
    WRITE_ABORTS(state##_write_telemetry_vector, state,                      \
                 "state->version == " #VERSION, open, "vector", sample());   \
    WRITE_ABORTS(state##_write_event, state, "state->version == " #VERSION,  \
                 open, "event", event())

STATE_ABORTS(kor_zcf_state_c00, KOR_ZCF_STATE_C00_VERSION, cbuf);
STATE_ABORTS(kor_zcf_state_cc0, KOR_ZCF_STATE_CC0_VERSION, cbuf1);
STATE_ABORTS(kor_zcf_state_ccc, KOR_ZCF_STATE_CCC_VERSION, cbuf2);
STATE_ABORTS(kor_zcf_state_hcc, KOR_ZCF_STATE_HCC_VERSION, cbuf2);

// --- storage states: the stored form ---

#define SERIALIZER_ABORTS(state)                                        \
    ABORTS_WITH(binary_serializer_write_##state, "state != NULL", NULL, \
                contract::any_writer());                                \
    ABORTS_WITH(binary_serializer_write_##state, "writer != NULL",      \
                state##_create_null(), NULL);                           \
    ABORTS_WITH(binary_serializer_write_##state, "state->version == 1", \
                dead<struct state>(), contract::any_writer());          \
    ABORTS_WITH(binary_serializer_read_##state, "state != NULL", NULL,  \
                contract::empty_reader());                              \
    ABORTS_WITH(binary_serializer_read_##state, "reader != NULL",       \
                state##_create_null(), NULL);                           \
    ABORTS_WITH(binary_serializer_read_##state, "state->version == 1",  \
                dead<struct state>(), contract::empty_reader())

SERIALIZER_ABORTS(kor_zcf_state_c00);
SERIALIZER_ABORTS(kor_zcf_state_cc0);
SERIALIZER_ABORTS(kor_zcf_state_ccc);
SERIALIZER_ABORTS(kor_zcf_state_hcc);

ABORTS_WITH(binary_serializer_write_kor_zcf_state_c00, "state->cbuf != NULL",
            kor_zcf_state_c00_create_null(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_cc0,
            "state->cbuf0_filename != NULL", kor_zcf_state_cc0_create_null(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_cc0, "state->cbuf1 != NULL",
            closed(kor_zcf_state_cc0_create_null(),
                   &kor_zcf_state_cc0::cbuf0_filename),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_ccc,
            "state->cbuf0_filename != NULL", kor_zcf_state_ccc_create_null(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_ccc,
            "state->cbuf1_filename != NULL",
            closed(kor_zcf_state_ccc_create_null(),
                   &kor_zcf_state_ccc::cbuf0_filename),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_ccc, "state->cbuf2 != NULL",
            closed(kor_zcf_state_ccc_create_null(),
                   &kor_zcf_state_ccc::cbuf0_filename,
                   &kor_zcf_state_ccc::cbuf1_filename),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_hcc,
            "state->hbuf_filename != NULL", kor_zcf_state_hcc_create_null(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_hcc,
            "state->cbuf1_filename != NULL",
            closed(kor_zcf_state_hcc_create_null(),
                   &kor_zcf_state_hcc::hbuf_filename),
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_zcf_state_hcc, "state->cbuf2 != NULL",
            closed(kor_zcf_state_hcc_create_null(),
                   &kor_zcf_state_hcc::hbuf_filename,
                   &kor_zcf_state_hcc::cbuf1_filename),
            contract::any_writer());

// --- storage states: codes ---

#define CREATE_FAILS(state, create)                                \
    FAILS_BY(state##_create_null, -22,                             \
             with_each_allocation_failing(                         \
                 creating(state##_create_null, state##_destroy))); \
    FAILS_BY(state##_create, -22, in_folder([] {                   \
                 return with_each_allocation_failing(              \
                     creating(create, state##_destroy));           \
             }));                                                  \
    FAILS_BY(state##_create, -40, in_folder([] {                   \
                 std::filesystem::create_directory("b");           \
                 return last_error_of(create());                   \
             }))

// `write` forwards to the open buffer what is good, empty and too long.
#define WRITE_FAILS(write, create, destroy, open, good, empty, long)        \
    FAILS_BY(write, -6, with_state(create, destroy, [](auto *state) {       \
                 return write(state, empty);                                \
             }));                                                           \
    FAILS_BY(write, -41,                                                    \
             with_state(create, destroy, on_full_disk([](auto *state) {     \
                            return write(state, good);                      \
                        })));                                               \
    FAILS_BY(write, -42, with_state(create, destroy, [](auto *state) {      \
                 const contract::no_zlib_memory fault(state->open->writer); \
                 return write(state, good);                                 \
             }));                                                           \
    FAILS_BY(write, -49, with_state(create, destroy, [](auto *state) {      \
                 return write(state, long);                                 \
             }))

#define STORE_FAILS(write, create, destroy)                                   \
    FAILS_BY(                                                                 \
        write, -41, with_state(create, destroy, [](auto *state) {             \
            return contract::on_a_full_disk(contract::storing(write, state)); \
        }));                                                                  \
    FAILS_BY(write, -42, with_state(create, destroy, [](auto *state) {        \
                 return contract::without_a_compressor(                       \
                     contract::storing(write, state));                        \
             }))

// `read` is the serializer, and `reopened` takes what the open buffer holds.
#define READ_FAILS(function, stored, read, reopened)                       \
    FAILS_BY(function, -3, reopened(contract::hist_file("")));             \
    FAILS_BY(function, -4,                                                 \
             reopened(contract::current_file(test::stored_event)));        \
    FAILS_BY(function, -6, from("\1" + stored_count(0), read));            \
    FAILS_BY(function, -12, from("\2", read));                             \
    FAILS_BY(function, -22, on_file(contract::current_file(""), [] {       \
                 return with_each_allocation_failing(                      \
                     [] { return from(stored, read); });                   \
             }));                                                          \
    FAILS_BY(function, -40, in_folder([] { return from(stored, read); })); \
    FAILS_BY(function, -41, from_a_damaged_file(read));                    \
    FAILS_BY(function, -43, from("\1", read));                             \
    FAILS_BY(function, -48, from("\1\0"s, read));                          \
    FAILS_ON_DAMAGED(function, current_file, reopened)

#define STATE_FAILS(state, id, open)                                           \
    CREATE_FAILS(state, new_##id);                                             \
    FAILS_BY(state##_write_telemetry_vector, -2,                               \
             with_state(new_##id, state##_destroy, [](auto *object) {          \
                 object->open->size = object->open->max_data_records;          \
                 return state##_write_telemetry_vector(object, sample());      \
             }));                                                              \
    FAILS_BY(state##_write_telemetry_vector, -22,                              \
             with_state(                                                       \
                 new_##id, state##_destroy, without_memory([](auto *object) {  \
                     return state##_write_telemetry_vector(object, sample());  \
                 })));                                                         \
    WRITE_FAILS(state##_write_telemetry_vector, new_##id, state##_destroy,     \
                open, sample(), contract::vector_of_empty_name(),              \
                contract::vector_of_too_long_name());                          \
    WRITE_FAILS(state##_write_event, new_##id, state##_destroy, open, event(), \
                contract::event_of_empty_text(), contract::too_long_event());  \
    STORE_FAILS(binary_serializer_write_##state, new_##id, state##_destroy);   \
    READ_FAILS(binary_serializer_read_##state, stored_##id, read_##id,         \
               reopened_##id)

STATE_FAILS(kor_zcf_state_c00, c00, cbuf);
STATE_FAILS(kor_zcf_state_cc0, cc0, cbuf1);
STATE_FAILS(kor_zcf_state_ccc, ccc, cbuf2);
STATE_FAILS(kor_zcf_state_hcc, hcc, cbuf2);

// --- creating and opening a recorder ---

// What a new recorder must be given.
#define CREATION_ABORTS(create)                                             \
    ABORTS_WITH(create, "filename != NULL", NULL, 4, 2);                    \
    ABORTS_WITH(create, "filename[0] != 0", "", 4, 2);                      \
    ABORTS_WITH(create, "num_cb_samples > 0", "rec", 0, 2);                 \
    ABORTS_WITH(create, "num_hb_intervals > 0", "rec", 4, 0);               \
    ABORTS_WITH(create, "num_cb_samples % num_hb_intervals == 0", "rec", 6, \
                4);                                                         \
    ABORTS_WITH(create, "num_cb_samples % 2 == 0", "rec", 3, 3);            \
    ABORTS_WITH(create, "num_hb_intervals % 2 == 0", "rec", 6, 3)

CREATION_ABORTS(kor_create);
ABORTS_WITH(kor_open, "filename != NULL", NULL);
ABORTS_WITH(kor_open, "filename[0] != 0", "");

FAILS_BY(kor_create, -22, in_folder([] {
             return with_each_allocation_failing(
                 creating(new_recorder, kor_close));
         }));
FAILS_BY(kor_create, -40, last_error_of(kor_create("no/folder/rec", 4, 2)));
FAILS_BY(kor_create, -41, in_folder([] {
             const test::file_size_limit full_disk(0);
             return last_error_of(new_recorder());
         }));
FAILS_BY(kor_create_null, -22,
         with_each_allocation_failing(creating(kor_create_null, kor_close)));
FAILS_BY(kor_open, -22, on_recorder([] {
             return contract::with_failing_allocation(0, open_recorder);
         }));
FAILS_BY(kor_open, -40, in_folder(open_recorder));
FAILS_BY(kor_open, -48, in_folder([] {
             test::write_file("rec.state", "");
             return open_recorder();
         }));

FAILS_BY(kor_get_restore_result, -3, restored(contract::hist_file("")));
FAILS_BY(kor_get_restore_result, -4,
         restored(contract::current_file(test::stored_event)));
FAILS_BY(kor_get_restore_result, -6,
         restored_from(test::with(state_file_of(0), samples_at,
                                  stored_count(0))));
FAILS_BY(kor_get_restore_result, -12, restored_from("\2"));
FAILS_BY(kor_get_restore_result, -22, restored_without_memory());
FAILS_BY(kor_get_restore_result, -40, restored_from(state_file_of(0)));
FAILS_BY(kor_get_restore_result, -43, restored_from("\1"));
FAILS_BY(kor_get_restore_result, -48, restored_from("\1\0"s));
FAILS_ON_DAMAGED(kor_get_restore_result, current_file, restored);

// --- closing a recorder ---

ABORTS_WITH(kor_close, "kor != NULL", NULL);
ABORTS_WITH(kor_close, "(*kor) != NULL", nothing<struct kor>());
ABORTS_WITH(kor_close, "(*kor)->version == KOR_VERSION",
            pointer_to(dead<struct kor>()));
ABORTS_WITH(kor_close, "closing.state == 0 || is_storage_state(closing.state)",
            pointer_to(in_state(no_state)));
ABORTS_WITH(kor_close, "(*kor)->c00 != NULL",
            pointer_to(in_state(KOR_ZCF_STATE_C00)));
ABORTS_WITH(kor_close, "(*kor)->cc0 != NULL",
            pointer_to(in_state(KOR_ZCF_STATE_CC0)));
ABORTS_WITH(kor_close, "(*kor)->ccc != NULL",
            pointer_to(in_state(KOR_ZCF_STATE_CCC)));
ABORTS_WITH(kor_close, "(*kor)->hcc != NULL",
            pointer_to(in_state(KOR_ZCF_STATE_HCC)));

// --- writing ---

ABORTS_WITH(kor_write_telemetry_vector, "kor != NULL", NULL, sample());
ABORTS_WITH(kor_write_telemetry_vector, "kor->version == KOR_VERSION",
            dead<struct kor>(), sample());
ABORTS_WITH(kor_write_telemetry_vector, "vector != NULL", new_recorder(), NULL);
ABORTS_WITH(kor_write_event, "kor != NULL", NULL, event());
ABORTS_WITH(kor_write_event, "kor->version == KOR_VERSION", dead<struct kor>(),
            event());
ABORTS_WITH(kor_write_event, "event != NULL", new_recorder(), NULL);

ABORTS_BY(with_state, "is_storage_state(state)", write_event(in_state(0)));
ABORTS_BY(with_state, "is_storage_state(state)",
          write_vector(in_state(no_state)));
ABORTS_BY(with_state, "kor->c00 != NULL",
          write_vector(in_state(KOR_ZCF_STATE_C00)));
ABORTS_BY(with_state, "kor->cc0 != NULL",
          write_vector(in_state(KOR_ZCF_STATE_CC0)));
ABORTS_BY(with_state, "kor->ccc != NULL",
          write_event(in_state(KOR_ZCF_STATE_CCC)));
ABORTS_BY(with_state, "kor->hcc != NULL",
          write_event(in_state(KOR_ZCF_STATE_HCC)));

ABORTS(_kor_save, "kor->state_filename != NULL")
{
    struct kor *const kor = recorder_of(fills_c00);
    kor->state_filename = NULL;
    write_vector(kor);
}

ABORTS(_kor_ccc_to_hcc, "kor->num_hb_intervals > 0")
{
    struct kor *const kor = recorder_of(fills_ccc);
    kor->num_hb_intervals = 0;
    write_vector(kor);
}

ABORTS(_kor_ccc_to_hcc, "kor->num_samples_per_interval > 0")
{
    struct kor *const kor = recorder_of(fills_ccc);
    kor->num_samples_per_interval = 0;
    write_vector(kor);
}

// The save behind the first fold must not fail.
ABORTS(kor_hist_buffer_close, "*hbuf != NULL")
{
    struct kor *const kor = recorder_of(fills_ccc);
    block_state_file(kor);
    write_vector(kor);
}

// Names are cut to 1023 characters, and two different ones may be cut to one.
ABORTS(_kor_hcc_to_hcc, "strcmp(hbuf0_filename, hbuf_filename) != 0")
{
    struct kor *const kor = recorder_of(fills_hcc);
    std::string name;
    while (name.size() < 1022) name += "./";
    name += "h";
    kor->filename = strdup((name + "x").c_str());
    kor->hcc->hbuf_filename = strdup((name + "y").c_str());
    write_vector(kor);
}

FAILS_BY(kor_write_telemetry_vector, -3,
         folded_buffer(contract::hist_file("")));
FAILS_BY(kor_write_telemetry_vector, -4,
         folded_buffer(contract::current_file(test::stored_event)));
FAILS_BY(kor_write_telemetry_vector, -6, with_recorder(0, [](struct kor *kor) {
             return kor_write_telemetry_vector(
                 kor, contract::vector_of_empty_name());
         }));
FAILS_BY(kor_write_telemetry_vector, -22,
         with_recorder(0, without_memory(write_vector)));
FAILS_BY(kor_write_telemetry_vector, -40,
         with_recorder(fills_ccc, [](struct kor *kor) {
             std::filesystem::remove("rec.1.cbuf.z");
             return write_vector(kor);
         }));
FAILS_BY(kor_write_telemetry_vector, -40,
         with_recorder(fills_c00, [](struct kor *kor) {
             block_state_file(kor);
             return write_vector(kor);
         }));
FAILS_BY(kor_write_telemetry_vector, -41,
         with_recorder(0, on_full_disk(write_vector)));
FAILS_BY(kor_write_telemetry_vector, -42, with_recorder(0, write_without_zlib));
FAILS_BY(kor_write_telemetry_vector, -44,
         folded_history(contract::hist_file(test::stored_names)));
FAILS_BY(kor_write_telemetry_vector, -49, with_recorder(0, [](struct kor *kor) {
             return kor_write_telemetry_vector(
                 kor, contract::vector_of_too_long_name());
         }));
FAILS_ON_DAMAGED(kor_write_telemetry_vector, current_file, folded_buffer);
FAILS_ON_DAMAGED(kor_write_telemetry_vector, hist_file, folded_history);

FAILS_BY(kor_write_event, -6, with_recorder(0, [](struct kor *kor) {
             return kor_write_event(kor, contract::event_of_empty_text());
         }));
FAILS_BY(kor_write_event, -41, with_recorder(0, on_full_disk(write_event)));
FAILS_BY(kor_write_event, -42, with_recorder(0, write_event_without_zlib));
FAILS_BY(kor_write_event, -49, with_recorder(0, [](struct kor *kor) {
             return kor_write_event(kor, contract::too_long_event());
         }));

ABORTS_WITH(kor_sync, "kor != NULL", NULL);
ABORTS_WITH(kor_sync, "kor->version == KOR_VERSION", dead<struct kor>());
ABORTS_WITH(kor_get_restore_result, "kor != NULL", NULL);
ABORTS_WITH(kor_get_restore_result, "kor->version == KOR_VERSION",
            dead<struct kor>());

FAILS_BY(kor_sync, -41, with_recorder(0, sync_closed_file));

// --- the state file ---

ABORTS_WITH(binary_serializer_write_kor, "kor != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor, "kor->version == KOR_VERSION",
            dead<struct kor>(), contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor, "writer != NULL", new_recorder(),
            NULL);
ABORTS_WITH(binary_serializer_read_kor, "kor != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor, "kor->version == 1", dead<struct kor>(),
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor, "reader != NULL", kor_create_null(),
            NULL);

ABORTS_BY(_kor_install_null_state, "kor->c00 != NULL",
          read_until_abort(fills_c00));
ABORTS_BY(_kor_install_null_state, "kor->cc0 != NULL",
          read_until_abort(fills_cc0));
ABORTS_BY(_kor_install_null_state, "kor->ccc != NULL",
          read_until_abort(fills_ccc));
ABORTS_BY(_kor_install_null_state, "kor->hcc != NULL",
          read_until_abort(fills_hcc));

FAILS_BY(binary_serializer_write_kor, -41, with_recorder(0, [](auto *kor) {
             return contract::on_a_full_disk(
                 contract::storing(binary_serializer_write_kor, kor));
         }));
FAILS_BY(binary_serializer_write_kor, -42, with_recorder(0, [](auto *kor) {
             return contract::without_a_compressor(
                 contract::storing(binary_serializer_write_kor, kor));
         }));
FAILS_BY(binary_serializer_write_kor, -49,
         with_recorder(0, write_too_long_name));

FAILS_BY(binary_serializer_read_kor, -3, read_back(contract::hist_file("")));
FAILS_BY(binary_serializer_read_kor, -4,
         read_back(contract::current_file(test::stored_event)));
FAILS_BY(binary_serializer_read_kor, -6,
         from(test::with(state_file_of(0), samples_at, stored_count(0)),
              read_kor));
FAILS_BY(binary_serializer_read_kor, -12, from("\2", read_kor));

FAILS(binary_serializer_read_kor, -22)
{
    struct kor *kor = kor_create_null();
    test::memory_reader in(state_file_of(0));
    const int result = contract::with_failing_allocation(
        0, [&] { return binary_serializer_read_kor(kor, in.get()); });
    kor_close(&kor);
    return result;
}

FAILS_BY(binary_serializer_read_kor, -40,
         in_folder([] { return from(state_file_of(0), read_kor); }));
FAILS_BY(binary_serializer_read_kor, -41, from_a_damaged_file(read_kor));
FAILS_BY(binary_serializer_read_kor, -43, from("\1", read_kor));
FAILS_BY(binary_serializer_read_kor, -48, from("\1\0"s, read_kor));
FAILS_ON_DAMAGED(binary_serializer_read_kor, current_file, read_back);

// --- playback ---

ABORTS_WITH(kor_playback_open, "name != NULL", NULL);
ABORTS_WITH(kor_playback_next, "playback != NULL", NULL,
            dead<struct kor_playback_item>());
ABORTS_WITH(kor_playback_next, "item != NULL", some_playback(), NULL);
ABORTS_WITH(kor_playback_get_info, "playback != NULL", NULL,
            dead<struct kor_playback_info>());
ABORTS_WITH(kor_playback_get_info, "info != NULL", some_playback(), NULL);
ABORTS_WITH(kor_playback_get_file, "playback != NULL", NULL, 0,
            dead<struct kor_playback_file>());
ABORTS_WITH(kor_playback_get_file, "file != NULL", some_playback(), 0, NULL);
ABORTS_WITH(kor_playback_close, "playback != NULL", NULL);
ABORTS_WITH(kor_playback_close, "*playback != NULL",
            nothing<struct kor_playback>());

FAILS_BY(kor_playback_open, -22, on_file(only_names, [] {
             return contract::with_failing_allocation(
                 0, [] { return last_error_of(kor_playback_open("b")); });
         }));
FAILS_BY(kor_playback_open, -40,
         in_folder([] { return last_error_of(kor_playback_open("b")); }));
FAILS_BY(kor_playback_open, -41, on_recorder([] {
             make_unreadable("rec.state");
             return last_error_of(kor_playback_open("rec"));
         }));
FAILS_BY(kor_playback_next, -22,
         with_playback(only_names, without_memory(play_one)));
FAILS_BY(kor_playback_next, -41, with_playback(much_garbage, [](auto *p) {
             make_write_only("b");
             return play_one(p);
         }));
FAILS_BY(kor_playback_get_file, -6, with_playback(only_names, [](auto *p) {
             return kor_playback_get_file(p, 1,
                                          dead<struct kor_playback_file>());
         }));

// --- recovery ---

ABORTS_BY(kor_recover_report, "filename != NULL", kor_recover(NULL));
ABORTS_BY(kor_recover_report, "filename[0] != 0", kor_recover(""));
ABORTS_BY(kor_recover_report, "filename != NULL", kor_recover_with(NULL, 4, 2));
ABORTS_BY(kor_recover_report, "filename[0] != 0", kor_recover_with("", 4, 2));
ABORTS_WITH(kor_recover_report, "filename != NULL", NULL, 4, 2, 0, NULL);
ABORTS_WITH(kor_recover_report, "filename[0] != 0", "", 4, 2, 0, NULL);
ABORTS_WITH(kor_recovery_report_destroy, "report != NULL", NULL);
ABORTS_WITH(kor_recovery_report_destroy, "*report != NULL",
            nothing<struct kor_recovery_report>());
CREATION_ABORTS(kor_resume);

#define RECOVERY_FAILS(function, act)                       \
    FAILS_BY(function, -6, recovered_from(crowded, act));   \
    FAILS_BY(function, -22, recovered_without_memory(act)); \
    FAILS_BY(function, -40, act("no/folder/rec"));          \
    FAILS_BY(function, -41, recovered_from_unreadable(act))

RECOVERY_FAILS(kor_recover, recover);
RECOVERY_FAILS(kor_recover_with, recover_with);
RECOVERY_FAILS(kor_recover_report, recover_report);
RECOVERY_FAILS(kor_resume, resume);
FAILS_BY(kor_recover_with, -41, recovered_on_full_disk(recover_with));
FAILS_BY(kor_recover_report, -41, recovered_on_full_disk(recover_report));
FAILS_BY(kor_resume, -41, recovered_on_full_disk(resume));
FAILS_BY(kor_recover, -43, in_folder([] { return recover("rec"); }));
FAILS_BY(kor_recover_with, -43, in_folder([] { return recover_with("rec"); }));
FAILS_BY(kor_recover_report, -43,
         in_folder([] { return recover_report("rec"); }));
