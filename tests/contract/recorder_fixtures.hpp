// recorder_fixtures.hpp: records, buffers and recorders for provocations.
//
// Where nothing else is said, an object is made once and lives on.
#ifndef KOR_TESTS_CONTRACT_RECORDER_FIXTURES_HPP
#define KOR_TESTS_CONTRACT_RECORDER_FIXTURES_HPP

#include <string>

#include "contract/model_fixtures.hpp"
#include "contract/streams.hpp"
#include "unit/recorder/fold_support.hpp"

namespace contract {

// --- pointers ---

// An object with nothing in it: version 0, all pointers null.
template <class T>
T *dead()
{
    static T object = {};
    return &object;
}
// Where a pointer to an object is asked for, and there is none.
template <class T>
T **nothing()
{
    static T *none = nullptr;
    return &none;
}
template <class T>
T **pointer_to(T *object)
{
    static T *pointer;
    pointer = object;
    return &pointer;
}

// --- what is recorded ---

inline struct matrix *sample()
{
    static struct matrix *const made = test::sample(0).release();
    return made;
}
inline struct matrix *two_rows()
{
    static struct matrix *const made =
        telemetry_matrix_create(matrix_create(2, 1), test::sensors_named({"a"}),
                                timestamp_array_create_dummy(stamp(), 2));
    return made;
}
inline struct matrix *vector_of_sensor(const std::string &name)
{
    return test::vector_of({name}, *stamp(), {1}).release();
}
// One character more than a stored string may have.
inline const std::string too_long(10001, 'x');
inline constexpr uint32_t too_many = 10001;
// Vectors that cannot be stored.
inline struct matrix *vector_of_too_long_name()
{
    static struct matrix *const made = vector_of_sensor(too_long);
    return made;
}
inline struct matrix *vector_of_empty_name()
{
    static struct matrix *const made = vector_of_sensor("");
    return made;
}

inline struct kor_cb_record_event *event()
{
    static auto *const made = test::fan_fail().release();
    return made;
}
inline struct kor_cb_record_event *too_long_event()
{
    static auto *const made = test::event_of(1, 0, too_long).release();
    return made;
}
inline struct kor_cb_record_event *event_of_empty_text()
{
    static auto *const made = test::event_of(1, 0, "").release();
    return made;
}

inline struct hist_value_list *empty_list()
{
    static auto *const made = hist_value_list_create();
    return made;
}
// A list of one sensor and one reading.
inline struct hist_value_list *list_of_sensor(struct sensor *sensor)
{
    struct hist_value_list *const made = hist_value_list_create();
    hist_value_update(hist_value_list_add_if_not_present(made, sensor), 1);
    sensor_destroy(&sensor);
    return made;
}
inline struct hist_value_list *list()
{
    static auto *const made = list_of_sensor(temp());
    return made;
}

// --- streams ---

// What `write` gives for the object, as a function of the stream.
template <class T>
auto storing(int (*write)(const T *, struct writer *), const T *object)
{
    return [=](struct writer *out) {
        return write(object, out);
    };
}

// Reads into a new object, which goes again.
template <class T, int (*Init)(T *), void (*Destruct)(T *),
          int (*Read)(T *, struct reader *)>
int read_new(struct reader *in)
{
    T object;
    Init(&object);
    const int nread = Read(&object, in);
    Destruct(&object);
    return nread;
}

// What `create` gives, which is destroyed again after a success.
template <class T, class... Parameters, class... Arguments>
auto creating(T *(*create)(Parameters...), void (*destroy)(T **),
              Arguments... arguments)
{
    return [=] {
        return last_error_of(create(arguments...), destroy);
    };
}

// Reads nothing and yet is not at its end.
inline struct reader *lying_reader()
{
    struct reader *const reader = test::lend(empty_reader());
    reader->fn_read_bytes = [](void *, void *, uint32_t) {
        return 0;
    };
    reader->fn_eof = [](void *) {
        return 0;
    };
    return reader;
}

// --- files ---

// What `act` gives in a folder of its own with a file "b" of these bytes.
template <class Act>
int on_file(const std::string &content, Act act)
{
    const test::scratch_folder folder;
    test::write_file("b", content);
    return act();
}

// What `act` gives in a folder of its own.
template <class Act>
int in_folder(Act act)
{
    const test::scratch_folder folder;
    return act();
}

// The file of a current buffer of this capacity, with these records.
inline std::string current_file(const std::string &records,
                                uint32_t capacity = 2)
{
    return test::deflate_stream(test::current_header(capacity) + records);
}
inline std::string hist_file(const std::string &records, uint32_t capacity = 4)
{
    return test::deflate_stream(test::hist_header(capacity) + records);
}

// Damaged records of either kind of buffer, by the code that reads them.
inline const std::string unknown_record = test::bytes("00 00 00 09");
inline const std::string newer_names = test::bytes("00 00 00 01 02");
inline const std::string cut_names = test::bytes("00 00 00 01 01");
inline const std::string too_many_names = test::with(
    test::stored_names.substr(0, 19), 15, test::stored_count(too_many));
inline const std::string garbage = "not a compressed stream";

// --- what is missing ---

// `act` on an object where no file can grow, and where its first allocation
// fails.
template <class Act>
auto on_full_disk(Act act)
{
    return [=](auto *object) {
        const test::file_size_limit full_disk(0);
        return act(object);
    };
}
template <class Act>
auto without_memory(Act act)
{
    return [=](auto *object) {
        sample();
        event();
        list();
        return with_failing_allocation(0, [=] { return act(object); });
    };
}

// No stream can be begun while the object lives: zlib finds no memory.
class no_zlib_memory {
public:
    explicit no_zlib_memory(struct writer *writer)
        : state_(static_cast<struct zlib_writer *>(writer->writer))
    {
        state_->zstrm.zalloc = [](void *, unsigned, unsigned) -> void * {
            return nullptr;
        };
    }
    no_zlib_memory(const no_zlib_memory &) = delete;
    no_zlib_memory &operator=(const no_zlib_memory &) = delete;
    ~no_zlib_memory() { state_->zstrm.zalloc = nullptr; }

private:
    struct zlib_writer *state_;
};

}  // namespace contract

// FAILS_TO_STORE(binary_serializer_write_sensor, temp()): what becomes of a
// stream that takes nothing, and of one that cannot compress.
#define FAILS_TO_STORE(function, object)                                     \
    FAILS_BY(function, -41,                                                  \
             contract::on_a_full_disk(contract::storing(function, object))); \
    FAILS_BY(                                                                \
        function, -42,                                                       \
        contract::without_a_compressor(contract::storing(function, object)))

// What opening a file comes to that holds a record which cannot be read, or a
// header that no recorder writes; `outcome` gives the code for a content.
#define FAILS_ON_DAMAGED(function, file, outcome)                              \
    FAILS_BY(function, -6, outcome(contract::file(contract::unknown_record))); \
    FAILS_BY(function, -12, outcome(contract::file(contract::newer_names)));   \
    FAILS_BY(function, -41, outcome(contract::file("", 3)));                   \
    FAILS_BY(function, -48, outcome(contract::file(contract::cut_names)));     \
    FAILS_BY(function, -49, outcome(contract::file(contract::too_many_names)))

#endif
