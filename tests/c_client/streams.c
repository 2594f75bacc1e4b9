/*
 * streams.c: readers and writers, the library's and one of the program's own.
 */
#include <stdlib.h>
#include <string.h>

#include "binary_serializer_common.h"
#include "check.h"
#include "error.h"
#include "garbage_reader.h"
#include "raw_reader.h"
#include "raw_writer.h"
#include "reader.h"
#include "writer.h"
#include "zlib_reader.h"
#include "zlib_writer.h"

enum { KEEP_OPEN = 1, NBYTES = 5000 };

static void raw_streams(void)
{
    char text[8] = "";
    FILE *fp = scratch_stream();
    writer out;
    CHECK(raw_writer_init(&out, fp, KEEP_OPEN) == 0);
    CHECK(writer_write_bytes(&out, "abcdef", 6) == 6);
    CHECK(writer_flush(&out) == 0);
    writer_destruct(&out);
    rewind(fp);
    reader in;
    CHECK(raw_reader_init(&in, fp, 0) == 0);
    CHECK(reader_read_bytes(&in, text, 4) == 4 && !reader_eof(&in));
    CHECK(reader_read_bytes(&in, text + 4, 4) == 2 && reader_eof(&in));
    CHECK(strcmp(text, "abcdef") == 0);
    reader_destruct(&in);
}

static void fill(unsigned char *bytes)
{
    for (int i = 0; i < NBYTES; ++i) bytes[i] = (unsigned char)(i * i / 7);
}

/* Two zlib streams in one file; returns its length. */
static long deflate_twice(FILE *fp, const unsigned char *bytes)
{
    writer *out = zlib_writer_create(raw_writer_create(fp, KEEP_OPEN));
    for (int i = 0; i < 2; ++i) {
        CHECK(writer_write_bytes(out, bytes + i * NBYTES / 2, NBYTES / 2) >= 0);
        CHECK(writer_flush(out) > 0);
    }
    writer_destroy(&out);
    CHECK(out == NULL);
    return ftell(fp);
}

static void zlib_streams(void)
{
    unsigned char bytes[NBYTES];
    unsigned char inflated[NBYTES + 1];
    fill(bytes);
    FILE *fp = scratch_stream();
    const long length = deflate_twice(fp, bytes);
    rewind(fp);
    reader *in = zlib_reader_create(raw_reader_create(fp, KEEP_OPEN));
    CHECK(reader_read_bytes(in, inflated, NBYTES + 1) == NBYTES);
    CHECK(memcmp(bytes, inflated, NBYTES) == 0 && reader_eof(in));
    CHECK(zlib_reader_get_last_savepoint(in) == (uint32_t)length);
    reader_destroy(&in);

    /* The checksum of the first stream lies before the second. */
    fseek(fp, 30, SEEK_SET);
    fputs("damage", fp);
    rewind(fp);
    in = zlib_reader_create(raw_reader_create(fp, 0));
    CHECK(reader_read_bytes(in, inflated, NBYTES) == KOR_ERR_INFLATE);
    reader_destroy(&in);
}

static void damaged_streams(void)
{
    char text[9] = "";
    FILE *fp = scratch_stream();
    fputs("clean then not", fp);
    rewind(fp);
    reader *in = garbage_reader_create(raw_reader_create(fp, 0), 5);
    CHECK(reader_read_bytes(in, text, 5) == 5 && strcmp(text, "clean") == 0);
    const unsigned before = nrandoms;
    CHECK(reader_read_bytes(in, text, 8) == 8);
    CHECK(nrandoms > before && strcmp(text, " then no") != 0);
    reader_destroy(&in);
}

static void strings(void)
{
    FILE *fp = scratch_stream();
    writer *out = raw_writer_create(fp, KEEP_OPEN);
    CHECK(binary_serializer_write_string("telemetry", out) == 4 + 9);
    CHECK(writer_write_bytes(out, "ab", 2) == 2);
    char *endless = calloc(10002, 1);
    memset(endless, 'x', 10001);
    CHECK(binary_serializer_write_string(endless, out) == KOR_ERR_TOO_LONG);
    free(endless);
    writer_destroy(&out);

    rewind(fp);
    reader *in = raw_reader_create(fp, 0);
    int nread = -1;
    char *text = binary_serializer_read_string(in, &nread);
    CHECK(nread == 13 && strcmp(text, "telemetry") == 0);
    free(text);
    char rest[3];
    CHECK(binary_serializer_read_bytes(rest, 3, in) == KOR_ERR_TRUNCATED);
    CHECK(binary_serializer_read_bytes(rest, 3, in) == 0);
    CHECK(binary_serializer_read_string(in, &nread) == NULL && nread == 0);
    CHECK(vela_get_last_error() == KOR_ERR_END_OF_STREAM);
    reader_destroy(&in);
}

static void byte_order(void)
{
    const double big_endian = hton_double(1.0);
    unsigned char bytes[sizeof big_endian];
    memcpy(bytes, &big_endian, sizeof bytes);
    CHECK(bytes[0] == 0x3F && bytes[1] == 0xF0 && bytes[7] == 0);
    CHECK(ntoh_double(big_endian) == 1.0);
    CHECK(ntoh_float(hton_float(0.5f)) == 0.5f);
}

/* A reader of the program's own: so many zeros. */
struct zeros {
    uint32_t nleft;
};

static int read_zeros(void *state, void *buf, uint32_t len)
{
    struct zeros *zeros = state;
    const uint32_t n = len < zeros->nleft ? len : zeros->nleft;
    memset(buf, 0, n);
    zeros->nleft -= n;
    return (int)n;
}

static int no_zeros_left(void *state)
{
    return ((const struct zeros *)state)->nleft == 0;
}

static int release_zeros(void *state)
{
    ((struct zeros *)state)->nleft = 0;
    return 0;
}

static void own_reader(void)
{
    unsigned char bytes[4] = {1, 1, 1, 1};
    reader in;
    CHECK(_reader_init(&in, 99) == 0);
    struct zeros *zeros = malloc(sizeof *zeros);
    zeros->nleft = 6;
    in.reader = zeros;
    in.fn_read_bytes = read_zeros;
    in.fn_eof = no_zeros_left;
    in.fn_destruct = release_zeros;
    CHECK(binary_serializer_read_bytes(bytes, 4, &in) == 4 && bytes[3] == 0);
    CHECK(binary_serializer_read_bytes(bytes, 4, &in) == KOR_ERR_TRUNCATED);
    CHECK(reader_eof(&in));
    reader_destruct(&in);
    CHECK(in.version == 0);
}

void check_streams(void)
{
    raw_streams();
    zlib_streams();
    damaged_streams();
    strings();
    byte_order();
    own_reader();
}
