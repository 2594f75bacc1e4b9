#include "kor_cb_record_sensor_names.h"

#include "record_support.hpp"
#include "sensors.h"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::memory_writer;
using test::names_of;
using test::vector_of;
using testing::ElementsAre;

using names_holder = test::holder<struct kor_cb_record_sensor_names,
                                  kor_cb_record_sensor_names_destroy>;

names_holder empty_names()
{
    return names_holder(kor_cb_record_sensor_names_create_null());
}

names_holder names_record(const std::vector<std::string> &names,
                          int32_t seconds = 0)
{
    const auto vector =
        vector_of(names, at(seconds), std::vector<double>(names.size(), 1.0));
    return names_holder(kor_cb_record_sensor_names_create(vector.get()));
}

const std::string two_names = bytes(
    "01 01 45 98 4f 01 00 00 00 00 01 00 00 00 02"
    "01 00 00 00 09 43 50 55 30 20 54 65 6d 70"
    "01 00 00 00 0a 44 49 53 4b 30 20 52 45 41 44");
constexpr size_t array_at = 1 + 9;
constexpr size_t first_name_at = array_at + 5 + 1;
constexpr size_t second_name_at = first_name_at + 4 + 9 + 1;

int read(struct kor_cb_record_sensor_names *rec, const std::string &stored)
{
    memory_reader in(stored);
    return binary_serializer_read_kor_cb_record_sensor_names(rec, in.get());
}

void expect_untouched(const struct kor_cb_record_sensor_names &rec)
{
    EXPECT_EQ(rec.version, KOR_CB_RECORD_SENSOR_NAMES_VERSION);
    EXPECT_TRUE(timestamp_is_null(&rec.timestamp));
    EXPECT_EQ(rec.sensors, nullptr);
}

TEST(KorCbRecordSensorNames, TakesTimeAndSensorsOfTheVector)
{
    const names_holder rec = names_record({"b", "a"}, 3);
    EXPECT_EQ(rec->version, KOR_CB_RECORD_SENSOR_NAMES_VERSION);
    const struct timestamp expected = at(3);
    EXPECT_TRUE(timestamp_is_equal(
        kor_cb_record_sensor_names_get_timestamp(rec.get()), &expected));
    EXPECT_EQ(kor_cb_record_sensor_names_get_number_sensors(rec.get()), 2u);
    EXPECT_THAT(names_of(kor_cb_record_sensor_names_get_sensors(rec.get())),
                ElementsAre("b", "a"));
}

TEST(KorCbRecordSensorNames, OutlivesTheVector)
{
    auto vector = vector_of({"only here"}, at(0), {1.0});
    const names_holder rec(kor_cb_record_sensor_names_create(vector.get()));
    vector.reset();
    EXPECT_THAT(names_of(rec->sensors), ElementsAre("only here"));
}

// Or records already written would get other names than they were written
// under.
TEST(KorCbRecordSensorNames, LaterChangesToTheVectorDoNotReachIt)
{
    const auto vector = vector_of({"a", "b"}, at(0), {1.0, 2.0});
    const names_holder rec(kor_cb_record_sensor_names_create(vector.get()));
    struct sensor_array *const sensors =
        telemetry_matrix_get_sensors(vector.get());
    sensor_array_set(sensors, 0, sensor_create("c"));
    EXPECT_THAT(names_of(rec->sensors), ElementsAre("a", "b"));
    EXPECT_EQ(sensor_array_is_equal(sensors, rec->sensors), 0);
}

// As a resized vector has them; they cannot be written.
TEST(KorCbRecordSensorNames, KeepsEmptySlots)
{
    struct sensor_array *const sensors = sensor_array_create_empty(2);
    sensor_array_set(sensors, 1, sensor_create("b"));
    const struct timestamp t = at(0);
    const test::vector_holder vector(
        telemetry_matrix_create_vector(matrix_create(1, 2), sensors, &t));
    const names_holder rec(kor_cb_record_sensor_names_create(vector.get()));
    EXPECT_EQ(rec->sensors->nsensors, 2u);
    EXPECT_EQ(rec->sensors->sensors[0], nullptr);
    EXPECT_EQ(test::name_of(rec->sensors->sensors[1]), "b");
}

TEST(KorCbRecordSensorNames, GivesItsReferencesBack)
{
    const uint32_t before = _sensors.nsensors;
    {
        const names_holder rec = names_record({"x", "y"});
        const names_holder copy(
            kor_cb_record_sensor_names_copy(rec.get(), nullptr));
        EXPECT_EQ(_sensors.nsensors, before + 2);
    }
    EXPECT_EQ(_sensors.nsensors, before);
}

TEST(KorCbRecordSensorNames, NullRecordHasNoSensors)
{
    struct kor_cb_record_sensor_names rec;
    EXPECT_EQ(kor_cb_record_sensor_names_init_null(&rec), KOR_OK);
    expect_untouched(rec);
    EXPECT_EQ(kor_cb_record_sensor_names_get_sensors(&rec), nullptr);
    kor_cb_record_sensor_names_destruct(&rec);
}

TEST(KorCbRecordSensorNames, DestructClearsEverything)
{
    const auto vector = vector_of({"a"}, at(0), {1.0});
    struct kor_cb_record_sensor_names rec;
    ASSERT_EQ(kor_cb_record_sensor_names_init(&rec, vector.get()), KOR_OK);
    kor_cb_record_sensor_names_destruct(&rec);
    EXPECT_EQ(rec.version, 0);
    EXPECT_EQ(rec.timestamp.version, 0);
    EXPECT_EQ(rec.sensors, nullptr);
}

TEST(KorCbRecordSensorNames, DestroyClearsThePointer)
{
    auto *rec = kor_cb_record_sensor_names_create_null();
    kor_cb_record_sensor_names_destroy(&rec);
    EXPECT_EQ(rec, nullptr);
}

TEST(KorCbRecordSensorNames, CopyIsEqualAndSharesNothing)
{
    const names_holder rec = names_record({"a", "b"}, 5);
    const names_holder copy(
        kor_cb_record_sensor_names_copy(rec.get(), nullptr));
    EXPECT_TRUE(kor_cb_record_sensor_names_is_equal(rec.get(), copy.get()));
    sensor_array_set(rec->sensors, 0, sensor_create("c"));
    EXPECT_THAT(names_of(copy->sensors), ElementsAre("a", "b"));
}

TEST(KorCbRecordSensorNames, CopiesIntoTheCallersStorage)
{
    const names_holder rec = names_record({"a"}, 5);
    struct kor_cb_record_sensor_names dest;
    EXPECT_EQ(kor_cb_record_sensor_names_copy(rec.get(), &dest), &dest);
    EXPECT_TRUE(kor_cb_record_sensor_names_is_equal(rec.get(), &dest));
    kor_cb_record_sensor_names_destruct(&dest);
}

TEST(KorCbRecordSensorNames, EqualityLooksAtTimeAndSensors)
{
    const names_holder rec = names_record({"a", "b"}, 0);
    const names_holder same = names_record({"a", "b"}, 0);
    const names_holder later = names_record({"a", "b"}, 1);
    const names_holder swapped = names_record({"b", "a"}, 0);
    const names_holder fewer = names_record({"a"}, 0);
    EXPECT_EQ(kor_cb_record_sensor_names_is_equal(rec.get(), same.get()), 1);
    EXPECT_EQ(kor_cb_record_sensor_names_is_equal(rec.get(), later.get()), 0);
    EXPECT_EQ(kor_cb_record_sensor_names_is_equal(rec.get(), swapped.get()), 0);
    EXPECT_EQ(kor_cb_record_sensor_names_is_equal(rec.get(), fewer.get()), 0);
    const auto are_sensors_equal = [&](const names_holder &other) {
        return kor_cb_record_sensor_names_are_sensors_equal(rec.get(),
                                                            other.get());
    };
    EXPECT_EQ(are_sensors_equal(same), 1);
    EXPECT_EQ(are_sensors_equal(later), 1);
    EXPECT_EQ(are_sensors_equal(swapped), 0);
    EXPECT_EQ(are_sensors_equal(fewer), 0);
}

TEST(KorCbRecordSensorNames, IsStoredInTheseBytes)
{
    const names_holder rec = names_record({"CPU0 Temp", "DISK0 READ"});
    EXPECT_EQ(test::stored_by([&](struct writer *out) {
                  return binary_serializer_write_kor_cb_record_sensor_names(
                      rec.get(), out);
              }),
              two_names);
}

TEST(KorCbRecordSensorNames, ReadsBackEqual)
{
    const names_holder rec = names_record({"CPU0 Temp", "DISK0 READ"});
    const names_holder stored = empty_names();
    EXPECT_EQ(read(stored.get(), two_names),
              static_cast<int>(two_names.size()));
    EXPECT_TRUE(kor_cb_record_sensor_names_is_equal(rec.get(), stored.get()));
}

TEST(KorCbRecordSensorNames, ReadsOverARecordAndReplacesIt)
{
    const names_holder rec = names_record({"x", "y", "z"}, 9);
    EXPECT_EQ(read(rec.get(), two_names), static_cast<int>(two_names.size()));
    EXPECT_THAT(names_of(rec->sensors), ElementsAre("CPU0 Temp", "DISK0 READ"));
}

TEST(KorCbRecordSensorNames, Holds10000SensorsAtMost)
{
    const auto widest = test::wide_vector(10000, at(0));
    const names_holder rec(kor_cb_record_sensor_names_create(widest.get()));
    memory_writer out;
    ASSERT_GT(binary_serializer_write_kor_cb_record_sensor_names(rec.get(),
                                                                 out.get()),
              0);
    const names_holder stored = empty_names();
    ASSERT_GT(read(stored.get(), out.bytes()), 0);
    EXPECT_TRUE(kor_cb_record_sensor_names_is_equal(rec.get(), stored.get()));
}

TEST(KorCbRecordSensorNames, MoreSensorsAreRefusedBehindTheTimestamp)
{
    const auto vector = test::wide_vector(10001, at(0));
    const names_holder rec(kor_cb_record_sensor_names_create(vector.get()));
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_kor_cb_record_sensor_names(rec.get(),
                                                                 out.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(out.bytes(), two_names.substr(0, array_at));
}

TEST(KorCbRecordSensorNames, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        two_names,
        {.when_empty = 0,
         .string_starts = {first_name_at, second_name_at},
         .aborting = {first_name_at + 4, second_name_at + 4}},
        [](struct reader *in) {
            const names_holder rec = empty_names();
            const int nread = binary_serializer_read_kor_cb_record_sensor_names(
                rec.get(), in);
            if (nread <= 0) expect_untouched(*rec);
            return nread;
        });
}

class DamagedNames : public testing::TestWithParam<test::damage> {};

TEST_P(DamagedNames, AreRefusedAndLeaveTheRecordAsItWas)
{
    const names_holder rec = empty_names();
    EXPECT_EQ(
        read(rec.get(), test::with(two_names, GetParam().at, GetParam().bytes)),
        GetParam().code);
    expect_untouched(*rec);
}

const test::damage damages[] = {
    {"Version0", 0, bytes("00"), KOR_ERR_WRONG_VERSION},
    {"Version2", 0, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"TimestampVersion", 1, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"Microseconds", 6, bytes("00 00 00 01"), KOR_ERR_INVALID_DATA},
    {"ArrayVersion", array_at, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"NoSensor", array_at + 1, bytes("00 00 00 00"), KOR_ERR_TOO_LONG},
    {"TooManySensors", array_at + 1, bytes("00 00 27 11"), KOR_ERR_TOO_LONG},
    {"MoreSensorsThanStored", array_at + 1, bytes("00 00 00 03"),
     KOR_ERR_TRUNCATED},
    {"SensorVersion", first_name_at - 1, bytes("00"), KOR_ERR_WRONG_VERSION},
    {"EmptyName", first_name_at, bytes("00 00 00 00"), KOR_ERR_INVALID_DATA},
    {"LongName", second_name_at, bytes("00 00 27 11"), KOR_ERR_INVALID_DATA},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedNames, testing::ValuesIn(damages),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(KorCbRecordSensorNames, FailuresOfTheReaderComeThrough)
{
    test::expect_reader_failures_come_through(two_names, [](struct reader *in) {
        const names_holder rec = empty_names();
        return binary_serializer_read_kor_cb_record_sensor_names(rec.get(), in);
    });
}

TEST(KorCbRecordSensorNames, FailuresOfTheWriterComeThrough)
{
    const names_holder rec = names_record({"CPU0 Temp", "DISK0 READ"});
    test::expect_writer_failures_come_through(
        two_names, [&](struct writer *out) {
            return binary_serializer_write_kor_cb_record_sensor_names(rec.get(),
                                                                      out);
        });
}

int destroyed(struct kor_cb_record_sensor_names *rec)
{
    if (rec == nullptr) return vela_get_last_error();
    kor_cb_record_sensor_names_destroy(&rec);
    return KOR_OK;
}

TEST(KorCbRecordSensorNames, AllocationFailuresAreClean)
{
    test::expect_every_allocation_failure_is_clean(
        [] { return destroyed(kor_cb_record_sensor_names_create_null()); });
    const auto vector = vector_of({"a", "b"}, at(0), {1.0, 2.0});
    test::expect_every_allocation_failure_is_clean([&] {
        return destroyed(kor_cb_record_sensor_names_create(vector.get()));
    });
    const names_holder rec = names_record({"a", "b"});
    test::expect_every_allocation_failure_is_clean([&] {
        return destroyed(kor_cb_record_sensor_names_copy(rec.get(), nullptr));
    });
    test::expect_every_allocation_failure_is_clean([&] {
        struct kor_cb_record_sensor_names dest;
        if (kor_cb_record_sensor_names_copy(rec.get(), &dest) == nullptr)
            return vela_get_last_error();
        kor_cb_record_sensor_names_destruct(&dest);
        return static_cast<int>(KOR_OK);
    });
    test::expect_every_allocation_failure_is_clean([] {
        struct kor_cb_record_sensor_names stored;
        kor_cb_record_sensor_names_init_null(&stored);
        const int nread = read(&stored, two_names);
        kor_cb_record_sensor_names_destruct(&stored);
        return nread < 0 ? nread : static_cast<int>(KOR_OK);
    });
}

TEST(KorCbRecordSensorNames, InitWithoutMemoryReleasesTheTimestamp)
{
    const auto vector = vector_of({"a"}, at(0), {1.0});
    struct kor_cb_record_sensor_names rec;
    const test::failing_allocation failing(0);
    EXPECT_EQ(kor_cb_record_sensor_names_init(&rec, vector.get()),
              KOR_ERR_NO_MEMORY);
    EXPECT_EQ(rec.timestamp.version, 0);
}

TEST(KorCbRecordSensorNamesDeathTest, MakingAsksForAVector)
{
    struct kor_cb_record_sensor_names rec;
    const auto vector = vector_of({"a"}, at(0), {1.0});
    EXPECT_ABORTS(kor_cb_record_sensor_names_init(nullptr, vector.get()),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_init(&rec, nullptr),
                  "vector != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_create(nullptr), "vector != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_init_null(nullptr), "rec != NULL");
    const test::holder<struct matrix, matrix_destroy> two_rows(
        telemetry_matrix_create(
            matrix_create(2, 1), test::sensors_named({"a"}),
            timestamp_array_create_dummy(
                timestamp_array_get(
                    telemetry_matrix_get_timestamps(vector.get()), 0),
                2)));
    EXPECT_ABORTS(kor_cb_record_sensor_names_init(&rec, two_rows.get()),
                  "matrix_get_number_rows(vector) == 1");
    const test::vector_holder plain(matrix_create(1, 1));
    EXPECT_ABORTS(kor_cb_record_sensor_names_init(&rec, plain.get()),
                  "m->type == MATRIX_TYPE_TELEMETRY");
}

TEST(KorCbRecordSensorNamesDeathTest, EveryEntryAsksForALiveRecord)
{
    struct kor_cb_record_sensor_names dead = {};
    EXPECT_ABORTS(kor_cb_record_sensor_names_destruct(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_destruct(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_cb_record_sensor_names_get_number_sensors(nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_get_number_sensors(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_cb_record_sensor_names_get_sensors(nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_get_sensors(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_cb_record_sensor_names_get_timestamp(nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_get_timestamp(&dead),
                  "rec->version > 0");
    struct kor_cb_record_sensor_names *none = nullptr;
    EXPECT_ABORTS(kor_cb_record_sensor_names_destroy(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_destroy(&none), "*rec != NULL");
}

TEST(KorCbRecordSensorNamesDeathTest, CopyAsksForSensors)
{
    struct kor_cb_record_sensor_names dead = {};
    const names_holder none = empty_names();
    EXPECT_ABORTS(kor_cb_record_sensor_names_copy(nullptr, nullptr),
                  "rec != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_copy(&dead, nullptr),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_cb_record_sensor_names_copy(none.get(), nullptr),
                  "rec->sensors != NULL");
}

TEST(KorCbRecordSensorNamesDeathTest, EqualityAsksForLiveRecords)
{
    struct kor_cb_record_sensor_names dead = {};
    const names_holder rec = names_record({"a"});
    EXPECT_ABORTS(kor_cb_record_sensor_names_is_equal(nullptr, rec.get()),
                  "rec1 != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_is_equal(rec.get(), nullptr),
                  "rec2 != NULL");
    EXPECT_ABORTS(kor_cb_record_sensor_names_is_equal(&dead, rec.get()),
                  "rec1->version > 0");
    EXPECT_ABORTS(kor_cb_record_sensor_names_is_equal(rec.get(), &dead),
                  "rec2->version > 0");
    EXPECT_ABORTS(
        kor_cb_record_sensor_names_are_sensors_equal(nullptr, rec.get()),
        "rec1 != NULL");
    EXPECT_ABORTS(
        kor_cb_record_sensor_names_are_sensors_equal(rec.get(), nullptr),
        "rec2 != NULL");
    EXPECT_ABORTS(
        kor_cb_record_sensor_names_are_sensors_equal(&dead, rec.get()),
        "rec1->version > 0");
    EXPECT_ABORTS(
        kor_cb_record_sensor_names_are_sensors_equal(rec.get(), &dead),
        "rec2->version > 0");
}

TEST(KorCbRecordSensorNamesDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(two_names);
    struct kor_cb_record_sensor_names dead = {};
    const names_holder rec = names_record({"a"});
    const names_holder none = empty_names();
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_sensor_names(nullptr, out.get()),
        "rec != NULL");
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_sensor_names(&dead, out.get()),
        "rec->version == 1");
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record_sensor_names(none.get(),
                                                                     out.get()),
                  "rec->sensors != NULL");
    EXPECT_ABORTS(
        binary_serializer_write_kor_cb_record_sensor_names(rec.get(), nullptr),
        "writer != NULL");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_sensor_names(nullptr, in.get()),
        "rec != NULL");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_sensor_names(&dead, in.get()),
        "rec->version == 1");
    EXPECT_ABORTS(
        binary_serializer_read_kor_cb_record_sensor_names(none.get(), nullptr),
        "reader != NULL");
}

TEST(KorCbRecordSensorNamesDeathTest, EmptySlotsCannotBeWritten)
{
    memory_writer out;
    const names_holder rec = empty_names();
    rec->sensors = sensor_array_create_empty(1);
    EXPECT_ABORTS(binary_serializer_write_kor_cb_record_sensor_names(rec.get(),
                                                                     out.get()),
                  "array->sensors[i] != NULL");
}

}  // namespace
