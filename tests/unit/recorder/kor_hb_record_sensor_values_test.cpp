#include "kor_hb_record_sensor_values.h"

#include "record_support.hpp"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::memory_writer;

using values_holder = test::holder<struct kor_hb_record_sensor_values,
                                   kor_hb_record_sensor_values_destroy>;
using list_holder =
    test::holder<struct hist_value_list, hist_value_list_destroy>;

// The interval of two samples, CPU0 Temp 45.5 and 46.25, DISK0 READ 1200 and
// none, with no event.
const std::string interval = bytes(
    "02 01 45 98 4f 01 00 00 00 00 01 45 98 4f 02 00"
    "00 00 00 00 00 00 02 01 00 00 00 01 44 96 00 00"
    "44 96 00 00 44 96 00 00 44 96 00 00 44 96 00 00"
    "49 af c8 00 4e cd fe 60 53 f1 66 18 01 00 00 00"
    "02 42 36 00 00 42 39 00 00 42 36 00 00 42 39 00"
    "00 42 b7 80 00 45 83 8a 80 48 3c 9a 01 4b 07 37"
    "54 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
    "00 00 00 00 00 00");
constexpr size_t count_at = 1 + 9 + 9;
constexpr size_t value_size = 37;
constexpr size_t values_at = count_at + 4;
constexpr size_t events_at = values_at + 2 * value_size;

// The older form of the same interval.
std::string interval_version1()
{
    return test::with(interval.substr(0, events_at), 0, bytes("01"));
}

list_holder list_of(
    const std::vector<std::pair<std::string, std::vector<float>>> &readings)
{
    list_holder list(hist_value_list_create());
    for (const auto &[name, values] : readings) {
        struct sensor *sensor = sensor_create(name.c_str());
        struct hist_value *const hv =
            hist_value_list_add_if_not_present(list.get(), sensor);
        for (const float value : values) hist_value_update(hv, value);
        sensor_destroy(&sensor);
    }
    return list;
}

list_holder two_sensors()
{
    return list_of({{"CPU0 Temp", {45.5f, 46.25f}}, {"DISK0 READ", {1200.0f}}});
}

values_holder values_of(const list_holder &list, int32_t start = 0,
                        int32_t end = 1,
                        const struct kor_hb_record_events *events = nullptr)
{
    const struct timestamp first = at(start);
    const struct timestamp last = at(end);
    return values_holder(
        kor_hb_record_sensor_values_create(&first, &last, list.get(), events));
}

values_holder empty_values()
{
    return values_holder(kor_hb_record_sensor_values_create_null());
}

struct kor_hb_record_events one_event()
{
    struct kor_hb_record_events events;
    kor_hb_record_events_init_null(&events);
    events.n_type2 = 1;
    return events;
}

int read(struct kor_hb_record_sensor_values *rec, const std::string &stored)
{
    memory_reader in(stored);
    return binary_serializer_read_kor_hb_record_sensor_values(rec, in.get());
}

TEST(KorHbRecordSensorValues, TakesTimesValuesAndEvents)
{
    const struct kor_hb_record_events events = one_event();
    const values_holder rec = values_of(two_sensors(), 3, 8, &events);
    EXPECT_EQ(rec->version, KOR_HB_RECORD_SENSOR_VALUES_VERSION);
    const struct timestamp start = at(3);
    const struct timestamp end = at(8);
    EXPECT_TRUE(timestamp_is_equal(
        kor_hb_record_sensor_values_get_start_timestamp(rec.get()), &start));
    EXPECT_TRUE(timestamp_is_equal(
        kor_hb_record_sensor_values_get_end_timestamp(rec.get()), &end));
    EXPECT_TRUE(kor_hb_record_events_is_equal(
        kor_hb_record_sensor_values_get_events(rec.get()), &events));
    EXPECT_EQ(kor_hb_record_sensor_values_get_number_hist_values(rec.get()),
              2u);
    const struct hist_value *const values =
        kor_hb_record_sensor_values_get_hist_values(rec.get());
    EXPECT_EQ(values[0].first, 1200.0f);
    EXPECT_EQ(values[1].last, 46.25f);
}

TEST(KorHbRecordSensorValues, WithoutEventsItCountsNone)
{
    const values_holder rec = values_of(two_sensors());
    struct kor_hb_record_events none;
    kor_hb_record_events_init_null(&none);
    EXPECT_TRUE(kor_hb_record_events_is_equal(&rec->events, &none));
}

TEST(KorHbRecordSensorValues, NullRecordIsEmpty)
{
    struct kor_hb_record_sensor_values rec;
    EXPECT_EQ(kor_hb_record_sensor_values_init_null(&rec), KOR_OK);
    EXPECT_EQ(rec.version, KOR_HB_RECORD_SENSOR_VALUES_VERSION);
    EXPECT_TRUE(timestamp_is_null(&rec.start));
    EXPECT_TRUE(timestamp_is_null(&rec.end));
    EXPECT_EQ(rec.hvalues, nullptr);
    EXPECT_EQ(rec.n_sensors, 0u);
    EXPECT_EQ(rec.events.version, KOR_HB_RECORD_EVENTS_VERSION);
    kor_hb_record_sensor_values_destruct(&rec);
}

TEST(KorHbRecordSensorValues, DestructClearsEverything)
{
    const struct timestamp t = at(0);
    struct kor_hb_record_sensor_values rec;
    ASSERT_EQ(kor_hb_record_sensor_values_init(&rec, &t, &t,
                                               two_sensors().get(), nullptr),
              KOR_OK);
    kor_hb_record_sensor_values_destruct(&rec);
    EXPECT_EQ(rec.version, 0);
    EXPECT_EQ(rec.start.version, 0);
    EXPECT_EQ(rec.end.version, 0);
    EXPECT_EQ(rec.hvalues, nullptr);
    EXPECT_EQ(rec.n_sensors, 0u);
    EXPECT_EQ(rec.events.version, 0);
}

TEST(KorHbRecordSensorValues, DestroyClearsThePointer)
{
    auto *rec = kor_hb_record_sensor_values_create_null();
    kor_hb_record_sensor_values_destroy(&rec);
    EXPECT_EQ(rec, nullptr);
}

TEST(KorHbRecordSensorValues, EqualityLooksAtTimesEventsAndValues)
{
    const values_holder rec = values_of(two_sensors());
    const auto is_equal = [&](const values_holder &other) {
        return kor_hb_record_sensor_values_is_equal(rec.get(), other.get());
    };
    const struct kor_hb_record_events events = one_event();
    EXPECT_EQ(is_equal(values_of(two_sensors())), 1);
    EXPECT_EQ(is_equal(values_of(two_sensors(), 1)), 0);
    EXPECT_EQ(is_equal(values_of(two_sensors(), 0, 2)), 0);
    EXPECT_EQ(is_equal(values_of(two_sensors(), 0, 1, &events)), 0);
    EXPECT_EQ(is_equal(values_of(list_of({{"CPU0 Temp", {45.5f, 46.25f}}}))),
              0);
    EXPECT_EQ(is_equal(values_of(list_of(
                  {{"CPU0 Temp", {45.5f, 46.5f}}, {"DISK0 READ", {1200.0f}}}))),
              0);
}

TEST(KorHbRecordSensorValues, CopyLeavesTheEventsBehind)
{
    const struct kor_hb_record_events events = one_event();
    const values_holder rec = values_of(two_sensors(), 3, 8, &events);
    const values_holder copy(
        kor_hb_record_sensor_values_copy(rec.get(), nullptr));
    EXPECT_EQ(copy->version, KOR_HB_RECORD_SENSOR_VALUES_VERSION);
    EXPECT_EQ(copy->events.version, KOR_HB_RECORD_EVENTS_VERSION);
    EXPECT_EQ(copy->events.n_type2, 0u);
    EXPECT_NE(copy->hvalues, rec->hvalues);
    kor_hb_record_events_copy(&rec->events, &copy->events);
    EXPECT_EQ(kor_hb_record_sensor_values_is_equal(rec.get(), copy.get()), 1);
}

TEST(KorHbRecordSensorValues, CopyKeepsTheEventsOfTheCallersStorage)
{
    const values_holder rec = values_of(two_sensors());
    struct kor_hb_record_sensor_values dest;
    kor_hb_record_sensor_values_init_null(&dest);
    dest.events = one_event();
    EXPECT_EQ(kor_hb_record_sensor_values_copy(rec.get(), &dest), &dest);
    EXPECT_EQ(dest.events.n_type2, 1u);
    EXPECT_EQ(dest.n_sensors, 2u);
    EXPECT_TRUE(hist_value_is_equal(&dest.hvalues[1], &rec->hvalues[1]));
    kor_hb_record_sensor_values_destruct(&dest);
}

TEST(KorHbRecordSensorValues, IsStoredInTheseBytes)
{
    const values_holder rec = values_of(two_sensors());
    EXPECT_EQ(test::stored_by([&](struct writer *out) {
                  return binary_serializer_write_kor_hb_record_sensor_values(
                      rec.get(), out);
              }),
              interval);
}

TEST(KorHbRecordSensorValues, ReadsBackEqual)
{
    const values_holder rec = values_of(two_sensors());
    const values_holder stored = empty_values();
    EXPECT_EQ(read(stored.get(), interval), static_cast<int>(interval.size()));
    EXPECT_EQ(kor_hb_record_sensor_values_is_equal(rec.get(), stored.get()), 1);
}

TEST(KorHbRecordSensorValues, OlderFormHasNoEvents)
{
    const values_holder rec = empty_values();
    rec->events = one_event();
    const std::string stored = interval_version1();
    EXPECT_EQ(read(rec.get(), stored), static_cast<int>(stored.size()));
    EXPECT_EQ(rec->version, 1);
    EXPECT_EQ(rec->events.n_type2, 0u);
    EXPECT_EQ(rec->hvalues[1].last, 46.25f);
    EXPECT_EQ(kor_hb_record_sensor_values_get_number_hist_values(rec.get()),
              2u);
}

// Part of the interface: copying is what brings an old record up to date.
TEST(KorHbRecordSensorValues, CopyingMarksARecordOfTheOlderFormAsCurrent)
{
    const values_holder rec = empty_values();
    ASSERT_GT(read(rec.get(), interval_version1()), 0);
    const values_holder copy(
        kor_hb_record_sensor_values_copy(rec.get(), nullptr));
    EXPECT_EQ(rec->version, 2);
    EXPECT_EQ(copy->version, 2);
}

// Streams of both forms follow each other in one record.
TEST(KorHbRecordSensorValues, ReadsEitherFormOverTheOther)
{
    const values_holder rec = empty_values();
    ASSERT_GT(read(rec.get(), interval_version1()), 0);
    const std::string with_event =
        test::with(interval, events_at + 1 + 8, bytes("00 00 00 07"));
    EXPECT_EQ(read(rec.get(), with_event), static_cast<int>(interval.size()));
    EXPECT_EQ(rec->version, 2);
    EXPECT_EQ(rec->events.n_type2, 7u);
    ASSERT_GT(read(rec.get(), interval_version1()), 0);
    EXPECT_EQ(rec->version, 1);
    EXPECT_EQ(rec->events.n_type2, 0u);
}

TEST(KorHbRecordSensorValues, ReadsOverAnArrayOfTheSameSize)
{
    const values_holder rec =
        values_of(list_of({{"a", {1.0f}}, {"b", {2.0f}}}));
    const struct hist_value *const values = rec->hvalues;
    EXPECT_EQ(read(rec.get(), interval), static_cast<int>(interval.size()));
    EXPECT_EQ(rec->hvalues, values);
    EXPECT_EQ(values[0].first, 1200.0f);
}

TEST(KorHbRecordSensorValues, ReplacesAnArrayOfAnotherSize)
{
    const values_holder rec = values_of(list_of({{"a", {1.0f}}}));
    EXPECT_EQ(read(rec.get(), interval), static_cast<int>(interval.size()));
    EXPECT_EQ(rec->n_sensors, 2u);
    EXPECT_EQ(rec->hvalues[1].last, 46.25f);
}

// The record can be read into and destroyed after every failure.
TEST(KorHbRecordSensorValues, AfterAFailureCountsTheValuesReadWhole)
{
    for (uint32_t whole = 0; whole < 2; ++whole) {
        const values_holder rec = empty_values();
        EXPECT_EQ(read(rec.get(),
                       interval.substr(0, values_at + whole * value_size + 5)),
                  KOR_ERR_TRUNCATED);
        EXPECT_EQ(rec->n_sensors, whole);
        EXPECT_EQ(read(rec.get(), interval), static_cast<int>(interval.size()));
        EXPECT_EQ(rec->n_sensors, 2u);
    }
}

TEST(KorHbRecordSensorValues, EveryCutIsRefused)
{
    test::expect_every_cut_is_refused(
        interval, {.when_empty = 0, .aborting = {events_at + 1 + 4}},
        [](struct reader *in) {
            const values_holder rec = empty_values();
            return binary_serializer_read_kor_hb_record_sensor_values(rec.get(),
                                                                      in);
        });
    test::expect_every_cut_is_refused(
        interval_version1(), {.when_empty = 0}, [](struct reader *in) {
            const values_holder rec = empty_values();
            return binary_serializer_read_kor_hb_record_sensor_values(rec.get(),
                                                                      in);
        });
}

class DamagedInterval : public testing::TestWithParam<test::damage> {};

TEST_P(DamagedInterval, IsRefused)
{
    const values_holder rec = empty_values();
    EXPECT_EQ(
        read(rec.get(), test::with(interval, GetParam().at, GetParam().bytes)),
        GetParam().code);
}

const test::damage damages[] = {
    {"Version0", 0, bytes("00"), KOR_ERR_WRONG_VERSION},
    {"Version3", 0, bytes("03"), KOR_ERR_WRONG_VERSION},
    {"StartVersion", 1, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"StartMicroseconds", 6, bytes("00 00 00 01"), KOR_ERR_INVALID_DATA},
    {"EndVersion", 10, bytes("02"), KOR_ERR_WRONG_VERSION},
    {"NoValue", count_at, bytes("00 00 00 00"), KOR_ERR_INVALID_DATA},
    {"TooManyValues", count_at, bytes("00 00 27 11"), KOR_ERR_INVALID_DATA},
    {"ValueVersion", values_at + value_size, bytes("02"),
     KOR_ERR_WRONG_VERSION},
    {"EventsVersion", events_at, bytes("02"), KOR_ERR_WRONG_VERSION},
};
INSTANTIATE_TEST_SUITE_P(Table, DamagedInterval, testing::ValuesIn(damages),
                         [](const auto &row) {
                             return std::string(row.param.name);
                         });

TEST(KorHbRecordSensorValues, Holds10000ValuesAtMost)
{
    const auto names_from = [](int n) {
        std::vector<std::pair<std::string, std::vector<float>>> readings;
        for (int i = 0; i < n; ++i)
            readings.push_back({std::to_string(i), {1.0f}});
        return list_of(readings);
    };
    const values_holder widest = values_of(names_from(10000));
    memory_writer out;
    EXPECT_EQ(binary_serializer_write_kor_hb_record_sensor_values(widest.get(),
                                                                  out.get()),
              static_cast<int>(values_at + 10000 * value_size + 21));
    const values_holder stored = empty_values();
    EXPECT_GT(read(stored.get(), out.bytes()), 0);

    const values_holder wider = values_of(names_from(10001));
    memory_writer untouched;
    EXPECT_EQ(binary_serializer_write_kor_hb_record_sensor_values(
                  wider.get(), untouched.get()),
              KOR_ERR_TOO_LONG);
    EXPECT_EQ(untouched.calls(), 0);
}

TEST(KorHbRecordSensorValues, FailuresOfTheStreamsComeThrough)
{
    const values_holder rec = values_of(two_sensors());
    test::expect_writer_failures_come_through(
        interval, [&](struct writer *out) {
            return binary_serializer_write_kor_hb_record_sensor_values(
                rec.get(), out);
        });
    test::expect_reader_failures_come_through(interval, [](struct reader *in) {
        const values_holder stored = empty_values();
        return binary_serializer_read_kor_hb_record_sensor_values(stored.get(),
                                                                  in);
    });
}

int destroyed(struct kor_hb_record_sensor_values *rec)
{
    if (rec == nullptr) return vela_get_last_error();
    kor_hb_record_sensor_values_destroy(&rec);
    return KOR_OK;
}

TEST(KorHbRecordSensorValues, AllocationFailuresAreClean)
{
    test::expect_every_allocation_failure_is_clean(
        [] { return destroyed(kor_hb_record_sensor_values_create_null()); });
    const struct timestamp t = at(0);
    const list_holder list = two_sensors();
    test::expect_every_allocation_failure_is_clean([&] {
        return destroyed(
            kor_hb_record_sensor_values_create(&t, &t, list.get(), nullptr));
    });
    const values_holder rec = values_of(list);
    test::expect_every_allocation_failure_is_clean([&] {
        return destroyed(kor_hb_record_sensor_values_copy(rec.get(), nullptr));
    });
    test::expect_every_allocation_failure_is_clean([] {
        struct kor_hb_record_sensor_values stored;
        kor_hb_record_sensor_values_init_null(&stored);
        const int nread = read(&stored, interval);
        kor_hb_record_sensor_values_destruct(&stored);
        return nread < 0 ? nread : static_cast<int>(KOR_OK);
    });
}

TEST(KorHbRecordSensorValues, InitWithoutMemoryReleasesWhatItTook)
{
    const struct timestamp t = at(0);
    const list_holder list = two_sensors();
    struct kor_hb_record_sensor_values rec;
    const test::failing_allocation failing(0);
    EXPECT_EQ(
        kor_hb_record_sensor_values_init(&rec, &t, &t, list.get(), nullptr),
        KOR_ERR_NO_MEMORY);
    EXPECT_EQ(rec.start.version, 0);
    EXPECT_EQ(rec.end.version, 0);
    EXPECT_EQ(rec.events.version, 0);
}

TEST(KorHbRecordSensorValuesDeathTest, MakingAsksForItsArguments)
{
    const struct timestamp t = at(0);
    const list_holder list = two_sensors();
    const list_holder empty(hist_value_list_create());
    struct kor_hb_record_sensor_values rec;
    EXPECT_ABORTS(
        kor_hb_record_sensor_values_init(nullptr, &t, &t, list.get(), nullptr),
        "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_values_init(&rec, nullptr, &t,
                                                   list.get(), nullptr),
                  "start != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_values_init(&rec, &t, nullptr,
                                                   list.get(), nullptr),
                  "end != NULL");
    EXPECT_ABORTS(
        kor_hb_record_sensor_values_init(&rec, &t, &t, nullptr, nullptr),
        "list != NULL");
    EXPECT_ABORTS(
        kor_hb_record_sensor_values_init(&rec, &t, &t, empty.get(), nullptr),
        "rec->n_sensors > 0");
    EXPECT_ABORTS(
        kor_hb_record_sensor_values_create(&t, &t, empty.get(), nullptr),
        "rec->n_sensors > 0");
    EXPECT_ABORTS(kor_hb_record_sensor_values_init_null(nullptr),
                  "rec != NULL");
}

using entry = void (*)(struct kor_hb_record_sensor_values *);
const entry entries[] = {
    kor_hb_record_sensor_values_destruct,
    [](auto *rec) { kor_hb_record_sensor_values_get_hist_values(rec); },
    [](auto *rec) { kor_hb_record_sensor_values_get_number_hist_values(rec); },
    [](auto *rec) { kor_hb_record_sensor_values_get_start_timestamp(rec); },
    [](auto *rec) { kor_hb_record_sensor_values_get_end_timestamp(rec); },
    [](auto *rec) { kor_hb_record_sensor_values_get_events(rec); },
    [](auto *rec) { kor_hb_record_sensor_values_copy(rec, nullptr); },
};

TEST(KorHbRecordSensorValuesDeathTest, EveryEntryAsksForALiveRecord)
{
    struct kor_hb_record_sensor_values dead = {};
    struct kor_hb_record_sensor_values newer = {};
    newer.version = 3;
    for (const entry enter : entries) {
        EXPECT_ABORTS(enter(nullptr), "rec != NULL");
        EXPECT_ABORTS(enter(&dead), "is_known_version(rec->version)");
        EXPECT_ABORTS(enter(&newer), "is_known_version(rec->version)");
    }
    struct kor_hb_record_sensor_values *none = nullptr;
    EXPECT_ABORTS(kor_hb_record_sensor_values_destroy(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_values_destroy(&none), "*rec != NULL");
}

TEST(KorHbRecordSensorValuesDeathTest, CopyAsksForValues)
{
    const values_holder none = empty_values();
    EXPECT_ABORTS(kor_hb_record_sensor_values_copy(none.get(), nullptr),
                  "rec->hvalues != NULL");
    const values_holder short_one = values_of(two_sensors());
    short_one->n_sensors = 0;
    EXPECT_ABORTS(kor_hb_record_sensor_values_copy(short_one.get(), nullptr),
                  "rec->n_sensors > 0");
}

TEST(KorHbRecordSensorValuesDeathTest, EqualityAsksForValues)
{
    struct kor_hb_record_sensor_values dead = {};
    const values_holder rec = values_of(two_sensors());
    const values_holder none = empty_values();
    const values_holder short_one = values_of(two_sensors());
    short_one->n_sensors = 0;
    const auto is_equal = kor_hb_record_sensor_values_is_equal;
    EXPECT_ABORTS(is_equal(nullptr, rec.get()), "rec1 != NULL");
    EXPECT_ABORTS(is_equal(rec.get(), nullptr), "rec2 != NULL");
    EXPECT_ABORTS(is_equal(&dead, rec.get()),
                  "is_known_version(rec1->version)");
    EXPECT_ABORTS(is_equal(rec.get(), &dead),
                  "is_known_version(rec2->version)");
    EXPECT_ABORTS(is_equal(none.get(), rec.get()), "rec1->hvalues != NULL");
    EXPECT_ABORTS(is_equal(rec.get(), none.get()), "rec2->hvalues != NULL");
    EXPECT_ABORTS(is_equal(short_one.get(), rec.get()), "rec1->n_sensors > 0");
    EXPECT_ABORTS(is_equal(rec.get(), short_one.get()), "rec2->n_sensors > 0");
}

TEST(KorHbRecordSensorValuesDeathTest, SerializersAskForRecordAndStream)
{
    memory_writer out;
    memory_reader in(interval);
    struct kor_hb_record_sensor_values dead = {};
    const values_holder rec = values_of(two_sensors());
    const values_holder none = empty_values();
    const values_holder old = values_of(two_sensors());
    old->version = 1;
    const auto write = binary_serializer_write_kor_hb_record_sensor_values;
    const auto read_into = binary_serializer_read_kor_hb_record_sensor_values;
    EXPECT_ABORTS(write(nullptr, out.get()), "rec != NULL");
    EXPECT_ABORTS(write(old.get(), out.get()), "rec->version == 2");
    EXPECT_ABORTS(write(none.get(), out.get()), "rec->hvalues != NULL");
    EXPECT_ABORTS(write(rec.get(), nullptr), "writer != NULL");
    EXPECT_ABORTS(read_into(nullptr, in.get()), "rec != NULL");
    EXPECT_ABORTS(read_into(&dead, in.get()), "is_known_version(rec->version)");
    EXPECT_ABORTS(read_into(rec.get(), nullptr), "reader != NULL");
    rec->n_sensors = 0;
    EXPECT_ABORTS(write(rec.get(), out.get()), "rec->n_sensors > 0");
}

TEST(KorHbRecordSensorValuesDeathTest, EndBehindTheFirstEventCounterAborts)
{
    const values_holder rec = empty_values();
    EXPECT_ABORTS(read(rec.get(), interval.substr(0, events_at + 1 + 4)),
                  "nread != 0");
}

}  // namespace
