#include "binary_serializer.h"

#include <bit>
#include <cmath>
#include <cstdio>

#include "binary_serializer_common.h"
#include "matrix_support.hpp"
#include "raw_reader.h"
#include "raw_writer.h"
#include "telemetry_matrix.h"
#include "zlib_reader.h"
#include "zlib_writer.h"

using test::bytes;
using test::kind;
using test::make;
using test::matrix_ptr;
using test::table;

namespace {

constexpr const char *one_by_one =
    "01 00000001 01 00000001 00000001 3FF0000000000000";
// A view of the 2 x 1 matrix (1, 2).
constexpr const char *view =
    "01 00000002 01"
    "01 00000001 01 00000002 00000001 3FF0000000000000 4000000000000000";
// One time stamp at second 7 and the sensors S0 and S1.
constexpr const char *vector =
    "01 00000003 01"
    "01 00000001 01 00000001 00000002 3FF0000000000000 4000000000000000"
    "01 00000002 01 00000002 5330 01 00000002 5331"
    "01 00000001 01 00000007 00000000";
constexpr size_t vector_values = 5 + 1;
constexpr size_t vector_sensors = vector_values + 14 + 2 * 8;

matrix_ptr vector_matrix()
{
    struct timestamp t;
    const struct timeval tv = {7, 0};
    timestamp_init_from_timeval(&t, &tv);
    return matrix_ptr(telemetry_matrix_create_vector(
        make({{1, 2}}).release(), test::make_sensors(2), &t));
}

std::string encoded(const struct matrix *m)
{
    test::memory_writer out;
    const int result = binary_serializer_write_matrix(m, out.get());
    EXPECT_EQ(result, static_cast<int>(out.bytes().size()));
    return out.bytes();
}

// Reads an encoding into a new matrix and requires success.
matrix_ptr decoded(const std::string &encoding)
{
    test::memory_reader in(encoding);
    matrix_ptr m(matrix_create_null());
    EXPECT_EQ(binary_serializer_read_matrix(m.get(), in.get()),
              static_cast<int>(encoding.size()));
    return m;
}

// The result of reading, whatever it is; the object must stay destructible.
int read_result(struct reader *in)
{
    const matrix_ptr m(matrix_create_null());
    return binary_serializer_read_matrix(m.get(), in);
}
int read_result(const std::string &encoding)
{
    test::memory_reader in(encoding);
    return read_result(in.get());
}
int optional_result(struct reader *in)
{
    struct matrix *m = NULL;
    const int result = binary_serializer_read_optional_matrix(&m, in);
    if (m != NULL) matrix_destroy(&m);
    return result;
}

// An encoding of a 1 x 1 matrix below `depth` views.
std::string nested(int depth)
{
    std::string encoding;
    for (int i = 0; i < depth; ++i) encoding += bytes("01 00000002 01");
    return encoding + bytes(one_by_one);
}

class SerializerFile : public test::InScratchFolder {
protected:
    // Values that no conversion may alter.
    static table awkward()
    {
        test::number_source numbers(8);
        table values = numbers.next_table(90, 7);
        values[0][0] = -0.0;
        values[1][1] = INFINITY;
        values[2][2] = std::bit_cast<double>(uint64_t{0x7FF8000000000123});
        values[3][3] = 5e-324;
        return values;
    }
};

}  // namespace

// --- bytes ---

TEST(BinarySerializer, OneByOneIsTheseBytes)
{
    EXPECT_EQ(encoded(make({{1.0}}).get()), bytes(one_by_one));
}

TEST(BinarySerializer, ValuesGoRowByRow)
{
    EXPECT_EQ(encoded(make({{1, 2}, {-2, 0.5}}).get()),
              bytes("01 00000001 01 00000002 00000002"
                    "3FF0000000000000 4000000000000000"
                    "C000000000000000 3FE0000000000000"));
}

TEST(BinarySerializer, AViewIsWrittenAsWhatItViews)
{
    EXPECT_EQ(encoded(make({{1, 2}}, kind::transposed).get()), bytes(view));
}

TEST(BinarySerializer, AVectorCarriesSensorsAndTimeStamp)
{
    EXPECT_EQ(encoded(vector_matrix().get()), bytes(vector));
}

TEST(BinarySerializer, AViewWithDirectAccessIsARegularMatrix)
{
    const matrix_ptr m = make({{1, 2}}, kind::transposed);
    matrix_enable_direct_access(m.get());
    EXPECT_EQ(encoded(m.get()), encoded(make({{1, 2}}).get()));
}

TEST(BinarySerializer, TenThousandRowsAreWritten)
{
    const matrix_ptr m(matrix_create(10000, 1));
    EXPECT_EQ(encoded(m.get()).size(), 14u + 80000u);
}

TEST(BinarySerializer, MoreRowsOrColumnsAreRefusedAfterSixBytes)
{
    for (const matrix_ptr &m : {matrix_ptr(matrix_create(10001, 1)),
                                matrix_ptr(matrix_create(1, 10001))}) {
        test::memory_writer out;
        EXPECT_EQ(binary_serializer_write_matrix(m.get(), out.get()), -49);
        EXPECT_EQ(out.bytes(), bytes("01 00000001 01"));
    }
}

TEST(BinarySerializer, AnOptionalMatrixHasAPresenceByte)
{
    test::memory_writer out;
    EXPECT_EQ(binary_serializer_write_optional_matrix(NULL, out.get()), 1);
    EXPECT_EQ(out.bytes(), bytes("00"));
    EXPECT_EQ(
        binary_serializer_write_optional_matrix(make({{1.0}}).get(), out.get()),
        23);
    EXPECT_EQ(out.bytes(), bytes("00 01") + bytes(one_by_one));
}

// --- there and back ---

TEST(BinarySerializer, EveryKindComesBackAsItWas)
{
    test::number_source numbers(2);
    const table values = numbers.next_table(3, 4);
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make(values, k);
        const matrix_ptr back = decoded(encoded(m.get()));
        EXPECT_EQ(matrix_get_type(back.get()), test::type_of(k));
        EXPECT_TRUE(test::same_bits(values, test::elements(back.get())));
        EXPECT_EQ(encoded(back.get()), encoded(m.get()));
    }
}

TEST(BinarySerializer, TelemetryComesBackEqual)
{
    const matrix_ptr m = make({{1, 2, 3}, {4, 5, 6}}, kind::telemetry);
    const matrix_ptr back = decoded(encoded(m.get()));
    EXPECT_EQ(telemetry_matrix_is_equal(m.get(), back.get()), 1);
    EXPECT_NE(back->values, nullptr);
}

TEST(BinarySerializer, OptionalMatricesComeBack)
{
    test::memory_reader in(bytes("00 01") + bytes(one_by_one));
    struct matrix *m = NULL;
    EXPECT_EQ(binary_serializer_read_optional_matrix(&m, in.get()), 1);
    EXPECT_EQ(m, nullptr);
    EXPECT_EQ(binary_serializer_read_optional_matrix(&m, in.get()), 23);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(matrix_get(m, 0, 0), 1.0);
    matrix_destroy(&m);
}

TEST_F(SerializerFile, OwnStreamsGetTheSameBytes)
{
    const matrix_ptr m = make(awkward(), kind::telemetry);
    const std::string expected = encoded(m.get());

    struct writer *raw = raw_writer_create(std::fopen("raw", "wb"), 0);
    EXPECT_EQ(binary_serializer_write_matrix(m.get(), raw),
              static_cast<int>(expected.size()));
    writer_destroy(&raw);
    EXPECT_EQ(test::read_file("raw"), expected);

    struct writer *zlib =
        zlib_writer_create(raw_writer_create(std::fopen("zlib", "wb"), 0));
    EXPECT_GE(binary_serializer_write_matrix(m.get(), zlib), 0);
    writer_destroy(&zlib);
    EXPECT_EQ(test::inflate_file("zlib"), expected);
}

TEST_F(SerializerFile, OwnStreamsReadTheSameValues)
{
    const matrix_ptr m = make(awkward(), kind::telemetry);
    const std::string encoding = encoded(m.get());
    test::write_file("raw", encoding);
    test::write_file("zlib", test::deflate_stream(encoding));
    for (const bool compressed : {false, true}) {
        struct reader *in =
            raw_reader_create(std::fopen(compressed ? "zlib" : "raw", "rb"), 0);
        if (compressed) in = zlib_reader_create(in);
        const matrix_ptr back(matrix_create_null());
        EXPECT_EQ(binary_serializer_read_matrix(back.get(), in),
                  static_cast<int>(encoding.size()));
        EXPECT_EQ(encoded(back.get()), encoding);
        reader_destroy(&in);
    }
}

TEST_F(SerializerFile, OwnStreamsAreRefusedAtEveryCut)
{
    const std::string encoding = encoded(make({{1, 2}, {3, 4}}).get());
    for (size_t cut = 0; cut < encoding.size(); ++cut) {
        test::write_file("cut", encoding.substr(0, cut));
        struct reader *in = raw_reader_create(std::fopen("cut", "rb"), 0);
        EXPECT_EQ(read_result(in), cut == 0 ? 0 : -48) << cut;
        reader_destroy(&in);
    }
}

TEST(BinarySerializer, ForeignStreamsGetEveryValueByItself)
{
    test::memory_writer out;
    binary_serializer_write_matrix(make({{1, 2}, {3, 4}}).get(), out.get());
    EXPECT_EQ(out.calls(), 1 + 1 + 1 + 2 + 4);
}

// --- damage ---

TEST(BinarySerializer, EveryCutIsRefused)
{
    for (const char *encoding : {one_by_one, view})
        test::expect_every_cut_is_refused(
            bytes(encoding), {.when_empty = 0},
            [](struct reader *in) { return read_result(in); });
}

TEST(BinarySerializer, EveryCutOfTelemetryIsRefused)
{
    // A sensor is its version, the length of its name and the name.
    constexpr size_t first = vector_sensors + 5 + 1;
    constexpr size_t second = first + 4 + 2 + 1;
    test::expect_every_cut_is_refused(
        bytes(vector),
        {.when_empty = 0,
         .string_starts = {first, second},
         .aborting = {first + 4, second + 4}},
        [](struct reader *in) { return read_result(in); });
}

TEST(BinarySerializer, EveryCutOfAnOptionalMatrixIsRefused)
{
    test::expect_every_cut_is_refused(bytes("01") + bytes(view),
                                      {.when_empty = 0}, optional_result);
}

TEST(BinarySerializer, DamagedMatricesAreRefused)
{
    struct {
        const char *name;
        const char *encoding;
        int code;
    } const rows[] = {
        {"matrix version", "02 00000001 01", -12},
        {"type 0", "01 00000000 01", -6},
        {"type 4", "01 00000004 01", -6},
        {"little-endian type", "01 01000000 01", -6},
        {"repeated version", "01 00000001 00 00000001 00000001", -12},
        {"no rows", "01 00000001 01 00000000 00000001", -6},
        {"no columns", "01 00000001 01 00000001 00000000", -6},
        {"10001 rows", "01 00000001 01 00002711 00000001", -6},
        {"10001 columns", "01 00000001 01 00000001 00002711", -6},
        {"negative rows", "01 00000001 01 FFFFFFFF 00000001", -6},
        {"no rows, no columns read", "01 00000001 01 00000000", -48},
        {"view version", "01 00000002 03 01 00000001", -12},
        {"viewed matrix version", "01 00000002 01 02", -12},
        {"viewed matrix of no type", "01 00000002 01 01 00000009", -6},
        {"telemetry version", "01 00000003 00 01 00000001", -12},
        {"sensor array version",
         "01 00000003 01"
         "01 00000001 01 00000001 00000001 3FF0000000000000"
         "02 00000001",
         -12},
        {"sensor count",
         "01 00000003 01"
         "01 00000001 01 00000001 00000001 3FF0000000000000"
         "01 00000000",
         -49},
        {"time stamp array version",
         "01 00000003 01"
         "01 00000001 01 00000001 00000001 3FF0000000000000"
         "01 00000001 01 00000002 5330"
         "02 00000001",
         -12},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const test::allocation_count blocks;
        EXPECT_EQ(read_result(bytes(row.encoding)), row.code);
        EXPECT_EQ(blocks.live(), 0);
    }
}

TEST(BinarySerializer, APresenceByteIsZeroOrOne)
{
    test::memory_reader in(bytes("02") + bytes(one_by_one));
    EXPECT_EQ(optional_result(in.get()), -6);
}

TEST(BinarySerializer, DimensionsAreJudgedAfterBothWereRead)
{
    test::memory_reader in(bytes("01 00000001 01 00000000 00000001"));
    EXPECT_EQ(read_result(in.get()), -6);
    EXPECT_EQ(in.position(), 14u);
}

TEST(BinarySerializer, ACutInsideTheValuesLeavesAPartlyFilledMatrix)
{
    const std::string whole = encoded(make({{1, 2}, {3, 4}}).get());
    test::memory_reader in(whole.substr(0, whole.size() - 8));
    const matrix_ptr m(matrix_create_null());
    EXPECT_EQ(binary_serializer_read_matrix(m.get(), in.get()), -48);
    EXPECT_TRUE(test::same_bits({{1, 2}, {3, 0}}, test::elements(m.get())));
}

TEST(BinarySerializer, TheTypeStaysStoredWhenTheBodyFails)
{
    test::memory_reader in(bytes("01 00000002 01"));
    const matrix_ptr m(matrix_create_null());
    EXPECT_EQ(binary_serializer_read_matrix(m.get(), in.get()), -48);
    EXPECT_EQ(matrix_get_type(m.get()), 2u);
}

TEST(BinarySerializer, MatricesInsideMatricesHaveALimit)
{
    const matrix_ptr deepest = decoded(nested(1000));
    EXPECT_EQ(matrix_get(deepest.get(), 0, 0), 1.0);
    const test::allocation_count blocks;
    EXPECT_EQ(read_result(nested(1001)), -6);
    EXPECT_EQ(read_result(nested(100000)), -6);
    EXPECT_EQ(blocks.live(), 0);
}

// --- failing streams ---

TEST(BinarySerializer, TheFirstFailedWriteIsReturned)
{
    for (const kind k : test::every_kind) {
        SCOPED_TRACE(test::name_of(k));
        const matrix_ptr m = make({{1, 2}}, k);
        test::memory_writer whole;
        binary_serializer_write_optional_matrix(m.get(), whole.get());
        for (int calls = 0; calls < whole.calls(); ++calls) {
            test::memory_writer out;
            out.fail_after(calls, KOR_ERR_INFLATE);
            EXPECT_EQ(
                binary_serializer_write_optional_matrix(m.get(), out.get()),
                -41);
            EXPECT_EQ(out.calls(), calls + 1);
        }
    }
    test::memory_writer out;
    out.fail_after(0, KOR_ERR_INFLATE);
    EXPECT_EQ(binary_serializer_write_optional_matrix(NULL, out.get()), -41);
}

TEST(BinarySerializer, TheFirstFailedReadIsReturned)
{
    const std::string encoding = bytes("01") + bytes(vector);
    for (int calls = 0;; ++calls) {
        test::memory_reader in(encoding);
        in.fail_after(calls, KOR_ERR_INFLATE);
        const int result = optional_result(in.get());
        if (result > 0) break;
        EXPECT_EQ(result, -41) << calls;
    }
}

// --- out of memory ---

TEST(BinarySerializer, ReadingFailsCleanlyWhicheverPartFails)
{
    const std::string telemetry_of_view =
        bytes("01 00000003 01") + bytes(view) +
        bytes(
            "01 00000002 01 00000002 5330 01 00000002 5331"
            "01 00000001 01 00000007 00000000");
    for (const std::string &encoding :
         {bytes(one_by_one), bytes(view), bytes(vector), telemetry_of_view}) {
        test::memory_reader whole(encoding);
        EXPECT_EQ(read_result(whole.get()), static_cast<int>(encoding.size()));
        for (int n = 0;; ++n) {
            SCOPED_TRACE(n);
            test::memory_reader in(encoding);
            const test::failing_allocation failing(n);
            struct matrix m;
            matrix_init_null(&m);
            const int result = binary_serializer_read_matrix(&m, in.get());
            EXPECT_EQ(m.version, 1);
            matrix_destruct(&m);
            if (!failing.reached()) break;
            EXPECT_EQ(result, -22);
        }
        test::expect_every_allocation_failure_is_clean([&] {
            struct matrix m;
            matrix_init_null(&m);
            test::memory_reader in(encoding);
            const int result = binary_serializer_read_matrix(&m, in.get());
            matrix_destruct(&m);
            return result > 0 ? 0 : result;
        });
        test::expect_every_allocation_failure_is_clean([&] {
            test::memory_reader in(bytes("01") + encoding);
            const int result = optional_result(in.get());
            return result > 0 ? 0 : result;
        });
    }
}

TEST(BinarySerializer, AHugeMatrixIsOutOfMemoryWhereItDoesNotFit)
{
    // 800 MB; the block is only touched where values arrive.
    test::memory_reader in(bytes("01 00000001 01 00002710 00002710"));
    const test::failing_allocation failing(1);
    struct matrix m;
    matrix_init_null(&m);
    EXPECT_EQ(binary_serializer_read_matrix(&m, in.get()), -22);
    EXPECT_EQ(m.version, 1);
    EXPECT_EQ(m.matrix, nullptr);
    matrix_destruct(&m);
}

// --- aborts ---

namespace {

struct matrix *broken(kind k, void (*change)(struct matrix *))
{
    struct matrix *const m = make({{1, 2}}, k).release();
    change(m);
    return m;
}
telemetry_matrix_body *labels_of(struct matrix *m)
{
    return static_cast<telemetry_matrix_body *>(m->matrix);
}
transposed_matrix_body *view_of(struct matrix *m)
{
    return static_cast<transposed_matrix_body *>(m->matrix);
}

}  // namespace

namespace {
void write(const struct matrix *m)
{
    test::memory_writer out;
    binary_serializer_write_matrix(m, out.get());
}
}  // namespace

TEST(BinarySerializerDeathTest, WritingChecksTheMatrix)
{
    const char *const matrix = "binary_serializer_write_matrix";
    test::expect_aborts({
        {matrix, "m != NULL",
         [] {
             write(NULL);
         }},
        {matrix, "m->version == 1",
         [] {
             write(broken(kind::regular, [](auto *m) { m->version = 2; }));
         }},
        {matrix, "m->type > 0",
         [] {
             write(matrix_create_null());
         }},
        {matrix, "writer != NULL",
         [] {
             binary_serializer_write_matrix(matrix_create(1, 1), NULL);
         }},
        {matrix, "0",
         [] {
             write(broken(kind::regular, [](auto *m) { m->type = 4; }));
         }},
        {"_binary_serializer_write_regular_matrix", "m->values != NULL",
         [] {
             write(broken(kind::regular, [](auto *m) { m->values = NULL; }));
         }},
        {"binary_serializer_write_optional_matrix", "writer != NULL",
         [] {
             binary_serializer_write_optional_matrix(NULL, NULL);
         }},
    });
}

TEST(BinarySerializerDeathTest, WritingChecksTheBody)
{
    using change = void (*)(struct matrix *);
    const struct {
        const char *function;
        const char *expression;
        kind k;
        change damage;
    } rows[] = {
        {"transposed", "m != NULL", kind::transposed,
         [](auto *m) {
             m->matrix = NULL;
         }},
        {"transposed", "m->version == 1", kind::transposed,
         [](auto *m) {
             view_of(m)->version = 2;
         }},
        {"transposed", "m->matrix != NULL", kind::transposed,
         [](auto *m) {
             view_of(m)->matrix = NULL;
         }},
        {"telemetry", "m != NULL", kind::telemetry,
         [](auto *m) {
             m->matrix = NULL;
         }},
        {"telemetry", "m->version == 1", kind::telemetry,
         [](auto *m) {
             labels_of(m)->version = 2;
         }},
        {"telemetry", "m->sensors != NULL", kind::telemetry,
         [](auto *m) {
             labels_of(m)->sensors = NULL;
         }},
        {"telemetry", "m->timestamps != NULL", kind::telemetry,
         [](auto *m) {
             labels_of(m)->timestamps = NULL;
         }},
    };
    for (const auto &row : rows) {
        const std::string function =
            std::string("_binary_serializer_write_") + row.function + "_matrix";
        test::expect_aborts({{function.c_str(), row.expression, [&] {
                                  write(broken(row.k, row.damage));
                              }}});
    }
}

TEST(BinarySerializerDeathTest, ReadingChecksTheTarget)
{
    static struct matrix *none = NULL;
    const auto read = [](struct matrix *m, const std::string &encoding) {
        test::memory_reader in(encoding);
        binary_serializer_read_matrix(m, in.get());
    };
    const auto read_optional = [](struct matrix **m) {
        test::memory_reader in(bytes("00"));
        binary_serializer_read_optional_matrix(m, in.get());
    };
    const char *const optional = "binary_serializer_read_optional_matrix";
    test::expect_aborts({
        {"binary_serializer_read_matrix", "m != NULL",
         [=] {
             read(NULL, bytes(one_by_one));
         }},
        {"binary_serializer_read_matrix", "m->version == 1",
         [=] {
             read(broken(kind::regular, [](auto *m) { m->version = 0; }),
                  bytes(one_by_one));
         }},
        {"binary_serializer_read_matrix", "reader != NULL",
         [] {
             binary_serializer_read_matrix(matrix_create_null(), NULL);
         }},
        {"binary_serializer_read_matrix", "m->matrix == NULL",
         [=] {
             read(make({{1, 2}}, kind::telemetry).release(), bytes(one_by_one));
         }},
        {optional, "m != NULL",
         [=] {
             read_optional(NULL);
         }},
        {optional, "*m == NULL",
         [=] {
             struct matrix *m = matrix_create(1, 1);
             read_optional(&m);
         }},
        {optional, "reader != NULL",
         [] {
             binary_serializer_read_optional_matrix(&none, NULL);
         }},
    });
}

TEST(BinarySerializerDeathTest, SizesThatContradictEachOtherAbort)
{
    // Two columns of values but one sensor.
    const std::string too_few_sensors = bytes(
        "01 00000003 01"
        "01 00000001 01 00000001 00000002"
        "3FF0000000000000 4000000000000000"
        "01 00000001 01 00000002 5330"
        "01 00000001 01 00000007 00000000");
    test::expect_aborts(
        {{"_telemetry_matrix_create_body",
          "matrix_get_number_columns(m) == sensor_array_get_size(sensors)",
          [&] {
              read_result(too_few_sensors);
          }}});
}

TEST(BinarySerializerDeathTest, ACutBehindTheLengthOfANameAborts)
{
    test::expect_aborts(
        {{"binary_serializer_read_string", "nread != 0", [] {
              read_result(bytes(vector).substr(0, vector_sensors + 5 + 1 + 4));
          }}});
}
