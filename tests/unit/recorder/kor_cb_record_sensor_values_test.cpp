#include "kor_cb_record_sensor_values.h"

#include <bit>
#include <cmath>
#include <limits>

#include "raw_reader.h"
#include "raw_writer.h"
#include "record_support.hpp"
#include "sensor_value.h"
#include "zlib_reader.h"
#include "zlib_writer.h"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::memory_writer;
using test::vector_of;

using values_holder = test::holder<struct kor_cb_record_sensor_values,
                                   kor_cb_record_sensor_values_destroy>;

const std::string sample1 =
    bytes("01 01 45 98 4f 01 00 00 00 00 00 00 00 02 42 36 00 00 44 96 00 00");
const std::string sample2 =
    bytes("01 01 45 98 4f 02 00 00 00 00 00 00 00 02 42 39 00 00 7f ff ff ff");
constexpr size_t count_at = 1 + 9;

const double no_reading = _vela_invalid_sensor_value;

test::vector_holder sample_of(const std::vector<double> &readings,
                              int32_t seconds = 0)
{
    std::vector<std::string> names;
    for (size_t i = 0; i < readings.size(); ++i)
        names.push_back(std::string(1, static_cast<char>('a' + i)));
    return vector_of(names, at(seconds), readings);
}

values_holder empty_values()
{
    return values_holder(kor_cb_record_sensor_values_create_null());
}

// A record that holds the readings in an array of its own.
values_holder own_values(const std::vector<double> &readings,
                         int32_t seconds = 0)
{
    const auto vector = sample_of(readings, seconds);
    values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    kor_cb_record_sensor_values_get_values(rec.get());
    return rec;
}

std::string stored(const struct kor_cb_record_sensor_values *rec)
{
    return test::stored_by([&](struct writer *out) {
        return binary_serializer_write_kor_cb_record_sensor_values(rec, out);
    });
}

int read(struct kor_cb_record_sensor_values *rec, const std::string &encoding)
{
    memory_reader in(encoding);
    return binary_serializer_read_kor_cb_record_sensor_values(rec, in.get());
}

TEST(KorCbRecordSensorValues, RefersToItsVector)
{
    const auto vector = sample_of({45.5, 1200.0}, 2);
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    EXPECT_EQ(rec->version, KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    EXPECT_EQ(rec->vector, vector.get());
    EXPECT_EQ(rec->values, nullptr);
    EXPECT_EQ(kor_cb_record_sensor_values_get_number_values(rec.get()), 2u);
    const struct timestamp expected = at(2);
    EXPECT_TRUE(timestamp_is_equal(
        kor_cb_record_sensor_values_get_timestamp(rec.get()), &expected));
}

TEST(KorCbRecordSensorValues, TakesTheReadingsOverWhenAskedForThem)
{
    auto vector = sample_of({45.5, 1200.0});
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    const float *const values =
        kor_cb_record_sensor_values_get_values(rec.get());
    vector.reset();
    EXPECT_EQ(rec->vector, nullptr);
    EXPECT_EQ(values[0], 45.5f);
    EXPECT_EQ(values[1], 1200.0f);
    EXPECT_EQ(kor_cb_record_sensor_values_get_values(rec.get()), values);
}

TEST(KorCbRecordSensorValues, NarrowsReadings)
{
    const values_holder rec = own_values({0.1, 1e39, no_reading});
    const float *const values =
        kor_cb_record_sensor_values_get_values(rec.get());
    EXPECT_EQ(values[0], 0.1f);
    EXPECT_EQ(values[1], std::numeric_limits<float>::infinity());
    EXPECT_EQ(std::bit_cast<uint32_t>(values[2]), 0x7FFFFFFFu);
}

TEST(KorCbRecordSensorValues, WithoutMemoryTheRecordStaysAsItWas)
{
    const auto vector = sample_of({45.5});
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    {
        const test::failing_allocation failing(0);
        EXPECT_EQ(kor_cb_record_sensor_values_get_values(rec.get()), nullptr);
    }
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
    EXPECT_EQ(rec->vector, vector.get());
    EXPECT_EQ(rec->values, nullptr);
    EXPECT_EQ(rec->n_sensors, 1u);
}

TEST(KorCbRecordSensorValues, NullRecordIsEmpty)
{
    struct kor_cb_record_sensor_values rec;
    EXPECT_EQ(kor_cb_record_sensor_values_init_null(&rec), KOR_OK);
    EXPECT_EQ(rec.version, KOR_CB_RECORD_SENSOR_VALUES_VERSION);
    EXPECT_TRUE(timestamp_is_null(&rec.timestamp));
    EXPECT_EQ(rec.values, nullptr);
    EXPECT_EQ(rec.n_sensors, 0u);
    EXPECT_EQ(rec.vector, nullptr);
    kor_cb_record_sensor_values_destruct(&rec);
}

TEST(KorCbRecordSensorValues, DestructLeavesTheVectorAlone)
{
    const auto vector = sample_of({45.5});
    struct kor_cb_record_sensor_values rec;
    kor_cb_record_sensor_values_init(&rec, vector.get());
    kor_cb_record_sensor_values_destruct(&rec);
    EXPECT_EQ(rec.version, 0);
    EXPECT_EQ(rec.timestamp.version, 0);
    EXPECT_EQ(rec.n_sensors, 0u);
    EXPECT_EQ(rec.values, nullptr);
    EXPECT_EQ(rec.vector, nullptr);
    EXPECT_EQ(matrix_get(vector.get(), 0, 0), 45.5);
}

TEST(KorCbRecordSensorValues, DestroyClearsThePointer)
{
    auto *rec = kor_cb_record_sensor_values_create_null();
    kor_cb_record_sensor_values_destroy(&rec);
    EXPECT_EQ(rec, nullptr);
}

TEST(KorCbRecordSensorValues, IsStoredInTheseBytes)
{
    const auto vector1 = sample_of({45.5, 1200.0}, 0);
    const values_holder rec1(kor_cb_record_sensor_values_create(vector1.get()));
    EXPECT_EQ(stored(rec1.get()), sample1);
    const auto vector2 = sample_of({46.25, no_reading}, 1);
    const values_holder rec2(kor_cb_record_sensor_values_create(vector2.get()));
    EXPECT_EQ(stored(rec2.get()), sample2);
}

TEST(KorCbRecordSensorValues, IsStoredTheSameFromVectorAndFromValues)
{
    const auto vector = test::wide_vector(1500, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    const std::string from_vector = stored(rec.get());
    kor_cb_record_sensor_values_get_values(rec.get());
    EXPECT_EQ(stored(rec.get()), from_vector);
}

// Version, the three fields of the time stamp, the count and each reading.
TEST(KorCbRecordSensorValues, GivesEachReadingToAForeignWriterByItself)
{
    const auto vector = test::wide_vector(700, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    memory_writer out;
    binary_serializer_write_kor_cb_record_sensor_values(rec.get(), out.get());
    EXPECT_EQ(out.calls(), 1 + 3 + 1 + 700);
}

class KorCbRecordSensorValuesInFile : public test::InScratchFolder {};

TEST_F(KorCbRecordSensorValuesInFile, StoresTheSameThroughTheLibrarysWriters)
{
    const auto vector = test::wide_vector(1500, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    const std::string expected = stored(rec.get());

    FILE *const fp = fopen("raw", "w");
    struct writer *raw = raw_writer_create(fp, 0);
    EXPECT_EQ(
        binary_serializer_write_kor_cb_record_sensor_values(rec.get(), raw),
        static_cast<int>(expected.size()));
    writer_destroy(&raw);
    EXPECT_EQ(test::read_file("raw"), expected);

    FILE *const zfp = fopen("deflated", "w");
    struct writer *deflating = zlib_writer_create(raw_writer_create(zfp, 0));
    EXPECT_GE(binary_serializer_write_kor_cb_record_sensor_values(rec.get(),
                                                                  deflating),
              0);
    writer_destroy(&deflating);
    EXPECT_EQ(test::inflate_file("deflated"), expected);
}

TEST_F(KorCbRecordSensorValuesInFile, ReadsThroughTheLibrarysReaders)
{
    const auto vector = test::wide_vector(1500, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    const std::string encoding = stored(rec.get());
    test::write_file("deflated", test::deflate_stream(encoding));
    FILE *const fp = fopen("deflated", "r");
    struct reader *in = zlib_reader_create(raw_reader_create(fp, 0));
    const values_holder read_back = empty_values();
    EXPECT_EQ(
        binary_serializer_read_kor_cb_record_sensor_values(read_back.get(), in),
        static_cast<int>(encoding.size()));
    reader_destroy(&in);
    EXPECT_TRUE(
        kor_cb_record_sensor_values_is_equal(rec.get(), read_back.get()));
}

TEST_F(KorCbRecordSensorValuesInFile, CutInsideTheReadingsIsATruncation)
{
    const auto vector = test::wide_vector(1500, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    const std::string encoding = stored(rec.get());
    const size_t readings_at = count_at + 4;
    for (const size_t cut : {readings_at, readings_at + 1, readings_at + 2048,
                             readings_at + 4096, encoding.size() - 1}) {
        SCOPED_TRACE(cut);
        test::write_file("cut", encoding.substr(0, cut));
        FILE *const fp = fopen("cut", "r");
        struct reader *in = raw_reader_create(fp, 0);
        const values_holder read_back = empty_values();
        EXPECT_EQ(binary_serializer_read_kor_cb_record_sensor_values(
                      read_back.get(), in),
                  KOR_ERR_TRUNCATED);
        reader_destroy(&in);
    }
}

TEST(KorCbRecordSensorValues, ReadsBackEqualToTheRecordWritten)
{
    const auto vector = sample_of({45.5, 1200.0});
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    const values_holder read_back = empty_values();
    EXPECT_EQ(read(read_back.get(), stored(rec.get())),
              static_cast<int>(sample1.size()));
    EXPECT_EQ(read_back->vector, nullptr);
    EXPECT_EQ(rec->values, nullptr);
    EXPECT_EQ(kor_cb_record_sensor_values_is_equal(rec.get(), read_back.get()),
              1);
    EXPECT_EQ(kor_cb_record_sensor_values_is_equal(read_back.get(), rec.get()),
              1);
}

// The same three comparisons for records in either form.
enum class form { vector, values };
struct form_pair {
    const char *name;
    form first;
    form second;
};

class ValuesEquality : public testing::TestWithParam<form_pair> {
protected:
    int is_equal(const std::vector<double> &first,
                 const std::vector<double> &second, int32_t later = 0)
    {
        const auto vector1 = sample_of(first);
        const auto vector2 = sample_of(second, later);
        const values_holder rec1 = record(vector1.get(), GetParam().first);
        const values_holder rec2 = record(vector2.get(), GetParam().second);
        return kor_cb_record_sensor_values_is_equal(rec1.get(), rec2.get());
    }

private:
    static values_holder record(struct matrix *vector, form kept_as)
    {
        values_holder rec(kor_cb_record_sensor_values_create(vector));
        if (kept_as == form::values)
            kor_cb_record_sensor_values_get_values(rec.get());
        return rec;
    }
};

TEST_P(ValuesEquality, LooksAtTimeCountAndReadings)
{
    EXPECT_EQ(is_equal({1.0, 2.0}, {1.0, 2.0}), 1);
    EXPECT_EQ(is_equal({1.0, 2.0}, {1.0, 2.5}), 0);
    EXPECT_EQ(is_equal({1.0, 2.0}, {1.0}), 0);
    EXPECT_EQ(is_equal({1.0, 2.0}, {1.0, 2.0}, 1), 0);
}

TEST_P(ValuesEquality, TakesReadingsWithinToleranceForEqual)
{
    EXPECT_EQ(is_equal({0.5}, {0.5 + 5e-7}), 1);
    EXPECT_EQ(is_equal({0.5}, {0.5 + 5e-6}), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ValuesEquality,
    testing::Values(form_pair{"VectorVector", form::vector, form::vector},
                    form_pair{"VectorValues", form::vector, form::values},
                    form_pair{"ValuesVector", form::values, form::vector},
                    form_pair{"ValuesValues", form::values, form::values}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(KorCbRecordSensorValues, MissingReadingsAreEqual)
{
    const values_holder rec1 = own_values({no_reading});
    const values_holder rec2 = own_values({no_reading});
    const values_holder rec3 = own_values({0.0});
    EXPECT_EQ(kor_cb_record_sensor_values_is_equal(rec1.get(), rec2.get()), 1);
    EXPECT_EQ(kor_cb_record_sensor_values_is_equal(rec1.get(), rec3.get()), 0);
}

TEST(KorCbRecordSensorValues, Holds10000ReadingsAtMost)
{
    const auto widest = test::wide_vector(10000, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(widest.get()));
    const values_holder read_back = empty_values();
    EXPECT_EQ(read(read_back.get(), stored(rec.get())),
              static_cast<int>(count_at + 4 + 4 * 10000));
    EXPECT_TRUE(
        kor_cb_record_sensor_values_is_equal(rec.get(), read_back.get()));
}

TEST(KorCbRecordSensorValues, MoreReadingsAreRefusedAndNothingIsWritten)
{
    const auto vector = test::wide_vector(10001, at(0));
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_kor_cb_record_sensor_values(rec.get(),
                                                                  out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.calls(), 0);
}

TEST(KorCbRecordSensorValues, ReadsOverAnArrayOfTheSameSize)
{
    const values_holder rec = own_values({1.0, 2.0}, 5);
    const float *const values = rec->values;
    EXPECT_EQ(read(rec.get(), sample1), static_cast<int>(sample1.size()));
    EXPECT_EQ(rec->values, values);
    EXPECT_EQ(values[0], 45.5f);
    EXPECT_EQ(values[1], 1200.0f);
}

TEST(KorCbRecordSensorValues, ReplacesAnArrayOfAnotherSize)
{
    const values_holder rec = own_values({1.0, 2.0, 3.0}, 5);
    EXPECT_EQ(read(rec.get(), sample1), static_cast<int>(sample1.size()));
    EXPECT_EQ(rec->n_sensors, 2u);
    EXPECT_EQ(rec->values[1], 1200.0f);
}

TEST(KorCbRecordSensorValues, ReadingLetsGoOfTheVector)
{
    const auto vector = sample_of({1.0, 2.0});
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    EXPECT_EQ(read(rec.get(), sample1), static_cast<int>(sample1.size()));
    EXPECT_EQ(rec->vector, nullptr);
    EXPECT_EQ(rec->values[0], 45.5f);
    EXPECT_EQ(matrix_get(vector.get(), 0, 0), 1.0);
}

TEST(KorCbRecordSensorValues, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        sample1, {.when_empty = 0}, [](struct reader *in) {
            const values_holder rec = empty_values();
            return binary_serializer_read_kor_cb_record_sensor_values(rec.get(),
                                                                      in);
        });
}

class DamagedValues : public testing::TestWithParam<test::damage> {};

TEST_P(DamagedValues, AreRefused)
{
    const values_holder rec = empty_values();
    EXPECT_EQ(
        read(rec.get(), test::with(sample1, GetParam().at, GetParam().bytes)),
        GetParam().code);
    EXPECT_EQ(rec->n_sensors, 0u);
    EXPECT_EQ(rec->values, nullptr);
}

const test::damage damages[] = {
    {"Version0", 0, bytes("00"), KOR_ERR_WRONG_VERSION},
    {"Version2", 0, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"TimestampVersion", 1, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"Microseconds", 6, bytes("00 00 00 01"), KOR_ERR_INVALID_DATA},
    {"NoReading", count_at, bytes("00 00 00 00"), KOR_ERR_INVALID_DATA},
    {"TooManyReadings", count_at, bytes("00 00 27 11"), KOR_ERR_INVALID_DATA},
    {"CountBeyondMemory", count_at, bytes("ff ff ff ff"), KOR_ERR_INVALID_DATA},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedValues, testing::ValuesIn(damages),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(KorCbRecordSensorValues, MoreReadingsThanStoredAreATruncation)
{
    const values_holder rec = empty_values();
    EXPECT_EQ(
        read(rec.get(), test::with(sample1, count_at, bytes("00 00 00 03"))),
        KOR_ERR_TRUNCATED);
}

TEST(KorCbRecordSensorValues, FailuresOfTheReaderComeThrough)
{
    test::expect_reader_failures_come_through(sample1, [](struct reader *in) {
        const values_holder rec = empty_values();
        return binary_serializer_read_kor_cb_record_sensor_values(rec.get(),
                                                                  in);
    });
}

TEST(KorCbRecordSensorValues, FailuresOfTheWriterComeThrough)
{
    const auto vector = sample_of({45.5, 1200.0});
    const values_holder rec(kor_cb_record_sensor_values_create(vector.get()));
    test::expect_writer_failures_come_through(sample1, [&](struct writer *out) {
        return binary_serializer_write_kor_cb_record_sensor_values(rec.get(),
                                                                   out);
    });
}

int destroyed(struct kor_cb_record_sensor_values *rec)
{
    if (rec == nullptr) return vela_get_last_error();
    kor_cb_record_sensor_values_destroy(&rec);
    return KOR_OK;
}

TEST(KorCbRecordSensorValues, AllocationFailuresAreClean)
{
    const auto vector = sample_of({1.0, 2.0});
    test::expect_every_allocation_failure_is_clean(
        [] { return destroyed(kor_cb_record_sensor_values_create_null()); });
    test::expect_every_allocation_failure_is_clean([&] {
        return destroyed(kor_cb_record_sensor_values_create(vector.get()));
    });
    test::expect_every_allocation_failure_is_clean([] {
        struct kor_cb_record_sensor_values rec;
        kor_cb_record_sensor_values_init_null(&rec);
        const int nread = read(&rec, sample1);
        kor_cb_record_sensor_values_destruct(&rec);
        return nread < 0 ? nread : static_cast<int>(KOR_OK);
    });
}

TEST(KorCbRecordSensorValues, WithoutMemoryForAnotherSizeTheRecordIsEmpty)
{
    const values_holder rec = own_values({1.0, 2.0, 3.0});
    {
        memory_reader in(sample1);
        const test::failing_allocation failing(0);
        EXPECT_EQ(binary_serializer_read_kor_cb_record_sensor_values(rec.get(),
                                                                     in.get()),
                  KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(rec->n_sensors, 0u);
    EXPECT_EQ(rec->values, nullptr);
}

TEST(KorCbRecordSensorValuesDeathTest, MakingAsksForAVector)
{
    struct kor_cb_record_sensor_values rec;
    const auto vector = sample_of({1.0});
    EXPECT_ABORTS(kor_cb_record_sensor_values_init(nullptr, vector.get()),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_init(&rec, nullptr),
                  "vector != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_create(nullptr),
                  "vector != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_init_null(nullptr),
                  "rec != NULL");
    const struct timestamp t = at(0);
    const test::vector_holder two_rows(
        telemetry_matrix_create(matrix_create(2, 1), test::sensors_named({"a"}),
                                timestamp_array_create_dummy(&t, 2)));
    EXPECT_ABORTS(kor_cb_record_sensor_values_init(&rec, two_rows.get()),
                  "matrix_get_number_rows(vector) == 1");
    const test::vector_holder plain(matrix_create(1, 1));
    EXPECT_ABORTS(kor_cb_record_sensor_values_init(&rec, plain.get()),
                  "m->type == MATRIX_TYPE_TELEMETRY");
}

TEST(KorCbRecordSensorValuesDeathTest, EveryEntryAsksForALiveRecord)
{
    struct kor_cb_record_sensor_values dead = {};
    EXPECT_ABORTS(kor_cb_record_sensor_values_destruct(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_destruct(&dead),
                  "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_number_values(nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_number_values(&dead),
                  "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_values(nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_values(&dead),
                  "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_timestamp(nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_timestamp(&dead),
                  "rec->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION");
    struct kor_cb_record_sensor_values *none = nullptr;
    EXPECT_ABORTS(kor_cb_record_sensor_values_destroy(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_destroy(&none), "*rec != NULL");
}

// A record with neither, and one with both.
TEST(KorCbRecordSensorValuesDeathTest, HoldsEitherValuesOrAVector)
{
    memory_writer out;
    const values_holder none = empty_values();
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_values(none.get()),
                  "(rec->values == NULL) ^ (rec->vector == NULL)");
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record_sensor_values(
                      none.get(), out.get()),
                  "(rec->values == NULL) ^ (rec->vector == NULL)");
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_number_values(none.get()),
                  "rec->n_sensors > 0");

    const auto vector = sample_of({1.0});
    const values_holder both = own_values({1.0});
    both->vector = vector.get();
    EXPECT_ABORTS(kor_cb_record_sensor_values_get_values(both.get()),
                  "(rec->values == NULL) ^ (rec->vector == NULL)");
    EXPECT_ABORTS(kor_cb_record_sensor_values_destruct(both.get()),
                  "rec->vector == NULL");
    both->vector = nullptr;
}

TEST(KorCbRecordSensorValuesDeathTest, EqualityAsksForReadings)
{
    struct kor_cb_record_sensor_values dead = {};
    const values_holder rec = own_values({1.0});
    const values_holder none = empty_values();
    EXPECT_ABORTS(kor_cb_record_sensor_values_is_equal(nullptr, rec.get()),
                  "rec1 != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_is_equal(rec.get(), nullptr),
                  "rec2 != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_values_is_equal(&dead, rec.get()),
                  "rec1->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION");
    EXPECT_ABORTS(kor_cb_record_sensor_values_is_equal(rec.get(), &dead),
                  "rec2->version == KOR_CB_RECORD_SENSOR_VALUES_VERSION");
    EXPECT_ABORTS(kor_cb_record_sensor_values_is_equal(none.get(), rec.get()),
                  "(rec1->values == NULL) ^ (rec1->vector == NULL)");
    EXPECT_ABORTS(kor_cb_record_sensor_values_is_equal(rec.get(), none.get()),
                  "(rec2->values == NULL) ^ (rec2->vector == NULL)");
    const values_holder short_one = own_values({1.0});
    short_one->n_sensors = 0;
    EXPECT_ABORTS(
        kor_cb_record_sensor_values_is_equal(short_one.get(), rec.get()),
        "rec1->n_sensors > 0");
    EXPECT_ABORTS(
        kor_cb_record_sensor_values_is_equal(rec.get(), short_one.get()),
        "rec2->n_sensors > 0");
}

TEST(KorCbRecordSensorValuesDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(sample1);
    struct kor_cb_record_sensor_values dead = {};
    const values_holder rec = own_values({1.0});
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_sensor_values(nullptr, out.get()),
        "rec != NULL");
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_sensor_values(&dead, out.get()),
        "rec->version == 1");
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_sensor_values(rec.get(), nullptr),
        "writer != NULL");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_sensor_values(nullptr, in.get()),
        "rec != NULL");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_sensor_values(&dead, in.get()),
        "rec->version == 1");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_sensor_values(rec.get(), nullptr),
        "reader != NULL");
}

}  // namespace
