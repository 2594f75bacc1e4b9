// What the buffers and their folds promise.
#include "contract/recorder_fixtures.hpp"
#include "kor_buffer.h"
#include "kor_current_buffer_compress.h"
#include "kor_hist_buffer_compress.h"

namespace {

using contract::creating;
using contract::dead;
using contract::event;
using contract::from;
using contract::from_a_damaged_file;
using contract::in_folder;
using contract::last_error_of;
using contract::list;
using contract::nothing;
using contract::on_file;
using contract::on_full_disk;
using contract::pointer_to;
using contract::sample;
using contract::stamp;
using contract::with_each_allocation_failing;
using contract::without_memory;
using test::stored_count;

using current_buffer = struct kor_current_buffer;
using hist_buffer = struct kor_hist_buffer;

constexpr uint32_t no_type = 9;

// --- buffers in memory only ---

// Live, but without a file name and streams.
template <class Buffer>
Buffer *bare()
{
    static Buffer made;
    made = {};
    made.version = 1;
    return &made;
}
template <class Buffer>
Buffer *without_writer()
{
    static char name[] = "b";
    Buffer *const made = bare<Buffer>();
    made->filename = name;
    return made;
}
template <class Buffer>
Buffer *over(struct reader *reader)
{
    Buffer *const made = bare<Buffer>();
    made->reader = reader;
    return made;
}
struct kor_buffer *handle(uint32_t type, void *data, uint32_t owns_data = 0)
{
    static struct kor_buffer made;
    made.type = type;
    made.data = data;
    made.owns_data = owns_data;
    return &made;
}

// --- buffers of a file "b" ---

current_buffer *current()
{
    return kor_current_buffer_create("b", 2);
}
hist_buffer *hist()
{
    return kor_hist_buffer_create("b", 2);
}

int open_current()
{
    return last_error_of(kor_current_buffer_open_for_read_write("b"),
                         kor_current_buffer_close);
}
int append_current()
{
    return last_error_of(kor_current_buffer_open_for_append("b"),
                         kor_current_buffer_close);
}
int open_hist()
{
    return last_error_of(kor_hist_buffer_open_for_read_write("b"),
                         kor_hist_buffer_close);
}
int open_handle()
{
    return last_error_of(kor_buffer_open_for_read_write("b"),
                         kor_buffer_destroy);
}

// What `open` gives for the rest of the file behind the type tag.
template <class Buffer>
int open_rest(Buffer *(*open)(const char *, struct reader *, FILE *),
              int failing)
{
    FILE *const fp = std::fopen("b", "r+");
    struct reader *reader = _kor_buffer_create_reader(fp);
    uint32_t tag;
    binary_serializer_read_bytes(&tag, sizeof tag, reader);
    const int result = contract::with_failing_allocation(
        failing, [=] { return last_error_of(open("b", reader, fp)); });
    reader_destroy(&reader);
    std::fclose(fp);
    return result;
}
constexpr int none = -1;
int open_rest_of_current()
{
    return open_rest(_kor_current_buffer_open, none);
}
int open_rest_of_current_without_memory()
{
    return open_rest(_kor_current_buffer_open, 0);
}
int open_rest_of_hist()
{
    return open_rest(_kor_hist_buffer_open, none);
}
int open_rest_of_hist_without_memory()
{
    return open_rest(_kor_hist_buffer_open, 0);
}

// What `act` gives for a buffer, which is closed behind it.
template <class Buffer, class Act>
int with_buffer(Buffer *buffer, void (*close)(Buffer **), Act act)
{
    if (buffer == nullptr) return vela_get_last_error();
    const int result = act(buffer);
    close(&buffer);
    return result;
}
template <class Act>
int with_current(Act act)
{
    return in_folder(
        [=] { return with_buffer(current(), kor_current_buffer_close, act); });
}
template <class Act>
int with_hist(Act act)
{
    return in_folder(
        [=] { return with_buffer(hist(), kor_hist_buffer_close, act); });
}

// A file whose second stream is this, behind the names.
std::string behind_names(const std::string &header, const std::string &stream)
{
    return test::deflate_stream(header + test::stored_names) + stream;
}
template <class Act>
int with_reopened_current(const std::string &stream, Act act)
{
    return on_file(behind_names(test::current_header(2), stream), [=] {
        return with_buffer(kor_current_buffer_open_for_read_write("b"),
                           kor_current_buffer_close, act);
    });
}
template <class Act>
int with_reopened_hist(const std::string &stream, Act act)
{
    return on_file(behind_names(test::hist_header(2), stream), [=] {
        return with_buffer(kor_hist_buffer_open_for_read_write("b"),
                           kor_hist_buffer_close, act);
    });
}

// --- what is done to them ---

int write_sample(current_buffer *cbuf)
{
    return kor_current_buffer_write_telemetry_vector(cbuf, sample());
}
int write_event(current_buffer *cbuf)
{
    return kor_current_buffer_write_event(cbuf, event());
}
int write_interval(hist_buffer *hbuf)
{
    return kor_hist_buffer_write_interval(hbuf, stamp(), stamp(), list(), NULL);
}

template <auto Read, class Record, int (*Init)(Record *),
          void (*Destruct)(Record *), class Buffer>
int read_one(Buffer *buffer)
{
    Record rec;
    Init(&rec);
    const int result = Read(buffer, &rec);
    Destruct(&rec);
    return result;
}
constexpr auto read_record =
    read_one<kor_current_buffer_read_record, struct kor_cb_record,
             kor_cb_record_init_null, kor_cb_record_destruct, current_buffer>;
constexpr auto read_history_record =
    read_one<kor_hist_buffer_read_record, struct kor_hb_record,
             kor_hb_record_init_null, kor_hb_record_destruct, hist_buffer>;
constexpr auto read_next_record =
    read_one<_kor_hb_read_next_record, struct kor_hb_record,
             kor_hb_record_init_null, kor_hb_record_destruct, hist_buffer>;

template <class Act>
auto without_zlib(Act act)
{
    return [=](auto *buffer) {
        const contract::no_zlib_memory fault(buffer->writer);
        return act(buffer);
    };
}

int write_until_full(current_buffer *cbuf)
{
    for (;;)
        if (const int result = write_sample(cbuf); result < 0) return result;
}
int write_until_full(hist_buffer *hbuf)
{
    for (;;)
        if (const int result = write_interval(hbuf); result < 0) return result;
}

// --- folds ---

int fold(hist_buffer *hbuf)
{
    return kor_current_buffer_compress("b", hbuf, 1);
}
int fold_in_pairs(hist_buffer *hbuf)
{
    return kor_current_buffer_compress("b", hbuf, 2);
}
int merge(hist_buffer *hbuf)
{
    return kor_hist_buffer_compress("b", hbuf);
}
// Folds "b" into a new history buffer of this capacity.
template <class Fold>
auto into(uint32_t capacity, Fold fold_file)
{
    return [=] {
        return with_buffer(kor_hist_buffer_create("h", capacity),
                           kor_hist_buffer_close, fold_file);
    };
}

// The record of an interval of one sensor.
std::string stored_interval()
{
    struct kor_hb_record_sensor_values *values =
        kor_hb_record_sensor_values_create(stamp(), stamp(), list(), NULL);
    struct kor_hb_record rec;
    kor_hb_record_init_sensor_values(&rec, values);
    const std::string stored = contract::written(
        contract::storing(binary_serializer_write_kor_hb_record, &rec));
    kor_hb_record_sensor_values_destroy(&values);
    return stored;
}
const std::string two_samples = test::stored_sample_0 + test::stored_sample_1;

// Names of one sensor, of none, and of one sensor twice.
const std::string one_name = test::bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 01 01 00 00 00 01 78");
const std::string same_name_twice = test::bytes(
    "00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01 00"
    "00 00 02 01 00 00 00 01 78 01 00 00 00 01 78");
// An interval that has two summaries.
std::string interval_of_two()
{
    const size_t count_at = 4 + 1 + 2 * 9;
    const size_t summary_at = count_at + 4;
    const size_t summary_size = 37;
    std::string stored =
        test::with(stored_interval(), count_at, stored_count(2));
    return stored.insert(summary_at, stored.substr(summary_at, summary_size));
}

// A file "b" of two samples.
constexpr int32_t no_time = -test::first_second;
void write_samples_at(int32_t first, int32_t second)
{
    const auto cbuf = test::create_current("b", 2);
    for (const int32_t t : {first, second})
        test::put(cbuf, test::vector_of({"a"}, test::at(t), {1}));
}

// Whole files, and some with a first record that does not belong there.
const std::string good_file =
    contract::current_file(test::stored_names + two_samples);
const std::string overfull_file = contract::current_file(
    test::stored_names + two_samples + test::stored_sample_0);
const std::string event_first = contract::current_file(test::stored_event);
std::string good_history()
{
    return contract::hist_file(one_name + stored_interval() + stored_interval(),
                               2);
}
std::string interval_first()
{
    return contract::hist_file(stored_interval());
}

std::string stream_of(const std::string &records)
{
    return test::deflate_stream(records);
}

// What comes of a file of this content.
template <int (*Open)()>
int opened(const std::string &content)
{
    return on_file(content, Open);
}
template <int (*Open)()>
int each_allocation_of()
{
    return with_each_allocation_failing(Open);
}
template <int (*Fold)(hist_buffer *)>
int folded(const std::string &content)
{
    return on_file(content, into(4, Fold));
}

// --- more to be refused ---

struct hist_value_list *list_of_too_long_name()
{
    static auto *const made =
        contract::list_of_sensor(sensor_create(contract::too_long.c_str()));
    return made;
}
hist_buffer *overfull()
{
    hist_buffer *const made = bare<hist_buffer>();
    made->max_data_records = 2;
    made->size = 3;
    return made;
}
struct kor_hb_record *history_record(uint32_t type)
{
    static struct kor_hb_record made = {};
    made.type = type;
    return &made;
}

// --- headers ---

int read_current_header(struct reader *in)
{
    return binary_serializer_read_kor_current_buffer(bare<current_buffer>(),
                                                     in);
}
int read_hist_header(struct reader *in)
{
    return binary_serializer_read_kor_hist_buffer(bare<hist_buffer>(), in);
}

}  // namespace

// --- handles ---

ABORTS_WITH(kor_buffer_init_null, "rec != NULL", NULL);
ABORTS_WITH(kor_buffer_init_current_buffer, "rec != NULL", NULL,
            bare<current_buffer>());
ABORTS_WITH(kor_buffer_init_current_buffer, "cbuf != NULL",
            dead<struct kor_buffer>(), NULL);
ABORTS_WITH(kor_buffer_init_hist_buffer, "rec != NULL", NULL,
            bare<hist_buffer>());
ABORTS_WITH(kor_buffer_init_hist_buffer, "hbuf != NULL",
            dead<struct kor_buffer>(), NULL);
ABORTS_WITH(kor_buffer_destruct, "rec != NULL", NULL);
ABORTS_WITH(kor_buffer_destruct, "_kor_buffer_is_known(rec->type)",
            handle(no_type, current(), 1));
ABORTS_WITH(kor_buffer_destruct, "rec->cbuf != NULL",
            handle(KOR_BUFFER_TYPE_CURRENT, NULL, 1));
ABORTS_WITH(kor_buffer_destruct, "rec->hbuf != NULL",
            handle(KOR_BUFFER_TYPE_HIST, NULL, 1));
ABORTS_WITH(kor_buffer_destroy, "buf != NULL", NULL);
ABORTS_WITH(kor_buffer_destroy, "*buf != NULL", nothing<struct kor_buffer>());
ABORTS_WITH(kor_buffer_detach, "rec != NULL", NULL);
ABORTS_WITH(kor_buffer_detach, "rec->type > 0", dead<struct kor_buffer>());
ABORTS_WITH(kor_buffer_detach, "rec->data != NULL",
            handle(KOR_BUFFER_TYPE_CURRENT, NULL));
ABORTS_WITH(binary_serializer_write_kor_buffer, "rec != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_buffer, "writer != NULL",
            dead<struct kor_buffer>(), NULL);
ABORTS_WITH(binary_serializer_write_kor_buffer,
            "_kor_buffer_is_known(rec->type)",
            handle(no_type, bare<current_buffer>()), contract::any_writer());
ABORTS_WITH(kor_buffer_open_for_read_write, "filename != NULL", NULL);
ABORTS_WITH(_kor_buffer_create_reader, "fp != NULL", NULL);
ABORTS_WITH(_kor_buffer_create_writer, "fp != NULL", NULL);

FAILS_TO_STORE(binary_serializer_write_kor_buffer,
               handle(KOR_BUFFER_TYPE_CURRENT, bare<current_buffer>()));
FAILS_BY(_kor_buffer_create_reader, -22,
         with_each_allocation_failing(creating(_kor_buffer_create_reader,
                                               reader_destroy, stdin)));
FAILS_BY(_kor_buffer_create_writer, -22,
         with_each_allocation_failing(creating(_kor_buffer_create_writer,
                                               writer_destroy, stdout)));

FAILS_BY(kor_buffer_open_for_read_write, -4,
         opened<open_handle>(test::deflate_stream(contract::unknown_record)));
FAILS_BY(kor_buffer_open_for_read_write, -4, opened<open_handle>(event_first));
FAILS_BY(kor_buffer_open_for_read_write, -4,
         opened<open_handle>(interval_first()));
FAILS_BY(kor_buffer_open_for_read_write, -22,
         opened<each_allocation_of<open_handle>>(good_file));
FAILS_BY(kor_buffer_open_for_read_write, -40, in_folder(open_handle));
FAILS_BY(kor_buffer_open_for_read_write, -41,
         opened<open_handle>(contract::garbage));
FAILS_BY(kor_buffer_open_for_read_write, -48, opened<open_handle>(""));
FAILS_ON_DAMAGED(kor_buffer_open_for_read_write, current_file,
                 opened<open_handle>);
FAILS_ON_DAMAGED(kor_buffer_open_for_read_write, hist_file,
                 opened<open_handle>);

// --- current buffers ---

ABORTS_WITH(kor_current_buffer_create, "filename != NULL", NULL, 2);
ABORTS_WITH(kor_current_buffer_create, "max_data_records > 0", "b", 0);
ABORTS_WITH(kor_current_buffer_create, "max_data_records > 0", "b", -2);
ABORTS_WITH(kor_current_buffer_open_for_read_write, "filename != NULL", NULL);
ABORTS_WITH(kor_current_buffer_open_for_append, "filename != NULL", NULL);
ABORTS_WITH(_kor_current_buffer_open, "filename != NULL", NULL,
            contract::empty_reader(), stdin);
ABORTS_WITH(_kor_current_buffer_open, "fp != NULL", "b",
            contract::empty_reader(), NULL);
ABORTS_WITH(_kor_current_buffer_open, "reader != NULL", "b", NULL, stdin);
ABORTS_WITH(kor_current_buffer_close, "cbuf != NULL", NULL);
ABORTS_WITH(kor_current_buffer_close, "*cbuf != NULL",
            nothing<current_buffer>());
ABORTS_WITH(kor_current_buffer_close,
            "(*cbuf)->version == KOR_CURRENT_BUFFER_VERSION",
            pointer_to(dead<current_buffer>()));
ABORTS_WITH(kor_current_buffer_close, "(*cbuf)->filename != NULL",
            pointer_to(bare<current_buffer>()));
ABORTS_WITH(kor_current_buffer_close, "(*cbuf)->writer != NULL",
            pointer_to(without_writer<current_buffer>()));

ABORTS_WITH(kor_current_buffer_write_telemetry_vector, "cbuf != NULL", NULL,
            sample());
ABORTS_WITH(kor_current_buffer_write_telemetry_vector,
            "cbuf->version == KOR_CURRENT_BUFFER_VERSION",
            dead<current_buffer>(), sample());
ABORTS_WITH(kor_current_buffer_write_telemetry_vector, "vector != NULL",
            current(), NULL);
ABORTS_WITH(kor_current_buffer_write_telemetry_vector,
            "matrix_get_number_rows(vector) == 1", current(),
            contract::two_rows());
ABORTS_WITH(kor_current_buffer_write_event, "cbuf != NULL", NULL, event());
ABORTS_WITH(kor_current_buffer_write_event,
            "cbuf->version == KOR_CURRENT_BUFFER_VERSION",
            dead<current_buffer>(), event());
ABORTS_WITH(kor_current_buffer_write_event, "cbuf->writer != NULL",
            without_writer<current_buffer>(), event());
ABORTS_WITH(kor_current_buffer_write_event, "event != NULL", current(), NULL);

ABORTS_WITH(kor_current_buffer_read_record, "cbuf != NULL", NULL,
            dead<struct kor_cb_record>());
ABORTS_WITH(kor_current_buffer_read_record,
            "cbuf->version == KOR_CURRENT_BUFFER_VERSION",
            dead<current_buffer>(), dead<struct kor_cb_record>());
ABORTS_WITH(kor_current_buffer_read_record, "cbuf->reader != NULL", current(),
            dead<struct kor_cb_record>());
ABORTS_WITH(kor_current_buffer_read_record, "rec != NULL",
            over<current_buffer>(contract::empty_reader()), NULL);
ABORTS_WITH(kor_current_buffer_read_record, "reader_eof(cbuf->reader)",
            over<current_buffer>(contract::lying_reader()),
            dead<struct kor_cb_record>());

ABORTS_WITH(kor_current_buffer_get_filename, "cbuf != NULL", NULL);
ABORTS_WITH(kor_current_buffer_get_filename,
            "cbuf->version == KOR_CURRENT_BUFFER_VERSION",
            dead<current_buffer>());
ABORTS_WITH(kor_current_buffer_get_filename, "cbuf->filename != NULL",
            bare<current_buffer>());
ABORTS_WITH(kor_current_buffer_get_sensor_working_set, "cbuf != NULL", NULL);
ABORTS_WITH(kor_current_buffer_get_sensor_working_set,
            "cbuf->version == KOR_CURRENT_BUFFER_VERSION",
            dead<current_buffer>());

ABORTS_WITH(binary_serializer_write_kor_current_buffer, "cbuf != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_current_buffer, "writer != NULL",
            bare<current_buffer>(), NULL);
ABORTS_WITH(binary_serializer_write_kor_current_buffer, "cbuf->version == 1",
            dead<current_buffer>(), contract::any_writer());
ABORTS_WITH(binary_serializer_read_kor_current_buffer, "cbuf != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_current_buffer, "reader != NULL",
            bare<current_buffer>(), NULL);
ABORTS_WITH(binary_serializer_read_kor_current_buffer, "cbuf->version == 1",
            dead<current_buffer>(), contract::empty_reader());

FAILS_BY(kor_current_buffer_create, -22, in_folder([] {
             return with_each_allocation_failing(creating(
                 kor_current_buffer_create, kor_current_buffer_close, "b", 2));
         }));
FAILS_BY(kor_current_buffer_create, -40,
         last_error_of(kor_current_buffer_create("no/folder", 2)));

// What both ways of opening have in common.
#define FAILS_TO_OPEN_CURRENT(function, open)                             \
    FAILS_BY(function, -3, opened<open>(contract::hist_file("")));        \
    FAILS_BY(function, -4, opened<open>(event_first));                    \
    FAILS_BY(function, -22, opened<each_allocation_of<open>>(good_file)); \
    FAILS_BY(function, -40, in_folder(open));                             \
    FAILS_ON_DAMAGED(function, current_file, opened<open>)

FAILS_TO_OPEN_CURRENT(kor_current_buffer_open_for_read_write, open_current);
FAILS_TO_OPEN_CURRENT(kor_current_buffer_open_for_append, append_current);
FAILS_BY(kor_current_buffer_open_for_append, -6,
         opened<append_current>(overfull_file));
FAILS_BY(_kor_current_buffer_open, -4,
         opened<open_rest_of_current>(event_first));
FAILS_BY(_kor_current_buffer_open, -22,
         opened<open_rest_of_current_without_memory>(good_file));
FAILS_ON_DAMAGED(_kor_current_buffer_open, current_file,
                 opened<open_rest_of_current>);

// What a record behind the first can come to.
#define FAILS_ON_RECORD(function, with_reopened, act)                       \
    FAILS_BY(function, -6,                                                  \
             with_reopened(stream_of(contract::unknown_record), act));      \
    FAILS_BY(function, -12,                                                 \
             with_reopened(stream_of(contract::newer_names), act));         \
    FAILS_BY(                                                               \
        function, -22,                                                      \
        with_reopened(stream_of(test::stored_names), without_memory(act))); \
    FAILS_BY(function, -41, with_reopened(contract::garbage, act));         \
    FAILS_BY(function, -48,                                                 \
             with_reopened(stream_of(contract::cut_names), act));           \
    FAILS_BY(function, -49,                                                 \
             with_reopened(stream_of(contract::too_many_names), act))

FAILS_ON_RECORD(kor_current_buffer_read_record, with_reopened_current,
                read_record);
FAILS_BY(kor_current_buffer_read_record, -43,
         with_reopened_current("", read_record));

FAILS_ON_RECORD(kor_current_buffer_write_telemetry_vector,
                with_reopened_current, write_sample);
FAILS_BY(kor_current_buffer_write_telemetry_vector, -2,
         with_current([](auto *cbuf) { return write_until_full(cbuf); }));
FAILS_BY(kor_current_buffer_write_telemetry_vector, -6,
         with_current([](auto *cbuf) {
             return kor_current_buffer_write_telemetry_vector(
                 cbuf, contract::vector_of_empty_name());
         }));
FAILS_BY(kor_current_buffer_write_telemetry_vector, -22,
         with_current(without_memory(write_sample)));
FAILS_BY(kor_current_buffer_write_telemetry_vector, -41,
         with_current(on_full_disk(write_sample)));
FAILS_BY(kor_current_buffer_write_telemetry_vector, -42,
         with_current(without_zlib(write_sample)));
FAILS_BY(kor_current_buffer_write_telemetry_vector, -49,
         with_current([](auto *cbuf) {
             return kor_current_buffer_write_telemetry_vector(
                 cbuf, contract::vector_of_too_long_name());
         }));

FAILS_ON_RECORD(kor_current_buffer_write_event, with_reopened_current,
                write_event);
FAILS_BY(kor_current_buffer_write_event, -6, with_current([](auto *cbuf) {
             return kor_current_buffer_write_event(
                 cbuf, contract::event_of_empty_text());
         }));
FAILS_BY(kor_current_buffer_write_event, -41,
         with_current(on_full_disk(write_event)));
FAILS_BY(kor_current_buffer_write_event, -42,
         with_current(without_zlib(write_event)));
FAILS_BY(kor_current_buffer_write_event, -49, with_current([](auto *cbuf) {
             return kor_current_buffer_write_event(cbuf,
                                                   contract::too_long_event());
         }));

// The headers of both kinds differ in nothing.
#define FAILS_TO_READ_HEADER(function, read)                    \
    FAILS_BY(function, -6, from("\1" + stored_count(0), read)); \
    FAILS_BY(function, -6, from("\1" + stored_count(3), read)); \
    FAILS_BY(function, -12, from("\2", read));                  \
    FAILS_BY(function, -41, from_a_damaged_file(read));         \
    FAILS_BY(function, -48, from("\1", read))

FAILS_TO_STORE(binary_serializer_write_kor_current_buffer,
               bare<current_buffer>());
FAILS_TO_READ_HEADER(binary_serializer_read_kor_current_buffer,
                     read_current_header);

// --- history buffers ---

ABORTS_WITH(kor_hist_buffer_create, "filename != NULL", NULL, 2);
ABORTS_WITH(kor_hist_buffer_create, "max_data_records != 0", "b", 0);
ABORTS_WITH(kor_hist_buffer_open_for_read_write, "filename != NULL", NULL);
ABORTS_WITH(_kor_hist_buffer_open, "filename != NULL", NULL,
            contract::empty_reader(), stdin);
ABORTS_WITH(_kor_hist_buffer_open, "reader != NULL", "b", NULL, stdin);
ABORTS_WITH(_kor_hist_buffer_open, "fp != NULL", "b", contract::empty_reader(),
            NULL);
ABORTS_WITH(kor_hist_buffer_close, "hbuf != NULL", NULL);
ABORTS_WITH(kor_hist_buffer_close, "*hbuf != NULL", nothing<hist_buffer>());
ABORTS_WITH(kor_hist_buffer_close,
            "(*hbuf)->version == KOR_HIST_BUFFER_VERSION",
            pointer_to(dead<hist_buffer>()));
ABORTS_WITH(kor_hist_buffer_close, "(*hbuf)->filename != NULL",
            pointer_to(bare<hist_buffer>()));
ABORTS_WITH(kor_hist_buffer_close, "(*hbuf)->writer != NULL",
            pointer_to(without_writer<hist_buffer>()));

ABORTS_WITH(kor_hist_buffer_write_interval, "hbuf != NULL", NULL, stamp(),
            stamp(), list(), NULL);
ABORTS_WITH(kor_hist_buffer_write_interval,
            "hbuf->version == KOR_HIST_BUFFER_VERSION", dead<hist_buffer>(),
            stamp(), stamp(), list(), NULL);
ABORTS_WITH(kor_hist_buffer_write_interval, "hbuf->writer != NULL",
            without_writer<hist_buffer>(), stamp(), stamp(), list(), NULL);
ABORTS_WITH(kor_hist_buffer_write_interval, "start != NULL", hist(), NULL,
            stamp(), list(), NULL);
ABORTS_WITH(kor_hist_buffer_write_interval, "end != NULL", hist(), stamp(),
            NULL, list(), NULL);
ABORTS_WITH(kor_hist_buffer_write_interval, "hvlist != NULL", hist(), stamp(),
            stamp(), NULL, NULL);

// Both readers ask for the same.
#define ASKS_FOR_A_READER(function)                                            \
    ABORTS_WITH(function, "hbuf != NULL", NULL, dead<struct kor_hb_record>()); \
    ABORTS_WITH(function, "hbuf->version == KOR_HIST_BUFFER_VERSION",          \
                dead<hist_buffer>(), dead<struct kor_hb_record>());            \
    ABORTS_WITH(function, "hbuf->reader != NULL", hist(),                      \
                dead<struct kor_hb_record>());                                 \
    ABORTS_WITH(function, "rec != NULL",                                       \
                over<hist_buffer>(contract::empty_reader()), NULL)

ASKS_FOR_A_READER(kor_hist_buffer_read_record);
ASKS_FOR_A_READER(_kor_hb_read_next_record);
ABORTS_WITH(_kor_hb_read_next_record, "reader_eof(hbuf->reader)",
            over<hist_buffer>(contract::lying_reader()),
            dead<struct kor_hb_record>());
ABORTS_BY(
    _kor_hb_read_next_record, "reader_eof(hbuf->reader)",
    kor_hist_buffer_read_record(over<hist_buffer>(contract::lying_reader()),
                                dead<struct kor_hb_record>()));

ABORTS_WITH(_kor_hb_update_sensor_working_set_from_record, "hbuf != NULL", NULL,
            history_record(KOR_HB_RECORD_SENSOR_NAMES));
ABORTS_WITH(_kor_hb_update_sensor_working_set_from_record, "rec != NULL",
            hist(), NULL);
ABORTS_WITH(_kor_hb_update_sensor_working_set_from_record,
            "rec->type == KOR_HB_RECORD_SENSOR_NAMES", hist(),
            history_record(KOR_HB_RECORD_SENSOR_VALUES));
ABORTS_WITH(_kor_hb_update_sensor_working_set_from_record, "rec->names != NULL",
            hist(), history_record(KOR_HB_RECORD_SENSOR_NAMES));
ABORTS_WITH(kor_hist_buffer_get_number_empty_intervals, "hbuf != NULL", NULL);
ABORTS_WITH(kor_hist_buffer_get_number_empty_intervals,
            "hbuf->version == KOR_HIST_BUFFER_VERSION", dead<hist_buffer>());
ABORTS_WITH(kor_hist_buffer_get_sensor_working_set, "hbuf != NULL", NULL);
ABORTS_WITH(kor_hist_buffer_get_sensor_working_set,
            "hbuf->version == KOR_HIST_BUFFER_VERSION", dead<hist_buffer>());

ABORTS_WITH(binary_serializer_write_kor_hist_buffer, "hbuf != NULL", NULL,
            contract::any_writer());
ABORTS_WITH(binary_serializer_write_kor_hist_buffer, "writer != NULL",
            bare<hist_buffer>(), NULL);
ABORTS_WITH(binary_serializer_write_kor_hist_buffer,
            "hbuf->version == KOR_HIST_BUFFER_VERSION", dead<hist_buffer>(),
            contract::any_writer());
ABORTS_WITH(binary_serializer_read_kor_hist_buffer, "hbuf != NULL", NULL,
            contract::empty_reader());
ABORTS_WITH(binary_serializer_read_kor_hist_buffer, "reader != NULL",
            bare<hist_buffer>(), NULL);
ABORTS_WITH(binary_serializer_read_kor_hist_buffer,
            "hbuf->version == KOR_HIST_BUFFER_VERSION", dead<hist_buffer>(),
            contract::empty_reader());

FAILS_BY(kor_hist_buffer_create, -22, in_folder([] {
             return with_each_allocation_failing(creating(
                 kor_hist_buffer_create, kor_hist_buffer_close, "b", 2u));
         }));
FAILS_BY(kor_hist_buffer_create, -40,
         last_error_of(kor_hist_buffer_create("no/folder", 2)));
FAILS_BY(kor_hist_buffer_open_for_read_write, -3,
         opened<open_hist>(contract::current_file("")));
FAILS_BY(kor_hist_buffer_open_for_read_write, -4,
         opened<open_hist>(interval_first()));
FAILS_BY(kor_hist_buffer_open_for_read_write, -22,
         opened<each_allocation_of<open_hist>>(good_history()));
FAILS_BY(kor_hist_buffer_open_for_read_write, -40, in_folder(open_hist));
FAILS_ON_DAMAGED(kor_hist_buffer_open_for_read_write, hist_file,
                 opened<open_hist>);
FAILS_BY(_kor_hist_buffer_open, -4,
         opened<open_rest_of_hist>(interval_first()));
FAILS_BY(_kor_hist_buffer_open, -22,
         opened<open_rest_of_hist_without_memory>(good_history()));
FAILS_ON_DAMAGED(_kor_hist_buffer_open, hist_file, opened<open_rest_of_hist>);

FAILS_ON_RECORD(kor_hist_buffer_read_record, with_reopened_hist,
                read_history_record);
FAILS_BY(kor_hist_buffer_read_record, -43,
         with_reopened_hist("", read_history_record));
FAILS_ON_RECORD(_kor_hb_read_next_record, with_reopened_hist, read_next_record);
FAILS_BY(_kor_hb_read_next_record, -43,
         with_reopened_hist("", read_next_record));

FAILS_ON_RECORD(kor_hist_buffer_write_interval, with_reopened_hist,
                write_interval);
FAILS_BY(kor_hist_buffer_write_interval, -2,
         with_hist([](auto *hbuf) { return write_until_full(hbuf); }));
FAILS_BY(kor_hist_buffer_write_interval, -6, with_hist([](auto *hbuf) {
             return kor_hist_buffer_write_interval(
                 hbuf, stamp(), stamp(), contract::empty_list(), NULL);
         }));
FAILS_BY(kor_hist_buffer_write_interval, -22,
         with_hist(without_memory(write_interval)));
FAILS_BY(kor_hist_buffer_write_interval, -41,
         with_hist(on_full_disk(write_interval)));
FAILS_BY(kor_hist_buffer_write_interval, -42,
         with_hist(without_zlib(write_interval)));
FAILS_BY(kor_hist_buffer_write_interval, -49, with_hist([](auto *hbuf) {
             return kor_hist_buffer_write_interval(
                 hbuf, stamp(), stamp(), list_of_too_long_name(), NULL);
         }));
FAILS_BY(kor_hist_buffer_get_number_empty_intervals, -6,
         kor_hist_buffer_get_number_empty_intervals(overfull()));

FAILS_TO_STORE(binary_serializer_write_kor_hist_buffer, bare<hist_buffer>());
FAILS_TO_READ_HEADER(binary_serializer_read_kor_hist_buffer, read_hist_header);

// --- folding a current buffer ---

ABORTS_WITH(kor_current_buffer_compress, "cbuf_filename != NULL", NULL, hist(),
            2);
ABORTS_WITH(kor_current_buffer_compress, "hbuf != NULL", "b", NULL, 2);
ABORTS_WITH(kor_current_buffer_compress, "samples_per_hb_interval > 0", "b",
            hist(), 0);

ABORTS(_kor_update_event_stats, "counter != NULL")
{
    test::put(test::create_current("b", 2), test::sample(0));
    const auto cbuf =
        test::current_holder(kor_current_buffer_open_for_append("b"));
    test::put(cbuf, test::event_of(6, 1, "unknown"));
    into(4, fold)();
}

ABORTS(_kor_write_current_interval, "!timestamp_is_null(&state->start)")
{
    write_samples_at(no_time, 1);
    into(4, fold_in_pairs)();
}

ABORTS(_kor_write_current_interval, "!timestamp_is_null(&state->end)")
{
    write_samples_at(1, no_time);
    into(4, fold_in_pairs)();
}

FAILS_BY(kor_current_buffer_compress, -2,
         on_file(overfull_file, into(2, fold)));
FAILS_BY(kor_current_buffer_compress, -3,
         on_file(contract::hist_file(""), into(4, fold)));
FAILS_BY(kor_current_buffer_compress, -4, on_file(event_first, into(4, fold)));
FAILS_BY(kor_current_buffer_compress, -6, on_file(good_file, into(1, fold)));
FAILS_BY(kor_current_buffer_compress, -22,
         on_file(good_file, into(4, without_memory(fold))));
FAILS_BY(kor_current_buffer_compress, -40, in_folder(into(4, fold)));
FAILS_BY(kor_current_buffer_compress, -41,
         on_file(good_file, into(4, on_full_disk(fold))));
FAILS_BY(kor_current_buffer_compress, -42,
         on_file(good_file, into(4, without_zlib(fold))));
FAILS_ON_DAMAGED(kor_current_buffer_compress, current_file, folded<fold>);

// --- merging a history ---

ABORTS_WITH(kor_hist_buffer_compress, "hbuf_in_filename != NULL", NULL, hist());
ABORTS_WITH(kor_hist_buffer_compress, "hbuf_out != NULL", "b", NULL);
ABORTS_BY(_kor_get_next_intervals_to_compress, "*names1 != NULL",
          on_file(contract::hist_file("", 2), into(4, merge)));
ABORTS_BY(_kor_get_next_intervals_to_compress,
          "*names1 == state->hbuf_in->hb_rec_sensors_last",
          on_file(contract::hist_file(one_name + stored_interval() + one_name +
                                      one_name + stored_interval()),
                  into(4, merge)));
ABORTS_BY(merge_interval, "hvalue->count == 0",
          on_file(contract::hist_file(same_name_twice + interval_of_two() +
                                      interval_of_two()),
                  into(4, merge)));

FAILS_BY(kor_hist_buffer_compress, -3,
         on_file(contract::current_file(""), into(4, merge)));
FAILS_BY(kor_hist_buffer_compress, -4,
         on_file(interval_first(), into(4, merge)));
FAILS_BY(kor_hist_buffer_compress, -6,
         on_file(contract::hist_file(one_name + stored_interval()),
                 into(1, merge)));
FAILS_BY(kor_hist_buffer_compress, -22,
         on_file(good_history(), into(4, without_memory(merge))));
FAILS_BY(kor_hist_buffer_compress, -40, in_folder(into(4, merge)));
FAILS_BY(kor_hist_buffer_compress, -41,
         on_file(good_history(), into(4, on_full_disk(merge))));
FAILS_BY(kor_hist_buffer_compress, -42,
         on_file(good_history(), into(4, without_zlib(merge))));
FAILS_BY(kor_hist_buffer_compress, -44,
         on_file(contract::hist_file(one_name + stored_interval()),
                 into(4, merge)));
FAILS_ON_DAMAGED(kor_hist_buffer_compress, hist_file, folded<merge>);
