// What the byte streams and the primitives of the stored form promise.
#include <cstdio>
#include <cstdlib>

#include "contract/streams.hpp"
#include "io/streams.hpp"

using namespace std::string_literals;

namespace {

char buf[8];
constexpr uint32_t half = sizeof buf / 2;

FILE *null_file(const char *mode)
{
    return std::fopen("/dev/null", mode);
}

// Live, but without operations and state.
struct reader *bare_reader()
{
    static struct reader reader;
    _reader_init(&reader, READER_TYPE_RAW);
    return &reader;
}
struct writer *bare_writer()
{
    static struct writer writer;
    _writer_init(&writer, WRITER_TYPE_RAW);
    return &writer;
}

struct reader *dead_reader()
{
    static struct reader reader;
    return &reader;
}
struct writer *dead_writer()
{
    static struct writer writer;
    return &writer;
}

struct reader *memory(const std::string &bytes)
{
    static test::memory_reader reader(bytes);
    return reader.get();
}
struct writer *memory()
{
    static test::memory_writer writer;
    return writer.get();
}

// A writer with all operations, but no state.
struct writer *stateless_writer()
{
    memory()->writer = NULL;
    return memory();
}

// Reads nothing and yet is not at its end.
struct reader *lying_reader()
{
    struct reader *const reader = test::lend(memory("abc"));
    reader->fn_read_bytes = [](void *, void *, uint32_t) {
        return 0;
    };
    return reader;
}

struct reader *new_raw_reader()
{
    return raw_reader_create(null_file("r"), 0);
}
struct writer *new_raw_writer()
{
    return raw_writer_create(null_file("w"), 0);
}
struct reader *new_garbage_reader()
{
    return garbage_reader_create(test::lend(memory("")), 0);
}
struct reader *new_zlib_reader(const std::string &bytes = "no zlib stream")
{
    return zlib_reader_create(test::lend(memory(bytes)));
}
struct writer *new_zlib_writer()
{
    return zlib_writer_create(test::lend(memory()));
}

struct zlib_reader *state_of(struct reader *reader)
{
    return static_cast<struct zlib_reader *>(reader->reader);
}
struct zlib_writer *state_of(struct writer *writer)
{
    return static_cast<struct zlib_writer *>(writer->writer);
}

struct raw_reader dead_raw_reader = {};
struct raw_reader raw_reader_without_file = {RAW_READER_VERSION, NULL, 0};
struct raw_writer dead_raw_writer = {};
struct raw_writer raw_writer_without_file = {RAW_WRITER_VERSION, NULL, 0};
struct garbage_reader dead_garbage_reader = {};
struct garbage_reader garbage_reader_without_base = {GARBAGE_READER_VERSION,
                                                     NULL, 0, 0};

// A state without a base reader or writer, or one that is not even live.
struct zlib_reader *zlib_reader_state(uint8_t version)
{
    struct reader *const reader = new_zlib_reader();
    state_of(reader)->version = version;
    state_of(reader)->reader = NULL;
    return state_of(reader);
}
struct zlib_writer *zlib_writer_state(uint8_t version)
{
    struct writer *const writer = new_zlib_writer();
    state_of(writer)->version = version;
    state_of(writer)->writer = NULL;
    return state_of(writer);
}

}  // namespace

// --- reader ---

ABORTS(_reader_init, "reader != NULL")
{
    _reader_init(NULL, READER_TYPE_RAW);
}

ABORTS(_reader_init, "type > 0")
{
    _reader_init(dead_reader(), 0);
}

ABORTS(_reader_destruct, "reader != NULL")
{
    _reader_destruct(NULL);
}

ABORTS(_reader_destruct, "reader->version == READER_VERSION")
{
    _reader_destruct(dead_reader());
}

ABORTS(reader_read_bytes, "reader != NULL")
{
    reader_read_bytes(NULL, buf, 1);
}

ABORTS(reader_read_bytes, "reader->version == READER_VERSION")
{
    reader_read_bytes(dead_reader(), buf, 1);
}

ABORTS(reader_read_bytes, "reader->fn_read_bytes != NULL")
{
    reader_read_bytes(bare_reader(), buf, 1);
}

ABORTS(reader_read_bytes, "buf != NULL")
{
    reader_read_bytes(memory("abc"), NULL, 1);
}

ABORTS(reader_eof, "reader != NULL")
{
    reader_eof(NULL);
}

ABORTS(reader_eof, "reader->version == READER_VERSION")
{
    reader_eof(dead_reader());
}

ABORTS(reader_eof, "reader->fn_eof != NULL")
{
    reader_eof(bare_reader());
}

ABORTS(reader_destruct, "reader != NULL")
{
    reader_destruct(NULL);
}

ABORTS(reader_destruct, "reader->version == READER_VERSION")
{
    reader_destruct(dead_reader());
}

ABORTS(reader_destruct, "reader->version == READER_VERSION")
{
    struct reader *reader = dead_reader();
    reader_destroy(&reader);
}

ABORTS(reader_destruct, "reader->fn_destruct != NULL")
{
    reader_destruct(bare_reader());
}

ABORTS(reader_destroy, "reader != NULL")
{
    reader_destroy(NULL);
}

ABORTS(reader_destroy, "*reader != NULL")
{
    struct reader *none = NULL;
    reader_destroy(&none);
}

static int read_one(struct reader *reader)
{
    return reader_read_bytes(reader, buf, 1);
}

FAILS(reader_read_bytes, -41)
{
    return contract::from_a_damaged_file(read_one);
}

// --- writer ---

ABORTS(_writer_init, "writer != NULL")
{
    _writer_init(NULL, WRITER_TYPE_RAW);
}

ABORTS(_writer_init, "type > 0")
{
    _writer_init(dead_writer(), 0);
}

ABORTS(_writer_destruct, "writer != NULL")
{
    _writer_destruct(NULL);
}

ABORTS(_writer_destruct, "writer->version == WRITER_VERSION")
{
    _writer_destruct(dead_writer());
}

ABORTS(writer_write_bytes, "writer != NULL")
{
    writer_write_bytes(NULL, "a", 1);
}

ABORTS(writer_write_bytes, "writer->version == WRITER_VERSION")
{
    writer_write_bytes(dead_writer(), "a", 1);
}

ABORTS(writer_write_bytes, "writer->fn_write_bytes != NULL")
{
    writer_write_bytes(bare_writer(), "a", 1);
}

ABORTS(writer_write_bytes, "writer->writer != NULL")
{
    writer_write_bytes(stateless_writer(), "a", 1);
}

ABORTS(writer_write_bytes, "buf != NULL")
{
    writer_write_bytes(memory(), NULL, 1);
}

ABORTS(writer_flush, "writer != NULL")
{
    writer_flush(NULL);
}

ABORTS(writer_flush, "writer->version == WRITER_VERSION")
{
    writer_flush(dead_writer());
}

ABORTS(writer_flush, "writer->fn_flush != NULL")
{
    writer_flush(bare_writer());
}

ABORTS(writer_flush, "writer->writer != NULL")
{
    writer_flush(stateless_writer());
}

ABORTS(writer_destruct, "writer != NULL")
{
    writer_destruct(NULL);
}

ABORTS(writer_destruct, "writer->version == WRITER_VERSION")
{
    writer_destruct(dead_writer());
}

ABORTS(writer_destruct, "writer->version == WRITER_VERSION")
{
    struct writer *writer = dead_writer();
    writer_destroy(&writer);
}

ABORTS(writer_destruct, "writer->fn_destruct != NULL")
{
    writer_destruct(bare_writer());
}

ABORTS(writer_destruct, "writer->writer != NULL")
{
    writer_destruct(stateless_writer());
}

ABORTS(writer_destroy, "writer != NULL")
{
    writer_destroy(NULL);
}

ABORTS(writer_destroy, "*writer != NULL")
{
    struct writer *none = NULL;
    writer_destroy(&none);
}

static int write_one(struct writer *writer)
{
    return writer_write_bytes(writer, "a", 1);
}

FAILS(writer_write_bytes, -41)
{
    return contract::on_a_full_disk(write_one);
}

FAILS(writer_write_bytes, -42)
{
    return contract::without_a_compressor(write_one);
}

FAILS(writer_flush, -41)
{
    return contract::on_a_full_disk([](struct writer *disk) {
        struct writer *writer = zlib_writer_create(test::lend(disk));
        write_one(writer);
        const int result = writer_flush(writer);
        writer_destroy(&writer);
        return result;
    });
}

FAILS(writer_flush, -42)
{
    return contract::without_a_compressor(writer_flush);
}

// --- raw_reader ---

ABORTS(raw_reader_init, "reader != NULL")
{
    raw_reader_init(NULL, stdin, 1);
}

ABORTS(raw_reader_init, "fp != NULL")
{
    struct reader reader;
    raw_reader_init(&reader, NULL, 0);
}

ABORTS(raw_reader_create, "fp != NULL")
{
    raw_reader_create(NULL, 0);
}

ABORTS(_raw_reader_read_bytes, "reader != NULL")
{
    new_raw_reader()->fn_read_bytes(NULL, buf, 1);
}

ABORTS(_raw_reader_read_bytes, "reader->version == RAW_READER_VERSION")
{
    new_raw_reader()->fn_read_bytes(&dead_raw_reader, buf, 1);
}

ABORTS(_raw_reader_read_bytes, "reader->fp != NULL")
{
    new_raw_reader()->fn_read_bytes(&raw_reader_without_file, buf, 1);
}

ABORTS(_raw_reader_read_bytes, "buf != NULL")
{
    struct reader *const reader = new_raw_reader();
    reader->fn_read_bytes(reader->reader, NULL, 1);
}

ABORTS(_raw_reader_eof, "reader != NULL")
{
    new_raw_reader()->fn_eof(NULL);
}

ABORTS(_raw_reader_eof, "reader->version == RAW_READER_VERSION")
{
    new_raw_reader()->fn_eof(&dead_raw_reader);
}

ABORTS(_raw_reader_eof, "reader->fp != NULL")
{
    new_raw_reader()->fn_eof(&raw_reader_without_file);
}

ABORTS(_raw_reader_destruct, "reader != NULL")
{
    new_raw_reader()->fn_destruct(NULL);
}

ABORTS(_raw_reader_destruct, "reader->version == RAW_READER_VERSION")
{
    new_raw_reader()->fn_destruct(&dead_raw_reader);
}

ABORTS(_raw_reader_destruct, "reader->fp != NULL")
{
    new_raw_reader()->fn_destruct(&raw_reader_without_file);
}

FAILS(raw_reader_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct reader reader;
        return raw_reader_init(&reader, stdin, 1);
    });
}

FAILS(raw_reader_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(raw_reader_create(stdin, 1),
                                       reader_destroy);
    });
}

// --- raw_writer ---

ABORTS(raw_writer_init, "writer != NULL")
{
    raw_writer_init(NULL, stdout, 1);
}

ABORTS(raw_writer_init, "fp != NULL")
{
    struct writer writer;
    raw_writer_init(&writer, NULL, 0);
}

ABORTS(raw_writer_create, "fp != NULL")
{
    raw_writer_create(NULL, 0);
}

ABORTS(_raw_writer_write_bytes, "writer != NULL")
{
    new_raw_writer()->fn_write_bytes(NULL, "a", 1);
}

ABORTS(_raw_writer_write_bytes, "writer->version == RAW_WRITER_VERSION")
{
    new_raw_writer()->fn_write_bytes(&dead_raw_writer, "a", 1);
}

ABORTS(_raw_writer_write_bytes, "writer->fp != NULL")
{
    new_raw_writer()->fn_write_bytes(&raw_writer_without_file, "a", 1);
}

ABORTS(_raw_writer_write_bytes, "buf != NULL")
{
    struct writer *const writer = new_raw_writer();
    writer->fn_write_bytes(writer->writer, NULL, 1);
}

ABORTS(_raw_writer_flush, "writer != NULL")
{
    new_raw_writer()->fn_flush(NULL);
}

ABORTS(_raw_writer_flush, "writer != NULL")
{
    new_raw_writer()->fn_destruct(NULL);
}

ABORTS(_raw_writer_flush, "writer->version == RAW_WRITER_VERSION")
{
    new_raw_writer()->fn_flush(&dead_raw_writer);
}

ABORTS(_raw_writer_flush, "writer->fp != NULL")
{
    new_raw_writer()->fn_flush(&raw_writer_without_file);
}

FAILS(raw_writer_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct writer writer;
        return raw_writer_init(&writer, stdout, 1);
    });
}

FAILS(raw_writer_create, -22)
{
    return contract::with_each_allocation_failing([] {
        return contract::last_error_of(raw_writer_create(stdout, 1),
                                       writer_destroy);
    });
}

// --- garbage_reader ---

ABORTS(garbage_reader_init, "reader != NULL")
{
    garbage_reader_init(NULL, memory(""), 0);
}

ABORTS(garbage_reader_init, "base_reader != NULL")
{
    struct reader reader;
    garbage_reader_init(&reader, NULL, 0);
}

ABORTS(garbage_reader_create, "base_reader != NULL")
{
    garbage_reader_create(NULL, 0);
}

ABORTS(_garbage_reader_eof, "reader != NULL")
{
    new_garbage_reader()->fn_eof(NULL);
}

ABORTS(_garbage_reader_eof, "reader->version == GARBAGE_READER_VERSION")
{
    new_garbage_reader()->fn_eof(&dead_garbage_reader);
}

ABORTS(_garbage_reader_read_bytes, "reader != NULL")
{
    new_garbage_reader()->fn_read_bytes(NULL, buf, 1);
}

ABORTS(_garbage_reader_read_bytes, "reader->version == GARBAGE_READER_VERSION")
{
    new_garbage_reader()->fn_read_bytes(&dead_garbage_reader, buf, 1);
}

ABORTS(_garbage_reader_read_bytes, "reader->reader != NULL")
{
    new_garbage_reader()->fn_read_bytes(&garbage_reader_without_base, buf, 1);
}

ABORTS(_garbage_reader_read_bytes, "buf != NULL")
{
    struct reader *const reader = new_garbage_reader();
    reader->fn_read_bytes(reader->reader, NULL, 1);
}

ABORTS(_garbage_reader_read_bytes, "reader_eof(reader->reader)")
{
    read_one(garbage_reader_create(lying_reader(), 0));
}

ABORTS(_garbage_reader_destruct, "reader != NULL")
{
    new_garbage_reader()->fn_destruct(NULL);
}

ABORTS(_garbage_reader_destruct, "reader->version == GARBAGE_READER_VERSION")
{
    new_garbage_reader()->fn_destruct(&dead_garbage_reader);
}

FAILS(garbage_reader_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct reader reader;
        return garbage_reader_init(&reader, bare_reader(), 0);
    });
}

// The base reader stays the caller's when creation fails.
template <auto Create>
static int last_error_over_a_base_reader()
{
    test::memory_reader memory("");
    struct reader *base = test::lend(memory.get());
    const int result = contract::with_each_allocation_failing([&] {
        struct reader *reader = Create(base);
        if (reader != nullptr) base = nullptr;
        return contract::last_error_of(reader, reader_destroy);
    });
    EXPECT_EQ(base, nullptr);
    return result;
}

FAILS(garbage_reader_create, -22)
{
    return last_error_over_a_base_reader<[](struct reader *base) {
        return garbage_reader_create(base, 0);
    }>();
}

// --- zlib_reader ---

ABORTS(zlib_reader_init, "reader != NULL")
{
    zlib_reader_init(NULL, memory(""));
}

ABORTS(zlib_reader_init, "reader_base != NULL")
{
    struct reader reader;
    zlib_reader_init(&reader, NULL);
}

ABORTS(zlib_reader_create, "reader_base != NULL")
{
    zlib_reader_create(NULL);
}

ABORTS(zlib_reader_get_last_savepoint, "reader != NULL")
{
    zlib_reader_get_last_savepoint(NULL);
}

ABORTS(zlib_reader_get_last_savepoint, "reader->type == READER_TYPE_ZLIB")
{
    zlib_reader_get_last_savepoint(memory(""));
}

ABORTS(_zlib_reader_read_bytes, "zreader != NULL")
{
    new_zlib_reader()->fn_read_bytes(NULL, buf, 1);
}

ABORTS(_zlib_reader_read_bytes, "zreader->version == ZLIB_READER_VERSION")
{
    new_zlib_reader()->fn_read_bytes(zlib_reader_state(0), buf, 1);
}

ABORTS(_zlib_reader_read_bytes, "zreader->reader != NULL")
{
    new_zlib_reader()->fn_read_bytes(zlib_reader_state(1), buf, 1);
}

ABORTS(_zlib_reader_read_bytes, "zreader->err == 0")
{
    struct reader *const reader = new_zlib_reader("junk");
    read_one(reader);
    read_one(reader);
}

ABORTS(_zlib_reader_read_bytes, "buf != NULL")
{
    struct reader *const reader = new_zlib_reader();
    reader->fn_read_bytes(reader->reader, NULL, 1);
}

ABORTS(_zlib_reader_read_bytes, "reader_eof(zreader->reader)")
{
    read_one(zlib_reader_create(lying_reader()));
}

ABORTS(_zlib_reader_eof, "zreader != NULL")
{
    new_zlib_reader()->fn_eof(NULL);
}

ABORTS(_zlib_reader_eof, "zreader->version == ZLIB_READER_VERSION")
{
    new_zlib_reader()->fn_eof(zlib_reader_state(0));
}

ABORTS(_zlib_reader_eof, "zreader->reader != NULL")
{
    new_zlib_reader()->fn_eof(zlib_reader_state(1));
}

ABORTS(_zlib_reader_destruct, "zreader != NULL")
{
    new_zlib_reader()->fn_destruct(NULL);
}

ABORTS(_zlib_reader_destruct, "zreader->version == ZLIB_READER_VERSION")
{
    new_zlib_reader()->fn_destruct(zlib_reader_state(0));
}

ABORTS(_zlib_reader_destruct, "zreader->reader != NULL")
{
    new_zlib_reader()->fn_destruct(zlib_reader_state(1));
}

FAILS(zlib_reader_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct reader reader;
        return zlib_reader_init(&reader, bare_reader());
    });
}

FAILS(zlib_reader_create, -22)
{
    return last_error_over_a_base_reader<zlib_reader_create>();
}

// --- zlib_writer ---

ABORTS(zlib_writer_init, "writer != NULL")
{
    zlib_writer_init(NULL, memory());
}

ABORTS(zlib_writer_init, "writer_base != NULL")
{
    struct writer writer;
    zlib_writer_init(&writer, NULL);
}

ABORTS(zlib_writer_create, "writer_base != NULL")
{
    zlib_writer_create(NULL);
}

ABORTS(_zlib_writer_write_bytes, "zwriter != NULL")
{
    new_zlib_writer()->fn_write_bytes(NULL, "a", 1);
}

ABORTS(_zlib_writer_write_bytes, "zwriter->version == ZLIB_WRITER_VERSION")
{
    new_zlib_writer()->fn_write_bytes(zlib_writer_state(0), "a", 1);
}

ABORTS(_zlib_writer_write_bytes, "zwriter->writer != NULL")
{
    new_zlib_writer()->fn_write_bytes(zlib_writer_state(1), "a", 1);
}

ABORTS(_zlib_writer_write_bytes, "buf != NULL")
{
    struct writer *const writer = new_zlib_writer();
    writer->fn_write_bytes(writer->writer, NULL, 1);
}

ABORTS(_zlib_writer_write_bytes, "zwriter->i_in <= sizeof(zwriter->in)")
{
    struct writer *const writer = new_zlib_writer();
    state_of(writer)->i_in = vela::zlib_block_size + 1;
    write_one(writer);
}

ABORTS(_zlib_writer_flush, "zwriter != NULL")
{
    new_zlib_writer()->fn_flush(NULL);
}

ABORTS(_zlib_writer_flush, "zwriter->version == ZLIB_WRITER_VERSION")
{
    new_zlib_writer()->fn_flush(zlib_writer_state(0));
}

ABORTS(_zlib_writer_flush, "zwriter->writer != NULL")
{
    new_zlib_writer()->fn_flush(zlib_writer_state(1));
}

ABORTS(_zlib_writer_compress, "zwriter->err == 0")
{
    struct writer *const writer = new_zlib_writer();
    state_of(writer)->err = Z_STREAM_ERROR;
    writer_flush(writer);
}

ABORTS(_zlib_writer_compress, "zwriter->err == 0")
{
    struct writer *writer = new_zlib_writer();
    state_of(writer)->err = Z_STREAM_ERROR;
    writer_destroy(&writer);
}

// A stream that has ended takes no further byte.
ABORTS(_zlib_writer_compress, "zwriter->zstrm.avail_in == 0")
{
    struct writer *const writer = new_zlib_writer();
    write_one(writer);
    writer_flush(writer);
    state_of(writer)->is_open = 1;
    write_one(writer);
    writer_flush(writer);
}

ABORTS(zlib_writer_discard, "vela::is_zlib_writer(writer)")
{
    vela::zlib_writer_discard(memory());
}

FAILS(zlib_writer_init, -22)
{
    return contract::with_failing_allocation(0, [] {
        struct writer writer;
        return zlib_writer_init(&writer, bare_writer());
    });
}

FAILS(zlib_writer_create, -22)
{
    test::memory_writer memory;
    struct writer *base = test::lend(memory.get());
    const int result = contract::with_each_allocation_failing([&] {
        struct writer *writer = zlib_writer_create(base);
        if (writer != nullptr) base = nullptr;
        return contract::last_error_of(writer, writer_destroy);
    });
    EXPECT_EQ(base, nullptr);
    return result;
}

// --- binary_serializer_common ---

ABORTS(binary_serializer_write_string, "writer != NULL")
{
    binary_serializer_write_string("a", NULL);
}

ABORTS(binary_serializer_write_string, "str != NULL")
{
    binary_serializer_write_string(NULL, memory());
}

ABORTS(binary_serializer_read_string, "reader != NULL")
{
    binary_serializer_read_string(NULL, NULL);
}

ABORTS(binary_serializer_read_string, "reader_eof(reader)")
{
    binary_serializer_read_string(lying_reader(), NULL);
}

ABORTS(binary_serializer_read_string, "nread != 0")
{
    binary_serializer_read_string(memory("\0\0\0\4"s), NULL);
}

ABORTS(binary_serializer_read_bytes, "buf != NULL")
{
    binary_serializer_read_bytes(NULL, 1, memory("abc"));
}

ABORTS(binary_serializer_read_bytes, "buflen > 0")
{
    binary_serializer_read_bytes(buf, 0, memory("abc"));
}

ABORTS(binary_serializer_read_bytes, "reader != NULL")
{
    binary_serializer_read_bytes(buf, 1, NULL);
}

ABORTS(binary_serializer_read_bytes, "nread < buflen")
{
    memory("abc")->fn_read_bytes = [](void *, void *, uint32_t len) {
        return static_cast<int>(len) + 1;
    };
    binary_serializer_read_bytes(buf, half, memory("abc"));
}

static int write_string(struct writer *writer)
{
    return binary_serializer_write_string("Temp", writer);
}

FAILS(binary_serializer_write_string, -49)
{
    const std::string text(10001, 'x');
    test::memory_writer out;
    return binary_serializer_write_string(text.c_str(), out.get());
}

FAILS(binary_serializer_write_string, -41)
{
    return contract::on_a_full_disk(write_string);
}

FAILS(binary_serializer_write_string, -42)
{
    return contract::without_a_compressor(write_string);
}

static int read_string(struct reader *reader)
{
    char *const text = binary_serializer_read_string(reader, NULL);
    if (text == nullptr) return vela_get_last_error();
    std::free(text);
    return 1;
}

FAILS(binary_serializer_read_string, -6)
{
    return contract::from("\0\0\0\0"s, read_string);
}

FAILS(binary_serializer_read_string, -6)
{
    return contract::from("\0\0\x27\x11"s, read_string);
}

FAILS(binary_serializer_read_string, -6)
{
    return contract::from("\0\0\0\3a\0c"s, read_string);
}

FAILS(binary_serializer_read_string, -22)
{
    return contract::with_failing_allocation(0, [] {
        test::memory_reader in("\0\0\0\1a"s);
        return read_string(in.get());
    });
}

FAILS(binary_serializer_read_string, -41)
{
    return contract::from_a_damaged_file(read_string);
}

FAILS(binary_serializer_read_string, -43)
{
    return contract::from("", read_string);
}

FAILS(binary_serializer_read_string, -48)
{
    return contract::from("\0\0\0"s, read_string);
}

FAILS(binary_serializer_read_string, -48)
{
    return contract::from("\0\0\0\5abc"s, read_string);
}

static int read_half(struct reader *reader)
{
    return binary_serializer_read_bytes(buf, half, reader);
}

FAILS(binary_serializer_read_bytes, -41)
{
    return contract::from_a_damaged_file(read_half);
}

FAILS(binary_serializer_read_bytes, -48)
{
    return contract::from("a", read_half);
}
