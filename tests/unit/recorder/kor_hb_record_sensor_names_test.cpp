#include "kor_hb_record_sensor_names.h"

#include "record_support.hpp"

namespace {

using test::at;
using test::bytes;
using test::memory_reader;
using test::names_of;
using testing::ElementsAre;

using names_holder = test::holder<kor_hb_record_sensor_names,
                                  kor_hb_record_sensor_names_destroy>;
using list_holder =
    test::holder<struct hist_value_list, hist_value_list_destroy>;

list_holder list_of(const std::vector<std::string> &names)
{
    list_holder list(hist_value_list_create());
    const test::sensors_holder sensors(test::sensors_named(names));
    for (uint32_t i = 0; i < sensors->nsensors; ++i)
        hist_value_list_add_if_not_present(list.get(), sensors->sensors[i]);
    return list;
}

names_holder names_record(const std::vector<std::string> &names,
                          int32_t seconds = 0)
{
    const struct timestamp t = at(seconds);
    return names_holder(
        kor_hb_record_sensor_names_create(&t, list_of(names).get()));
}

const std::string two_names = bytes(
    "01 01 45 98 4f 01 00 00 00 00 01 00 00 00 02"
    "01 00 00 00 0a 44 49 53 4b 30 20 52 45 41 44"
    "01 00 00 00 09 43 50 55 30 20 54 65 6d 70");

// The low eight bits of the hash codes decide, not the order of addition.
TEST(KorHbRecordSensorNames, ListsTheSensorsInTheListsOrder)
{
    const names_holder rec = names_record({"CPU0 Temp", "DISK0 READ"}, 3);
    EXPECT_THAT(names_of(kor_hb_record_sensor_names_get_sensors(rec.get())),
                ElementsAre("DISK0 READ", "CPU0 Temp"));
    EXPECT_EQ(kor_hb_record_sensor_names_get_number_sensors(rec.get()), 2u);
    const struct timestamp expected = at(3);
    EXPECT_TRUE(timestamp_is_equal(
        kor_hb_record_sensor_names_get_timestamp(rec.get()), &expected));
    // The same hash code: the one added last comes first.
    EXPECT_THAT(names_of(names_record({"ab", "ba"})->sensors),
                ElementsAre("ba", "ab"));
}

TEST(KorHbRecordSensorNames, EmptyListGivesTheLastErrorAsItStands)
{
    const list_holder empty(hist_value_list_create());
    const struct timestamp t = at(0);
    kor_hb_record_sensor_names rec;
    vela_set_last_error(KOR_ERR_INFLATE);
    EXPECT_EQ(kor_hb_record_sensor_names_init(&rec, &t, empty.get()),
              KOR_ERR_INFLATE);
    EXPECT_EQ(rec.timestamp.version, 0);
    vela_set_last_error(KOR_OK);
    EXPECT_EQ(kor_hb_record_sensor_names_init(&rec, &t, empty.get()),
              KOR_ERR_INVALID_DATA);
    EXPECT_EQ(kor_hb_record_sensor_names_create(&t, empty.get()), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INVALID_DATA);
}

TEST(KorHbRecordSensorNames, IsAColumnHeaderOfACurrentBufferInEverythingElse)
{
    kor_hb_record_sensor_names rec;
    EXPECT_EQ(kor_hb_record_sensor_names_init_null(&rec), KOR_OK);
    EXPECT_EQ(rec.version, KOR_CB_RECORD_SENSOR_NAMES_VERSION);
    EXPECT_EQ(rec.sensors, nullptr);
    kor_hb_record_sensor_names_destruct(&rec);
    EXPECT_EQ(rec.version, 0);

    const names_holder a = names_record({"a", "b"}, 0);
    const names_holder later = names_record({"a", "b"}, 1);
    const names_holder other = names_record({"c"}, 0);
    EXPECT_EQ(kor_hb_record_sensor_names_is_equal(a.get(), later.get()), 0);
    EXPECT_EQ(
        kor_hb_record_sensor_names_are_sensors_equal(a.get(), later.get()), 1);
    EXPECT_EQ(
        kor_hb_record_sensor_names_are_sensors_equal(a.get(), other.get()), 0);
    const names_holder copy(kor_hb_record_sensor_names_copy(a.get(), nullptr));
    EXPECT_EQ(kor_hb_record_sensor_names_is_equal(a.get(), copy.get()), 1);
}

TEST(KorHbRecordSensorNames, IsStoredInTheseBytesAndReadsBackEqual)
{
    const names_holder rec = names_record({"CPU0 Temp", "DISK0 READ"});
    EXPECT_EQ(test::stored_by([&](struct writer *out) {
                  return binary_serializer_write_kor_hb_record_sensor_names(
                      rec.get(), out);
              }),
              two_names);
    const names_holder stored(kor_hb_record_sensor_names_create_null());
    memory_reader in(two_names);
    EXPECT_EQ(binary_serializer_read_kor_hb_record_sensor_names(stored.get(),
                                                                in.get()),
              static_cast<int>(two_names.size()));
    EXPECT_EQ(kor_hb_record_sensor_names_is_equal(rec.get(), stored.get()), 1);
}

TEST(KorHbRecordSensorNames, AllocationFailuresAreClean)
{
    const list_holder list = list_of({"a", "b"});
    const struct timestamp t = at(0);
    test::expect_every_allocation_failure_is_clean([&] {
        kor_hb_record_sensor_names *rec =
            kor_hb_record_sensor_names_create(&t, list.get());
        if (rec == nullptr) return vela_get_last_error();
        kor_hb_record_sensor_names_destroy(&rec);
        return static_cast<int>(KOR_OK);
    });
}

TEST(KorHbRecordSensorNamesDeathTest, MakingAsksForItsArguments)
{
    const list_holder list = list_of({"a"});
    const struct timestamp t = at(0);
    kor_hb_record_sensor_names rec;
    EXPECT_ABORTS(kor_hb_record_sensor_names_init(nullptr, &t, list.get()),
                  "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_names_init(&rec, nullptr, list.get()),
                  "t != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_names_init(&rec, &t, nullptr),
                  "list != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_names_create(&t, nullptr),
                  "list != NULL");
}

TEST(KorHbRecordSensorNamesDeathTest, ForwardsItsAssertions)
{
    kor_hb_record_sensor_names dead = {};
    const names_holder rec = names_record({"a"});
    EXPECT_ABORTS(kor_hb_record_sensor_names_init_null(nullptr), "rec != NULL");
    EXPECT_ABORTS(kor_hb_record_sensor_names_destruct(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_hb_record_sensor_names_get_sensors(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_hb_record_sensor_names_get_number_sensors(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_hb_record_sensor_names_get_timestamp(&dead),
                  "rec->version > 0");
    EXPECT_ABORTS(kor_hb_record_sensor_names_is_equal(&dead, rec.get()),
                  "rec1->version > 0");
    EXPECT_ABORTS(
        kor_hb_record_sensor_names_are_sensors_equal(rec.get(), &dead),
        "rec2->version > 0");
    EXPECT_ABORTS(kor_hb_record_sensor_names_copy(&dead, nullptr),
                  "rec->version > 0");
    test::memory_writer out;
    EXPECT_ABORTS(
        binary_serializer_write_kor_hb_record_sensor_names(&dead, out.get()),
        "rec->version == 1");
    EXPECT_ABORTS(
        binary_serializer_read_kor_hb_record_sensor_names(rec.get(), nullptr),
        "reader != NULL");
    kor_hb_record_sensor_names *none = nullptr;
    EXPECT_ABORTS(kor_hb_record_sensor_names_destroy(&none), "*rec != NULL");
}

}  // namespace
