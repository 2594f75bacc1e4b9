// What text telemetry and configuration files promise.
#include "contract/matrix_fixtures.hpp"
#include "contract/streams.hpp"
#include "unit/text/text_support.hpp"

using contract::any_writer;
using contract::bodiless;
using contract::plain;
using contract::telemetry;
using contract::two_sensors;
using contract::typeless;

namespace {

const std::string header = "20070101:00:00:00,CPU\n";
const std::string time_of_day = "20070101:00:00:01";

// A reader over a file that it closes.
struct vorn_reader *reader_of(const std::string &text)
{
    test::write_file("a.vorn", text);
    return vorn_reader_open("a.vorn");
}

// A reader whose stream gives no more, which is an error and not the end.
struct vorn_reader *reader_of_broken_stream()
{
    struct vorn_reader *const vorn = reader_of(header);
    vorn->fp = std::fopen(".", "r");
    return vorn;
}

struct matrix *next(struct vorn_reader *vorn)
{
    return vorn_reader_get_next_telemetry_vector(vorn);
}

struct vorn_reader *no_reader = NULL;
struct vorn_reader empty_reader = {};
struct vorn_reader *without_vector()
{
    struct vorn_reader *const vorn = reader_of(header + header);
    matrix_destroy(&vorn->vector);
    return vorn;
}

struct writer *text_writer()
{
    return vorn_writer_create(test::lend(any_writer()));
}

struct vorn_writer dead_writer = {};
struct vorn_writer baseless_writer = {VORN_WRITER_VERSION, NULL, NULL};

struct writer *bare_writer(uint32_t type, void *state)
{
    static struct writer writer;
    writer.type = type;
    writer.writer = state;
    return &writer;
}

struct telemetry_matrix_body *body_of(struct matrix *m)
{
    return static_cast<struct telemetry_matrix_body *>(m->matrix);
}

}  // namespace

// --- vorn_reader: aborts ---

ABORTS_WITH(vorn_reader_open, "filename != NULL", NULL);
ABORTS_WITH(vorn_reader_open_from_fp, "fp != NULL", NULL);
ABORTS_BY(vorn_reader_get_next_telemetry_vector, "vorn != NULL", next(NULL));
ABORTS_BY(vorn_reader_get_next_telemetry_vector, "vorn->fp != NULL",
          next(&empty_reader));
ABORTS_BY(vorn_reader_get_next_telemetry_vector, "vorn->vector != NULL",
          next(without_vector()));
ABORTS_BY(vorn_reader_get_next_telemetry_vector, "feof(vorn->fp)",
          next(reader_of_broken_stream()));
ABORTS_BY(vorn_reader_get_next_telemetry_vector, "nvalues == nsensors",
          next(reader_of(header + time_of_day + "\n")));
ABORTS_WITH(vorn_reader_get_number_sensors, "vorn != NULL", NULL);
ABORTS_WITH(vorn_reader_get_number_sensors, "vorn->vector != NULL",
            &empty_reader);
ABORTS_WITH(vorn_reader_get_sensors, "vorn != NULL", NULL);
ABORTS_WITH(vorn_reader_get_sensors, "vorn->vector != NULL", &empty_reader);
ABORTS_WITH(vorn_reader_close, "vorn != NULL", NULL);
ABORTS_WITH(vorn_reader_close, "*vorn != NULL", &no_reader);

// What a broken producer writes, as a first line and as a later one.
#define LINE_ROWS(function, expression, line)         \
    ABORTS_BY(function, expression, reader_of(line)); \
    ABORTS_BY(function, expression, next(reader_of(header + (line))))
LINE_ROWS(_vorn_reader_is_header, "p >= line + 18", "CPU\n");
LINE_ROWS(_vorn_reader_is_header, "p >= line + 18", time_of_day + " CPU\n");
LINE_ROWS(_vorn_reader_init_vector, "*p != '\\0'", time_of_day + ",,CPU\n");
LINE_ROWS(_vorn_reader_init_vector, "*p != '\\0'", time_of_day + ",a,,CPU\n");
LINE_ROWS(_vorn_reader_init_vector, "*p == '\\0'", time_of_day + ",CPU,\n");
LINE_ROWS(_vorn_reader_init_vector, "*p == '\\0'", time_of_day + ",CPU\r\n");
LINE_ROWS(matrix_create, "ncols > 0", time_of_day + ":CPU\n");

// --- vorn_reader: failures ---

static int opening(const char *filename)
{
    return contract::last_error_of(vorn_reader_open(filename),
                                   vorn_reader_close);
}
static int opening_stream(const char *filename)
{
    FILE *const fp = std::fopen(filename, "r");
    const int result = contract::last_error_of(vorn_reader_open_from_fp(fp),
                                               vorn_reader_close);
    std::fclose(fp);
    return result;
}
// What `attempt` gives for a file of this text.
static int on_text(const std::string &text, int (*attempt)(const char *))
{
    test::write_file("a.vorn", text);
    return attempt("a.vorn");
}

#define OPENING_ROWS(function, attempt)                                \
    FAILS_BY(function, -44, on_text("", attempt));                     \
    FAILS_BY(function, -44, attempt("."));                             \
    FAILS_BY(function, -6, on_text("\n", attempt));                    \
    FAILS_BY(function, -6, on_text(time_of_day + ",1.5\n", attempt));  \
    FAILS_BY(function, -22, on_text(header, [](const char *filename) { \
                 return contract::with_each_allocation_failing(        \
                     [=] { return attempt(filename); });               \
             }))
OPENING_ROWS(vorn_reader_open, opening);
OPENING_ROWS(vorn_reader_open_from_fp, opening_stream);
FAILS_BY(vorn_reader_open, -40, opening("no such file"));

// What the line after a header gives when the n-th allocation fails.
static int next_after_header(const std::string &line, int n = -1)
{
    struct vorn_reader *vorn = reader_of(header + line);
    const int result = contract::with_failing_allocation(
        n, [=] { return contract::last_error_of(next(vorn)); });
    vorn_reader_close(&vorn);
    return result;
}

FAILS_BY(vorn_reader_get_next_telemetry_vector, -6, next_after_header("\n"));
FAILS_BY(vorn_reader_get_next_telemetry_vector, -6, next_after_header(",,\n"));
FAILS_BY(vorn_reader_get_next_telemetry_vector, -6,
         next_after_header(time_of_day + ",1,2\n"));
FAILS_BY(vorn_reader_get_next_telemetry_vector, -11,
         next_after_header("20070132:00:00:01,1\n"));
FAILS_BY(vorn_reader_get_next_telemetry_vector, -22,
         next_after_header(time_of_day + ",1\n", 0));
FAILS_BY(vorn_reader_get_next_telemetry_vector, -22,
         next_after_header(header, 0));

// --- vorn_writer ---

ABORTS_WITH(vorn_writer_init, "writer != NULL", NULL, any_writer());
ABORTS_WITH(vorn_writer_init, "writer_base != NULL", text_writer(), NULL);
ABORTS_WITH(vorn_writer_create, "writer_base != NULL", NULL);

ABORTS_WITH(vorn_writer_have_sensors_changed, "writer != NULL", NULL,
            two_sensors());
ABORTS_WITH(vorn_writer_have_sensors_changed,
            "writer->type == WRITER_TYPE_VORN", any_writer(), two_sensors());
ABORTS_WITH(vorn_writer_have_sensors_changed, "writer->writer != NULL",
            bare_writer(WRITER_TYPE_VORN, NULL), two_sensors());
ABORTS_WITH(vorn_writer_have_sensors_changed, "sensors != NULL", text_writer(),
            NULL);
ABORTS_WITH(vorn_writer_have_sensors_changed,
            "cwriter->version == VORN_WRITER_VERSION",
            bare_writer(WRITER_TYPE_VORN, &dead_writer), two_sensors());

#define STATE_ROWS(function, ...)                                  \
    ABORTS_BY(function, "cwriter != NULL",                         \
              function(NULL __VA_OPT__(, ) __VA_ARGS__));          \
    ABORTS_BY(function, "cwriter->version == VORN_WRITER_VERSION", \
              function(&dead_writer __VA_OPT__(, ) __VA_ARGS__));  \
    ABORTS_BY(function, "cwriter->writer != NULL",                 \
              function(&baseless_writer __VA_OPT__(, ) __VA_ARGS__))
STATE_ROWS(_vorn_writer_write_bytes, "", 0);
STATE_ROWS(_vorn_writer_flush);
STATE_ROWS(_vorn_writer_destruct);
ABORTS_WITH(_vorn_writer_write_bytes, "buf != NULL", text_writer()->writer,
            NULL, 0);

FAILS(vorn_writer_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct writer writer;
        return vorn_writer_init(&writer, any_writer());
    });
}

// The attempt that succeeds takes the base over.
FAILS(vorn_writer_create, -22)
{
    struct writer *const base = test::lend(any_writer());
    return contract::with_each_allocation_failing([=] {
        return contract::last_error_of(vorn_writer_create(base),
                                       writer_destroy);
    });
}

FAILS(vorn_writer_have_sensors_changed, -22)
{
    struct writer *out = text_writer();
    struct sensor_array *sensors = two_sensors();
    const int result = contract::with_each_allocation_failing(
        [=] { return vorn_writer_have_sensors_changed(out, sensors); });
    sensor_array_destroy(&sensors);
    writer_destroy(&out);
    return result;
}

// What `attempt` gives for a text writer over a base that fails.  The text
// writer is not flushed at its end.
template <class Attempt>
static int over(struct writer *base, Attempt attempt)
{
    struct writer *lent = test::lend(base);
    struct writer *out = vorn_writer_create(lent);
    const int result = attempt(out);
    lent->fn_flush = [](void *) {
        return 0;
    };
    writer_destroy(&out);
    return result;
}

static int writing_bytes(struct writer *base)
{
    return over(base, [](struct writer *out) {
        return _vorn_writer_write_bytes(out->writer, "x", 1);
    });
}
static int flushing(struct writer *base)
{
    return over(base, [](struct writer *out) {
        return _vorn_writer_flush(out->writer);
    });
}
static int ending(struct writer *base)
{
    struct writer *const out = vorn_writer_create(test::lend(base));
    const int result = _vorn_writer_destruct(out->writer);
    std::free(out->writer);
    std::free(out);
    return result;
}

// What `attempt` gives where the file takes nothing of what was compressed.
template <class Attempt>
static int on_a_full_disk_behind_zlib(Attempt attempt)
{
    return contract::on_a_full_disk([=](struct writer *disk) {
        struct writer *zlib = zlib_writer_create(test::lend(disk));
        writer_write_bytes(zlib, "x", 1);
        const int result = attempt(zlib);
        writer_destroy(&zlib);
        return result;
    });
}

FAILS_BY(_vorn_writer_write_bytes, -41,
         contract::on_a_full_disk(writing_bytes));
FAILS_BY(_vorn_writer_write_bytes, -42,
         contract::without_a_compressor(writing_bytes));
FAILS_BY(_vorn_writer_flush, -41, on_a_full_disk_behind_zlib(flushing));
FAILS_BY(_vorn_writer_flush, -42, contract::without_a_compressor(flushing));
FAILS_BY(_vorn_writer_destruct, -41, on_a_full_disk_behind_zlib(ending));
FAILS_BY(_vorn_writer_destruct, -42, contract::without_a_compressor(ending));

// --- vorn_serializer ---

static int write_as_text(struct matrix *m)
{
    return vorn_serializer_write_matrix(m, text_writer());
}
static int write_broken(void (*change)(struct telemetry_matrix_body *))
{
    struct matrix *const m = telemetry();
    change(body_of(m));
    return write_as_text(m);
}

ABORTS_BY(vorn_serializer_write_matrix, "m != NULL", write_as_text(NULL));
ABORTS_BY(vorn_serializer_write_matrix, "m->type > 0",
          write_as_text(typeless()));
ABORTS_WITH(vorn_serializer_write_matrix, "writer != NULL", plain(), NULL);
ABORTS_BY(vorn_serializer_write_matrix, "m->type <= MATRIX_TYPE_TELEMETRY",
          write_as_text(bodiless(MATRIX_TYPE_TELEMETRY + 1)));

ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "m != NULL",
          write_as_text(bodiless(MATRIX_TYPE_TELEMETRY)));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "m->version > 0",
          write_broken([](auto *body) { body->version = 0; }));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "m->sensors != NULL",
          write_broken([](auto *body) { body->sensors = NULL; }));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "m->timestamps != NULL",
          write_broken([](auto *body) { body->timestamps = NULL; }));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "m->matrix != NULL",
          write_broken([](auto *body) { body->matrix = NULL; }));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix,
          "writer->type == WRITER_TYPE_VORN",
          vorn_serializer_write_matrix(telemetry(), any_writer()));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix,
          "writer->type == WRITER_TYPE_VORN",
          vorn_serializer_write_matrix(plain(), any_writer()));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "sensors != NULL",
          write_broken([](auto *body) {
              body->sensors = sensor_array_create_null();
          }));
ABORTS_BY(_vorn_serializer_write_telemetry_matrix, "timestamps != NULL",
          write_broken([](auto *body) {
              body->timestamps = timestamp_array_create_null();
          }));

// A line takes 32768 bytes, 17 of them the time; here it is full before its
// end, or passes the limit in some field.
ABORTS(_vorn_serializer_format_header, "nbytes <= sizeof(line)")
{
    std::vector<std::string> sensors(127, std::string(255, 'x'));
    sensors.push_back(std::string(238, 'x'));
    const std::vector<double> values(sensors.size(), 1);
    write_as_text(test::create_telemetry(sensors, 0, {values}));
}

ABORTS(_vorn_serializer_format_header, "nbytes <= sizeof(line)")
{
    write_as_text(plain(1, 10000));
}

ABORTS(_vorn_serializer_format_row, "nbytes <= sizeof(line)")
{
    std::vector<double> values(5458, 1);
    values[0] = 1000;
    const std::vector<std::string> sensors(values.size(), "x");
    write_as_text(test::create_telemetry(sensors, 0, {values}));
}

ABORTS(_vorn_serializer_format_row, "nbytes <= sizeof(line)")
{
    write_as_text(matrix_scalar_multiply(plain(1, 120), 1e300));
}

// What writing a matrix gives with each allocation failing.
static int writing_without_memory(struct matrix *m)
{
    struct writer *out = text_writer();
    const int result = contract::with_each_allocation_failing(
        [=] { return vorn_serializer_write_matrix(m, out); });
    writer_destroy(&out);
    matrix_destroy(&m);
    return result;
}

static int writing_telemetry(struct writer *base)
{
    return over(base, [](struct writer *out) {
        struct matrix *m = telemetry();
        const int result = vorn_serializer_write_matrix(m, out);
        matrix_destroy(&m);
        return result;
    });
}

FAILS_BY(vorn_serializer_write_matrix, -22, writing_without_memory(plain()));
FAILS_BY(vorn_serializer_write_matrix, -22,
         writing_without_memory(contract::transposed()));
FAILS_BY(vorn_serializer_write_matrix, -22,
         writing_without_memory(telemetry()));
FAILS_BY(vorn_serializer_write_matrix, -41,
         contract::on_a_full_disk(writing_telemetry));
FAILS_BY(vorn_serializer_write_matrix, -42,
         contract::without_a_compressor(writing_telemetry));

// --- config: aborts ---

static struct config *no_config = NULL;
static struct config dead_config = {};
static uint32_t count;

// One key with two values.
static struct config *two_values()
{
    struct config *const made = config_create();
    config_add_value_for_key(made, "k", "1");
    config_add_value_for_key(made, "k", "2");
    return made;
}
static struct config *broken_config(void (*change)(struct config_key_node *))
{
    struct config *const broken = two_values();
    change(broken->head);
    return broken;
}

ABORTS_WITH(config_init, "config != NULL", NULL);
ABORTS_WITH(config_destruct, "config != NULL", NULL);
ABORTS_WITH(config_destruct, "config->version == CONFIG_VERSION", &dead_config);
ABORTS_WITH(config_destroy, "config != NULL", NULL);
ABORTS_WITH(config_destroy, "*config != NULL", &no_config);
ABORTS_WITH(config_init_from_file, "config != NULL", NULL, ".");
ABORTS_WITH(config_init_from_file, "filename != NULL", &dead_config, NULL);
ABORTS_WITH(config_init_from_file, "feof(fp)", &dead_config, ".");
ABORTS_WITH(config_create_from_file, "filename != NULL", NULL);
ABORTS_BY(config_init_from_file, "feof(fp)", config_create_from_file("."));

ABORTS_WITH(config_add_value_for_key, "config != NULL", NULL, "k", "v");
ABORTS_WITH(config_add_value_for_key, "config->version == CONFIG_VERSION",
            &dead_config, "k", "v");
ABORTS_WITH(config_add_value_for_key, "key != NULL", two_values(), NULL, "v");
ABORTS_WITH(config_add_value_for_key, "value != NULL", two_values(), "k", NULL);

static int add_to_broken(void (*change)(struct config_key_node *))
{
    return config_add_value_for_key(broken_config(change), "k", "v");
}
ABORTS_BY(config_add_value_for_key, "i < node->nvalues",
          add_to_broken([](auto *node) { node->nvalues = 1; }));
ABORTS_BY(config_add_value_for_key, "i == node->nvalues",
          add_to_broken([](auto *node) { node->nvalues = 3; }));
ABORTS_BY(config_add_value_for_key, "node->head_value == NULL",
          add_to_broken([](auto *node) { node->tail_value = NULL; }));
ABORTS_BY(config_add_value_for_key, "node->head_value != NULL",
          add_to_broken([](auto *node) {
              node->head_value = NULL;
              node->nvalues = 0;
          }));

ABORTS_WITH(config_get_values_for_key, "config != NULL", NULL, "k", &count);
ABORTS_WITH(config_get_values_for_key, "config->version == CONFIG_VERSION",
            &dead_config, "k", &count);
ABORTS_WITH(config_get_values_for_key, "key != NULL", two_values(), NULL,
            &count);
ABORTS_WITH(config_get_values_for_key, "nvals != NULL", two_values(), "k",
            NULL);

static char **get_from_broken(void (*change)(struct config_key_node *))
{
    return config_get_values_for_key(broken_config(change), "k", &count);
}
ABORTS_BY(config_get_values_for_key, "node->nvalues > 0",
          get_from_broken([](auto *node) { node->nvalues = 0; }));
ABORTS_BY(config_get_values_for_key, "i < node->nvalues",
          get_from_broken([](auto *node) { node->nvalues = 1; }));
ABORTS_BY(config_get_values_for_key, "i == node->nvalues",
          get_from_broken([](auto *node) { node->nvalues = 3; }));

ABORTS_WITH(config_get_single_value_for_key, "config != NULL", NULL, "k");
ABORTS_WITH(config_get_single_value_for_key,
            "config->version == CONFIG_VERSION", &dead_config, "k");
ABORTS_WITH(config_get_single_value_for_key, "key != NULL", two_values(), NULL);
ABORTS_WITH(config_split_multiword_value, "value != NULL", NULL, &count);

ABORTS(config_split_multiword_value, "nwords != NULL")
{
    char words[] = "a b";
    config_split_multiword_value(words, NULL);
}

// --- config: failures ---

static int filling(const char *filename)
{
    struct config filled;
    const int result = config_init_from_file(&filled, filename);
    if (result == KOR_OK) config_destruct(&filled);
    return result;
}
static int creating(const char *filename)
{
    return contract::last_error_of(config_create_from_file(filename),
                                   config_destroy);
}

#define LOADING_ROWS(function, attempt)                                      \
    FAILS_BY(function, -40, attempt("no such file"));                        \
    FAILS_BY(function, -1, on_text("a 1\nk\n", attempt));                    \
    FAILS_BY(function, -1, on_text("a 1\n  ", attempt));                     \
    FAILS_BY(function, -22, on_text("a 1\na 2\n", [](const char *filename) { \
                 return contract::with_each_allocation_failing(              \
                     [=] { return attempt(filename); });                     \
             }))
LOADING_ROWS(config_init_from_file, filling);
LOADING_ROWS(config_create_from_file, creating);

FAILS(config_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(config_create(), config_destroy);
    });
}

// What `attempt` gives for a configuration with each allocation failing.
template <class Attempt>
static int without_memory(Attempt attempt)
{
    struct config *filled = two_values();
    const int result =
        contract::with_each_allocation_failing([=] { return attempt(filled); });
    config_destroy(&filled);
    return result;
}

// The code of an array that was not made; one that was is freed.
static int failure_of(char **array)
{
    const int result = contract::last_error_of(array);
    std::free(array);
    return result;
}

FAILS_BY(config_add_value_for_key, -22, without_memory([](struct config *c) {
             return config_add_value_for_key(c, "new", "v");
         }));
FAILS_BY(config_add_value_for_key, -22, without_memory([](struct config *c) {
             return config_add_value_for_key(c, "k", "v");
         }));
FAILS_BY(config_get_values_for_key, -22, without_memory([](struct config *c) {
             return failure_of(config_get_values_for_key(c, "k", &count));
         }));
FAILS_BY(config_get_single_value_for_key, -22,
         without_memory([](struct config *c) {
             return contract::last_error_of(
                 config_get_single_value_for_key(c, "k"));
         }));

FAILS(config_split_multiword_value, -22)
{
    char words[] = "a b";
    return contract::with_each_allocation_failing([&] {
        return failure_of(config_split_multiword_value(words, &count));
    });
}
